#!/bin/sh
# install.sh CMAKE BUILD PREFIX: a fresh installation of the build.
set -eu
rm -rf "$3"
"$1" --install "$2" --prefix "$3"
