# korvel_fuzz_target(<name> ROOMS <rooms>): tests/fuzz/<name>_fuzz.cpp with its seeds in tests/fuzz/corpus/<name>/.
#
# In the fuzz build it is a libFuzzer program. In every other native build it becomes <name>_replay, which runs
# the target once over every file it is given, so that the ordinary tests replay the corpus under the
# sanitizers without the fuzzer.
function(korvel_fuzz_target name)
  cmake_parse_arguments(ARG "" "" "ROOMS" ${ARGN})
  if(WIN32)
    return()
  endif()
  if(KORVEL_FUZZ)
    set(target ${name}_fuzz)
    add_executable(${target} ${name}_fuzz.cpp)
    target_link_options(${target} PRIVATE -fsanitize=fuzzer)
    set_property(GLOBAL APPEND PROPERTY KORVEL_FUZZ_TARGETS ${target})
  else()
    set(target ${name}_replay)
    add_executable(${target} ${name}_fuzz.cpp ${CMAKE_SOURCE_DIR}/tests/support/replay_main.cpp)
    set_property(GLOBAL APPEND PROPERTY KORVEL_TEST_TARGETS ${target})
  endif()
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/tests)
  foreach(room ${ARG_ROOMS})
    target_link_libraries(${target} PRIVATE korvel_${room})
  endforeach()
  set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
endfunction()
