# Scripts that pages run are files of their own, so that editors, syntax checks and tests see JavaScript. The build
# writes each of them into a header.

# skripte_einbetten(<target> <files...>)
# <name>.js becomes the std::string_view quillmate::skripte::<name> of the header "skripte/<name>.h", which only
# <target> finds.
function(skripte_einbetten ziel)
  set(wurzel "${CMAKE_CURRENT_BINARY_DIR}/eingebettet")
  foreach(skript IN LISTS ARGN)
    get_filename_component(name "${skript}" NAME_WE)
    set(kopf "${wurzel}/skripte/${name}.h")
    add_custom_command(
      OUTPUT "${kopf}"
      COMMAND "${CMAKE_COMMAND}" "-DSKRIPT=${CMAKE_CURRENT_SOURCE_DIR}/${skript}" "-DNAME=${name}" "-DKOPF=${kopf}"
              -P "${CMAKE_SOURCE_DIR}/cmake/skript_einbetten.cmake"
      DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${skript}" "${CMAKE_SOURCE_DIR}/cmake/skript_einbetten.cmake"
      VERBATIM)
    target_sources(${ziel} PRIVATE "${kopf}")
  endforeach()
  target_include_directories(${ziel} PRIVATE "${wurzel}")
endfunction()
