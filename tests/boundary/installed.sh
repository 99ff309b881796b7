#!/bin/bash
# The package as it is installed: moved to another place, then found by CMake and by pkg-config from a project in C that
# knows nothing of this one.
#
#   installed.sh CMAKE BUILD_DIR CONFIG GENERATOR C_COMPILER VERSION LIBDIR
set -euo pipefail
cmake=$1 build=$2 config=$3 generator=$4 cc=$5 version=$6 libdir=$7
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
foreign=$here/foreign

. "$here/common.sh"

quietly "$cmake" --install "$build" --config "$config" --prefix "$dir/first place"
mv "$dir/first place" "$dir/prefix"
prefix=$dir/prefix
if grep -rIl "first place" "$prefix" | grep .; then
    fail "installed files name the place they were first put"
fi
[ -f "$prefix/include/talvcodec.h" ] || fail "no header"
headers=$(cd "$prefix/include" && find . -type f | sort | xargs)
programs=(shared_host static_host)
case $headers in # the host library and the searching encoder are built along with the tool
"./talvcodec.h") ;;
"./talvcodec.h ./talvhost.h ./talvsearch.h") programs+=(shared_carrier static_carrier shared_searcher static_searcher) ;;
"./talvcodec.h ./talvsearch.h") programs+=(shared_searcher static_searcher) ;;
*) fail "these headers: $headers" ;;
esac
[ -L "$prefix/$libdir/libtalvcodec.so" ] || fail "no development link"

# CMake: a version that fits is found, a newer one is not.
quietly "$cmake" -S "$foreign" -B "$dir/build" -G "$generator" -D CMAKE_C_COMPILER="$cc" \
    -D CMAKE_PREFIX_PATH="$prefix" -D WANTED_VERSION="$version"
quietly "$cmake" --build "$dir/build"
for program in "${programs[@]}"; do
    "$dir/build/$program" || fail "$program, found by CMake"
done
if "$cmake" -S "$foreign" -B "$dir/build-newer" -G "$generator" -D CMAKE_C_COMPILER="$cc" \
    -D CMAKE_PREFIX_PATH="$prefix" -D WANTED_VERSION=99.0 >"$dir/log" 2>&1; then
    fail "a version that is not there was found"
fi

# pkg-config, if there is one on this machine: shared, then static
if command -v pkg-config >/dev/null; then
    export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
    [ "$(pkg-config --modversion talvcodec)" = "$version" ] || fail "pkg-config says another version"
    # try SOURCE LIBRARY [-static]
    try() {
        # shellcheck disable=SC2046,SC2086
        quietly "$cc" "$foreign/$1.c" -o "$dir/$1" ${3:-} $(pkg-config ${3:+--static} --cflags --libs "$2")
        LD_LIBRARY_PATH=$prefix/$libdir "$dir/$1" || fail "$1, linked by pkg-config ${3:-}"
    }
    try host talvcodec
    try host talvcodec -static
    if [[ $headers = *talvsearch.h* ]]; then
        try searcher talvsearch
        try searcher talvsearch -static
    fi
    if [[ $headers = *talvhost.h* ]]; then
        try carrier talvhost
    fi
else
    echo "pkg-config is not installed: that half was not tried"
fi

# The tool, where it was built, finds its library beside itself.
if [ -x "$prefix/bin/talv" ]; then
    "$prefix/bin/talv" --version >/dev/null || fail "the installed tool does not start"
fi
