# The Debian packages, made by CPack (scripts/package): the shared libraries, the development files, the commands, the
# documents; and the debugging symbols of a build that has them.
# What Debian wants in a package is in components of its own that an ordinary installation leaves out.
if(NOT EXISTS /etc/debian_version OR NOT ORU_BUILD_COMMANDS OR NOT ORU_BUILD_CRASH_HANDLER OR DEFINED BUILD_SHARED_LIBS)
  return()
endif()

set(ORU_MAINTAINER "OruRTC support maintainers <maintainers@oru-rtc.example>")
set(ORU_PACKAGE_OF_command varnook)
set(ORU_PACKAGE_OF_runtime "liboru-rtc-support${PROJECT_VERSION_MAJOR}")
set(ORU_PACKAGE_OF_development liboru-rtc-support-dev)
set(ORU_PACKAGE_OF_documents liboru-rtc-support-doc)

set(CPACK_COMPONENTS_ALL)
foreach(component command runtime development documents)
  set(ORU_PACKAGE "${ORU_PACKAGE_OF_${component}}")
  set(changelog "${PROJECT_BINARY_DIR}/packaged/${component}/changelog")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in" "${changelog}" @ONLY)
  set(documents "${CMAKE_INSTALL_DATADIR}/doc/${ORU_PACKAGE}")
  oru_install_compressed("${changelog}" changelog "${documents}" ${component}_debian EXCLUDE_FROM_ALL)
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright" DESTINATION "${documents}"
    COMPONENT ${component}_debian EXCLUDE_FROM_ALL)
  set(overrides "${PROJECT_SOURCE_DIR}/packaging/debian/${component}.lintian-overrides")
  if(EXISTS "${overrides}")
    install(FILES "${overrides}" DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME ${ORU_PACKAGE}
      COMPONENT ${component}_debian EXCLUDE_FROM_ALL)
  endif()
  list(APPEND CPACK_COMPONENTS_ALL ${component} ${component}_debian)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENT_${upper}_GROUP ${component}_package)
  set(CPACK_COMPONENT_${upper}_DEBIAN_GROUP ${component}_package)
  set(CPACK_DEBIAN_${upper}_PACKAGE_PACKAGE_NAME ${ORU_PACKAGE})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oru-rtc-support)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VENDOR "OruRTC support maintainers")
set(CPACK_PACKAGE_CONTACT "${ORU_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ORU_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries that the files are linked with, at the versions of the machine that builds.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMAND_PACKAGE_DESCRIPTION "upload a real-time-communication SDK's logs
The command varnook is installed beside an SDK and runs as a process of its
own, so that logs leave the machine even when the app that made them is gone.

The command oru-report lists and shows the crash reports that the SDK's crash
capture leaves behind.")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DESCRIPTION "support libraries of a real-time-communication SDK
The runtime base (logging, checks, locks, events, threads, tracing, encodings,
clocks), general utilities and crash capture.

This package has the shared libraries.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# Packages that others make run with this version and every later one.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/triggers")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_PACKAGE_SECTION libdevel)
# What programs with crash capture are linked with.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_PACKAGE_DEPENDS
  "${ORU_PACKAGE_OF_runtime} (= ${PROJECT_VERSION}), libc6-dev, libgnustep-base-dev")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DESCRIPTION "development files of a real-time-communication SDK's support
The runtime base (logging, checks, locks, events, threads, tracing, encodings,
clocks), general utilities and crash capture.

This package has the static libraries, the headers, a CMake package
(OruRTCSupport) and pkg-config files.")

set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DOCUMENTS_PACKAGE_DESCRIPTION "documents of a real-time-communication SDK's support
How to log, trace, capture crashes and upload with the libraries and the
commands: guides with programs that are tried in the project's tests.")

if(CMAKE_BUILD_TYPE STREQUAL RelWithDebInfo)
  # The symbols are taken out into packages of their own.
  set(CPACK_STRIP_FILES OFF)
  foreach(component COMMAND RUNTIME)
    set(CPACK_DEBIAN_${component}_PACKAGE_DEBUGINFO_PACKAGE ON)
  endforeach()
endif()

include(CPack)
