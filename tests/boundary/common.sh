# What the tests of what is installed share: a folder that goes when they end, and failures that are told
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

fail() {
    echo "failed: $*"
    exit 1
}
quietly() {
    "$@" >"$dir/log" 2>&1 || { cat "$dir/log"; fail "$*"; }
}
