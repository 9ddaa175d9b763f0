# demo_server.sh: what the demos share: a folder for their files, and a server that ends with them.
# shellcheck shell=sh
work=$(mktemp -d)
server=

clean_up() {
    if [ -n "$server" ]; then
        kill -KILL "$server" 2>/dev/null || true
        wait "$server" 2>/dev/null || true
        rm -f /tmp/zab_tmp_"$server"_*
    fi
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
    echo "demo: $1" >&2
    exit 1
}

# start_server PROGRAM: its lines come through a pipe, and the first one is the port.
start_server() {
    mkfifo "$work/log"
    "$1" >"$work/log" &
    server=$!
    exec 3<"$work/log"
    read -r port <&3 || fail "the server did not start"
}

# The server ends well and leaves no file.
stop_server() {
    kill -TERM "$server"
    status=0
    wait "$server" || status=$?
    [ "$status" -eq 0 ] || fail "the server ended with $status"
    for file in /tmp/zab_tmp_"$server"_*; do
        [ ! -e "$file" ] || fail "the server left $file"
    done
    server=
}
