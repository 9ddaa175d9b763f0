#!/bin/sh
# tap.sh PROGRAM: what the tap shows and saves of calls between the program's own client and server.
. "$(dirname "$0")/common.sh"
tap=
time='[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\.[0-9]{6}'
trap '[ -z "$server" ] || kill "$server"; kill $tap 2>/dev/null || :; rm -rf "$work"' EXIT

# tap OPTION...: starts $tap on $tapped, before the server on $port.
tap() {
    : >tap.out
    "$program" tap --listen 0 --upstream "127.0.0.1:$port" "$@" >tap.out 2>tap.err & tap=$!
    until tapped=$(sed -n 1p tap.out) && [ -n "$tapped" ]; do
        kill -0 $tap 2>/dev/null || fail "the tap did not start: $(cat tap.err)"
        sleep 0.05
    done
}
stop_tap() {
    kill -"$1" $tap
    wait $tap || fail "the tap ended with $?"
    [ "$(sed 1d tap.err)" = "$2" ] || fail "the tap said: $(cat tap.err)"
}
# has COUNT PATTERN: so many whole lines match, once the tap has printed them.
has() {
    tries=0
    while [ "$(grep -Exc "$2" tap.out)" -ne "$1" ] && [ $tries -lt 100 ]; do
        tries=$((tries + 1))
        sleep 0.1
    done
    [ $tries -lt 100 ] && return
    fail "not $1 lines of $2: $(head -c 3000 tap.out)"
}

# Messages, their times and the captures.
{ printf 'request {name big struct {} struct {data {binary 5000000 "'; seq 900000 | head -c 5000000; printf '"}}}'; } >big.tcl
serve --to json --delay 100
tap --to json --save captures/of_today
grep -Fqx "tmsg: listening on 127.0.0.1:$tapped, passing on to 127.0.0.1:$port" tap.err || fail "the tap said: $(cat tap.err)"
run 0 call "127.0.0.1:$tapped" message.tcl && shows 'x y'
has 1 "$time #1 connected from 127\.0\.0\.1:[0-9]+"
has 1 "$time #1 > request add seq 1, 43 bytes"
has 1 '\{"name": "add", "request": \[\{"a": 1\}, \{"s": "x y"\}\]\}'
has 1 "$time #1 < response add seq 1, 26 bytes, [1-9][0-9]{2}\.[0-9]{3} ms"
has 1 '\{"response": \[\{\}, \{"s": "x y"\}\]\}'
has 1 "$time #1 closed after 43 bytes > and 26 bytes <"
make direct.json call "127.0.0.1:$port" --to json big.tcl
run 0 call "127.0.0.1:$tapped" --to json big.tcl
cmp -s out direct.json || fail "another answer came through the tap"
make sent.chunks convert --from tcl --to chunks big.tcl
cmp -s sent.chunks captures/of_today/2-to-upstream.chunks || fail "the capture is not what was sent"
run 0 convert --from chunks --to json captures/of_today/2-to-client.chunks
cmp -s out direct.json || fail "the capture is not what came back"
run 0 inspect captures/of_today/1-to-client.chunks && shows 's: string[3] "x y"'
stop TERM
stop_tap INT ''

# A fault, many connections, and captures beside those that stand there.
serve --fault '7:not so'
tap --save captures/of_today
run 1 call "127.0.0.1:$tapped" message.tcl && says 'fault 7: not so'
has 1 "$time #3 < fault add seq 1, [0-9]+ bytes, [0-9.]+ ms: 7 not so"
stop TERM
stop_tap TERM ''
serve
tap --save captures/of_today
run 0 call "127.0.0.1:$tapped" --repeat 600 --parallel 60 message.tcl
has 600 "$time #[0-9]+ > request add seq [0-9]+, 43 bytes"
has 600 "$time #[0-9]+ < response add seq [0-9]+, 26 bytes, [0-9]+\.[0-9]{3} ms"
has 60 "$time #[0-9]+ closed after [0-9]+ bytes > and [0-9]+ bytes <"
[ "$(sort -u tap.out | grep -c 'connected from')" -eq 60 ] || fail "connections share a number"
cmp -s sent.chunks captures/of_today/2-to-upstream.chunks || fail "a capture was overwritten"
stop TERM
! "$program" call "127.0.0.1:$tapped" message.tcl >out 2>err || fail "no error without a server"
has 1 "$time #64 closed after 0 bytes > and 0 bytes <"
stop_tap TERM "tmsg: #64: failed to connect to 127.0.0.1:$port: Connection refused"

refuse 1 'unknown address nowhere.invalid:1' tap --listen 0 --upstream nowhere.invalid:1
refuse 1 'failed to make the folder message.tcl/in: Not a directory' tap --listen 0 --upstream 127.0.0.1:1 --save message.tcl/in
refuse_each 2 <<END
tap --listen 0|--upstream is required; see tmsg --help
tap --listen here --upstream 127.0.0.1:1|--listen: no port: here; see tmsg --help
tap --listen 0 --upstream 7|--upstream: no address of the form HOST:PORT: 7; see tmsg --help
tap --listen 0 --upstream 127.0.0.1:7 --to wire|--to: no such form: wire; choose from dump, hex, json, tcl, typed-json, xml; see tmsg --help
END
