#!/bin/sh
# peek.sh PROGRAM: names of methods, short and long, and none.
. "$(dirname "$0")/common.sh"
run 0 peek message.wire && [ "$(cat out)" = add ] || fail "no method name"
name=$(seq 1200 | tr -d '\n')
echo "request {name $name struct {} struct {}}" | "$program" convert --to wire | cat message.wire - |
    run 0 peek - message.tcl && [ "$(cat out)" = "$(printf 'add\n%s\nadd' "$name")" ] || fail "no long name"
hint='; read as wire, name another form with --from'
printf '\002\004\204\004\204\202' | refuse 1 "standard input: byte 0: no method name at the head of the message" peek
head -c 6 message.wire | refuse 1 "standard input: byte 1: decoder within string at end of method$hint" peek
