# Flags of our own code, as a target that every target of ours links.

add_library(vesk_compile INTERFACE)
target_compile_options(vesk_compile INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Werror
  # Cutting a long value at the end of its buffer is what the console is promised.
  -Wno-format-truncation -Wno-stringop-truncation
  -fno-omit-frame-pointer
)
# 64-bit inode numbers and sizes in 32 bits too: stat refuses a large file system otherwise.
target_compile_definitions(vesk_compile INTERFACE _FILE_OFFSET_BITS=64)
target_include_directories(vesk_compile INTERFACE "${PROJECT_SOURCE_DIR}/include")
target_link_options(vesk_compile INTERFACE -Wl,--no-undefined -Wl,--as-needed)

if(VESK_SANITIZE)
  # Instrumented std::regex makes GCC 12 warn of members that are set.
  target_compile_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE}
                         -Wno-maybe-uninitialized)
  target_link_options(vesk_compile INTERFACE -fsanitize=${VESK_SANITIZE})
endif()
