# Compiler switches of all our own targets, as one interface target: Quillmate::schalter.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

set(QUILLMATE_SANITIZER "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

find_program(CCACHE_PROGRAMM ccache)
if(CCACHE_PROGRAMM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER "${CCACHE_PROGRAMM}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAMM}")
endif()

add_library(quillmate_schalter INTERFACE)
add_library(Quillmate::schalter ALIAS quillmate_schalter)
target_compile_options(quillmate_schalter INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wnull-dereference -Wimplicit-fallthrough -Werror=return-type -Werror=switch
  # Designated initialisers leave members to their defaults on purpose.
  -Wno-missing-field-initializers)

# Hardening that costs next to nothing and turns a memory error in foreign bytes into an end of the process.
target_compile_definitions(quillmate_schalter INTERFACE _FILE_OFFSET_BITS=64 _GLIBCXX_ASSERTIONS)
target_compile_options(quillmate_schalter INTERFACE -fstack-protector-strong -fcf-protection)
target_link_options(quillmate_schalter INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)
# Test programs are built for speed of building: they run once, and what they test is built as ever.
# QUILLMATE_TEST is a property of theirs.
set(ist_test "$<BOOL:$<TARGET_PROPERTY:QUILLMATE_TEST>>")
if(QUILLMATE_SANITIZER)
  # Undefined behaviour is looked for in the program, not in its tests: there it doubles the time of compiling.
  string(REPLACE "," "$<COMMA>" sanitizer_des_programms "${QUILLMATE_SANITIZER}")
  string(REPLACE "$<COMMA>undefined" "" sanitizer_der_tests "${sanitizer_des_programms}")
  target_compile_options(quillmate_schalter INTERFACE
    -fsanitize=$<IF:${ist_test},${sanitizer_der_tests},${sanitizer_des_programms}>
    -fno-omit-frame-pointer -fno-sanitize-recover=all -g1 $<IF:${ist_test},-O0,-O1>)
  target_link_options(quillmate_schalter INTERFACE -fsanitize=${QUILLMATE_SANITIZER})
  # UndefinedBehaviorSanitizer's vptr check probes memory through a pipe. In a process without a free descriptor
  # (the search is tested in one) the probe fails, and a sound object is reported.
  if(QUILLMATE_SANITIZER MATCHES "undefined")
    target_compile_options(quillmate_schalter INTERFACE -fno-sanitize=vptr)
  endif()
  # g++ 12 warns about its own library's code under -fsanitize (false positives in std::string and std::regex).
  target_compile_options(quillmate_schalter INTERFACE -Wno-null-dereference -Wno-maybe-uninitialized)
elseif(CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
  target_compile_options(quillmate_schalter INTERFACE
    -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 "$<${ist_test}:-O1;-g1>")
endif()

# lld links the static PDF library several times faster than ld.
find_program(LLD_PROGRAMM ld.lld)
if(LLD_PROGRAMM)
  target_link_options(quillmate_schalter INTERFACE -fuse-ld=lld)
endif()
