#!/bin/sh
# with_nats_server.sh NATS_SERVER PROGRAM: runs the program with the address of a new server.
set -eu
work=$(mktemp -d)
server=
trap 'kill $server 2>/dev/null && wait $server || true; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

# The server writes its addresses to a file.
"$1" -a 127.0.0.1 -p -1 --ports_file_dir "$work" >"$work/log" 2>&1 &
server=$!
url=
tries=200
while [ -z "$url" ]; do
    sleep 0.05
    url=$(cat "$work"/*.ports 2>/dev/null | sed -n 's|.*"\(nats://[^"]*\)".*|\1|p')
    tries=$((tries - 1))
    [ $tries -gt 0 ] || { cat "$work/log"; exit 1; }
done
"$2" "$url"
