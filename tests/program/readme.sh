#!/bin/sh
# readme.sh PROGRAM PAGE EXAMPLES: the ```console blocks of the page show what really
# happens when their commands ("$ ...") are run in the folder of the examples.
set -eu
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir "$work/bin" "$work/examples"
ln -s "$1" "$work/bin/tmsg"
cp "$3"/*.tcl "$work/examples"
export PATH="$work/bin:$PATH"

awk '/^```/ { inside = !inside && $0 == "```console"; next } inside' "$2" >"$work/expected"
cd "$work/examples"
grep '^\$ ' "$work/expected" | while read -r _ command; do
    printf '$ %s\n' "$command"
    # What a text lacks on a pipe, its last line feed, a terminal gets.
    sh -c "$command" </dev/null 2>&1 | sed '$a\'
done >"$work/real"
[ -s "$work/expected" ] || exit 1
diff "$work/expected" "$work/real"
