#!/bin/sh
# A client in Python calls the server in C++, and the client in C++ calls a server in Python. Both
# clients check the answers. The arguments are the folder of the built programs and the folder of
# the package.
set -eu

if [ $# -ne 2 ] || [ ! -x "$1/tmsg_demo_server" ] || [ ! -d "$2/tmsg" ]; then
    echo "usage: demo.sh FOLDER PACKAGES, where tmsg_demo_server and the package tmsg are" >&2
    exit 2
fi
programs=$1
sources=$(cd "$(dirname "$0")" && pwd)
export PYTHONPATH="$2" PYTHONDONTWRITEBYTECODE=1
. "$sources/../demo_server.sh"

start_server "$programs/tmsg_demo_server"
echo "A client in Python calls the server in C++ at port $port:"
"$sources/client.py" "$port" "$sources/client.py" || fail "the client in Python failed"
stop_server
exec 3<&-
rm "$work/log"

start_server "$sources/server.py"
echo "The client in C++ calls a server in Python at port $port:"
"$programs/tmsg_demo_client" "$port" "$sources/server.py" || fail "the client in C++ failed"
dd if=/dev/urandom of="$work/random" bs=1000 count=12000 2>/dev/null
"$programs/tmsg_demo_client" "$port" "$work/random" >"$work/answer" || fail "a large file failed"
grep '^    size ' "$work/answer"
stop_server
echo "All answers were as expected; the servers have ended and left nothing behind."
