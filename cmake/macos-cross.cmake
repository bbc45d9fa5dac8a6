# Builds for macOS on a system that is not macOS: clang and ld64.lld (version 16) against a complete SDK as Apple ships it
# (usr/include, usr/lib with link stubs, System/Library/Frameworks). scripts/build-macos passes what has to be chosen:
#   ORU_MACOS_SDK         the SDK's folder
#   CMAKE_OSX_ARCHITECTURES   x86_64 (macOS 10.12 and later) or arm64 (11.0 and later); one, as the two are joined afterwards
# Everything is linked as on a Mac: against the stubs, with two-level names, nothing left to be looked up later.
set(CMAKE_SYSTEM_NAME Darwin)
# macOS 11, as the SDK: by it CMake knows what the linker can do.
set(CMAKE_SYSTEM_VERSION 20.6.0)

set(ORU_MACOS_SDK "" CACHE PATH "The macOS SDK's folder")
if(NOT EXISTS "${ORU_MACOS_SDK}/usr/include/mach/mach.h" OR NOT EXISTS "${ORU_MACOS_SDK}/usr/lib/libSystem.tbd")
  message(FATAL_ERROR "No complete macOS SDK in ORU_MACOS_SDK='${ORU_MACOS_SDK}'.")
endif()
set(CMAKE_OSX_SYSROOT "${ORU_MACOS_SDK}" CACHE PATH "" FORCE)
set(CMAKE_OSX_ARCHITECTURES x86_64 CACHE STRING "")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORU_MACOS_SDK)

if(CMAKE_OSX_ARCHITECTURES STREQUAL "arm64")
  set(CMAKE_SYSTEM_PROCESSOR arm64)
  set(CMAKE_OSX_DEPLOYMENT_TARGET 11.0 CACHE STRING "")
else()
  set(CMAKE_SYSTEM_PROCESSOR x86_64)
  set(CMAKE_OSX_DEPLOYMENT_TARGET 10.12 CACHE STRING "")
endif()
foreach(lang C CXX OBJCXX)
  set(CMAKE_${lang}_COMPILER_TARGET ${CMAKE_SYSTEM_PROCESSOR}-apple-macos)
endforeach()

foreach(kind EXE SHARED MODULE)
  # The linker's version decides how the deployment target is handed to it.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "--ld-path=ld64.lld-16 -mlinker-version=609 -Wl,-fatal_warnings")
endforeach()
foreach(tool AR RANLIB INSTALL_NAME_TOOL STRIP LIPO OTOOL NM OBJDUMP)
  string(TOLOWER "llvm-${tool}-16" program)
  string(REPLACE "_" "-" program "${program}")
  set(CMAKE_${tool} ${program} CACHE STRING "")
endforeach()

# CMake gives installed names by @rpath only where it could ask the running system for its version.
set(CMAKE_USER_MAKE_RULES_OVERRIDE "${CMAKE_CURRENT_LIST_DIR}/macos-cross-rules.cmake")

# Headers and libraries are the SDK's, programs this machine's.
set(CMAKE_FIND_ROOT_PATH "${ORU_MACOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
