# oru_install_library(NAME FILE file OBJECTS target... [HEADERS header...] [REQUIRES name...] [REQUIRES_PRIVATE name...]
#                     [SHARED_OBJECTS target...] [FRAMEWORKS name...] [LINK_OPTION option] [FOUNDATION] DESCRIPTION text)
# Makes a library as lib<FILE>.a and lib<FILE>.so, the CMake targets OruRTCSupport::NAME (static) and
# OruRTCSupport::NAME_shared of this build, and installs them with the public headers and a pkg-config file. With
# BUILD_SHARED_LIBS given there is only the one form, and it is OruRTCSupport::NAME. Both forms are made of the objects of the build's
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

# Both forms, or the one that was asked for.
set(ORU_FORMS STATIC SHARED)
if(DEFINED BUILD_SHARED_LIBS)
  set(ORU_FORMS STATIC)
  if(BUILD_SHARED_LIBS)
    set(ORU_FORMS SHARED)
  endif()
endif()

function(oru_install_library name)
  cmake_parse_arguments(arg "FOUNDATION" "FILE;DESCRIPTION;LINK_OPTION" "OBJECTS;SHARED_OBJECTS;FRAMEWORKS;HEADERS;REQUIRES;REQUIRES_PRIVATE" ${ARGN})
  # An archive links nothing itself: what it needs is its users' to link.
  set(STATIC_PUBLIC INTERFACE)
  set(STATIC_PRIVATE INTERFACE)
  set(SHARED_PUBLIC PUBLIC)
  set(SHARED_PRIVATE PRIVATE)
  foreach(kind IN LISTS ORU_FORMS)
    set(objects)
    foreach(object IN LISTS arg_OBJECTS)
      list(APPEND objects $<TARGET_OBJECTS:${object}>)
    endforeach()
    if(kind STREQUAL SHARED)
      foreach(object IN LISTS arg_SHARED_OBJECTS)
        list(APPEND objects $<TARGET_OBJECTS:${object}>)
      endforeach()
    endif()
    string(TOLOWER "oru_packaged_${name}_${kind}" target)
    add_library(${target} ${kind} ${objects})
    if(NOT ORU_SHIPPED)
      set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
    target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    set_target_properties(${target} PROPERTIES LINKER_LANGUAGE CXX OUTPUT_NAME "${arg_FILE}"
      ARCHIVE_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/packaged" LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/packaged")
    target_compile_features(${target} INTERFACE cxx_std_17)
    foreach(required IN LISTS arg_REQUIRES)
      string(TOLOWER "oru_packaged_${required}_${kind}" required)
      target_link_libraries(${target} ${${kind}_PUBLIC} ${required})
    endforeach()
    foreach(required IN LISTS arg_REQUIRES_PRIVATE)
      string(TOLOWER "oru_packaged_${required}_${kind}" required)
      target_link_libraries(${target} ${${kind}_PRIVATE} ${required})
    endforeach()
    target_link_options(${target} INTERFACE ${arg_LINK_OPTION})
    add_dependencies(oru_packaged ${target})
  endforeach()
  set(targets)
  foreach(kind IN LISTS ORU_FORMS)
    string(TOLOWER "oru_packaged_${name}_${kind}" target)
    list(APPEND targets ${target})
    cmake_language(CALL oru_finish_${kind} ${target})
  endforeach()
  list(GET targets 0 first)
  set_target_properties(${first} PROPERTIES EXPORT_NAME ${name})
  add_library(OruRTCSupport::${name} ALIAS ${first})
  if(ORU_FORMS STREQUAL "STATIC;SHARED")
    list(GET targets 1 second)
    set_target_properties(${second} PROPERTIES EXPORT_NAME ${name}_shared)
    add_library(OruRTCSupport::${name}_shared ALIAS ${second})
  endif()
  if(NOT ORU_SHIPPED)
    return()
  endif()

  install(TARGETS ${targets} EXPORT OruRTCSupport-${name}
    ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT development
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT runtime NAMELINK_COMPONENT development
    INCLUDES DESTINATION "${ORU_INCLUDE_DIR}")
  install(EXPORT OruRTCSupport-${name} NAMESPACE OruRTCSupport:: FILE OruRTCSupport-${name}.cmake
    DESTINATION "${ORU_CMAKE_DIR}" COMPONENT development)
  foreach(header IN LISTS arg_HEADERS)
    cmake_path(GET header PARENT_PATH folder)
    install(FILES "${PROJECT_SOURCE_DIR}/${header}" DESTINATION "${ORU_INCLUDE_DIR}/${folder}" COMPONENT development)
  endforeach()
  oru_install_pkg_config()
