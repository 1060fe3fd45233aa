# How every target of the tree is made: one set of flags, one naming rule.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Part of another build, that one decides.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Paths told from the top of the tree (below) are there so that folders do not matter; they keep no two folders from
  # sharing what was compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER env "CCACHE_IGNOREOPTIONS=-ffile-prefix-map=*" "${CCACHE_PROGRAM}")
endif()

# Which vector kernels there are. Every 64-bit ARM processor has NEON, and NEON is what the tests run there: it is the one
# set, nothing is chosen at run time and nothing of Highway is linked. The second name switches off what Highway would
# otherwise allow itself beyond that, the instructions for encryption, which older processors lack.
set(TUMBLEWASH_SIMD_DEFINITIONS)
if(NOT TUMBLEWASH_SIMD)
  set(TUMBLEWASH_SIMD_DEFINITIONS TUMBLEWASH_NO_SIMD=1)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(TUMBLEWASH_SIMD_DEFINITIONS HWY_COMPILE_ONLY_STATIC=1 TOOLCHAIN_MISS_SYS_AUXV_H=1)
endif()

# The flags that hold everywhere. Arithmetic is never fused: every target must give the same bytes.
add_library(tumblewash_flags INTERFACE)
target_compile_options(tumblewash_flags INTERFACE
  -ffp-contract=off -Wall -Wextra -Wpedantic -Wconversion
  # g++ 12 takes a text put before a std::string for overlapping copies (its report 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<BOOL:${TUMBLEWASH_WERROR}>:-Werror>)
target_include_directories(tumblewash_flags INTERFACE "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
target_compile_definitions(tumblewash_flags INTERFACE
  $<$<BOOL:${SI_DEBUG}>:SI_DEBUG=1> ${TUMBLEWASH_SIMD_DEFINITIONS})
if(TUMBLEWASH_SANITIZE)
  target_compile_options(tumblewash_flags INTERFACE
    -fsanitize=${TUMBLEWASH_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tumblewash_flags INTERFACE -fsanitize=${TUMBLEWASH_SANITIZE})
endif()

# What Debian's own packages are hardened with, and control-flow protection where the processor has it. Paths are told
# from the top of the tree, so that builds in different folders are equal to the byte. None of it for the sources of tests
# and for sanitizers, which guard memory in their own way.
include(CheckPIESupported)
check_pie_supported()
if(NOT TUMBLEWASH_SANITIZE)
  set(optimised_builds "Release,RelWithDebInfo,MinSizeRel")
  set(installed "$<NOT:$<BOOL:$<TARGET_PROPERTY:TUMBLEWASH_TEST>>>")
  set(hardening -fstack-protector-strong -Wformat -Werror=format-security)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
    list(APPEND hardening -fcf-protection)
  endif()
  set(paths "-ffile-prefix-map=${PROJECT_SOURCE_DIR}=." "-ffile-prefix-map=${PROJECT_BINARY_DIR}=./build")
  target_compile_options(tumblewash_flags INTERFACE
    "$<$<AND:${installed},$<CONFIG:${optimised_builds}>>:${hardening};${paths};-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(tumblewash_flags INTERFACE "$<${installed}:LINKER:-z,relro,-z,now>")
endif()

function(tw_add_room folder)
  if(EXISTS "${PROJECT_SOURCE_DIR}/${folder}/CMakeLists.txt")
    add_subdirectory(${folder})
  endif()
endfunction()

# tw_library(NAME [TOGETHER] SOURCES... USES targets...): the static library libNAME.a, alias tumblewash::NAME. TOGETHER: no
# two sources have a name in common, so that several may be compiled at once.
function(tw_library name)
  cmake_parse_arguments(ARG "TOGETHER" "" "SOURCES;USES;PRIVATE_USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  if(ARG_TOGETHER AND TUMBLEWASH_UNITY AND NOT TUMBLEWASH_UNITY STREQUAL "TESTS")
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON)
  endif()
  add_library(tumblewash::${name} ALIAS ${name})
  target_link_libraries(${name} PUBLIC ${ARG_USES} PRIVATE $<BUILD_INTERFACE:tumblewash_flags> ${ARG_PRIVATE_USES})
  target_include_directories(${name} PUBLIC "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>")
  # Part of another build, the headers ask the same of the targets there that an installed tree asks.
  if(NOT PROJECT_IS_TOP_LEVEL)
    target_compile_features(${name} PUBLIC cxx_std_20)
    target_compile_options(${name} PUBLIC -ffp-contract=off)
  endif()
endfunction()

# tw_register_test(NAME COMMAND ...): add_test under this build's prefix, so that one CTest run can hold several builds.
set(TUMBLEWASH_TEST_PREFIX "" CACHE STRING "Put before the name of every test")
function(tw_register_test name)
  add_test(NAME ${TUMBLEWASH_TEST_PREFIX}${name} ${ARGN})
  # Captions in tests depend on the fonts, not on how this machine is set up.
  set(environment "FONTCONFIG_FILE=set:${PROJECT_SOURCE_DIR}/tests/support/fonts.conf")
  if(CMAKE_CROSSCOMPILING OR TUMBLEWASH_SANITIZE)
    list(APPEND environment "TUMBLEWASH_SAMPLED=set:1")
  endif()
  if(TUMBLEWASH_SANITIZE MATCHES "address")
    list(APPEND environment
      "LSAN_OPTIONS=set:suppressions='${PROJECT_SOURCE_DIR}/tests/support/leaks.txt':print_suppressions=0")
  endif()
  set_tests_properties(${TUMBLEWASH_TEST_PREFIX}${name} PROPERTIES ENVIRONMENT_MODIFICATION "${environment}")
endfunction()

# The library of the machine, or for another machine the package's sources built along.
function(tw_find_googletest)
  if(TARGET GTest::gtest)
    return()
  endif()
  if(CMAKE_CROSSCOMPILING)
    set(INSTALL_GTEST OFF CACHE INTERNAL "")
    add_subdirectory(/usr/src/googletest "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL)
    foreach(part gtest gtest_main gmock)
      if(NOT TARGET GTest::${part})
        add_library(GTest::${part} ALIAS ${part})
      endif()
    endforeach()
  else()
    find_package(GTest REQUIRED)
  endif()
endfunction()

# tw_test_program(NAME [OPTIMISED] [TOGETHER]): what holds for the sources of tests. OPTIMISED: their own loops take long, so
# they are compiled as the build is. TOGETHER: as for libraries.
function(tw_test_program name)
  cmake_parse_arguments(ARG "OPTIMISED;TOGETHER" "" "" ${ARGN})
  set_target_properties(${name} PROPERTIES TUMBLEWASH_TEST ON)
  if(ARG_TOGETHER AND TUMBLEWASH_UNITY)
    set_target_properties(${name} PROPERTIES UNITY_BUILD ON)
    # Unity files are sources, not headers: what they define is theirs alone.
    target_compile_options(${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
  if(TUMBLEWASH_TEST_OPTIMISATION AND NOT ARG_OPTIMISED)
    target_compile_options(${name} PRIVATE ${TUMBLEWASH_TEST_OPTIMISATION})
  endif()
endfunction()

# tw_test(NAME [OPTIMISED] [TOGETHER] SOURCES... USES targets...): a GoogleTest program, registered as one CTest.
function(tw_test name)
  cmake_parse_arguments(ARG "OPTIMISED;TOGETHER" "TIMEOUT" "SOURCES;USES" ${ARGN})
  tw_find_googletest()
  add_executable(${name} ${ARG_SOURCES})
  set(how)
  foreach(word OPTIMISED TOGETHER)
    if(ARG_${word})
      list(APPEND how ${word})
    endif()
  endforeach()
  tw_test_program(${name} ${how})
  target_link_libraries(${name} PRIVATE tumblewash_flags tumblewash_emulated ${ARG_USES} GTest::gmock GTest::gtest GTest::gtest_main)
  tw_register_test(${name} COMMAND ${name})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 300)
    if(CMAKE_CROSSCOMPILING)
      set(ARG_TIMEOUT 3600)
    endif()
  endif()
  set_tests_properties(${TUMBLEWASH_TEST_PREFIX}${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
endfunction()

# tw_test_paths(SOURCES... DEFINE definitions...): where a test's files lie, told only to the sources that ask, so that
# a compiler cache finds the others again from any folder.
function(tw_test_paths)
  cmake_parse_arguments(ARG "" "" "DEFINE" ${ARGN})
  set_property(SOURCE ${ARG_UNPARSED_ARGUMENTS} APPEND PROPERTY COMPILE_DEFINITIONS ${ARG_DEFINE})
endfunction()

# Where the target machine has no LAPACK package, the two routines in use come from the tests.
if(CMAKE_CROSSCOMPILING)
  add_library(small_lapack STATIC "${PROJECT_SOURCE_DIR}/tests/support/SmallLapack.cpp")
  add_library(LAPACK::LAPACK ALIAS small_lapack)
endif()

# Linked into every program of the tests: what the emulator of another machine leaves out.
add_library(tumblewash_emulated INTERFACE)
if(CMAKE_CROSSCOMPILING AND CMAKE_SYSTEM_PROCESSOR STREQUAL "powerpc")
  target_sources(tumblewash_emulated INTERFACE "${PROJECT_SOURCE_DIR}/tests/support/FloatStatus.cpp")
endif()
