#!/bin/sh
# abi.sh symbols|types|compare|accept VERSION BUILD: compares the binary interface of both libraries in
# the folder BUILD with the committed one: the symbols, the types, or both (compare). With "accept", it
# writes their interface into this folder. NAME.symbols has the exported symbols, each with the version
# in which it came. NAME.abi.xz has the functions and types as abidw describes them. All commands but
# "symbols" need debug information in the libraries.
set -eu
what=$1
version=$2
build=$(cd "$3" && pwd)
cd "$(dirname "$0")"
failed=0

if [ "$(uname -m)" != x86_64 ]; then
    echo "the committed interface is that of x86_64"
    exit 0
fi

exported() {
    nm -D --defined-only --format=posix "$1" | cut -d' ' -f1 | LC_ALL=C sort
}

# The folder of the sources is no part of the interface.
describe() {
    abidw --headers-dir ../../tmsg --headers-dir ../../nats/tmsg --drop-private-types \
        --no-comp-dir-path --no-corpus-path --no-show-locs "$1" |
        sed "s|\(<abi-instr .*path='\)[^']*/tmsg/|\1tmsg/|"
}

# accept NAME LIBRARY: symbols that are known keep their version.
accept() {
    touch "$1.symbols"
    exported "$2" | LC_ALL=C join -a1 - "$1.symbols" |
        awk -v version="$version" 'NF == 1 { $2 = version } { print }' >"$1.symbols.new"
    mv "$1.symbols.new" "$1.symbols"
    describe "$2" | xz -9 >"$1.abi.xz"
}

# symbols NAME LIBRARY: an optimised build has the same symbols.
symbols() {
    exported "$2" >"$work/exported"
    cut -d' ' -f1 "$1.symbols" >"$work/known"
    diff -U0 "$work/known" "$work/exported" >"$work/changes" && return
    echo "$1 exports others:"
    sed -n 's/^[-+][^-+]/&/p' "$work/changes" | c++filt
    failed=1
}

# types NAME LIBRARY: a build that is not optimised has further symbols, of inline functions.
types() {
    xz -dc "$1.abi.xz" >"$work/known.abi"
    describe "$2" >"$work/new.abi"
    abidiff --no-show-locs --no-added-syms "$work/known.abi" "$work/new.abi" || failed=1
}

compare() {
    symbols "$@"
    types "$@"
}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$what" libtmsg "$build/tmsg/libtmsg.so"
"$what" libtmsg-nats "$build/nats/libtmsg-nats.so"
if [ $failed -ne 0 ]; then
    echo "the binary interface is another one; docs/abi.md says what to do"
fi
exit $failed
