#!/bin/sh
# with_nats_server.sh NATS_SERVER PROGRAM: runs the program with the address of a new server.
set -eu
. "$(dirname "$0")/../../examples/nats/nats_server.sh"
work=$(mktemp -d)
server=
trap 'kill $server 2>/dev/null && wait $server || true; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

start_nats_server "$1" || { cat "$work/server.log"; exit 1; }
"$2" "$url"
