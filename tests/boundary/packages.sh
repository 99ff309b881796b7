#!/bin/bash
# The Debian packages: made from this build, read, installed into a folder that knows the packages of this machine, used
# from there, and removed again. What is checked: names, files, that the dependencies are those that the programs have and
# that this machine meets, that dpkg installs and removes them without complaint and refuses what would break another, and
# that nothing of them is left behind. What is not: triggers of other packages (manual pages, desktops), which a folder does
# not have.
#
#   packages.sh CPACK BUILD_DIR CONFIG VERSION SOVERSION LIBDIR C_COMPILER
set -euo pipefail
cpack=$1 build=$2 config=$3 version=$4 soversion=$5 libdir=$6 cc=$7
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

for program in dpkg dpkg-deb dpkg-shlibdeps fakeroot; do
    command -v "$program" >/dev/null || { echo "no $program here: not tried"; exit 77; }
done
. "$here/common.sh"

quietly "$cpack" --config "$build/CPackConfig.cmake" -C "$config" -B "$dir/out"
cd "$dir/out"
arch=$(dpkg --print-architecture)
library=libtalvcodec${soversion}_$version-1_$arch.deb
development=libtalvcodec-dev_$version-1_$arch.deb
tools=talvcodec-tools_$version-1_$arch.deb
[ "$(echo *.deb)" = "$development $library $tools" ] || fail "these were made: $(echo *.deb)"

# What is in them
has() { # PACKAGE FILE...
    local package=$1 file
    dpkg-deb -c "$package" | awk '{ print $6 }' >"$dir/list"
    for file in "${@:2}"; do
        grep -qxF "./usr/$file" "$dir/list" || fail "$package lacks usr/$file"
    done
}
has "$library" "$libdir"/libtalv{codec,search}.so."$soversion" "$libdir"/libtalv{codec,search}.so."$version"
has "$development" include/talv{codec,host,search}.h "$libdir"/libtalv{codec,host,search}.a \
    "$libdir"/libtalv{codec,search}.so "$libdir"/pkgconfig/talv{codec,host,search}.pc "$libdir/cmake/talvcodec/talvcodec-config.cmake"
has "$tools" bin/talv share/man/man1/talv.1.gz share/bash-completion/completions/talv \
    share/zsh/vendor-completions/_talv share/fish/vendor_completions.d/talv.fish share/mime/packages/talvcodec.xml \
    share/talvcodec/talv.magic
for package in *.deb; do
    has "$package" "share/doc/${package%%_*}/copyright" "share/doc/${package%%_*}/changelog.Debian.gz"
done

# Dependencies: the library asks for the C library alone, the tool for what it was linked with
depends() { dpkg-deb -f "$1" Depends; }
[[ $(depends "$library") =~ ^libc6\ \([^,]*\)$ ]] || fail "the library depends on $(depends "$library")"
for package in "libtalvcodec$soversion (= $version-1)" libcairo2 libogg0 libsndfile1 libsoxr0 'libstdc++6'; do
    [[ ", $(depends "$tools")" == *", $package"* ]] || fail "the tool does not depend on $package: $(depends "$tools")"
done
dpkg-deb --ctrl-tarfile "$library" | tar -xO ./shlibs | grep -qxF \
    "libtalvcodec $soversion libtalvcodec$soversion (>= $version-1)" || fail "no shlibs, or wrong ones"

# The loader is told of the library by a trigger, and no script does it besides.
[ "$(dpkg-deb --ctrl-tarfile "$library" | tar -t | grep -v '/$' | sort | xargs)" = "./control ./md5sums ./shlibs ./triggers" ] ||
    fail "the library has other control files: $(dpkg-deb --ctrl-tarfile "$library" | tar -t | xargs)"
dpkg-deb --ctrl-tarfile "$library" | tar -xO ./triggers | grep -qx "activate-noawait ldconfig" || fail "no trigger"

# A root of its own: this machine's packages are known to be there, so that dependencies are looked at in earnest, but
# own no files in it.
root=$dir/root
mkdir -p "$root"/var/lib/dpkg/{info,updates}
cp /var/lib/dpkg/status "$root/var/lib/dpkg/status"
cp /var/lib/dpkg/arch "$root/var/lib/dpkg/" 2>/dev/null || true
sed -n 's/^Package: //p' "$root/var/lib/dpkg/status" | while read -r package; do
    : >"$root/var/lib/dpkg/info/$package.list"
    : >"$root/var/lib/dpkg/info/$package:$arch.list"
done
as_root=()
[ "$(id -u)" -eq 0 ] || as_root=(fakeroot)
in_root() {
    PATH=$PATH:/usr/sbin:/sbin "${as_root[@]}" dpkg --root="$root" --force-not-root --force-script-chrootless \
        --no-triggers --log="$dir/dpkg.log" "$@"
}

if in_root -i "$tools" >"$dir/log" 2>&1; then
    fail "the tool was installed without its library"
fi
quietly in_root -r talvcodec-tools
quietly in_root -i "$library" "$development" "$tools"
for package in "libtalvcodec$soversion" libtalvcodec-dev talvcodec-tools; do
    [ "$(in_root -s "$package" | sed -n 's/^Status: //p')" = "install ok installed" ] || fail "$package is not installed"
done

# Used from there
export LD_LIBRARY_PATH=$root/usr/$libdir
talv=$root/usr/bin/talv
[ "$("$talv" --version)" = "talv $version" ] || fail "the installed tool says $("$talv" --version)"
printf 'fourteen bytes' | "$talv" encode -q --raw - "$dir/x.talv"
"$talv" decode -q --raw "$dir/x.talv" "$dir/x.raw"
[ "$(stat -c %s "$dir/x.raw")" -eq 14 ] || fail "14 bytes went in, $(stat -c %s "$dir/x.raw") came out"
if readelf -d "$talv" | grep -E 'RPATH|RUNPATH'; then
    fail "the packed tool looks for libraries in places of its own"
fi
if command -v pkg-config >/dev/null; then
    export PKG_CONFIG_PATH=$root/usr/$libdir/pkgconfig
    # shellcheck disable=SC2046
    quietly "$cc" "$here/foreign/carrier.c" -o "$dir/carrier" $(pkg-config --cflags --libs talvhost)
    "$dir/carrier" || fail "a program built on the development package"
fi

# Removed: not the library under the feet of its users, then all of it
if in_root -r "libtalvcodec$soversion" >"$dir/log" 2>&1; then
    fail "the library could be removed although the tool needs it"
fi
quietly in_root -r talvcodec-tools libtalvcodec-dev "libtalvcodec$soversion"
quietly in_root -P talvcodec-tools libtalvcodec-dev "libtalvcodec$soversion"
left=$(find "$root" -path "$root/var" -prune -o -not -type d -print)
[ -z "$left" ] || fail "left behind: $left"
if grep -q "^Package: .*talvcodec" "$root/var/lib/dpkg/status"; then
    fail "dpkg still knows of them"
fi
