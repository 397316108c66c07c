#!/usr/bin/env bash
# Usage: check-install.sh BUILD_DIR SOURCE_DIR
#
# Checks the installed package the way a host project sees it:
#   1. installs the built tree into a temporary prefix,
#   2. checks that the installed libmedium_physics.so exports create_medium_physics and nothing else,
#   3. configures and builds examples/ on its own against that prefix (find_package, no build tree),
#   4. runs the example with the installed libraries and expects exit status 0,
#   5. checks that README.md quotes the example exactly as it is.
# The temporary prefix is removed on exit. Any failure exits non-zero with the step that failed.
set -euo pipefail

if [ $# -ne 2 ]; then
  echo "usage: $0 BUILD_DIR SOURCE_DIR" >&2
  exit 2
fi
build_dir=$(cd "$1" && pwd)
source_dir=$(cd "$2" && pwd)

fail() {
  echo "check-install: FAILED: $*" >&2
  exit 1
}

[ -f "$build_dir/CMakeCache.txt" ] || fail "$build_dir is not a configured build directory"
[ -f "$source_dir/examples/CMakeLists.txt" ] || fail "$source_dir/examples/CMakeLists.txt not found"

# Settings of the build being checked: the same compiler, and its library directory (GNUInstallDirs
# may have chosen lib, lib64 or a multiarch directory).
cache_value() { sed -n "s/^$1:[A-Z]*=//p" "$build_dir/CMakeCache.txt" | head -n 1; }
cxx=$(cache_value CMAKE_CXX_COMPILER)
libdir=$(cache_value CMAKE_INSTALL_LIBDIR)
libdir=${libdir:-lib}

prefix=$(mktemp -d "${TMPDIR:-/tmp}/mp-install-check.XXXXXX")
trap 'rm -rf "$prefix"' EXIT
log="$prefix/log.txt"

# Runs a step quietly; on failure shows its output and stops.
step() {
  local what=$1
  shift
  echo "check-install: $what"
  if ! "$@" >"$log" 2>&1; then
    cat "$log" >&2
    fail "$what"
  fi
}

step "install into $prefix" cmake --install "$build_dir" --prefix "$prefix"

lib="$prefix/$libdir/libmedium_physics.so"
[ -e "$lib" ] || fail "the install did not produce $libdir/libmedium_physics.so"
symbols=$(nm -D --defined-only "$lib" | awk '{ print $NF }' | sort)
if [ "$symbols" != "create_medium_physics" ]; then
  echo "defined dynamic symbols of $lib:" >&2
  echo "${symbols:-<none>}" >&2
  fail "libmedium_physics.so must export create_medium_physics and nothing else"
fi
echo "check-install: libmedium_physics.so exports only create_medium_physics"

# Build the example as a project of its own. The package registry is off so that only the
# temporary prefix can satisfy find_package; warnings are errors so that the installed headers
# are checked as a host compiles them.
example_build="$prefix/example-build"
step "configure examples/ against the installed package" \
  cmake -S "$source_dir/examples" -B "$example_build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF \
        ${cxx:+-DCMAKE_CXX_COMPILER="$cxx"} -DCMAKE_CXX_FLAGS="-Wall -Wextra -Wpedantic -Werror"
found_dir=$(sed -n 's/^medium_physics_DIR:[A-Z]*=//p' "$example_build/CMakeCache.txt")
case "$found_dir" in
  "$prefix"/*) ;;
  *) fail "find_package(medium_physics) found '$found_dir', not the package in $prefix" ;;
esac
step "build the example" cmake --build "$example_build" -j 2

example="$example_build/host_example"
[ -x "$example" ] || fail "the example build did not produce $example"

# The example must run on the installed libraries, not on those of the build tree.
export LD_LIBRARY_PATH="$prefix/$libdir${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
resolved=$(ldd "$example" | awk '/libmedium_physics\.so/ { print $3 }')
case "$resolved" in
  "$prefix"/*) ;;
  *) fail "the example resolves libmedium_physics.so to '$resolved', not into $prefix" ;;
esac

echo "check-install: run the example"
if ! (cd "$prefix" && TMPDIR="$prefix" "$example"); then
  fail "the example exited with a non-zero status"
fi
# README.md quotes the example whole, in the first cpp block after the line that names the file.
readme="$source_dir/README.md"
[ -f "$readme" ] || fail "$readme not found"
quoted=$(awk '/Quoted whole from examples\/host_example.cpp/ { found = 1; next }
              found && !inside && /^```cpp$/ { inside = 1; next }
              inside && /^```$/ { exit }
              inside { print }' "$readme")
if ! diff -u <(printf '%s\n' "$quoted") "$source_dir/examples/host_example.cpp" >"$log" 2>&1; then
  cat "$log" >&2
  fail "README.md does not quote examples/host_example.cpp as it is (diff above: README, then the file)"
fi
echo "check-install: README.md quotes the example as it is"

echo "check-install: passed"
