#!/bin/sh
# Installs the package, moves it elsewhere, and builds a foreign program against it both ways: by CMake and by
# pkg-config. Needs everything to be built.
set -eu
build=$1
source=$2
compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >"$work/install.log" || { cat "$work/install.log"; exit 1; }
mv "$work/first" "$work/moved"
package="$work/moved"
libraries=$(dirname "$(find "$package" -name libKVBase.so)")
test -x "$package/bin/kvbase"

cmake -S "$source/Tests/House/Foreign" -B "$work/by-cmake" -DCMAKE_PREFIX_PATH="$package" -DCMAKE_CXX_COMPILER="$compiler" >"$work/cmake.log"
cmake --build "$work/by-cmake" >>"$work/cmake.log" || { cat "$work/cmake.log"; exit 1; }
"$work/by-cmake/foreign"

export PKG_CONFIG_PATH="$libraries/pkgconfig"
test "$(pkg-config --modversion KVBase)" = 1.0.0
# The answer is a list of words.
# shellcheck disable=SC2046
"$compiler" -fPIC -o "$work/by-pkg-config" "$source/Tests/House/Foreign/main.cpp" $(pkg-config --cflags --libs KVBase)
LD_LIBRARY_PATH="$libraries" "$work/by-pkg-config"

# What is installed is what a public interface needs: no header of a service, and no library but ours.
test -z "$(find "$package" -path '*Services*')"
LD_LIBRARY_PATH="$libraries" "$package/bin/kvbase" path clean a/b

# A program that starts does not pay for what it may never need.
if ldd "$libraries/libKVBase.so" | grep -E 'lib(curl|hwy|Qt6Widgets)'; then
    exit 1
fi
