# Flags of our own code, as a target that every target of ours links.

add_library(vesk_compile INTERFACE)
target_compile_options(vesk_compile INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Werror
  # Cutting a long value at the end of its buffer is what the console is promised.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-format-truncation -Wno-stringop-truncation>
  -fno-omit-frame-pointer
)
# 64-bit inode numbers and sizes in 32 bits too: stat refuses a large file system otherwise.
target_compile_definitions(vesk_compile INTERFACE _FILE_OFFSET_BITS=64)
target_include_directories(vesk_compile INTERFACE "${PROJECT_SOURCE_DIR}/include")
# Clang's libraries find the sanitizers in the program only.
target_link_options(vesk_compile INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wl,--no-undefined>
                    -Wl,--as-needed)

if(VESK_SANITIZE)
  # Instrumented std::regex makes GCC 12 warn of members that are set.
  target_compile_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE}
                         $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE})
endif()

if(VESK_FUZZ)
  # The fuzzer sees which branches an input takes, and each undefined operation ends it.
  target_compile_options(vesk_compile INTERFACE -fsanitize=fuzzer-no-link -fno-sanitize-recover=all)
endif()
