#!/usr/bin/env bash
# Installs the build tree into a temporary prefix, then builds and runs a
# CMake consumer (find_package) and a pkg-config consumer against that copy
# only, and checks the installed command, man page and library version.
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
cmake --install "$build" --prefix "$prefix" >/dev/null

lib=$(find "$prefix" -name 'liborvel.so' | head -1)
libdir=$(dirname "$lib")
soname=$(objdump -p "$lib" | awk '/SONAME/ {print $2}')
[ -n "$soname" ] && [ -e "$libdir/$soname" ] || { echo "no versioned SONAME: '$soname'"; exit 1; }
natives=$(ls "$prefix"/share/doc/orvel/java-natives.txt 2>/dev/null || true)  # with the Java binding
"$source/tests/check_exports.sh" "$lib" "$prefix/include/orvel.h" $natives
[ -f "$prefix/share/man/man1/orvel.1" ] || { echo "man page not installed"; exit 1; }
"$prefix/bin/orvel" query "$source/data/networks/asia.net" -e smoke=yes | grep -q 'lung'

expected='P(tub=yes) = 0.0104'
cmake -S "$source/examples/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/cmake-consumer" >/dev/null
out=$("$work/cmake-consumer/consumer" "$source/data/networks/asia.net" tub)
echo "$out" | grep -qF "$expected" || { echo "cmake consumer printed: $out"; exit 1; }

export PKG_CONFIG_PATH=$libdir/pkgconfig
cc -std=c11 -Wall -Werror "$source/examples/consumer/consumer.c" $(pkg-config --cflags --libs orvel) \
   -Wl,-rpath,"$libdir" -o "$work/pc-consumer"
out=$("$work/pc-consumer" "$source/data/networks/bif/asia.bif" tub)
echo "$out" | grep -qF "$expected" || { echo "pkg-config consumer printed: $out"; exit 1; }
echo "installed copy works: cmake and pkg-config consumers built and ran"
