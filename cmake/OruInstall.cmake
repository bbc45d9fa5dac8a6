# oru_install_library(NAME FILE file OBJECTS target... [HEADERS header...] [REQUIRES name...] [REQUIRES_PRIVATE name...]
#                     [SHARED_OBJECTS target...] [FRAMEWORKS name...] [LINK_OPTION option] [FOUNDATION] DESCRIPTION text)
# Installs a library as lib<FILE>.a and lib<FILE>.so, its public headers, a pkg-config file and the CMake targets
# OruRTCSupport::NAME (static) and OruRTCSupport::NAME_shared. Both forms are made of the objects of the build's
# targets OBJECTS, compiled once; SHARED_OBJECTS are internals of other libraries that the shared form has to carry
# itself, as those do not export them. REQUIRES names libraries installed by this function
# before that are part of this one's interface, REQUIRES_PRIVATE those that only its sources use. FRAMEWORKS are macOS's
# that its sources use.
#
# Every installed file names others by their place relative to its own: the tree may be moved.
set(ORU_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/oru_rtc_support")
set(ORU_CMAKE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/OruRTCSupport")
set(ORU_PKGCONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
add_custom_target(oru_packaged)

function(oru_install_library name)
  cmake_parse_arguments(arg "FOUNDATION" "FILE;DESCRIPTION;LINK_OPTION" "OBJECTS;SHARED_OBJECTS;FRAMEWORKS;HEADERS;REQUIRES;REQUIRES_PRIVATE" ${ARGN})
  # An archive links nothing itself: what it needs is its users' to link.
  set(STATIC_PUBLIC INTERFACE)
  set(STATIC_PRIVATE INTERFACE)
  set(SHARED_PUBLIC PUBLIC)
  set(SHARED_PRIVATE PRIVATE)
  foreach(kind STATIC SHARED)
    set(objects)
    foreach(object IN LISTS arg_OBJECTS)
      list(APPEND objects $<TARGET_OBJECTS:${object}>)
    endforeach()
    if(kind STREQUAL SHARED)
      foreach(object IN LISTS arg_SHARED_OBJECTS)
        list(APPEND objects $<TARGET_OBJECTS:${object}>)
      endforeach()
    endif()
    string(TOLOWER "packaged_${name}_${kind}" target)
    add_library(${target} ${kind} ${objects})
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME "${arg_FILE}"
      ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/packaged" LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/packaged")
    target_compile_features(${target} INTERFACE cxx_std_17)
    foreach(required IN LISTS arg_REQUIRES)
      string(TOLOWER "packaged_${required}_${kind}" required)
      target_link_libraries(${target} ${${kind}_PUBLIC} ${required})
    endforeach()
    foreach(required IN LISTS arg_REQUIRES_PRIVATE)
      string(TOLOWER "packaged_${required}_${kind}" required)
      target_link_libraries(${target} ${${kind}_PRIVATE} ${required})
    endforeach()
    target_link_options(${target} INTERFACE ${arg_LINK_OPTION})
    add_dependencies(oru_packaged ${target})
  endforeach()
  string(TOLOWER "packaged_${name}_static" static)
  string(TOLOWER "packaged_${name}_shared" shared)

  set_target_properties(${static} PROPERTIES EXPORT_NAME ${name})
  target_link_libraries(${static} INTERFACE $<LINK_ONLY:Threads::Threads>)
  set_target_properties(${shared} PROPERTIES EXPORT_NAME ${name}_shared
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} INSTALL_RPATH "${ORU_LIBRARY_RPATH}")
  target_link_libraries(${shared} PRIVATE Threads::Threads)
  if(APPLE)
    foreach(framework IN LISTS arg_FRAMEWORKS)
      target_link_libraries(${static} INTERFACE "$<LINK_ONLY:-framework ${framework}>")
      target_link_libraries(${shared} PRIVATE "-framework ${framework}")
    endforeach()
  endif()
  if(arg_FOUNDATION)
    target_link_libraries(${static} INTERFACE $<LINK_ONLY:$<INSTALL_INTERFACE:OruRTCSupport::foundation>>)
    target_link_libraries(${shared} PRIVATE oru_foundation)
  endif()
  if(NOT APPLE)
    target_link_options(${shared} PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/packaging/exports.map")
    # A library that needs what it does not link fails here.
    target_link_options(${shared} PRIVATE LINKER:-z,defs)
  endif()

  install(TARGETS ${static} ${shared} EXPORT OruRTCSupport-${name}
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    INCLUDES DESTINATION "${ORU_INCLUDE_DIR}")
  install(EXPORT OruRTCSupport-${name} NAMESPACE OruRTCSupport:: FILE OruRTCSupport-${name}.cmake
    DESTINATION "${ORU_CMAKE_DIR}" COMPONENT development)
  foreach(header IN LISTS arg_HEADERS)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${ORU_INCLUDE_DIR}/${folder}" COMPONENT development)
  endforeach()
  oru_install_pkg_config()
endfunction()

# Part of oru_install_library: writes FILE.pc with "-" for "_".
macro(oru_install_pkg_config)
  string(REPLACE "_" "-" ORU_PC_NAME "${arg_FILE}")
  set(ORU_PC_LIBRARY "${arg_FILE}")
  set(ORU_PC_DESCRIPTION "${arg_DESCRIPTION}")
  foreach(kind REQUIRES REQUIRES_PRIVATE)
    set(ORU_PC_${kind})
    foreach(required IN LISTS arg_${kind})
      get_property(file GLOBAL PROPERTY ORU_PC_OF_${required})
      list(APPEND ORU_PC_${kind} "${file} = ${PROJECT_VERSION}")
    endforeach()
    list(JOIN ORU_PC_${kind} ", " ORU_PC_${kind})
  endforeach()
  string(REPLACE "LINKER:" "-Wl," ORU_PC_LINK_OPTION "${arg_LINK_OPTION}")
  set(ORU_PC_LIBS_PRIVATE -pthread)
  if(APPLE)
    foreach(framework IN LISTS arg_FRAMEWORKS)
      string(PREPEND ORU_PC_LIBS_PRIVATE "-framework ${framework} ")
    endforeach()
    # An archive of C++ asks for the C++ library itself.
    string(APPEND ORU_PC_LIBS_PRIVATE " -lc++")
  endif()
  if(arg_FOUNDATION)
    string(PREPEND ORU_PC_LIBS_PRIVATE "${ORU_FOUNDATION_LINK_FLAGS} ")
  endif()
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${ORU_PKGCONFIG_DIR}" OUTPUT_VARIABLE ORU_PC_PREFIX)
  set_property(GLOBAL PROPERTY ORU_PC_OF_${name} "${ORU_PC_NAME}")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/library.pc.in" "${PROJECT_BINARY_DIR}/packaged/${ORU_PC_NAME}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/packaged/${ORU_PC_NAME}.pc"
    DESTINATION "${ORU_PKGCONFIG_DIR}" COMPONENT development)
endmacro()

# oru_install_compressed(FILE NAME DESTINATION COMPONENT): installs FILE as NAME.gz.
function(oru_install_compressed file name destination component)
  set(output "${PROJECT_BINARY_DIR}/packaged/${component}/${name}.gz")
  cmake_path(GET output PARENT_PATH folder)
  file(MAKE_DIRECTORY "${folder}")
  add_custom_command(OUTPUT "${output}" COMMAND "${ORU_GZIP}" -9nc "${file}" > "${output}" DEPENDS "${file}" VERBATIM)
  string(MAKE_C_IDENTIFIER "compressed_${component}_${name}" target)
  add_custom_target(${target} ALL DEPENDS "${output}")
  add_dependencies(oru_packaged ${target})
  install(FILES "${output}" DESTINATION "${destination}" COMPONENT ${component})
endfunction()
