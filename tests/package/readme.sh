#!/bin/sh
# readme.sh README PREFIX: builds the README's program as the README says, with the library installed
# in PREFIX, and runs it. Leaves out the commands that build and install the library.
set -eu
readme=$1
PREFIX=$2
export PREFIX
unset PKG_CONFIG_PATH LD_LIBRARY_PATH
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cd "$work"

# blocks LANGUAGE: the blocks of the README in this language.
blocks() {
    awk -v fence="\`\`\`$1" '/^```/ { inside = !inside && $0 == fence; next } inside' "$readme"
}

blocks cpp >program.cpp
blocks cmake >CMakeLists.txt
blocks text >expected
blocks sh | grep -v 'cmake --preset\|build/install' >commands
sh -eu commands
for program in program build/program; do
    ./$program >printed
    diff expected printed
done
