#!/bin/sh
# call.sh PROGRAM: large answers, answers in every form, and calls that end without an answer.
. "$(dirname "$0")/common.sh"

# A message of 5 MB there and back.
{ printf 'request {name big struct {} struct {data {binary 5000000 "'; seq 900000 | head -c 5000000; printf '"}}}'; } >big.tcl
serve --to json
make answer.json call "127.0.0.1:$port" --to json big.tcl
run 0 convert --from tcl --to json big.tcl
[ "$(sed 's/.*{"data"//' out | cksum)" = "$(sed 's/.*{"data"//' answer.json | cksum)" ] || fail "another body came back"

# A request without a file: a method name, data and arguments. A file that exists and stands alone is sent.
sends() { run 0 call "127.0.0.1:$port" "$@" && sed -n '$p' serve.out | cmp -s - expected || fail "call $*: $(sed -n '$p' serve.out)"; }
sent() { printf '{"name": "%s", "request": [{}, %s]}\n' "$1" "$2" >expected; }
sent ping '{}'
sends ping
sent add '{"a": "1", "b": 2, "c": 3, "d": {"e": [1, -5]}, "x:y": "z=5", "0": true}'
sends add a=1 b:=2 c:int64_t=3 'd:={"e":[1]}' 'd.e[1]:int8_t=-5' '["x:y"]=z=5' 0:bool=true
sent add '{"l": [1, 2], "k": 4}'
sends add '["l"]:=[1,2]' -d '{"l":0,"k":3}' k=4
printf '{"l":\n{"$int8":7}}' >data.json
sent message.tcl '{"l": 7}'
sends -d @data.json message.tcl
sent add '{"l": 7, "b": "abc", "f": "<file 3>"}'
printf abc >bytes
run 0 call "127.0.0.1:$port" --data @data.json add b:binary=@bytes f:file=@bytes -t tcl
printed 'response {struct {} struct {"l" {int8_t 7 } "b" {binary "3 bytes" "61 62 63 " } "f" {file 3 } } } '
printf '{"l":\n{"$int8":777}}' >data.json
refuse_each 1 <<END
call 127.0.0.1:$port -d @data.json add|data.json:2:10: 777 does not fit int8_t
call 127.0.0.1:$port -d [1] add|--data takes an object, not a value of type array
call 127.0.0.1:$port -d @none add|failed to open none: No such file or directory
call 127.0.0.1:$port add a=1 b.c=2|b.c: no value at b
call 127.0.0.1:$port message.tcl a:int8_t=200|a: no int8_t: 200
END
refuse 2 'no PATH=VALUE, PATH:=JSON or PATH:TYPE=VALUE: message.tcl; see tmsg --help' call "127.0.0.1:$port" add message.tcl
refuse 2 '--data: no METHOD given; see tmsg --help' call "127.0.0.1:$port" -d '{}'

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
