#!/bin/sh
# prints.sh PAGE COMMAND...: the command prints the ```text blocks of the page, one after another.
set -eu
page=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

awk '/^```/ { inside = !inside && $0 == "```text"; next } inside' "$page" >"$work/expected"
mkdir "$work/folder"
(cd "$work/folder" && "$@") >"$work/printed"
diff "$work/expected" "$work/printed" || { echo "$page shows other lines (<) than are printed (>)"; exit 1; }
