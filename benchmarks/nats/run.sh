#!/bin/sh
# run.sh PROGRAM ROUNDS [PAYLOAD]: begins a server at a free port of the loopback, and prints the
# tables that the program measures there.
set -eu
work=$(mktemp -d)
server=
clean_up() {
    [ -z "$server" ] || { kill -KILL "$server" && wait "$server"; } 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

nats-server -a 127.0.0.1 -p -1 --ports_file_dir "$work" >"$work/log" 2>&1 &
server=$!
url=
tries=200
while [ -z "$url" ]; do
    sleep 0.05
    url=$(cat "$work"/*.ports 2>/dev/null | sed -n 's|.*"\(nats://[^"]*\)".*|\1|p')
    tries=$((tries - 1))
    [ $tries -gt 0 ] || { cat "$work/log" >&2; exit 1; }
done
program=$1
shift
echo "Measured on $(date +%F) with $(nproc) processors, $(sed -n 's/^model name.*: //p;' /proc/cpuinfo |
    sort -u), nats-server"
echo "$(nats-server --version | sed 's/.*v//') and libnats $(pkg-config --modversion libnats), at a load of $(cut -d' ' -f1 /proc/loadavg)."
echo
"$program" "$url" "$server" "$@"
