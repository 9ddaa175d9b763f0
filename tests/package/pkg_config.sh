#!/bin/sh
# pkg_config.sh FOLDER SOURCE PROGRAM COMPILE...: builds and runs the program with what pkg-config
# says about the package described in FOLDER, with no other package in sight.
set -eu
export PKG_CONFIG_LIBDIR="$1"
unset PKG_CONFIG_PATH
source=$2
program=$3
shift 3

set -- "$@" -o "$program" "$source"
# pkg-config quotes its answers for the shell.
eval "set -- \"\$@\" $(pkg-config --cflags --libs tmsg)"
"$@"
eval "LD_LIBRARY_PATH=$(pkg-config --variable=libdir tmsg)"
export LD_LIBRARY_PATH
"$program"
