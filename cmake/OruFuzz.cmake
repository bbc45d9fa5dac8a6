# oru_add_fuzz(NAME SOURCES file... [LIBS target...])
# A libFuzzer target with the address and undefined-behaviour sanitizers; its seeds are in fuzz/corpus/NAME/.
# The libraries it fuzzes must be built with -fsanitize=fuzzer-no-link too, which the "fuzz" preset does for all.
function(oru_add_fuzz name)
  cmake_parse_arguments(arg "" "" "SOURCES;LIBS" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  target_link_libraries(${name} PRIVATE oru_options ${arg_LIBS})
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/fuzz")
endfunction()
