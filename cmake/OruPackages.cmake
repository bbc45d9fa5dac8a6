# The two Debian packages, made by CPack (scripts/package): the command, and the development files.
set(ORU_MAINTAINER "OruRTC support maintainers <maintainers@oru-rtc.example>")
set(ORU_COMMAND_PACKAGE varnook)
set(ORU_DEVELOPMENT_PACKAGE liboru-rtc-support-dev)

# What Debian asks for in every package.
foreach(component command development)
  string(TOUPPER "ORU_${component}_PACKAGE" ORU_PACKAGE)
  set(ORU_PACKAGE "${${ORU_PACKAGE}}")
  set(changelog "${PROJECT_BINARY_DIR}/packaged/${component}/changelog")
  configure_file("${PROJECT_SOURCE_DIR}/packaging/debian/changelog.in" "${changelog}" @ONLY)
  set(documents "${CMAKE_INSTALL_DATADIR}/doc/${ORU_PACKAGE}")
  oru_install_compressed("${changelog}" changelog "${documents}" ${component})
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/copyright" DESTINATION "${documents}" COMPONENT ${component})
endforeach()

install(FILES "${PROJECT_SOURCE_DIR}/packaging/debian/lintian-overrides"
  DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME ${ORU_DEVELOPMENT_PACKAGE} COMPONENT development)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME oru-rtc-support)
# Each package has a summary of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VENDOR "OruRTC support maintainers")
set(CPACK_PACKAGE_CONTACT "${ORU_MAINTAINER}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL command development)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ORU_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries that the files are linked with, at the versions of the machine that builds.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

set(CPACK_DEBIAN_COMMAND_PACKAGE_NAME ${ORU_COMMAND_PACKAGE})
set(CPACK_DEBIAN_COMMAND_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_COMMAND_DESCRIPTION "upload a real-time-communication SDK's logs
The command varnook is installed beside an SDK and runs as a process of its
own, so that logs leave the machine even when the app that made them is gone.

The command oru-report lists and shows the crash reports that the SDK's crash
capture leaves behind.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${ORU_DEVELOPMENT_PACKAGE})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
# What programs with crash capture are linked with.
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libc6-dev, libgnustep-base-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "support libraries of a real-time-communication SDK
The runtime base (logging, checks, locks, events, threads, tracing, encodings,
clocks), general utilities and crash capture.

This package has the libraries in static and shared form, the headers, a CMake
package (OruRTCSupport) and pkg-config files.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/packaging/debian/triggers")

include(CPack)
