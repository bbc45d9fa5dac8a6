# What is shipped is compiled and linked with the usual guards: a stack that is overrun ends the program, so do copies
# into buffers whose size the compiler knows, the tables that calls go through are read-only before the program runs.
# Between these two calls every target is guarded, in builds that optimise (the checks of copies need that). Tests are not:
# they overrun and damage things on purpose.
option(ORU_HARDEN "Guard what is shipped: stack protector, checked copies, read-only relocations" ON)

macro(oru_begin_hardening)
  get_directory_property(oru_plain_compile_options COMPILE_OPTIONS)
  get_directory_property(oru_plain_link_options LINK_OPTIONS)
  # Sanitizers find more, and do not stand checked copies.
  if(ORU_HARDEN AND NOT ORU_SANITIZE AND NOT ORU_COVERAGE)
    set(oru_optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")
    add_compile_options("$<${oru_optimised}:-fstack-protector-strong>")
    # Without the compiler's own setting, which some of Debian's bring along.
    add_compile_options("$<${oru_optimised}:SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>")
    if(NOT APPLE)
      add_compile_options("$<${oru_optimised}:-fstack-clash-protection>")
      add_link_options("$<${oru_optimised}:LINKER:-z,relro,-z,now,-z,noexecstack>")
      if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
        add_compile_options("$<${oru_optimised}:-fcf-protection=full>")
      endif()
    endif()
  endif()
endmacro()

macro(oru_end_hardening)
  set_directory_properties(PROPERTIES COMPILE_OPTIONS "${oru_plain_compile_options}" LINK_OPTIONS "${oru_plain_link_options}")
endmacro()
