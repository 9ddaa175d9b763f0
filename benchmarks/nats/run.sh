#!/bin/sh
# run.sh PROGRAM ROUNDS [PAYLOAD]: begins a server at a free port of the loopback, and prints the
# tables that the program measures there.
set -eu
. "$(dirname "$0")/../../examples/nats/nats_server.sh"
work=$(mktemp -d)
server=
clean_up() {
    [ -z "$server" ] || { kill -KILL "$server" && wait "$server"; } 2>/dev/null || true
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

start_nats_server nats-server || { cat "$work/server.log" >&2; exit 1; }
program=$1
shift
echo "Measured on $(date +%F) with $(nproc) processors, $(sed -n 's/^model name.*: //p;' /proc/cpuinfo |
    sort -u), nats-server"
echo "$(nats-server --version | sed 's/.*v//') and libnats $(pkg-config --modversion libnats), at a load of $(cut -d' ' -f1 /proc/loadavg)."
echo
"$program" "$url" "$server" "$@"
