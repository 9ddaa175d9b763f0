#!/bin/sh
# tool_test.sh PROGRAM: the program (its absolute path) as its users meet it, with good and bad input.
set -eu
program=$1
work=$(mktemp -d)
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cd "$work"

fail() {
    echo "$1" >&2
    [ ! -s err ] || sed 's/^/stderr: /' err >&2
    exit 1
}

# run STATUS ARGUMENT...: leaves what is printed in `out` and `err`. Only a failure says something on
# standard error: one line.
run() {
    expected=$1
    shift
    status=0
    "$program" "$@" >out 2>err || status=$?
    [ "$status" -eq "$expected" ] || fail "tmsg $*: exit status $status instead of $expected"
    lines=$(wc -l <err)
    [ "$lines" -eq "$([ "$expected" -eq 0 ] && echo 0 || echo 1)" ] || fail "tmsg $*: $lines lines of error"
}

# Standard output is exactly that text.
printed() { printf '%s' "$1" | cmp -s - out || fail "printed: $(cat out)"; }
shows() { grep -Fq -e "$1" out || fail "not shown: $1; but: $(cat out)"; }
says() { [ "$(cat err)" = "tmsg: $1" ] || fail "did not say: $1"; }

# refuse STATUS ERROR ARGUMENT...: nothing on standard output.
refuse() {
    wanted=$2
    expected=$1
    shift 2
    run "$expected" "$@"
    printed ''
    says "$wanted"
}

text='request {name "add" struct {"a" {int32_t 1 } } struct {"s" {string "x y" } } } '
printf '%s' "$text" >message.tcl
run 0 convert --from tcl --to wire message.tcl && cp out message.wire
run 0 convert --from tcl --to chunks --chunk-size 15 --seq 7 --port 3 message.tcl && cp out message.chunks

# Every form to every form.
json='{"name": "add", "request": [{"a": 1}, {"s": "x y"}]}'
for from in tcl wire chunks; do
    run 0 convert --from $from --to tcl message.$from && printed "$text"
    run 0 convert --from $from --to json message.$from && printed "$json"
    run 0 convert --from $from --to json --limit 10 message.$from
    printed '{"name": "add", "request": [{}], "__SNIPPED__" : true}'
    run 0 convert --from $from --to xml --chunk-size 5 message.$from && shows '<member><name>a</name><value><i4>1</i4></value>'
    run 0 convert --from $from --to dump message.$from && shows '    (name) a(int32_t) 1'
    run 0 convert --from $from --to wire message.$from && cmp out message.wire
    run 0 convert --from $from --to chunks --chunk-size 15 --seq 7 --port 3 message.$from && cmp out message.chunks
done
run 0 convert --from wire --to json <message.wire && printed "$json"
run 0 convert --from wire --to json - <message.wire && printed "$json"

# The limit of the text cuts what can be cut, and refuses the rest.
for from in tcl wire chunks; do
    run 0 convert --from $from --to json --max-text 10 message.$from
    printed '{"name": "add", "request": [{}], "__SNIPPED__" : true}'
    run 0 convert --from $from --to tcl --max-text 10 message.$from
    printed 'request {name "add" struct {...SNIPPED...'
    for to in xml dump; do
        run 0 convert --from $from --to $to message.$from && cp out whole
        size=$(wc -c <whole)
        run 0 convert --from $from --to $to --max-text "$size" message.$from && cmp out whole
        run 1 convert --from $from --to $to --max-text $((size - 1)) message.$from && printed ''
        grep -q "^tmsg: text longer than $((size - 1)) bytes" err || fail "$from to $to: $(cat err)"
    done
done
printf 'response {struct {f {file 200000 "%0200000d"}} struct {a {int8_t 1} b {binary 100000 "%0100000d"}}}' 0 0 >long.tcl
for to in json tcl; do
    run 0 convert --from tcl --to $to --max-text 250000 long.tcl && size=$(wc -c <out)
    [ "$size" -ge 250000 ] && [ "$size" -lt 250100 ] || fail "$to: $size bytes of 250000"
done

# Names by index stay so, whatever lies between, and come and go when asked.
run 0 convert --from tcl --to wire --names-by-index message.tcl && cp out index.wire
run 0 convert --from wire --to chunks index.wire && cp out index.chunks
run 0 convert --from chunks --to wire index.chunks && cmp out index.wire
run 0 convert --from wire --to tcl index.wire && shows '"catalog" {array {string "s" }' && cp out index.tcl
run 0 convert --from tcl --to wire index.tcl && cmp out index.wire
run 0 convert --from wire --to wire --names index.wire && cmp out message.wire
run 0 convert --from chunks --to dump index.chunks && shows '(name) s(string) x y'
QEL_INIT_DISABLE_SEND_MEMBER_STRING=1 refuse 1 'the names of this message cannot be sent by index' \
    convert --from wire --to chunks index.wire

