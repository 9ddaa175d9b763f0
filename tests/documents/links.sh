#!/bin/sh
# links.sh FOLDER: each relative link in a document leads to a file that is there, and to one of its
# headings if it names one.
set -eu
script=$(cd "$(dirname "$0")" && pwd)/links.awk
cd "$1"
find . \( -name build -o -name .git \) -prune -o -name '*.md' -print | sed 's|^\./||' | sort |
    xargs awk -f "$script"
