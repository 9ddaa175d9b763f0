#!/bin/sh
# disk_test.sh PROGRAM LIBRARY: a received file for which the disk has no room, or that may not be
# made, is an error, and gone. The disk is a small one that only this test sees; where none may be
# made, there is no test (77).
set -eu
unshare -rm true 2>/dev/null || exit 77
work=$(mktemp -d -p /var/tmp)
trap 'rm -rf "$work"' EXIT
text=$work/message.tcl
# Whatever stands under /tmp is out of sight there.
cp -L "$1" "$2" "$work"
program=$work/$(basename "$1")
export LD_LIBRARY_PATH="$work"

# refused PROGRAM OPTIONS ERROR: with /tmp on a disk of these options.
refused() {
    unshare -rm sh -c 'mount -t tmpfs -o "$2" none /tmp || exit 77
        status=0
        "$1" convert --from tcl --to json "$4/message.tcl" 2>"$4/error" || status=$?
        grep -Eqx "tmsg: $3 /tmp/zab_tmp_[0-9]+_0" "$4/error" && [ $status -eq 1 ] && [ -z "$(ls /tmp)" ]' \
        sh "$1" "$2" "$3" "$work"
}

# A file that would be mapped, and one too large for that.
for size in 1000000 12000000; do
    { printf 'response {struct {} struct {f {file %s "' $size; head -c $size /dev/zero | tr '\0' x; printf '"}}}'; } >"$text"
    refused "$program" size=300k "failed to write to"
    refused "$program" ro "failed to open"
done
