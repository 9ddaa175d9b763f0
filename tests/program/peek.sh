#!/bin/sh
# peek.sh PROGRAM: names of methods, short and long, and none.
. "$(dirname "$0")/common.sh"
run 0 peek message.wire && [ "$(cat out)" = add ] || fail "no method name"
name=$(seq 1200 | tr -d '\n')
echo "request {name $name struct {} struct {}}" | "$program" convert --from tcl --to wire | run 0 peek && [ "$(cat out)" = "$name" ] || fail "no long name"
printf '\002\004' | refuse 1 'no method name at the head of the input' peek
head -c 6 message.wire | refuse 1 'no method name at the head of the input' peek
