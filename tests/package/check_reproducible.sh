#!/usr/bin/env bash
# Builds the library a second time, in another folder, and compares the files byte for byte.
# usage: check_reproducible.sh SOURCE BUILT_LIBRARY LEVEL SCRATCH CMAKE OPTION...
set -euo pipefail
source=$1 built=$2 level=$3 scratch=$4 cmake=$5
shift 5

rm -rf "$scratch"
mkdir -p "$scratch/another/deeper/folder"
copy=$scratch/another/deeper/folder
cp -r "$source"/{CMakeLists.txt,cmake,include,src,host} "$copy"
"$cmake" -S "$copy" -B "$scratch/out" -G Ninja -DMIPO_LEVELS="$level" -DMIPO_BUILD_TOOLS=OFF -DMIPO_BUILD_TESTS=OFF \
  -DMIPO_BUILD_BENCHMARKS=OFF "$@" >"$scratch/log"
"$cmake" --build "$scratch/out" --target "mipo_$level" >>"$scratch/log"
again=$(find "$scratch/out/lib" -name libmipo.so.1 -not -type l)
cmp "$built" "$again"
echo "$again is the same, byte for byte"
