# oru_add_test(NAME SOURCES file... [LIBS target...] [LABELS label...] [TIMEOUT seconds] [DEFINES name=value...])
# A GoogleTest program; each of its tests becomes a CTest test "NAME.Suite.Test" that runs in a process of its own.
# Labels: "threads" is run under the thread sanitizer too; "no-asan" is left out under the address sanitizer;
# "long" is run only by `scripts/test --long`; "serial" runs with nothing beside it.
include(GoogleTest)

# From its sources where the library has to be for more than this machine's own processor.
set(oru_gtest_default "")
if(APPLE AND EXISTS "${PROJECT_SOURCE_DIR}/build/deps/googletest/CMakeLists.txt")
  set(oru_gtest_default "${PROJECT_SOURCE_DIR}/build/deps/googletest")
endif()
set(ORU_GTEST_SOURCE "${oru_gtest_default}" CACHE PATH "GoogleTest's source folder; empty: an installed GoogleTest")
if(ORU_GTEST_SOURCE)
  set(BUILD_GMOCK OFF)
  set(INSTALL_GTEST OFF)
  set(BUILD_SHARED_LIBS OFF)
  add_subdirectory("${ORU_GTEST_SOURCE}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()
# Tests of another system are listed where they run.
if(CMAKE_CROSSCOMPILING)
  set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
endif()

option(ORU_TEST_PCH "Compile the headers that all tests share only once" OFF)
if(ORU_TEST_PCH)
  # A program, because its code model is that of the tests that reuse its headers.
  add_executable(oru_test_headers EXCLUDE_FROM_ALL "${PROJECT_SOURCE_DIR}/tests/support/main.cc")
  target_link_libraries(oru_test_headers PRIVATE oru_options Threads::Threads GTest::gtest)
  target_compile_options(oru_test_headers PRIVATE $<$<CONFIG:Release>:-O0>)
  target_precompile_headers(oru_test_headers PRIVATE <atomic> <chrono> <cstring> <fstream> <functional>
    <map> <string> <thread> <vector> <gtest/gtest.h>)
endif()

configure_file("${PROJECT_SOURCE_DIR}/tests/sanitizers/undefined_left_out.txt.in"
  "${PROJECT_BINARY_DIR}/undefined_left_out.txt" @ONLY)

function(oru_add_test name)
  cmake_parse_arguments(arg "" "TIMEOUT" "SOURCES;LIBS;LABELS;DEFINES" ${ARGN})
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 60)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE oru_options ${arg_LIBS} oru_test_support GTest::gtest)
  # Tests are about the product's optimised code; their own would take twice as long to compile.
  target_compile_options(${name} PRIVATE $<$<CONFIG:Release>:-O0>)
  # So would the checks of undefined behaviour, which every assertion would get; the products' code keeps them, that in
  # headers too.
  if(ORU_SANITIZE MATCHES undefined)
    target_compile_options(${name} PRIVATE "-fsanitize-ignorelist=${PROJECT_BINARY_DIR}/undefined_left_out.txt")
  endif()
  if(ORU_TEST_PCH AND NOT "${arg_SOURCES}" MATCHES "\\.(mm|c)(;|$)")
    target_precompile_headers(${name} REUSE_FROM oru_test_headers)
  endif()
  if(arg_DEFINES)
    target_compile_definitions(${name} PRIVATE ${arg_DEFINES})
  endif()
  if("threads" IN_LIST arg_LABELS)
    set_property(GLOBAL APPEND PROPERTY ORU_THREAD_TESTS ${name})
  endif()
  # What may take longest begins first, so that it is not what all wait for in the end.
  set(properties TIMEOUT ${arg_TIMEOUT} COST ${arg_TIMEOUT})
  if(arg_LABELS)
    list(JOIN arg_LABELS "\;" labels)
    list(APPEND properties LABELS "${labels}")
    if("serial" IN_LIST arg_LABELS)
      list(APPEND properties RUN_SERIAL TRUE)
    endif()
  endif()
  gtest_discover_tests(${name} TEST_PREFIX "${name}." PROPERTIES ${properties} DISCOVERY_TIMEOUT 60)
endfunction()

# oru_add_script_test(NAME LABELS command [argument...]): a test that is a script of its own; LABELS may be "".
function(oru_add_script_test name labels)
  add_test(NAME "${name}" COMMAND ${ARGN})
  set_tests_properties("${name}" PROPERTIES TIMEOUT 120 COST 120)
  if(labels)
    set_tests_properties("${name}" PROPERTIES LABELS "${labels}")
  endif()
endfunction()