# Files land in temporary files that are gone afterwards, damaged messages included.
printf 'response {struct {f {file 3 "abc"}} struct {}}' >file.tcl
"$program" convert --from tcl --to wire file.tcl >file.wire & convert=$!
wait $convert
head -c 25 file.wire >cut.wire
for input in file.wire cut.wire; do
    "$program" convert --from wire --to xml $input >out 2>err & convert=$!
    wait $convert || says 'decoder expecting more data after end of buffer'
    [ -z "$(find /tmp -maxdepth 1 -name "zab_tmp_${convert}_*")" ] || fail "a file of $input was left"
done
run 0 convert --from wire --to xml file.wire && shows '<value><file>3</file></value>'
mkfifo slow
"$program" convert --from wire --to xml slow >out 2>err & convert=$!
exec 4>slow
head -c 25 file.wire >&4
until [ -n "$(find /tmp -maxdepth 1 -name "zab_tmp_${convert}_*")" ]; do sleep 0.01; done
kill -TERM $convert
status=0
wait $convert 2>/dev/null || status=$?
exec 4>&-
[ "$status" -eq 143 ] || fail "SIGTERM: exit status $status"
[ -z "$(find /tmp -maxdepth 1 -name "zab_tmp_${convert}_*")" ] || fail "SIGTERM left a file"

# What is wrong with the input.
head -c 30 message.wire >cut.wire
head -c 30 message.chunks >cut.chunks
refuse 1 'decoder within string at end of method' convert --from wire --to json cut.wire
refuse 1 'decoder within string at end of method' convert --from wire --to dump cut.wire
refuse 1 'input ends within the header of the chunk at byte 23' convert --from chunks --to json cut.chunks
head -c 23 message.chunks | refuse 1 'message without a last chunk' convert --from chunks --to json
tail -c 28 message.chunks | refuse 1 'chunk continues no known message' convert --from chunks --to json
head -c 23 message.chunks >first.chunk
cat first.chunk message.chunks | refuse 1 'message without a last chunk' convert --from chunks --to json
run 0 convert --from tcl --to chunks --chunk-size 15 --seq 8 message.tcl && cp out other.chunks
cat first.chunk other.chunks | refuse 1 'another message in the chunk at byte 23' convert --from chunks --to json
cat message.chunks message.wire | refuse 1 "data follows the message at byte $(wc -c <message.chunks)" convert --from chunks --to json
cat message.wire message.wire | refuse 1 'unexpected method call begin in method call: 00h at byte 35' convert --from wire --to tcl
cat message.tcl message.tcl | refuse 1 'text follows the message' convert --from tcl --to wire
refuse 1 'unknown tag found: 72h at byte 0' convert --from wire --to json message.tcl
refuse 1 'bad number format parsing int8_t: 200' convert --from tcl --to wire <<END
response {struct {a {int8_t 200}} struct {}}
END
printf 'struct {}' | refuse 1 'message expected but not found in: struct {}' convert --from tcl --to wire
refuse 1 'nested deeper than 1 levels: 04h at byte 7' convert --from wire --to dump --max-depth 1 message.wire
refuse 1 'message with more than 1 values: 04h at byte 20' convert --from wire --to json --max-values 1 message.wire
refuse 1 'message takes more than 100 bytes of memory: 11h at byte 13' convert --from wire --to json --max-memory 100 message.wire
refuse 1 'message longer than 34 bytes: 80h at byte 34' convert --from chunks --to json --max-bytes 34 message.chunks
refuse 1 'message longer than 34 bytes' convert --from tcl --to json --max-bytes 34 message.tcl
run 1 inspect --max-bytes 34 message.chunks && says 'message longer than 34 bytes: 80h at byte 34'
refuse 1 'failed to open nowhere: No such file or directory' convert --from wire --to json nowhere
refuse 1 'failed to read from .: Is a directory' convert --from wire --to json .
[ ! -e /dev/full ] || ! "$program" convert --from tcl --to json message.tcl >/dev/full 2>err || fail "no error for a full disk"
says 'failed to write to standard output: No space left on device'
[ ! -e /dev/full ] || ! "$program" convert --from tcl --to dump message.tcl >/dev/full 2>err || fail "no error for a full disk"
says 'failed to write to standard output: No space left on device'
! "$program" convert --from wire --to dump <message.wire >&- 2>err || fail "no error for a closed output"
says 'failed to write to standard output: Bad file descriptor'

