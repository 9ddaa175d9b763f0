#!/bin/sh
# exports.sh INCLUDES LIBRARY: all that the library exports is marked for it in a public header.
# Instantiations of the standard library do not count.
set -eu
failed=0

# Of every symbol the outermost name: without arguments, members, and what stands in front.
exported=$(nm -DC --defined-only "$2" | cut -d' ' -f3- |
    sed -e 's/(.*//' -e 's/\[abi:.*//' -e 's/<.*//' -e 's/::.*//' -e 's/.* //' | grep -vx std | sort -u)
marked=$(grep -rh TMSG_API "$1")

for name in $exported; do
    echo "$marked" | grep -Fqw -e "$name" || { echo "exported but not public: $name"; failed=1; }
done
[ -n "$exported" ] && exit $failed
