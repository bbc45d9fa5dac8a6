# Part of macos-cross.cmake: how run paths are given to the linker.
foreach(lang C CXX OBJCXX)
  set(CMAKE_SHARED_LIBRARY_RUNTIME_${lang}_FLAG "-Wl,-rpath,")
endforeach()
