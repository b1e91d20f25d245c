#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Installs the library into a scratch prefix and builds a C program against it the two ways a
# firmware build would: pkg-config, and CMake's find_package. The headers must be plain C11.
set -eu
build=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/prefix" >/dev/null
cat >"$scratch/main.c" <<'C'
#include <diagpanel/diagpanel.h>
int main(void)
{
    DIAG_PANEL_INFO_S info;
    return DIAG_PANEL_GET_version(&info) == 0 ? 0 : 1;
}
C
# The platform symbols come from the firmware's libraries at load time.
ignore=-Wl,--unresolved-symbols=ignore-in-shared-libs
# shellcheck disable=SC2046 # pkg-config's flags are meant to be split into words
PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" \
  cc -std=c11 -Wall -Wextra -Werror -pedantic "$scratch/main.c" -o "$scratch/by-pkg-config" $ignore \
  $(PKG_CONFIG_PATH="$scratch/prefix/lib/pkgconfig" pkg-config --cflags --libs libDiagnosticPanel)
cat >"$scratch/CMakeLists.txt" <<'CMAKE'
cmake_minimum_required(VERSION 3.25)
project(consumer C)
find_package(DiagnosticPanel 1 REQUIRED)
add_executable(consumer main.c)
target_link_libraries(consumer PRIVATE DiagnosticPanel::DiagnosticPanel)
CMAKE
cmake -S "$scratch" -B "$scratch/build" -DCMAKE_PREFIX_PATH="$scratch/prefix" \
  -DCMAKE_EXE_LINKER_FLAGS=$ignore >/dev/null
cmake --build "$scratch/build" >/dev/null
echo "installed and consumed by pkg-config and find_package"
