#!/usr/bin/env bash
# Builds the library and runs a program on it with each compiler and standard that hosts use, as a shared
# and as a static library. A warning is an error.
# usage: scripts/builds.sh
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/setup.sh checks
mkdir -p build/builds
for compiler in g++ clang++; do
  for standard in 17 20; do
    for shared in ON OFF; do
      what="$compiler, C++$standard, $([ $shared = ON ] && echo shared || echo static)"
      folder=build/builds/$compiler-$standard-$shared
      {
        cmake -S tests/install/by_add_subdirectory -B "$folder" -G Ninja \
          -DRTC_TRANSCODER_SOURCES="$PWD" -DRTC_TRANSCODER_WERROR=ON -DRTC_TRANSCODER_SHARED=$shared \
          -DCMAKE_CXX_COMPILER=$compiler -DCMAKE_CXX_STANDARD=$standard -DCMAKE_BUILD_TYPE=Debug &&
          cmake --build "$folder" && "$folder/host"
      } >"$folder.log" 2>&1 || {
        tail -20 "$folder.log" >&2
        echo "builds: $what: failed" >&2
        exit 1
      }
      echo "$what: built and run"
    done
  done
done
