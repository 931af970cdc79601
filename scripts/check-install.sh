#!/usr/bin/env bash
# Builds the library without sanitizers, installs it into a fresh prefix, checks what was
# installed (files, soname, only the public interface exported), then builds and runs the host
# program of examples/host against the installed package, through CMake's find_package and
# through pkg-config.
#
#   scripts/check-install.sh
set -euo pipefail
cd "$(dirname "$0")/.."

build="${QUILLON_INSTALL_BUILD:-build-install}"
jobs="$(nproc 2>/dev/null || echo 2)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DQUILLON_TESTS=OFF -DQUILLON_BENCH=OFF \
  -DQUILLON_SANITIZE=OFF -DQUILLON_WERROR=ON "${launcher[@]}" >/dev/null
cmake --build "$build" -j "$jobs" --target quillon_shared quillon_static quillon_cli >/dev/null
cmake --install "$build" --prefix "$prefix" >/dev/null

fail() { echo "check-install: $*" >&2; exit 1; }
libdir="$(dirname "$(find "$prefix" -name libquillon.a | head -n 1)")"
[ -f "$libdir/libquillon.a" ] || fail "libquillon.a was not installed"
for file in include/quillon/Quillon.h include/quillon/QuillonProperties.inc bin/quillon; do
  [ -e "$prefix/$file" ] || fail "$file was not installed"
done
[ -f "$libdir/pkgconfig/quillon.pc" ] || fail "quillon.pc was not installed"
[ -f "$libdir/cmake/Quillon/QuillonConfig.cmake" ] || fail "the CMake package was not installed"
soname="$(objdump -p "$libdir/libquillon.so" | awk '/SONAME/ { print $2 }')"
[ "$soname" = "libquillon.so.0" ] || fail "soname is '$soname', not libquillon.so.0"
# Of the component's own symbols only the two public classes leave the shared library.
leaked="$(nm -DC --defined-only "$libdir/libquillon.so" | grep ' quillon::' |
  grep -v -E ' (typeinfo( name)? for |vtable for )?quillon::(Quillon|QuillonEvents)(::|$)' || true)"
[ -z "$leaked" ] || fail "symbols beyond the public interface are exported:
$(echo "$leaked" | head -n 10)"

feed="$PWD/examples/products-feed.xml"
expected="Products: 3 entries, 3 events"

cmake -S examples/host -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" "${launcher[@]}" >/dev/null
cmake --build "$work/cmake" -j "$jobs" >/dev/null
for program in host host_static; do
  out="$("$work/cmake/$program" "$feed")"
  [ "$(echo "$out" | head -n 1)" = "$expected" ] || fail "$program (CMake) printed: $out"
done

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++20 examples/host/Host.cpp $(pkg-config --cflags --libs quillon) \
  -Wl,-rpath,"$libdir" -o "$work/host-pc"
out="$("$work/host-pc" "$feed")"
[ "$(echo "$out" | head -n 1)" = "$expected" ] || fail "host (pkg-config) printed: $out"
# shellcheck disable=SC2046
c++ -std=c++20 examples/host/Host.cpp \
  $(pkg-config --cflags --libs --static quillon | sed 's/-lquillon/-l:libquillon.a/') \
  -o "$work/host-pc-static"
out="$("$work/host-pc-static" "$feed")"
[ "$(echo "$out" | head -n 1)" = "$expected" ] || fail "static host (pkg-config) printed: $out"
echo "check-install: the package installs and a host builds against it with CMake and pkg-config"
