#!/bin/sh
# call.sh PROGRAM: large answers, answers in every form, and calls that end without an answer.
. "$(dirname "$0")/common.sh"

# A message of 5 MB there and back.
{ printf 'request {name big struct {} struct {data {binary 5000000 "'; seq 900000 | head -c 5000000; printf '"}}}'; } >big.tcl
serve --to json
make answer.json call "127.0.0.1:$port" --to json big.tcl
run 0 convert --from tcl --to json big.tcl
[ "$(sed 's/.*{"data"//' out | cksum)" = "$(sed 's/.*{"data"//' answer.json | cksum)" ] || fail "another body came back"

# Another name of the host, names by index, chunks of one byte.
host=localhost
getent hosts $host >/dev/null || host=127.0.0.1
make index.wire convert --from tcl --to wire --names-by-index message.tcl
make answer.wire call "$host:$port" --from wire --to wire --chunk-size 1 index.wire
run 0 convert --from wire --to tcl answer.wire && printed 'response {struct {} struct {"s" {string "x y" } } } '

printf 'response {struct {} struct {}}' >response.tcl
refuse 1 'failed to receive: timed out' call "127.0.0.1:$port" --timeout 0.2 response.tcl
stop TERM
told ''
refuse 1 "failed to connect to 127.0.0.1:$port: Connection refused" call "127.0.0.1:$port" message.tcl

printf 'response {fault {struct {} struct {"faultCode" {int32_t 7} "faultString" {string "not so"}}}}' >fault.tcl
serve --reply fault.tcl
run 1 call "127.0.0.1:$port" --to json message.tcl && says 'fault 7: not so'
printed '{"response": [{}, {"faultCode": 7, "faultString": "not so"}]}'
! "$program" call "127.0.0.1:$port" message.tcl <&- >&- 2>err || fail "no error for a closed output"
says 'failed to write to standard output: Bad file descriptor'
stop INT

# Many calls at once. The table stands alone on standard output, and a failed call makes the exit status 1.
# table CALLS ERRORS [LEAST MICROSECONDS]
table() {
    [ "$(sed -n 's/^calls   *//p' out)" = "$1" ] && [ "$(sed -n 's/^errors   *//p' out)" = "$2" ] || fail "printed: $(cat out)"
    # The latencies are numbers, each at least as large as the one before.
    if [ $# -gt 2 ]; then
        awk '/ us$/ { if ($(NF - 1) + 0 < last + 0) exit 1; last = $(NF - 1); ++rows; if (rows == 1 && last < least) exit 1 } END { exit rows != 4 }' least="$3" out ||
            fail "printed: $(cat out)"
    fi
}
serve --to json
run 0 call "127.0.0.1:$port" --repeat 500 --parallel 8 message.tcl && table 500 0 0
run 0 call "127.0.0.1:$port" --repeat 6 --parallel 3 big.tcl && table 6 0 0
stop TERM
[ "$(grep -c '"request"' serve.out)" -eq 506 ] || fail "the server got $(grep -c '"request"' serve.out) calls"
serve --delay 100
run 0 call "127.0.0.1:$port" --repeat 20 --parallel 10 message.tcl && table 20 0 100000
run 1 call "127.0.0.1:$port" --repeat 4 --parallel 2 --timeout 0.02 message.tcl && table 4 4
says '4 of 4 calls failed, the first: failed to receive: timed out'
stop TERM
serve --reply fault.tcl
run 1 call "127.0.0.1:$port" --repeat 3 message.tcl && table 3 3 0
says '3 of 3 calls failed, the first: fault 7: not so'
stop INT
run 1 call "127.0.0.1:$port" --repeat 5 --parallel 2 message.tcl && table 5 5
says "5 of 5 calls failed, the first: failed to connect to 127.0.0.1:$port: Connection refused"
refuse 2 '--parallel requires --repeat; see tmsg --help' call "127.0.0.1:$port" --parallel 2 message.tcl
