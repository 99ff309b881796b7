#!/bin/bash
# The program in the header's manual does what its caption says: speech on standard input to decoded speech on standard
# output. What it must say comes from another host of the library.
#
#   manual_program.sh PROGRAM C99_HOST
set -euo pipefail
program=$1 host=$2

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
"$host" "$dir/input" "$dir/wanted"
"$program" <"$dir/input" >"$dir/got"
cmp "$dir/got" "$dir/wanted"

# A rest shorter than a frame is left out.
head -c 1000 "$dir/input" | "$program" >"$dir/got"
head -c 960 "$dir/wanted" | cmp - "$dir/got"