# What is wrong with the command line.
refuse 2 'no verb given; see tmsg --help'
refuse 2 'The following argument was not expected: melt; see tmsg --help' melt
refuse 2 '--from: no such form: json; see tmsg --help' convert --from json --to tcl
refuse 2 '--chunk-size: Value 0 not in range 1 to 1048575; see tmsg --help' convert --from tcl --to xml --chunk-size 0
refuse 2 'HOST:PORT: no address of the form HOST:PORT: here; see tmsg --help' call here
refuse 2 'HOST:PORT: no address of the form HOST:PORT: here:65536; see tmsg --help' call here:65536
refuse 2 '--max-text: Value 0 not in range 1 to 9223372036854775807; see tmsg --help' convert --from tcl --to xml --max-text 0
refuse 2 '--idle: Value 0 not in range 0.001000 to 1000000.000000; see tmsg --help' serve --idle 0
refuse 1 'the reply must be a response or a fault' serve --reply message.tcl
run 0 --help && shows 'peek'
for verb in convert inspect peek call serve; do run 0 $verb --help && shows "--help"; done
run 0 --version && grep -Eq '^tmsg [0-9]+\.[0-9]+\.[0-9]+$' out || fail "no version"

run 0 peek message.wire && [ "$(cat out)" = add ] || fail "no method name"
name=$(seq 1200 | tr -d '\n')
echo "request {name $name struct {} struct {}}" | "$program" convert --from tcl --to wire | run 0 peek && [ "$(cat out)" = "$name" ] || fail "no long name"
printf '\002\004' | refuse 1 'no method name at the head of the input' peek
head -c 6 message.wire | refuse 1 'no method name at the head of the input' peek

run 0 inspect message.chunks
shows '     2         23       15  -      -        3          7'
shows 'message 7: 35 bytes in 3 chunks'
shows '    s: string[3] "x y"'
run 0 inspect --from wire index.wire && shows '      39      s: string[3] "x y"'
NO_COLOR= run 0 inspect --from wire message.wire && shows '       8      a: int32_t 1'
run 1 inspect --from wire cut.wire && says 'decoder within string at end of method'
shows '       8      a: int32_t 1'
shows '      21      s: string[3] "", incomplete'
shows 'damaged at byte 26: decoder within string at end of method'
run 1 inspect cut.chunks
shows 'damaged at byte 13 of the message, chunk at byte 0: input ends within the header of the chunk at byte 23'
printf 'response {struct {"\\033[2J" {string "\\x1b[31mred\\x07\xc2\x9b\xc3\xbc"}} struct {}}' |
    "$program" convert --from tcl --to wire | run 0 inspect --from wire
shows 'string[13] "\x1b[31mred\a\xc2\x9bü"'
! grep -q "$(printf '\033')" out || fail "a control character was printed"
{ head -c 23 message.chunks; head -c 23 other.chunks; tail -c +24 message.chunks; tail -c +24 other.chunks; } | run 0 inspect
[ "$(grep -c '    s: string\[3\] "x y"' out)" -eq 2 ] || fail "interleaved messages are not shown"
{ printf 'response {struct {} struct {a {array {'; yes 'struct {}' | head -n 1000; printf '}}}}'; } |
    "$program" convert --from tcl --to chunks --chunk-size 100 | run 0 inspect
[ "$(sed -n '/^response/,$p' out | grep -n ' struct, empty$' | tail -n 1)" = '1004:      [999] struct, empty' ] || fail "$(tail -n 1 out)"
# More messages are unfinished than are followed.
begin() { printf "\\000\\200\\000\\001\\000\\000\\$(printf '%03o' $(($1 / 256)))\\$(printf '%03o' $(($1 % 256)))\\002"; }
for i in $(seq 1025); do begin "$i"; done >begun.chunks
run 0 convert --from wire --to chunks message.wire && cp out one.chunk
cat begun.chunks one.chunk | run 1 inspect
says 'more than 1024 unfinished messages'
[ "$(grep -c 'more than 1024 unfinished messages' out)" -eq 1 ] || fail "one has no place"
shows '    s: string[3] "x y"'
printf 'response {struct {a {string "%0100d"}} struct {}}' 0 | "$program" convert --from tcl --to wire | run 0 inspect --from wire
shows "string[100] \"$(printf '%064d' 0)\"..."

