#!/bin/sh
# headers.sh INCLUDES COMPILE...: every installed header compiles by itself and includes, of what is
# not installed with it, the standard library alone; none is installed that tmsg.h and tm_nats.h do
# not reach.
set -eu
cd "$1"
shift
failed=0

find tmsg -name '*.h' | sort >../headers.installed
while read -r header; do
    echo "#include \"$header\"" | "$@" -I. -x c++ -fsyntax-only - || failed=1
done <../headers.installed

# Programs without type information use the library, too.
echo '#include "tmsg/tmsg.h"' | "$@" -I. -fno-rtti -x c++ -fsyntax-only - || failed=1

# The names of the standard headers are plain words.
grep -rE '^ *# *include' tmsg | grep -vE '# *include ("tmsg/[a-z_/]+\.h"|<[a-z_]+>)$' && failed=1

{
    echo '#include "tmsg/tmsg.h"'
    [ ! -d tmsg/nats ] || echo '#include "tmsg/nats/tm_nats.h"'
} | "$@" -I. -x c++ -M - | tr -s ' ' '\n' |
    grep '^tmsg/' | sort >../headers.reached
diff ../headers.installed ../headers.reached || failed=1
[ -s ../headers.installed ] && exit $failed
