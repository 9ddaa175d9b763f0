#!/bin/sh
# demo.sh FOLDER [NATS_SERVER]: begins a server at a free port of the loopback, a service and a
# client with thousands of calls at once. The service stands still for three seconds, so that the
# client repeats its requests. Each of them has one effect.
set -eu

if [ $# -lt 1 ] || [ ! -x "$1/tmsg_nats_service" ] || [ ! -x "$1/tmsg_nats_client" ]; then
    echo "usage: demo.sh FOLDER [NATS_SERVER], where tmsg_nats_service and tmsg_nats_client are" >&2
    exit 2
fi
programs=$1
nats_server=${2-nats-server}
. "$(dirname "$0")/nats_server.sh"
work=$(mktemp -d)
server=
service=
client=

clean_up() {
    for process in $client $service $server; do
        kill -KILL "$process" 2>/dev/null || true
        wait "$process" 2>/dev/null || true
    done
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "nats demo: $1" >&2
    exit 1
}

start_nats_server "$nats_server" || fail "the server did not start"

mkfifo "$work/log"
"$programs/tmsg_nats_service" "$url" >"$work/log" &
service=$!
exec 3<"$work/log"
read -r line <&3 && [ "$line" = ready ] || fail "the service did not start"

"$programs/tmsg_nats_client" 20000 "$url" >"$work/client" &
client=$!
sleep 0.1
kill -STOP "$service"
sleep 3
kill -CONT "$service"
wait "$client" || { cat "$work/client"; fail "the client failed"; }
client=
cat "$work/client"
kill -TERM "$service"
read -r line <&3 || fail "the service said nothing at its end"
wait "$service" || fail "the service failed"
service=
echo "$line"
