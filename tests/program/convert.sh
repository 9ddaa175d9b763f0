#!/bin/sh
# convert.sh PROGRAM: every form to every form, the limits, and what is wrong with the input.
. "$(dirname "$0")/common.sh"
json='{"name": "add", "request": [{"a": 1}, {"s": "x y"}]}'
chunked='--to chunks --chunk-size 15 --seq 7 --port 3'
# shellcheck disable=SC2086
make message.chunks convert --from tcl $chunked message.tcl

# Every form to every form. Where text is limited, JSON and list text are cut, and the rest is not written.
for from in tcl wire chunks; do
    run 0 convert --from $from --to tcl message.$from && printed "$text"
    run 0 convert --from $from --to json message.$from && printed "$json"
    run 0 convert --from $from --to xml --chunk-size 5 message.$from && shows '<member><name>a</name><value><i4>1</i4></value>'
    run 0 convert --from $from --to dump message.$from && shows '    (name) a(int32_t) 1'
    run 0 convert --from $from --to wire message.$from && cmp out message.wire
    # shellcheck disable=SC2086
    run 0 convert --from $from $chunked message.$from && cmp out message.chunks
    for limit in --limit --max-text; do
        run 0 convert --from $from --to json $limit 10 message.$from
        printed '{"name": "add", "request": [{}], "__SNIPPED__" : true}'
    done
    run 0 convert --from $from --to tcl --max-text 10 message.$from
    printed 'request {name "add" struct {...SNIPPED...'
    for to in xml dump; do
        make whole convert --from $from --to $to message.$from
        size=$(wc -c <whole)
        run 0 convert --from $from --to $to --max-text "$size" message.$from && cmp out whole
        run 1 convert --from $from --to $to --max-text $((size - 1)) message.$from && printed ''
        grep -q "^tmsg: message.$from:.* text longer than $((size - 1)) bytes" err || fail "$from to $to: $(cat err)"
    done
done
run 0 convert --from wire --to json <message.wire && printed "$json"
run 0 convert --from wire --to json - <message.wire && printed "$json"
printf 'response {struct {f {file 200000 "%0200000d"}} struct {a {int8_t 1} b {binary 100000 "%0100000d"}}}' 0 0 >long.tcl
for to in json tcl; do
    run 0 convert --from tcl --to $to --max-text 250000 long.tcl && size=$(wc -c <out)
    [ "$size" -ge 250000 ] && [ "$size" -lt 250100 ] || fail "$to: $size bytes of 250000"
done

# Names by index stay through every form, and appear or disappear when an option says so.
make index.wire convert --from tcl --to wire --names-by-index message.tcl
make index.chunks convert --from wire --to chunks index.wire
run 0 convert --from chunks --to wire index.chunks && cmp out index.wire
make index.tcl convert --from wire --to tcl index.wire && shows '"catalog" {array {string "s" }'
run 0 convert --from tcl --to wire index.tcl && cmp out index.wire
run 0 convert --from wire --to wire --names index.wire && cmp out message.wire
run 0 convert --from chunks --to dump index.chunks && shows '(name) s(string) x y'
QEL_INIT_DISABLE_SEND_MEMBER_STRING=1 refuse 1 'index.wire: byte 0: the names of this message cannot be sent by index' \
    convert --from wire --to chunks index.wire

# Files land in temporary files that are gone afterwards, after damage and after a signal too.
printf 'response {struct {f {file 3 "abc"}} struct {}}' >file.tcl
make file.wire convert --from tcl --to wire file.tcl
head -c 15 file.wire >cut_file.wire
for input in file.tcl file.wire cut_file.wire; do
    "$program" convert --from "${input##*.}" --to xml $input >out 2>err & convert=$!
    wait $convert || says 'cut_file.wire: byte 15: decoder expecting more data after end of buffer'
    [ $input = cut_file.wire ] || shows '<value><file>3</file></value>'
    [ -z "$(files_of $convert)" ] || fail "a file of $input was left"
done
mkfifo slow
"$program" convert --from wire --to xml slow >out 2>err & convert=$!
exec 4>slow
cat cut_file.wire >&4
until [ -n "$(files_of $convert)" ]; do sleep 0.01; done
kill -TERM $convert
status=0
wait $convert 2>/dev/null || status=$?
exec 4>&-
[ "$status" -eq 143 ] || fail "SIGTERM: exit status $status"
[ -z "$(files_of $convert)" ] || fail "SIGTERM left a file"

# What is wrong with the input.
head -c 30 message.wire >cut.wire
head -c 30 message.chunks >cut.chunks
head -c 23 message.chunks >first.chunks
tail -c 28 message.chunks >rest.chunks
cat first.chunks message.chunks >again.chunks
printf 'response {struct {a {int8_t 200}} struct {}}\n' >large.tcl
printf 'struct {}' >struct.tcl
refuse_each 1 <<END
convert --from wire --to json cut.wire|cut.wire: byte 26: decoder within string at end of method
convert --from wire --to dump cut.wire|cut.wire: byte 26: decoder within string at end of method
convert --from wire --to json message.tcl|message.tcl: byte 0: unknown tag found: 72h at byte 0
convert --from wire --to dump --max-depth 1 message.wire|message.wire: byte 7: nested deeper than 1 levels: 04h at byte 7
convert --from wire --to json --max-values 1 message.wire|message.wire: byte 20: message with more than 1 values: 04h at byte 20
convert --from wire --to json --max-memory 100 message.wire|message.wire: byte 13: message takes more than 100 bytes of memory: 11h at byte 13
convert --from chunks --to json cut.chunks|cut.chunks: byte 23: input ends within the header of the chunk at byte 23
convert --from chunks --to json first.chunks|first.chunks: byte 23: message without a last chunk
convert --from chunks --to json rest.chunks|rest.chunks: byte 0: chunk continues no known message
convert --from chunks --to json again.chunks|again.chunks: byte 23: message without a last chunk
convert --from chunks --to json --max-bytes 34 message.chunks|message.chunks: byte 58: message longer than 34 bytes: 80h at byte 34
convert --from tcl --to json --max-bytes 34 message.tcl|message.tcl:1:1: message longer than 34 bytes
convert --from tcl --to wire large.tcl|large.tcl:1:29: bad number format parsing int8_t: 200
convert --from tcl --to wire struct.tcl|struct.tcl:1:1: message expected but not found in: struct {}
convert --from wire --to json nowhere|failed to open nowhere: No such file or directory
convert --from wire --to json .|failed to read from .: Is a directory
END

# What is wrong with the output.
unwritten='failed to write to standard output'
for to in json dump; do
    ! "$program" convert --from tcl --to $to message.tcl >/dev/full 2>err || fail "no error for a full disk"
    says "$unwritten: No space left on device"
done
! "$program" convert --from wire --to dump <message.wire >&- 2>err || fail "no error for a closed output"
says "$unwritten: Bad file descriptor"
status=$({ { "$program" convert --from tcl --to json long.tcl 2>err || echo $? >&3; } | true; } 3>&1)
[ "$status" = 141 ] && [ ! -s err ] || fail "a closed pipe: exit status $status"
