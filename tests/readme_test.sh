#!/bin/sh
# The README's example prints what stands under it: the first text block.
set -eu
program=$1
readme=$2

expected=$(awk '/^```/ { if (inside) exit; inside = ($0 == "```text"); next } inside' "$readme")
actual=$("$program")
[ -n "$expected" ] || { echo "the README shows no output"; exit 1; }
[ "$actual" = "$expected" ] || { printf 'printed:\n%s\nbut the README says:\n%s\n' "$actual" "$expected"; exit 1; }
