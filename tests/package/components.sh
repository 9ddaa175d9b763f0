#!/bin/sh
# components.sh CMAKE BUILD PREFIX SONAME...: the components together install the same files as the
# installation of everything in PREFIX, each file once. Each component has what its users need.
set -eu
cmake=$1
build=$2
prefix=$3
shift 3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0

# The path of the printers for gdb has the prefix in it.
files_of() {
    (cd "$1" && find . ! -type d ! -name 'headers.*') | sed 's|auto-load/.*/|auto-load/|' | sort
}

fail() {
    echo "$1"
    failed=1
}

# Builds without the module for Python have nothing in its component.
for component in runtime development program documentation python; do
    mkdir -p "$work/$component"
    "$cmake" --install "$build" --prefix "$work/$component" --component $component >"$work/log"
    files_of "$work/$component" >"$work/$component.files"
    gdb=$work/$component/share/gdb/auto-load
    [ ! -e "$gdb" ] || ls "$gdb$work/$component/lib"*/libtmsg.so.*-gdb.py >"$work/log" ||
        fail "gdb does not find the printers"
done
sort -m "$work"/*.files >"$work/files"
files_of "$prefix" | diff - "$work/files" || failed=1

# only COMPONENT PATTERN: no other file is in it.
only() {
    ! grep -Ev "$2" "$work/$1.files" || fail "the component $1 has these, too"
}
only runtime '/lib[^/]*\.so\.[0-9.]+$|/LICENSE$'
only development '/include/tmsg/|/lib[^/]*\.(so|a)$|/cmake/tmsg/|/pkgconfig/|/gdb/auto-load/'
only program '/bin/tmsg$|/man1/|completions|/site-functions/|/wireshark/'
only documentation '/doc/|/man[57]/'
for name; do
    grep -q "/$name\$" "$work/runtime.files" || fail "the component runtime lacks $name"
done
for file in runtime:LICENSE development:version.h program:bin/tmsg documentation:docs/program.md; do
    grep -q "/${file#*:}\$" "$work/${file%%:*}.files" || fail "no $file"
done

# All documents, pages and extensions of other programs are installed.
tree=$(dirname "$0")/../..
for file in "$tree"/docs/*.md "$tree"/docs/*/*.md "$tree"/docs/man/*.[157] "$tree"/contrib/wireshark/tmsg.lua; do
    grep -q "/${file##*/}\$" "$work/files" || fail "$file is not installed"
done
grep -q '/libtmsg\.so\.[0-9.]*-gdb\.py$' "$work/files" || fail "the printers for gdb are not installed"
exit $failed
