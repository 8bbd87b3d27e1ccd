#!/usr/bin/env bash
# Installs to a scratch prefix and builds a small host against it, through CMake and through pkg-config.
# usage: check_install.sh BUILD HOST_SOURCE_FOLDER SCRATCH CMAKE C_COMPILER LIBDIR FOLDER_OF_A_LEVEL...
set -euo pipefail
build=$1 host=$2 scratch=$3 cmake=$4 compiler=$5 libdir=$6
shift 6

rm -rf "$scratch"
mkdir -p "$scratch"
prefix=$scratch/prefix
DESTDIR='' "$cmake" --install "$build" --prefix "$prefix" >"$scratch/log"

for folder in "$@"; do
  test -f "$prefix/$libdir/$folder/libmipo.so.1" || { echo "no library in $libdir/$folder"; exit 1; }
done
test -f "$prefix/$libdir/libmipo.so.1" || { echo "no baseline beside the folders of the levels"; exit 1; }

"$cmake" -S "$host" -B "$scratch/by-cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$compiler" \
  >>"$scratch/log"
"$cmake" --build "$scratch/by-cmake" >>"$scratch/log"
"$scratch/by-cmake/ten_line_host"

export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
# shellcheck disable=SC2046
"$compiler" -std=c11 -o "$scratch/by-pkg-config" "$host/ten_line_host.c" $(pkg-config --cflags --libs mipo) \
  -Wl,-rpath,"$prefix/$libdir"
"$scratch/by-pkg-config"
