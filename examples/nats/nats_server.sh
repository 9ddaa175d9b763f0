# nats_server.sh: what scripts with one nats-server share. $work is their folder.
# shellcheck shell=sh disable=SC2034,SC2154

# start_nats_server PROGRAM: starts it at a free port of the loopback, and sets $server to its
# process and $url to its address. Fails when it does not start; $work/server.log tells why.
start_nats_server() {
    "$1" -a 127.0.0.1 -p -1 --ports_file_dir "$work" >"$work/server.log" 2>&1 &
    server=$!
    # The server writes its addresses to a file.
    url=
    tries=200
    while [ -z "$url" ]; do
        sleep 0.05
        url=$(cat "$work"/*.ports 2>/dev/null | sed -n 's|.*"\(nats://[^"]*\)".*|\1|p')
        tries=$((tries - 1))
        [ $tries -gt 0 ] || return 1
    done
}
