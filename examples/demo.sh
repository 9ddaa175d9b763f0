#!/bin/sh
# Calls the server with a small file, with a file that is too large to be mapped, and with an
# unknown method. Checks the replies. The argument is the folder of the built programs.
set -eu

if [ $# -ne 1 ] || [ ! -x "$1/tmsg_demo_server" ] || [ ! -x "$1/tmsg_demo_client" ]; then
    echo "usage: demo.sh FOLDER, where tmsg_demo_server and tmsg_demo_client are" >&2
    exit 2
fi
programs=$1
sources=$(cd "$(dirname "$0")" && pwd)
. "$sources/demo_server.sh"

# call STATUS ARGUMENT...: calls the server, and fails when the exit status of the client is
# another.
call() {
    expected=$1
    shift
    status=0
    "$programs/tmsg_demo_client" "$@" >"$work/answer" || status=$?
    [ "$status" -eq "$expected" ] || fail "the call ended with $status instead of $expected"
    grep -q ' received ' "$work/answer" || fail "no answer came"
    read -r line <&3 || fail "the server has ended"
}

show() {
    sed 's/^/client: /' "$work/answer"
    echo "server: $line"
    echo
}

# Leaves out the lines on members and kinds, which are the same for every call.
show_briefly() {
    grep -v "^    " "$work/answer" >"$work/brief"
    mv "$work/brief" "$work/answer"
    show
}

start_server "$programs/tmsg_demo_server"
echo "server listens at port $port"
echo

echo "A source file and a value of every kind:"
call 0 "$port" "$sources/server.cpp"
show

echo "The same with 12,000,000 random bytes, too many to be mapped:"
dd if=/dev/urandom of="$work/random" bs=1000 count=12000 2>/dev/null
call 0 "$port" "$work/random"
grep -q '^    size  *uint32_t  *12000000$' "$work/answer" || fail "the size is not the file's"
show_briefly

echo "A method that the server does not have:"
call 1 --method demo.forget "$port" "$sources/server.cpp"
grep -q '^  fault 1: no method demo.forget$' "$work/answer" || fail "this is not the expected fault"
show_briefly

stop_server
echo "All answers were as expected; the server has ended and left nothing behind."
