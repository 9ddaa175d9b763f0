#!/bin/sh
# Sends hundreds of requests and a file with holes at once, of 1 GiB or of as many bytes as the
# second argument says, and checks that both programs take little memory. The first argument is the
# folder of the built programs.
set -eu

if [ $# -lt 1 ] || [ ! -x "$1/tmsg_epoll_server" ] || [ ! -x "$1/tmsg_epoll_client" ]; then
    echo "usage: demo.sh FOLDER [BYTES], where tmsg_epoll_server and tmsg_epoll_client are" >&2
    exit 2
fi
programs=$1
bytes=${2-1073741824}
most_memory=65536 # KiB
. "$(dirname "$0")/../demo_server.sh"

printf begin >"$work/holes"
truncate -s $((bytes - 3)) "$work/holes"
printf end >>"$work/holes"

start_server "$programs/tmsg_epoll_server"
"$programs/tmsg_epoll_client" "$port" "$work/holes" >"$work/client" || fail "the client failed"
cat "$work/client"
stop_server
read -r line <&3 || fail "the server said nothing at its end"
echo "$line"

grep -q "^client: 501 requests in flight$" "$work/client" || fail "not all requests were sent at once"
for memory in $({ cat "$work/client"; echo "$line"; } | sed -n 's/.*at most \([0-9]*\) KiB.*/\1/p'); do
    [ "$memory" -le "$most_memory" ] || fail "a program took $memory KiB of memory"
done
