#!/bin/sh
# disk.sh PROGRAM LIBRARY...: a received file for which the disk has no room, or that may not be
# made, is an error, and gone. Processes with one number leave each other's files alone. The disk is
# a small one that only this test sees; where none may be made, there is no test (77).
set -eu
unshare -rm true 2>/dev/null || exit 77
work=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$work"' EXIT
text=$work/message.tcl
# Whatever stands under /tmp is out of sight there.
cp -L "$@" "$work"
program=$work/$(basename "$1")
export LD_LIBRARY_PATH="$work"

# refused PROGRAM OPTIONS ERROR: with /tmp on a disk of these options.
refused() {
    unshare -rm sh -c 'mount -t tmpfs -o "$2" none /tmp || exit 77
        status=0
        "$1" convert --from tcl --to json "$4/message.tcl" 2>"$4/error" || status=$?
        grep -Eqx "tmsg: $4/message.tcl:1:[0-9]+: $3 /tmp/zab_tmp_[0-9]+_0" "$4/error" && [ $status -eq 1 ] && [ -z "$(ls /tmp)" ]' \
        sh "$1" "$2" "$3" "$work"
}

# A file that would be mapped, and one too large for that.
for size in 1000000 12000000; do
    { printf 'response {struct {} struct {f {file %s "' $size; head -c $size /dev/zero | tr '\0' x; printf '"}}}'; } >"$text"
    refused "$program" size=300k "failed to write to"
    refused "$program" ro "failed to open"
done

# Two processes with number 1; the second one runs while the first one receives.
unshare -rmpf true 2>/dev/null || exit 77
printf 'response {struct {} struct {f {file 1000 "%s"}}}' "$(head -c 1000 /dev/zero | tr '\0' x)" >"$text"
unshare -rm sh -euc 'mount -t tmpfs none /tmp
    "$1" convert --from tcl --to wire "$2/message.tcl" >"$2/wire"
    mkfifo "$2/input"
    unshare -pf "$1" convert --from wire --to wire "$2/input" >"$2/output" &
    exec 3>"$2/input"
    head -c 500 "$2/wire" >&3
    while ! ls /tmp/zab_tmp_1_0 >/dev/null 2>&1; do
        kill -0 $!
        sleep 0.1
    done
    unshare -pf "$1" convert --from wire --to json "$2/wire" >"$2/other"
    tail -c +501 "$2/wire" >&3
    exec 3>&-
    wait $!
    cmp "$2/wire" "$2/output"
    [ -z "$(ls /tmp)" ]' sh "$program" "$work"
