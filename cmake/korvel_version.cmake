# KORVEL_VERSION, from the one place that has it.
file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/src/base/version.h line REGEX "kServiceVersion\\[\\] = ")
string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" KORVEL_VERSION "${line}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/base/version.h)
