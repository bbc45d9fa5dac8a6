# What every target of the project is compiled with. A target takes it by
#   target_link_libraries(NAME PRIVATE oru_options)
add_library(oru_options INTERFACE)

target_compile_options(oru_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Wimplicit-fallthrough
  $<$<BOOL:${ORU_WERROR}>:-Werror>)

# The one place where warnings that the macOS SDK itself causes are silenced, each by its name.
if(APPLE)
  # What the deployment target lacks may be called only where its presence was asked for.
  target_compile_options(oru_options INTERFACE -Wunguarded-availability)
  # Its dirfd is a macro made of a statement expression.
  target_compile_options(oru_options INTERFACE -Wno-gnu-statement-expression-from-macro-expansion)
endif()

# Logs and check reports name sources from the repository's root, wherever it was built.
target_compile_options(oru_options INTERFACE "-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=")
# So does the debug information of what is shipped; that of other builds leads to the sources.
target_compile_options(oru_options INTERFACE
  "$<$<CONFIG:RelWithDebInfo>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>"
  "$<$<CONFIG:RelWithDebInfo>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=.>")

# Includes are written from the repository's root.
target_include_directories(oru_options INTERFACE "${PROJECT_SOURCE_DIR}")

# oru_hide_internals(target...): the libraries export what their public headers declare and nothing else. Names of the
# C++ library that are compiled into them are kept inside by packaging/exports.map.
function(oru_hide_internals)
  set_target_properties(${ARGN} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    OBJCXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON)
endfunction()

if(ORU_SANITIZE)
  add_compile_options(-fsanitize=${ORU_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${ORU_SANITIZE})
  # Every program carries what the sanitizers leave out of the system's libraries.
  target_sources(oru_options INTERFACE
    "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${PROJECT_SOURCE_DIR}/tests/sanitizers/defaults.cc>")
endif()

if(ORU_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()
