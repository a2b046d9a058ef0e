# Sets KORVEL_VERSION from src/base/version.h, the only place that states it.
file(STRINGS ${CMAKE_CURRENT_SOURCE_DIR}/src/base/version.h line REGEX "kServiceVersion\\[\\] = ")
string(REGEX REPLACE ".*\"([0-9.]+)\".*" "\\1" KORVEL_VERSION "${line}")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/src/base/version.h)
