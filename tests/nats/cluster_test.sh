#!/bin/sh
# cluster_test.sh DEMO ARGUMENT...: the demo of a cluster ends well, tells what happened, and
# leaves nothing behind, also when it fails or is ended in the middle.
set -eu
work=$(mktemp -d)
mkdir "$work/tmp"
trap 'rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "$1" >&2
    cat "$work/out" "$work/err" >&2
    exit 1
}

processes() {
    for folder in /proc/[0-9]*; do
        ! tr '\0' '\n' 2>/dev/null <"$folder/environ" | grep -qx "TMPDIR=$work/tmp" || basename "$folder"
    done
}

nothing_is_left() {
    [ -z "$(processes)" ] || fail "processes are left"
    [ -z "$(ls "$work/tmp")" ] || fail "files are left"
}

TMPDIR="$work/tmp" "$@" >"$work/out" 2>"$work/err" || fail "the demo failed"
nothing_is_left
grep -Fqx 'requests   2000 sent, 2000 with the right answer' "$work/out" || fail "answers are missing"
for name in worker2 server1 worker3; do
    grep -Fqx "$name is back" "$work/out" || fail "$name did not come back"
done
# Each worker has done something, and all together have done each request.
awk '/^worker[1-4] +[0-9]/ && $2 > 0 { ++workers; requests += $2 }
    END { exit !(workers == 4 && requests >= 2000) }' "$work/out" || fail "requests are missing"
[ ! -s "$work/err" ] || fail "something is said on standard error"

status=0
TMPDIR="$work/tmp" "$1" "$2" false >"$work/out" 2>"$work/err" || status=$?
{ [ "$status" -eq 1 ] && grep -Fqx "cluster: server1 did not start" "$work/err"; } ||
    fail "it did not fail without a server"
nothing_is_left

TMPDIR="$work/tmp" "$@" >"$work/out" 2>"$work/err" &
demo=$!
until grep -Fqx 'worker2 is back' "$work/out"; do
    kill -0 "$demo" 2>/dev/null || fail "the demo ended early"
    sleep 0.05
done
processes >"$work/processes"
kill -TERM "$demo"
status=0
wait "$demo" || status=$?
[ "$status" -eq 1 ] || fail "exit status $status after a signal"
nothing_is_left
while read -r process; do
    for file in "/tmp/zab_tmp_${process}_"*; do
        [ ! -e "$file" ] || fail "a received file is left: $file"
    done
done <"$work/processes"
[ "$(wc -l <"$work/processes")" -ge 8 ] || fail "the processes were not found"
