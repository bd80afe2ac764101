#!/usr/bin/env bash
# Installs the build and test dependencies that are missing (Debian packages).
set -euo pipefail
need=()
command -v cmake >/dev/null || need+=(cmake)
command -v g++ >/dev/null || need+=(g++)
command -v make >/dev/null || need+=(make)
command -v nm >/dev/null || need+=(binutils)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev libgmock-dev)
[ -f /usr/include/benchmark/benchmark.h ] || need+=(libbenchmark-dev)
[ -f /usr/include/zlib.h ] || need+=(zlib1g-dev)
[ -f /usr/include/nlohmann/json.hpp ] || need+=(nlohmann-json3-dev)
command -v javac >/dev/null || need+=(openjdk-17-jdk-headless)
command -v python3 >/dev/null || need+=(python3)
command -v ccache >/dev/null || need+=(ccache)
[ -f /usr/include/libxml2/libxml/parser.h ] || need+=(libxml2-dev)
[ -f /usr/include/sodium.h ] || need+=(libsodium-dev)
command -v pkg-config >/dev/null || need+=(pkgconf)
command -v dot >/dev/null || need+=(graphviz)
if [ ${#need[@]} -gt 0 ]; then
  echo "installing: ${need[*]}"
  SUDO=""
  [ "$(id -u)" -eq 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}"
fi