# A message of 5 MB there and back, and the other ways in which a call ends.
{ printf 'request {name big struct {} struct {data {binary 5000000 "'; seq 900000 | head -c 5000000; printf '"}}}'; } >big.tcl
mkfifo log
"$program" serve --to json >log 2>serve.err & server=$!
exec 3<log
read -r port <&3
cat <&3 >serve.out & reader=$!
run 0 call "127.0.0.1:$port" --to json big.tcl && cp out answer.json
run 0 convert --from tcl --to json big.tcl
[ "$(sed 's/.*{"data"//' out | cksum)" = "$(sed 's/.*{"data"//' answer.json | cksum)" ] || fail "another body came back"
host=localhost
getent hosts $host >/dev/null || host=127.0.0.1
run 0 call "$host:$port" --from wire --to wire --chunk-size 1 index.wire && cp out answer.wire
run 0 convert --from wire --to tcl answer.wire && printed 'response {struct {} struct {"s" {string "x y" } } } '
printf 'response {struct {} struct {}}' >response.tcl
printf 'request {name f struct {f {file 3 "abc"}} struct {}}' | run 0 call "127.0.0.1:$port" --to json && shows '{"response": [{}, {}]}'
[ -z "$(find /tmp -maxdepth 1 -name "zab_tmp_${server}_*")" ] || fail "the server has left a file"
refuse 1 'failed to receive: timed out' call "127.0.0.1:$port" --timeout 0.2 response.tcl
kill -TERM $server
wait $server || fail "the server ended with $?"
server=
wait $reader
exec 3<&-
[ "$(tail -n 1 serve.out)" = '{"response": [{}, {}]}' ] && [ ! -s serve.err ] || fail "the server printed: $(tail -n 1 serve.out)"
refuse 1 "failed to connect to 127.0.0.1:$port: Connection refused" call "127.0.0.1:$port" message.tcl

printf 'response {fault {struct {} struct {"faultCode" {int32_t 7} "faultString" {string "not so"}}}}' >fault.tcl
# Where the program can live with so little memory: not with a sanitizer's.
memory=200000
(ulimit -v $memory && "$program" --version) >/dev/null 2>&1 || memory=unlimited
: >serve.out
(ulimit -v $memory && exec "$program" serve --reply fault.tcl) >serve.out 2>serve.err & server=$!
until port=$(sed -n 1p serve.out) && [ -n "$port" ]; do sleep 0.05; done
run 1 call "127.0.0.1:$port" --to json message.tcl && says 'fault 7: not so'
printed '{"response": [{}, {"faultCode": 7, "faultString": "not so"}]}'
[ "$(sed -n 2p serve.out)" = "$text" ] || fail "the server printed: $(sed -n 2p serve.out)"
if [ $memory != unlimited ]; then
    { printf 'response {struct {a {array {'; yes 'struct {} ' | head -n 3000000; printf '}}} struct {}}'; } >flood.tcl
    ! "$program" call "127.0.0.1:$port" flood.tcl >out 2>err || fail "the flood was answered"
    [ "$(cat serve.err)" = 'tmsg: out of memory' ] || fail "the server said: $(cat serve.err)"
    run 1 call "127.0.0.1:$port" message.tcl && says 'fault 7: not so'
fi
kill -INT $server
wait $server || fail "the server ended with $?"
server=

# Without standard input, output and error nothing goes to their numbers.
"$program" serve --port "$port" --reply fault.tcl <&- >&- 2>&- & server=$!
for i in 1 2 3 4 5 6 7 8 9 10; do
    status=0
    "$program" call "127.0.0.1:$port" --to json message.tcl >out 2>err || status=$?
    grep -q refused err || break
    sleep 0.1
done
says 'fault 7: not so'
if [ -d /proc/$server/fd ]; then
    [ -z "$(find /proc/$server/fd -name '[012]')" ] || fail "a descriptor below 3 is in use"
fi
! "$program" call "127.0.0.1:$port" message.tcl <&- >&- 2>err || fail "no error for a closed output"
says 'failed to write to standard output: Bad file descriptor'
kill -TERM $server
wait $server || fail "the server ended with $?"
server=

status=$({ { "$program" convert --from tcl --to json big.tcl 2>err || echo $? >&3; } | true; } 3>&1)
[ "$status" = 1 ] || fail "a closed pipe: exit status $status"
says 'failed to write to standard output: Broken pipe'
