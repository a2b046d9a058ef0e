# korvel_resources(<target> ENGLISH <description> RUSSIAN <description>): gives a Windows program its icon, its version in
# both languages and its manifest. The version is the one of src/base/version.h.
set(KORVEL_RESOURCES ${CMAKE_SOURCE_DIR}/packaging/windows)

function(korvel_resources target)
  cmake_parse_arguments(ARG "" "ENGLISH;RUSSIAN" "" ${ARGN})
  string(REPLACE "." "," numbers "${KORVEL_VERSION},0")
  set(manifest ${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  configure_file(${KORVEL_RESOURCES}/application.manifest.in ${manifest} @ONLY)
  configure_file(${KORVEL_RESOURCES}/version.rc.in ${script} @ONLY)
  set_property(SOURCE ${script} PROPERTY OBJECT_DEPENDS ${manifest} ${KORVEL_RESOURCES}/korvel.ico)
  target_sources(${target} PRIVATE ${script})
endfunction()
