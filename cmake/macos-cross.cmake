# Builds for macOS on x86_64 (10.12 and later) on a system that is not macOS: clang and ld64.lld against the headers
# of an SDK. ORU_MACOS_SDK is the SDK's folder with include/, lib/ and Frameworks/ (scripts/build-macos passes it);
# an SDK as Apple ships it (usr/include, System/Library/Frameworks) works too.
#
# An SDK unpacked without the system library's link stubs leaves that library's symbols to be found at run time:
# scripts/build-macos lists them and holds each against the SDK's headers.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ORU_MACOS_SDK "" CACHE PATH "The macOS SDK's folder")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORU_MACOS_SDK)
# Nothing that is only tried out needs to be linked.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

if(EXISTS "${ORU_MACOS_SDK}/usr/include")
  set(sdk_include "${ORU_MACOS_SDK}/usr/include")
  set(sdk_lib "${ORU_MACOS_SDK}/usr/lib")
  set(sdk_frameworks "${ORU_MACOS_SDK}/System/Library/Frameworks")
else()
  set(sdk_include "${ORU_MACOS_SDK}/include")
  set(sdk_lib "${ORU_MACOS_SDK}/lib")
  set(sdk_frameworks "${ORU_MACOS_SDK}/Frameworks")
endif()
if(NOT EXISTS "${sdk_include}/mach/mach.h")
  message(FATAL_ERROR "No macOS SDK in ORU_MACOS_SDK='${ORU_MACOS_SDK}'.")
endif()

# The deployment target is in the triple; CMake's own handling of it asks for Apple's tools.
set(CMAKE_OSX_DEPLOYMENT_TARGET "" CACHE STRING "" FORCE)
set(CMAKE_OSX_SYSROOT "" CACHE STRING "" FORCE)
set(target x86_64-apple-macosx10.12)
# Newer calls than the deployment target's are warned about, and so are errors here.
set(sdk_flags "-isystem ${sdk_include} -iframework ${sdk_frameworks} -Wunguarded-availability")
foreach(lang C CXX OBJCXX)
  set(CMAKE_${lang}_COMPILER_TARGET ${target})
endforeach()
set(CMAKE_C_FLAGS_INIT "-isysroot ${ORU_MACOS_SDK} ${sdk_flags}")
foreach(lang CXX OBJCXX)
  set(CMAKE_${lang}_FLAGS_INIT
    "-isysroot ${ORU_MACOS_SDK} -nostdinc++ -isystem ${sdk_include}/c++/v1 ${sdk_flags}")
endforeach()

set(CMAKE_AR llvm-ar-16 CACHE STRING "")
set(CMAKE_RANLIB llvm-ranlib-16 CACHE STRING "")
set(CMAKE_INSTALL_NAME_TOOL llvm-install-name-tool-16 CACHE STRING "")

# Link stubs for the system's libraries that the SDK copy lacks: a library's name without its symbols.
set(stubs "${CMAKE_CURRENT_BINARY_DIR}/macos-stubs")
foreach(stub System:libSystem.B c++:libc++.1 z:libz.1 curl:libcurl.4 minizip:libminizip.1)
  string(REPLACE ":" ";" stub ${stub})
  list(GET stub 0 short)
  list(GET stub 1 long)
  set(stub_file "${stubs}/lib${short}.tbd")
  if(NOT EXISTS "${sdk_lib}/lib${short}.tbd" AND NOT EXISTS "${stub_file}")
    file(WRITE "${stub_file}"
      "--- !tapi-tbd\ntbd-version: 4\ntargets: [ x86_64-macos ]\ninstall-name: '/usr/lib/${long}.dylib'\n...\n")
  endif()
endforeach()

# The frameworks' stubs name each other by their places on the system.
if(NOT EXISTS "${stubs}/System/Library/Frameworks")
  file(MAKE_DIRECTORY "${stubs}/System/Library")
  file(CREATE_LINK "${sdk_frameworks}" "${stubs}/System/Library/Frameworks" SYMBOLIC)
endif()

foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "--ld-path=ld64.lld-16 -nostdlib -L${sdk_lib} -L${stubs} -F${sdk_frameworks} -Wl,-syslibroot,${stubs} -lSystem -lc++ -Wl,-platform_version,macos,10.12,14.0 -Wl,-undefined,dynamic_lookup -Wno-unused-command-line-argument")
endforeach()

# What the reference SDK needs. minizip is no part of macOS; the build host's header serves for compiling.
foreach(library ZLIB:z CURL:curl)
  string(REPLACE ":" ";" library ${library})
  list(GET library 0 upper)
  list(GET library 1 short)
  set(${upper}_INCLUDE_DIR "${stubs}/include" CACHE PATH "")
  if(EXISTS "${sdk_lib}/lib${short}.tbd")
    set(${upper}_LIBRARY "${sdk_lib}/lib${short}.tbd" CACHE FILEPATH "")
  else()
    set(${upper}_LIBRARY "${stubs}/lib${short}.tbd" CACHE FILEPATH "")
  endif()
endforeach()
set(ORU_MINIZIP "${stubs}/libminizip.tbd" CACHE FILEPATH "")
set(ORU_MINIZIP_INCLUDE "${stubs}/include" CACHE PATH "")
# Linked to one by one: the SDK's C headers as a whole must stay behind those of C++.
file(MAKE_DIRECTORY "${stubs}/include")
foreach(header "${sdk_include}/zlib.h" "${sdk_include}/zconf.h" "${sdk_include}/curl" /usr/include/minizip)
  get_filename_component(header_name "${header}" NAME)
  if(EXISTS "${header}" AND NOT EXISTS "${stubs}/include/${header_name}")
    file(CREATE_LINK "${header}" "${stubs}/include/${header_name}" SYMBOLIC)
  endif()
endforeach()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
