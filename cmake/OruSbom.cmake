# What the installed files are linked with, as SPDX 2.3 (tag-value), from what the targets themselves link.
#
# oru_install_sbom(TARGETS target... COMPONENTS component...) writes it once and installs a copy with each component.

# Adds to the global property ORU_SBOM_LINKS what TARGET links, through targets of the build, each once.
function(oru_sbom_collect target)
  get_property(seen GLOBAL PROPERTY ORU_SBOM_SEEN)
  if(target IN_LIST seen)
    return()
  endif()
  set_property(GLOBAL APPEND PROPERTY ORU_SBOM_SEEN ${target})
  set(links)
  foreach(property LINK_LIBRARIES INTERFACE_LINK_LIBRARIES)
    get_target_property(some ${target} ${property})
    if(some)
      list(APPEND links ${some})
    endif()
  endforeach()
  foreach(link IN LISTS links)
    # As the build links; other expressions are of the installed tree.
    while(link MATCHES "^\\$<(LINK_ONLY|BUILD_INTERFACE):(.*)>$")
      set(link "${CMAKE_MATCH_2}")
    endwhile()
    if(link MATCHES "^\\$<|^::@|^Threads::Threads$")
      continue()
    endif()
    set(file)
    if(TARGET ${link})
      get_target_property(imported ${link} IMPORTED)
      if(imported)
        get_target_property(file ${link} IMPORTED_LOCATION)
        if(NOT file)
          get_target_property(file ${link} IMPORTED_LOCATION_RELEASE)
        endif()
      endif()
      oru_sbom_collect(${link})
    endif()
    if(file)
      set_property(GLOBAL APPEND PROPERTY ORU_SBOM_LINKS "${file}")
    elseif(TARGET ${link})
      continue()
    else()
      set_property(GLOBAL APPEND PROPERTY ORU_SBOM_LINKS "${link}")
    endif()
  endforeach()
endfunction()

# Sets NAME and VERSION in the caller: libz and 1.2.13 of /usr/lib/libz.so, Foundation of "-framework Foundation".
function(oru_sbom_describe link)
  set(version NOASSERTION)
  if(IS_ABSOLUTE "${link}")
    file(REAL_PATH "${link}" file)
    cmake_path(GET file FILENAME file)
    if(file MATCHES "(\\.so\\.|-)([0-9][0-9.]*[0-9])(\\.so)?$")
      set(version "${CMAKE_MATCH_2}")
    endif()
    cmake_path(GET link STEM name)
  elseif(link MATCHES "^-framework (.*)")
    set(name "${CMAKE_MATCH_1}")
  else()
    string(REGEX REPLACE "^-l" "" name "${link}")
    string(PREPEND name lib)
  endif()
  set(name "${name}" PARENT_SCOPE)
  set(version "${version}" PARENT_SCOPE)
endfunction()

function(oru_install_sbom)
  cmake_parse_arguments(arg "" "" "TARGETS;COMPONENTS" ${ARGN})
  foreach(target IN LISTS arg_TARGETS)
    oru_sbom_collect(${target})
  endforeach()
  get_property(links GLOBAL PROPERTY ORU_SBOM_LINKS)
  # The compiler adds the C and C++ libraries itself; gcc is the part of its support library that is compiled in, dl a part
  # of the C library.
  set(implicit ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
  # CMake does not find them out beside a toolchain file's flags.
  if(NOT implicit AND NOT APPLE)
    set(implicit stdc++ m gcc_s c)
  endif()
  list(APPEND links ${implicit})
  list(FILTER links EXCLUDE REGEX "^(gcc|dl|.*\\.o)$")
  list(REMOVE_DUPLICATES links)

  # SOURCE_DATE_EPOCH, where it is set, makes this the same each time.
  string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
  set(text "SPDXVersion: SPDX-2.3
DataLicense: CC0-1.0
SPDXID: SPDXRef-DOCUMENT
DocumentName: oru-rtc-support-${PROJECT_VERSION}
DocumentNamespace: https://oru-rtc.example/spdx/oru-rtc-support-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}
Creator: Organization: OruRTC support maintainers
Created: ${created}
Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-oru-rtc-support
")
  oru_sbom_package(oru-rtc-support "${PROJECT_VERSION}" "Organization: OruRTC support maintainers" NONE)
  set(names oru-rtc-support)
  foreach(link IN LISTS links)
    oru_sbom_describe("${link}")
    if(name IN_LIST names)
      continue()
    endif()
    list(APPEND names "${name}")
    oru_sbom_package("${name}" "${version}" NOASSERTION NOASSERTION)
    string(APPEND text "Relationship: SPDXRef-oru-rtc-support DYNAMIC_LINK SPDXRef-${id}\n")
  endforeach()
  set(file "${PROJECT_BINARY_DIR}/packaged/oru-rtc-support.spdx")
  file(WRITE "${file}" "${text}")
  foreach(component IN LISTS arg_COMPONENTS)
    install(FILES "${file}" RENAME "${component}.spdx" DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/oru-rtc-support"
      COMPONENT ${component})
  endforeach()
endfunction()

# Part of oru_install_sbom: one package. No licence has been granted for this one.
macro(oru_sbom_package package package_version supplier license)
  string(REGEX REPLACE "[^A-Za-z0-9.-]" "-" id "${package}")
  string(APPEND text "
PackageName: ${package}
SPDXID: SPDXRef-${id}
PackageVersion: ${package_version}
PackageSupplier: ${supplier}
PackageDownloadLocation: NOASSERTION
FilesAnalyzed: false
PackageLicenseConcluded: NOASSERTION
PackageLicenseDeclared: ${license}
PackageCopyrightText: NOASSERTION
")
endmacro()
