#!/bin/sh
# full_disk_test.sh PROGRAM: a received file for which the disk has no room is an error, and gone. The
# disk is a small one that only this test sees; where none may be made, there is no test (77).
set -eu
unshare -rm true 2>/dev/null || exit 77
work=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$work"' EXIT
text=$work/message.tcl

# A file that would be mapped, and one too large for that.
for size in 1000000 12000000; do
    { printf 'response {struct {} struct {f {file %s "' $size; head -c $size /dev/zero | tr '\0' x; printf '"}}}'; } >"$text"
    unshare -rm sh -c 'mount -t tmpfs -o size=300k none /tmp || exit 77
        status=0
        "$1" convert --from tcl --to json "$2" 2>/tmp/error || status=$?
        grep -Eqx "tmsg: failed to write to /tmp/zab_tmp_[0-9]+_0" /tmp/error && [ $status -eq 1 ] || exit 1
        [ "$(ls /tmp)" = error ]' sh "$1" "$text"
done
