#!/bin/sh
# pkg_config.sh FOLDER MODULE SOURCE PROGRAM COMPILE...: builds and runs the program with what
# pkg-config says about the module described in FOLDER, with no other package in sight.
set -eu
export PKG_CONFIG_LIBDIR="$1"
unset PKG_CONFIG_PATH
module=$2
source=$3
program=$4
shift 4

set -- "$@" -o "$program" "$source"
# pkg-config quotes its answers for the shell.
eval "set -- \"\$@\" $(pkg-config --cflags --libs "$module")"
"$@"
eval "LD_LIBRARY_PATH=$(pkg-config --variable=libdir "$module")"
export LD_LIBRARY_PATH
"$program"
