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
