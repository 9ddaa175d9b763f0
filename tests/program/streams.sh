#!/bin/sh
# streams.sh PROGRAM: several messages in a row and several files, sound and bad, in every form.
. "$(dirname "$0")/common.sh"
printf 'response {struct {} struct {\n  "{\\"" {string "}\\""} "b" {binary 2 "{\\x7d"}\n}}' >other.tcl
cat message.tcl other.tcl >tcl
for form in wire chunks typed-json hex; do
    make one convert -t $form message.tcl
    make other convert -t $form other.tcl
    cat one other >$form
done
run 0 check tcl wire chunks typed-json hex && printed ''
run 0 convert -t typed-json tcl && cp out wanted
[ "$(wc -l <wanted)" -eq 2 ] || fail "not two lines: $(cat wanted)"

# Every form to every form, guessed and named, whole and byte by byte, in one file and in several.
for from in tcl wire chunks typed-json hex; do
    run 0 convert -t typed-json $from && cmp out wanted
    run 0 convert -f $from -t typed-json $from && cmp out wanted
    dd if=$from bs=1 2>/dev/null | run 0 convert -t typed-json && cmp out wanted
    for to in tcl wire chunks typed-json hex; do
        run 0 convert -t $to $from && [ $to = tcl ] || cmp out $to
    done
done
run 0 convert -t typed-json wire tcl - chunks <hex
[ "$(sort -u out | wc -l)" -eq 2 ] && [ "$(wc -l <out)" -eq 8 ] || fail "not all messages of four files"
run 0 convert -t tcl wire message.wire
[ "$(grep -c '^re[qs]' out)" -eq 3 ] && [ "$(wc -l <out)" -eq 2 ] || fail "no line feed between messages, or one behind them"
printf '\n 0001 0003 6164\r\n64 0 4 8404 84 80\n\t' >blanks
run 0 peek blanks && [ "$(cat out)" = add ] || fail "hexadecimal text with blanks"
tr a-f A-F <hex | run 0 convert -t wire && cmp out wire

# Messages in turn are each written at its last chunk.
make first convert -t chunks --chunk-size 20 --seq 1 message.tcl
make second convert -t chunks --chunk-size 20 --seq 2 other.tcl
{ head -c 28 first; head -c 28 second; tail -c +29 first; tail -c +29 second; } | run 0 convert -t typed-json && cmp out wanted

# Each message is written when it has come, though the input goes on.
mkfifo slow
for verb in 'convert -t json' peek inspect; do
    # shellcheck disable=SC2086
    "$program" $verb slow >out 2>err & reader=$!
    exec 4>slow
    cat message.wire >&4
    for i in 1 2 3 4 5 6 7 8 9 10; do grep -q add out && break; sleep 0.1; done
    grep -q add out || fail "$verb holds the message back"
    exec 4>&-
    wait $reader || fail "$verb: $?"
done

# A bad file is named, what is good is written, and the next file is read.
printf '\n\nrequest {name x struct {}\n  struct {"a" {int8_t 200}}}' >bad_word
cat message.tcl bad_word >late_word
head -c -1 wire >late_cut
printf '{"request":"x"}\n\n {"request":\n  nil}' >late_json
printf '0001 0001 61 0484 0484 80\n00 0x' >late_digit
: >empty
printf ' \n\t' >blank
"$program" convert -t typed-json late_word nowhere late_cut empty late_json late_digit blank message.wire bad_word >out 2>err &&
    fail "no error for bad files"
cat >expected <<END
tmsg: late_word:4:23: bad number format parsing int8_t: 200
tmsg: failed to open nowhere: No such file or directory
tmsg: late_cut: byte $(wc -c <late_cut): decoder expecting more data after end of buffer
tmsg: empty: the input is empty
tmsg: late_json:4:3: syntax error while parsing value - invalid literal
tmsg: late_digit:2:5: no hexadecimal digit: x
tmsg: blank: the input is empty
tmsg: bad_word:4:23: bad number format parsing int8_t: 200; read as tcl, name another form with --from
END
diff expected err || fail "other errors"
[ "$(wc -l <out)" -eq 5 ] || fail "not the messages before the errors: $(cat out)"
printf '0001\n000' | refuse 1 'standard input:2:4: hexadecimal digit without a second one; read as hex, name another form with --from' check
