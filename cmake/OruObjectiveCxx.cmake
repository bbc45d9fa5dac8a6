# Enables Objective-C++. CMake's own word on a compiler without it does not tell what to do.
if(NOT CMAKE_OBJCXX_COMPILER AND NOT CMAKE_TOOLCHAIN_FILE)
  include(CheckLanguage)
  check_language(OBJCXX)
  if(NOT CMAKE_OBJCXX_COMPILER)
    message(FATAL_ERROR "There is no compiler of Objective-C++, which crash capture and varnook are written in. Install one (scripts/install-deps "
      "does), or build the parts that do without: cmake --preset plain.")
  endif()
endif()
enable_language(OBJCXX)
