# Compiles through ccache where it is installed; nothing depends on it.
if(NOT DEFINED CMAKE_CXX_COMPILER_LAUNCHER)
  find_program(VESK_CCACHE ccache)
  if(VESK_CCACHE)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${VESK_CCACHE}")
  endif()
endif()
