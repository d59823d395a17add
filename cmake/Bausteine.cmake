# The building blocks of the tree. One call of kern_bibliothek() names a folder's public headers and its
# permitted neighbours, so the build files draw the architecture.
#
# A header is found as "<folder>/<header>.h" only by targets that link the folder's library: every library has
# an include root of its own, build/.../einbinden/<name>, that holds links to its public headers and nothing else.
# An include against the arrows therefore does not compile.

# A folder below src/ is one target, and its path is its include prefix: src/adapter/gtk is quillmate_adapter_gtk, and
# its headers are "adapter/gtk/....h". The name that a call gives must be that one.
#
# kern_bibliothek(<name> [VORSATZ <prefix>] [OBJEKT] KOPF <headers...> QUELLEN <sources...>
#                 [BRAUCHT <libraries...>] [INTERN <libraries...>])
#   VORSATZ  for folders outside of src/, the folder part of the include path; by default <name>
#   OBJEKT   its objects go into every program that links it, asked for or not. From an archive the linker takes a
#            replacement of a shared library's function only by chance.
#   KOPF     public headers, relative to the folder
#   BRAUCHT  libraries whose types appear in the public headers
#   INTERN   libraries that only the sources use
function(kern_bibliothek name)
  cmake_parse_arguments(B "OBJEKT" "VORSATZ" "KOPF;QUELLEN;BRAUCHT;INTERN" ${ARGN})
  file(RELATIVE_PATH ordner "${CMAKE_SOURCE_DIR}/src" "${CMAKE_CURRENT_SOURCE_DIR}")
  if(NOT ordner MATCHES "^\\.\\.")
    string(REPLACE "/" "_" erwartet "${ordner}")
    if(NOT name STREQUAL erwartet OR B_VORSATZ)
      message(FATAL_ERROR "src/${ordner} is the target ${erwartet}, not ${name}, and has no other prefix.")
    endif()
    set(B_VORSATZ "${ordner}")
  elseif(NOT B_VORSATZ)
    set(B_VORSATZ ${name})
  endif()
  set(wurzel "${CMAKE_BINARY_DIR}/einbinden/${name}")
  file(REMOVE_RECURSE "${wurzel}")
  file(MAKE_DIRECTORY "${wurzel}/${B_VORSATZ}")
  foreach(kopf IN LISTS B_KOPF)
    get_filename_component(datei "${kopf}" NAME)
    file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}/${kopf}" "${wurzel}/${B_VORSATZ}/${datei}" SYMBOLIC)
  endforeach()
  if(B_OBJEKT)
    add_library(quillmate_${name}_objekte OBJECT ${B_QUELLEN} ${B_KOPF})
    target_include_directories(quillmate_${name}_objekte PUBLIC "${wurzel}")
    target_link_libraries(quillmate_${name}_objekte PUBLIC Quillmate::schalter ${B_BRAUCHT} PRIVATE ${B_INTERN})
    add_library(quillmate_${name} INTERFACE)
    target_sources(quillmate_${name} INTERFACE "$<TARGET_OBJECTS:quillmate_${name}_objekte>")
    target_include_directories(quillmate_${name} INTERFACE "${wurzel}")
    target_link_libraries(quillmate_${name} INTERFACE Quillmate::schalter ${B_BRAUCHT} ${B_INTERN})
  elseif(B_QUELLEN)
    add_library(quillmate_${name} STATIC ${B_QUELLEN} ${B_KOPF})
    target_include_directories(quillmate_${name} PUBLIC "${wurzel}")
    target_link_libraries(quillmate_${name} PUBLIC Quillmate::schalter ${B_BRAUCHT} PRIVATE ${B_INTERN})
  else()
    add_library(quillmate_${name} INTERFACE)
    target_include_directories(quillmate_${name} INTERFACE "${wurzel}")
    target_link_libraries(quillmate_${name} INTERFACE Quillmate::schalter ${B_BRAUCHT})
  endif()
  add_library(Quillmate::${name} ALIAS quillmate_${name})
endfunction()

# quillmate_test(<name> [OHNE_LECKSUCHE] QUELLEN <sources...> BRAUCHT <libraries...>)
# One GoogleTest program; every test case becomes a CTest test of its own.
#   OHNE_LECKSUCHE  for programs with GTK and the web engine, which keep what they have until the process ends;
#                   AddressSanitizer's other checks stay.
function(quillmate_test name)
  cmake_parse_arguments(T "OHNE_LECKSUCHE" "" "QUELLEN;BRAUCHT" ${ARGN})
  add_executable(test_${name} ${T_QUELLEN})
  target_link_libraries(test_${name} PRIVATE Quillmate::schalter ${T_BRAUCHT} GTest::gtest GTest::gmock GTest::gtest_main)
  target_include_directories(test_${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
  set_target_properties(test_${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests"
    QUILLMATE_TEST ON)
  set(umgebung)
  if(T_OHNE_LECKSUCHE)
    set(umgebung ENVIRONMENT ASAN_OPTIONS=detect_leaks=0)
  endif()
  gtest_discover_tests(test_${name}
    TEST_PREFIX "${name}/"
    # The label must not be empty, or CTest takes the next word for it.
    PROPERTIES TIMEOUT 240 LABELS "${name}" ${umgebung}
    DISCOVERY_TIMEOUT 120)
endfunction()
