#!/bin/sh
# pkg_config.sh FOLDERS MODULE SOURCE PROGRAM COMPILE...: builds and runs the program with what
# pkg-config says about the module, and modules of the folders alone. "--static MODULE" asks for what
# a static library needs.
set -eu
export PKG_CONFIG_LIBDIR="$1"
unset PKG_CONFIG_PATH
module=$2
source=$3
program=$4
shift 4

set -- "$@" -o "$program" "$source"
# pkg-config quotes its answers for the shell.
# shellcheck disable=SC2086  # an option and a word
eval "set -- \"\$@\" $(pkg-config --cflags --libs $module)"
"$@"
eval "LD_LIBRARY_PATH=$(pkg-config --variable=libdir "${module##* }")"
export LD_LIBRARY_PATH
"$program"
