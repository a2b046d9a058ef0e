# One interface target carries the language level, the warnings and the hardening of all our own code.
add_library(korvel_flags INTERFACE)
target_compile_features(korvel_flags INTERFACE cxx_std_20)
target_compile_options(korvel_flags INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor
  -ffunction-sections -fdata-sections -fno-strict-aliasing)
# A compiler that is newer than the ones we know may warn of more; whoever only builds is not held up by that.
if(KORVEL_WERROR)
  target_compile_options(korvel_flags INTERFACE -Werror)
endif()
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "" FORCE)
# Builds for tests carry the debug information that their reports need, and optimise only the product's own
# rooms (korvel_room), and only these trap undefined behaviour under Windows: compiling the tests takes most of the time
# of a test run, and their pure half and that of the tools run natively with the whole sanitizer.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-g1" CACHE STRING "" FORCE)
set(CMAKE_CXX_FLAGS_DEBUG "-g1" CACHE STRING "" FORCE)

if(WIN32)
  # Windows 10 and the W forms; base/win.h sets the lean and no-min-max macros.
  target_compile_definitions(korvel_flags INTERFACE _WIN32_WINNT=0x0A00 UNICODE _UNICODE)
  target_link_options(korvel_flags INTERFACE -static -Wl,--gc-sections)
  if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # No variable begins with what lay on the stack. No path of the checkout and no time of the build gets into the
    # executables: the same commit gives the same bytes anywhere. Large frames are probed page by page on Windows anyway;
    # -fstack-clash-protection would add nothing, and this GCC fails on it.
    target_compile_options(korvel_flags INTERFACE -fstack-protector-strong
      -ftrivial-auto-var-init=zero -ffile-prefix-map=${CMAKE_SOURCE_DIR}=.)
    target_link_options(korvel_flags INTERFACE -Wl,--no-insert-timestamp -Wl,--dynamicbase -Wl,--high-entropy-va
      -Wl,--nxcompat)
    target_compile_definitions(korvel_flags INTERFACE _FORTIFY_SOURCE=2)
    target_link_options(korvel_flags INTERFACE -fstack-protector-strong -s)
  else()
    target_compile_definitions(korvel_flags INTERFACE _GLIBCXX_ASSERTIONS)
  endif()
else()
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(korvel_flags INTERFACE -Wthread-safety)
  endif()
  if(KORVEL_SANITIZE)
    # For every target, GoogleTest included, so that container checks agree across libraries.
    add_compile_options(-fsanitize=${KORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KORVEL_SANITIZE})
    target_compile_definitions(korvel_flags INTERFACE _GLIBCXX_ASSERTIONS)
  endif()
  # What a fuzzer finds grows with the number of inputs it tries, so its targets are optimised as a whole.
  if(KORVEL_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link -O2)
    target_compile_definitions(korvel_flags INTERFACE _GLIBCXX_ASSERTIONS)
  endif()
  find_package(Threads REQUIRED)
  target_link_libraries(korvel_flags INTERFACE Threads::Threads)
endif()

# Lines that run are counted. Clang counts in everything that includes our headers. GCC under Wine counts only in the
# rooms (korvel_room), so that the test programs come from the compiler cache.
if(KORVEL_COVERAGE)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(korvel_flags INTERFACE -fprofile-instr-generate -fcoverage-mapping)
    target_link_options(korvel_flags INTERFACE -fprofile-instr-generate)
  else()
    target_link_options(korvel_flags INTERFACE --coverage)
  endif()
endif()
