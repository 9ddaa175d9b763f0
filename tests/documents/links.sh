#!/bin/sh
# links.sh ROOT: each relative link in a document leads to a file that is there, and to one of its
# headings if it names one.
set -eu
cd "$1"
find . \( -name build -o -name .git \) -prune -o -name '*.md' -print | sed 's|^\./||' | sort |
    xargs awk -f tests/documents/links.awk