endfunction()

# Parts of oru_install_library: what one form links besides.
macro(oru_finish_static target)
  target_link_libraries(${target} INTERFACE $<LINK_ONLY:Threads::Threads>)
  if(APPLE)
    foreach(framework IN LISTS arg_FRAMEWORKS)
      target_link_libraries(${target} INTERFACE "$<LINK_ONLY:-framework ${framework}>")
    endforeach()
  endif()
  if(arg_FOUNDATION)
    target_link_libraries(${target} INTERFACE $<LINK_ONLY:$<INSTALL_INTERFACE:OruRTCSupport::foundation>>
      $<LINK_ONLY:$<BUILD_INTERFACE:oru_foundation>>)
  endif()
endmacro()

macro(oru_finish_shared target)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    # They lie side by side in the build too: no path of it gets into a file.
    INSTALL_RPATH "${ORU_LIBRARY_RPATH}" BUILD_WITH_INSTALL_RPATH ON)
  target_link_libraries(${target} PRIVATE Threads::Threads)
  if(APPLE)
    foreach(framework IN LISTS arg_FRAMEWORKS)
      target_link_libraries(${target} PRIVATE "-framework ${framework}")
    endforeach()
  endif()
  if(arg_FOUNDATION)
    target_link_libraries(${target} PRIVATE oru_foundation)
  endif()
  if(NOT APPLE)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${PROJECT_SOURCE_DIR}/packaging/exports.map")
    # A library that needs what it does not link fails here. Sanitizers' functions are the program's.
    if(NOT ORU_SANITIZE)
      target_link_options(${target} PRIVATE LINKER:-z,defs)
    endif()
  endif()
endmacro()

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
  endforeach()
  string(REPLACE "LINKER:" "-Wl," ORU_PC_LINK_OPTION "${arg_LINK_OPTION}")
  set(ORU_PC_LIBS)
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
  # Where there are only archives nobody has to ask for them with --static.
  if(ORU_FORMS STREQUAL STATIC)
    list(APPEND ORU_PC_REQUIRES ${ORU_PC_REQUIRES_PRIVATE})
    set(ORU_PC_REQUIRES_PRIVATE)
    set(ORU_PC_LIBS " ${ORU_PC_LIBS_PRIVATE}")
    set(ORU_PC_LIBS_PRIVATE)
  endif()
  list(JOIN ORU_PC_REQUIRES ", " ORU_PC_REQUIRES)
  list(JOIN ORU_PC_REQUIRES_PRIVATE ", " ORU_PC_REQUIRES_PRIVATE)
  cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}/${ORU_PKGCONFIG_DIR}" OUTPUT_VARIABLE ORU_PC_PREFIX)
  set_property(GLOBAL PROPERTY ORU_PC_OF_${name} "${ORU_PC_NAME}")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/library.pc.in" "${PROJECT_BINARY_DIR}/packaged/${ORU_PC_NAME}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/packaged/${ORU_PC_NAME}.pc"
    DESTINATION "${ORU_PKGCONFIG_DIR}" COMPONENT development)
endmacro()

# oru_install_compressed(FILE NAME DESTINATION COMPONENT [EXCLUDE_FROM_ALL]): installs FILE as NAME.gz.
function(oru_install_compressed file name destination component)
  set(output "${PROJECT_BINARY_DIR}/packaged/${component}/${name}.gz")
  cmake_path(GET output PARENT_PATH folder)
  file(MAKE_DIRECTORY "${folder}")
  add_custom_command(OUTPUT "${output}" COMMAND "${ORU_GZIP}" -9nc "${file}" > "${output}" DEPENDS "${file}" VERBATIM)
  string(MAKE_C_IDENTIFIER "compressed_${component}_${name}" target)
  add_custom_target(${target} ALL DEPENDS "${output}")
  add_dependencies(oru_packaged ${target})
  install(FILES "${output}" DESTINATION "${destination}" COMPONENT ${component} ${ARGN})
endfunction()
