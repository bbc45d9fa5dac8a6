# oru_share_headers(TARGET...): what these libraries, those of them that there are, include of the C++ library is compiled once
# for all of them, where ORU_SHARE_HEADERS asks for it: in builds that are only tested. In the others, and for clang-tidy, each
# source shows that it includes what it uses. Called where the libraries' own options are in force.
option(ORU_SHARE_HEADERS "Compile the C++ library's headers only once for the products' libraries" OFF)

function(oru_share_headers)
  if(NOT ORU_SHARE_HEADERS)
    return()
  endif()
  if(NOT TARGET oru_product_headers)
    # A library that hides its internals, as the others do: the compiler wants the same of all.
    add_library(oru_product_headers STATIC EXCLUDE_FROM_ALL "${PROJECT_SOURCE_DIR}/media_core/common/webrtc/rtc_base/version.cc")
    oru_hide_internals(oru_product_headers)
    target_link_libraries(oru_product_headers PRIVATE oru_options Threads::Threads)
    target_precompile_headers(oru_product_headers PRIVATE <algorithm> <atomic> <cstdint> <cstring> <functional> <map>
      <memory> <mutex> <string> <string_view> <thread> <vector>)
  endif()
  foreach(target IN LISTS ARGN)
    if(NOT TARGET ${target})
      continue()
    endif()
    target_precompile_headers(${target} REUSE_FROM oru_product_headers)
    # Another language, and options of its own, have headers of their own.
    get_target_property(folder ${target} SOURCE_DIR)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
      if(source MATCHES "(\\.mm|/interrupted_threads_linux\\.cc)$")
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY "${folder}")
        set_property(SOURCE "${source}" TARGET_DIRECTORY ${target} PROPERTY SKIP_PRECOMPILE_HEADERS ON)
      endif()
    endforeach()
  endforeach()
endfunction()
