# Flags that make a fault in plinth harder to exploit: checks that the compiler adds, memory that can't
# be written or executed. For plinth's own targets in optimised builds on Linux; docs/building.md
# describes each flag. The linker of the Windows build does this by default.
option(PLINTH_HARDENING "Harden optimised builds: stack protector, fortified functions, ..." ON)
if(NOT PLINTH_HARDENING OR PLINTH_SANITIZE OR WIN32)
  return()
endif()
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
set(optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

# Clang only warns of one that it ignores.
set(CMAKE_REQUIRED_QUIET ON)
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(flag IN ITEMS -fstack-protector-strong -fstack-clash-protection -fcf-protection=full)
  string(MAKE_C_IDENTIFIER PLINTH_HAS${flag} known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(plinth_private INTERFACE $<${optimised}:${flag}>)
  endif()
endforeach()

# Compiler and C library warn of a level that they don't have.
set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("
  #include <features.h>
  #if __USE_FORTIFY_LEVEL != 3
  #error
  #endif
  int main() {}" PLINTH_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
unset(CMAKE_REQUIRED_QUIET)
set(level 2)
if(PLINTH_HAS_FORTIFY_3)
  set(level 3)
endif()
# The compiler's own level, or that of the flags from outside, would be another definition.
target_compile_options(plinth_private INTERFACE
  $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=${level}>)

target_link_options(plinth_private INTERFACE
  $<${optimised}:-Wl,-z,relro,-z,now,-z,noexecstack,-z,separate-code>
  $<$<AND:${optimised},$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>>:-pie>)
