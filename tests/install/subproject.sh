#!/usr/bin/env bash
# This tree as a part of another build, which keeps its own settings.  subproject.sh SOURCE_DIR CXX
set -euo pipefail
source=$1 cxx=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/parent"
cat >"$work/parent/CMakeLists.txt" <<PARENT
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
get_cmake_property(before VARIABLES)
add_subdirectory("$source" rooms EXCLUDE_FROM_ALL)
foreach(name CMAKE_BUILD_TYPE CMAKE_CXX_STANDARD CMAKE_POSITION_INDEPENDENT_CODE CMAKE_EXPORT_COMPILE_COMMANDS CMAKE_MODULE_PATH)
  if(NOT "\${\${name}}" STREQUAL "")
    message(FATAL_ERROR "\${name} is \${\${name}} now")
  endif()
endforeach()
get_property(tests DIRECTORY "$source" PROPERTY TESTS)
if(tests)
  message(FATAL_ERROR "tests of the part: \${tests}")
endif()
add_executable(user user.cpp)
target_link_libraries(user PRIVATE tumblewash::memory)
add_library(older OBJECT older.cpp)
set_target_properties(older PROPERTIES CXX_STANDARD 17)
target_link_libraries(older PRIVATE tumblewash::effects)
PARENT
cat >"$work/parent/user.cpp" <<'USER'
#include "memory/FrameMemory.h"
int main() {}
USER
cat >"$work/parent/older.cpp" <<'USER'
#include "effects/Effect.h"
USER
if ! { cmake -S "$work/parent" -B "$work/build" -G Ninja -DTUMBLEWASH_APP=OFF -DCMAKE_CXX_COMPILER="$cxx" &&
       cmake --build "$work/build" --target user CMakeFiles/older.dir/older.cpp.o; } >"$work/log" 2>&1; then
    cat "$work/log" >&2
    exit 1
fi
"$work/build/user"
ninja -C "$work/build" -t commands CMakeFiles/older.dir/older.cpp.o | grep -q -e -ffp-contract=off ||
    { echo "the parent's targets may fuse arithmetic" >&2; exit 1; }
