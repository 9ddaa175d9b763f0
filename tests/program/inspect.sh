#!/bin/sh
# inspect.sh PROGRAM: sound and damaged captures, in the wire form and in chunks.
. "$(dirname "$0")/common.sh"
make message.chunks convert --from tcl --to chunks --chunk-size 15 --seq 7 --port 3 message.tcl
make other.chunks convert --from tcl --to chunks --chunk-size 15 --seq 8 message.tcl
make index.wire convert --from tcl --to wire --names-by-index message.tcl
make one.chunk convert --from wire --to chunks message.wire
head -c 30 message.wire >cut.wire
head -c 30 message.chunks >cut.chunks

run 0 inspect message.chunks
shows '     2         23       15  -      -        3          7'
shows 'message 7: 35 bytes in 3 chunks'
shows '    s: string[3] "x y"'
run 0 inspect --from wire index.wire && shows '      39      s: string[3] "x y"'
NO_COLOR= run 0 inspect --from wire message.wire && shows '       8      a: int32_t 1'

# Damage comes behind what is sound.
run 1 inspect --from wire cut.wire && says 'cut.wire: byte 26: decoder within string at end of method'
shows '       8      a: int32_t 1'
shows '      21      s: string[3] "", incomplete'
shows 'damaged at byte 26: decoder within string at end of method'
run 1 inspect cut.chunks
shows 'damaged at byte 13 of the message, chunk at byte 0: input ends within the header of the chunk at byte 23'
run 1 inspect --max-bytes 34 message.chunks && says 'message.chunks: byte 58: message longer than 34 bytes: 80h at byte 34; read as chunks, name another form with --from'

# Messages in a row: the table goes on below each tree. Offsets are those of the file.
cat message.chunks one.chunk | run 0 inspect
[ -z "$(sed -n 12p out)" ] && [ "$(sed -n 1p out)" = "$(sed -n 13p out)" ] && sed -n 14p out | grep -q '^     4         59       35  first  last' || fail "no row behind the tree: $(cat out)"
cat message.wire message.wire | run 0 inspect - && shows '      35  request add' && shows '      56      s: string[3] "x y"'
run 0 inspect message.tcl message.wire
[ "$(sed -n 1,2p out)" = "$(printf '==> message.tcl <==\nrequest add')" ] && [ "$(sed -n 7,9p out)" = "$(printf '\n==> message.wire <==\n       0  request add')" ] || fail "headings of files: $(cat out)"
printf '0001 0001 61 04 05 x' | run 1 inspect && says 'standard input:1:20: no hexadecimal digit: x; read as hex, name another form with --from'
shows '       0  request a' && shows 'damaged at byte 6: no hexadecimal digit: x'

# Interleaved messages, and one more than is followed.
{ head -c 23 message.chunks; head -c 23 other.chunks; tail -c +24 message.chunks; tail -c +24 other.chunks; } | run 0 inspect
[ "$(grep -c '    s: string\[3\] "x y"' out)" -eq 2 ] || fail "interleaved messages are not shown"
begin() { printf "\\000\\200\\000\\001\\000\\000\\$(printf '%03o' $(($1 / 256)))\\$(printf '%03o' $(($1 % 256)))\\002"; }
for i in $(seq 1025); do begin "$i"; done >begun.chunks
cat begun.chunks one.chunk | run 1 inspect
says 'standard input: byte 9216: more than 1024 unfinished messages'
[ "$(grep -c 'more than 1024 unfinished messages' out)" -eq 1 ] || fail "one has no place"
shows '    s: string[3] "x y"'

# Control characters, long texts, large arrays.
printf 'response {struct {"\\033[2J" {string "\\x1b[31mred\\x07\xc2\x9b\xc3\xbc"}} struct {}}' |
    "$program" convert --from tcl --to wire | run 0 inspect --from wire
shows 'string[13] "\x1b[31mred\a\xc2\x9bü"'
! grep -q "$(printf '\033')" out || fail "a control character was printed"
printf 'response {struct {a {string "%0100d"}} struct {}}' 0 | "$program" convert --from tcl --to wire | run 0 inspect --from wire
shows "string[100] \"$(printf '%064d' 0)\"..."
{ printf 'response {struct {} struct {a {array {'; yes 'struct {}' | head -n 1000; printf '}}}}'; } |
    "$program" convert --from tcl --to chunks --chunk-size 100 | run 0 inspect
[ "$(sed -n '/^response/,$p' out | grep -n ' struct, empty$' | tail -n 1)" = '1004:      [999] struct, empty' ] || fail "$(tail -n 1 out)"
