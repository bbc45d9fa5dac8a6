# The platform's Foundation and Objective-C runtime, as one target:
#   target_link_libraries(NAME PRIVATE oru_foundation)
# Apple's frameworks on macOS; GNUstep Base and GCC's runtime elsewhere. Manual reference counting on both.
add_library(oru_foundation INTERFACE)

if(APPLE)
  target_compile_options(oru_foundation INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:-fno-objc-arc>)
  target_link_libraries(oru_foundation INTERFACE "-framework Foundation" objc)
else()
  # GCC keeps the runtime's headers (objc/*.h) in its own include folder.
  execute_process(COMMAND gcc -print-file-name=include
    OUTPUT_VARIABLE ORU_GCC_INCLUDE OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(NOT EXISTS "${ORU_GCC_INCLUDE}/objc/objc.h")
    message(FATAL_ERROR "The Objective-C runtime's headers are missing: install gobjc++ (scripts/install-deps does), or build the parts that do "
      "without (cmake --preset plain).")
  endif()
  set(CMAKE_OBJCXX_COMPILER_LAUNCHER
    "${PROJECT_SOURCE_DIR}/cmake/relative-source" "${PROJECT_SOURCE_DIR}" ${CMAKE_OBJCXX_COMPILER_LAUNCHER})
  find_path(ORU_GNUSTEP_INCLUDE Foundation/Foundation.h PATHS /usr/include/GNUstep REQUIRED)
  find_library(ORU_GNUSTEP_BASE gnustep-base REQUIRED)
  # The runtime's library has no development link outside GCC's folder.
  execute_process(COMMAND gcc -print-file-name=libobjc.so
    OUTPUT_VARIABLE ORU_LIBOBJC OUTPUT_STRIP_TRAILING_WHITESPACE)

  # The runtime's headers are linked to one by one: GCC's own intrinsics in the same folder would shadow clang's.
  set(oru_objc_headers "${PROJECT_BINARY_DIR}/objc-headers")
  file(MAKE_DIRECTORY "${oru_objc_headers}")
  if(NOT EXISTS "${oru_objc_headers}/objc")
    file(CREATE_LINK "${ORU_GCC_INCLUDE}/objc" "${oru_objc_headers}/objc" SYMBOLIC)
  endif()

  target_include_directories(oru_foundation SYSTEM INTERFACE "${ORU_GNUSTEP_INCLUDE}" "${oru_objc_headers}")
  target_compile_definitions(oru_foundation INTERFACE $<$<COMPILE_LANGUAGE:OBJCXX>:GNUSTEP>
    $<$<COMPILE_LANGUAGE:OBJCXX>:GNUSTEP_BASE_LIBRARY=1> $<$<COMPILE_LANGUAGE:OBJCXX>:GNU_RUNTIME=1>
    $<$<COMPILE_LANGUAGE:OBJCXX>:_NATIVE_OBJC_EXCEPTIONS>)
  target_compile_options(oru_foundation INTERFACE
    "$<$<COMPILE_LANGUAGE:OBJCXX>:SHELL:-fobjc-runtime=gcc -fexceptions -fobjc-exceptions -fconstant-string-class=NSConstantString>")
  target_link_libraries(oru_foundation INTERFACE "${ORU_GNUSTEP_BASE}" "${ORU_LIBOBJC}")
endif()
