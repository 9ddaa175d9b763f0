#!/bin/sh
# habits.sh PROGRAM: output files, colours, terminals and progress.
. "$(dirname "$0")/common.sh"

# The output file is emptied by the first output, and is no input.
run 0 convert -f tcl -t wire -o out.wire message.tcl && cmp out.wire message.wire && printed ''
run 1 convert -t json -o out.wire /dev/null && cmp out.wire message.wire || fail "a failure emptied the output"
refuse 1 'message.wire: the input is also the output' convert -t tcl -o message.wire message.wire
run 0 peek -qo names message.wire && [ "$(cat names)" = add ] || fail "no names in the file"
run 0 diff -o names message.wire message.tcl && [ ! -s names ] || fail "no output leaves an old one"
refuse 2 'failed to open nowhere/out: No such file or directory' diff -o nowhere/out message.wire message.tcl
refuse 1 'failed to open nowhere/out: No such file or directory' peek -o nowhere/out message.wire
run 0 convert -t typed-json --pretty message.tcl
printed '{
  "request": "add",
  "meta": {
    "a": 1
  },
  "body": {
    "s": "x y"
  }
}
'

# on_terminal COMMAND: runs the command on a terminal and leaves what that shows in `out`.
on_terminal() {
    status=0
    script -qec "$1" /dev/null </dev/null | tr -d '\r' >out || status=$?
}
escape=$(printf '\033')
coloured() { grep -q "$escape\[3[0-9]m" out; }
run 0 inspect --color=always message.wire && coloured || fail "no colours for always"
if command -v script >/dev/null; then
    on_terminal "$program inspect message.wire" && coloured || fail "no colours on a terminal"
    on_terminal "NO_COLOR=1 $program inspect message.wire" && ! coloured || fail "colours in spite of NO_COLOR"
    on_terminal "$program inspect --color never message.wire" && ! coloured || fail "colours for never"
    on_terminal "$program convert -t wire message.tcl; echo \$?"
    shows 'tmsg: wire is no text for a terminal; use --output FILE or --force'
    [ "$(tail -n 1 out)" = 2 ] || fail "bytes on a terminal: exit status $(tail -n 1 out)"
    on_terminal "$program convert -t wire --force message.tcl" && shows 'x y'
    on_terminal "$program convert -t json message.tcl late_cut" && shows "}
tmsg: failed to open late_cut"

    # Progress of long work: where nothing is printed, and where the output goes elsewhere.
    mkfifo long
    for verb in check 'convert -t wire -o /dev/null' 'check -q'; do
        for i in 1 2 3 4 5; do cat message.wire; sleep 0.1; done >long &
        on_terminal "$program $verb long"
        case $verb in
            *-q) ! grep -q 'read 0 MB' out || fail "progress in spite of -q" ;;
            *) shows 'read 0 MB' ;;
        esac
    done
fi
