# minizip, as the target oru_minizip with its headers under <minizip/...>.
# macOS has none, and what is shipped there must not need another library: it is compiled in from its sources, the folder
# contrib/minizip of zlib's (scripts/install-deps lays them down). Elsewhere it is the system's library.
if(APPLE)
  set(oru_minizip_default "${PROJECT_SOURCE_DIR}/build/deps/minizip")
else()
  set(oru_minizip_default "")
endif()
set(ORU_MINIZIP_SOURCE "${oru_minizip_default}" CACHE PATH
  "Folder 'minizip' with zip.c and ioapi.c of zlib's contrib/minizip; empty: the system's library")

if(ORU_MINIZIP_SOURCE)
  if(NOT EXISTS "${ORU_MINIZIP_SOURCE}/zip.c")
    message(FATAL_ERROR "There is no minizip source in ORU_MINIZIP_SOURCE='${ORU_MINIZIP_SOURCE}': "
      "run scripts/install-deps, or build without the examples (-DORU_BUILD_EXAMPLES=OFF).")
  endif()
  add_library(oru_minizip STATIC "${ORU_MINIZIP_SOURCE}/zip.c" "${ORU_MINIZIP_SOURCE}/ioapi.c")
  set_target_properties(oru_minizip PROPERTIES C_VISIBILITY_PRESET hidden)
  cmake_path(GET ORU_MINIZIP_SOURCE PARENT_PATH oru_minizip_parent)
  target_include_directories(oru_minizip SYSTEM INTERFACE "${oru_minizip_parent}")
  # Not this project's code: its warnings are its own. Only archives without passwords are written.
  target_compile_options(oru_minizip PRIVATE -w)
  target_compile_definitions(oru_minizip PRIVATE NOCRYPT)
  target_link_libraries(oru_minizip PUBLIC ZLIB::ZLIB)
else()
  find_path(ORU_MINIZIP_INCLUDE minizip/zip.h REQUIRED)
  find_library(ORU_MINIZIP minizip REQUIRED)
  add_library(oru_minizip INTERFACE)
  target_include_directories(oru_minizip SYSTEM INTERFACE "${ORU_MINIZIP_INCLUDE}")
  target_link_libraries(oru_minizip INTERFACE "${ORU_MINIZIP}")
endif()
