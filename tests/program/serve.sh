#!/bin/sh
# serve.sh PROGRAM: what the server prints, and what it survives.
. "$(dirname "$0")/common.sh"

# It removes the files of a request, and does not answer a response.
serve --to json
printf 'request {name f struct {f {file 3 "abc"}} struct {}}' >file.tcl
run 0 call "127.0.0.1:$port" --to json file.tcl && shows '{"response": [{}, {}]}'
[ -z "$(files_of $server)" ] || fail "the server has left a file"
printf 'response {struct {} struct {}}' >response.tcl
refuse 1 'failed to receive: timed out' call "127.0.0.1:$port" --timeout 0.2 response.tcl
stop TERM
[ "$(tail -n 1 serve.out)" = '{"response": [{}, {}]}' ] || fail "the server printed: $(tail -n 1 serve.out)"
told ''

# It outlives a message for which its memory is short. There is no such test where the program itself
# needs more, with a sanitizer. Without `|| exit` the shell would report there how the program ended.
refuse 1 'the reply must be a response or a fault' serve --reply message.tcl
printf 'response {fault {struct {} struct {"faultCode" {int32_t 7} "faultString" {string "not so"}}}}' >fault.tcl
memory=200000
(ulimit -c 0 && ulimit -v $memory && "$program" --version || exit 1) >/dev/null 2>&1 || memory=
serve --reply fault.tcl
run 1 call "127.0.0.1:$port" message.tcl && says 'fault 7: not so'
[ "$(sed -n 2p serve.out)" = "$text" ] || fail "the server printed: $(sed -n 2p serve.out)"
if [ -n "$memory" ]; then
    { printf 'response {struct {a {array {'; yes 'struct {} ' | head -n 3000000; printf '}}} struct {}}'; } >flood.tcl
    ! "$program" call "127.0.0.1:$port" flood.tcl >out 2>err || fail "the flood was answered"
    told 'tmsg: out of memory'
    run 1 call "127.0.0.1:$port" message.tcl && says 'fault 7: not so'
fi
stop INT

# Where it listens, and faults of the user's own.
serve --listen 127.0.0.2 --fault '7:not: so'
[ "$(cat serve.err)" = "tmsg: listening on 127.0.0.2:$port" ] || fail "the server said: $(cat serve.err)"
run 1 call "127.0.0.2:$port" message.tcl && says 'fault 7: not: so'
refuse 1 "failed to listen on port $port of 127.0.0.2: Address already in use" serve --listen "127.0.0.2:$port"
stop INT
refuse_each 2 <<END
serve --listen 127.0.0.1:1 --port 2|--listen: a port beside --port: 127.0.0.1:1; see tmsg --help
serve --listen 127.0.0.1:70000|--listen: no address: 127.0.0.1:70000; see tmsg --help
serve --fault seven|--fault: no CODE:TEXT: seven; see tmsg --help
serve --fault 7:no --reply message.tcl|--reply excludes --fault; see tmsg --help
END

# Each reply waits, but clients do not wait for one another.
serve --delay 500 --idle 0.2
begin=$(date +%s%N)
callers=
for i in 1 2 3 4 5 6 7 8; do
    "$program" call "127.0.0.1:$port" message.tcl >"answer.$i" & callers="$callers $!"
done
for caller in $callers; do wait "$caller" || fail "a call failed"; done
took=$((($(date +%s%N) - begin) / 1000000))
[ $took -ge 500 ] && [ $took -lt 3000 ] || fail "8 calls took $took ms"
stop TERM
told ''

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
stop TERM
