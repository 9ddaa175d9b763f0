#!/bin/sh
# cluster.sh FOLDER [NATS_SERVER]: begins three servers as a cluster, four workers and a client with
# 2,000 requests. It kills two workers and a server in the middle of the work, and begins them again
# later. Each request gets its one right answer.
set -eu

if [ $# -lt 1 ] || [ ! -x "$1/tmsg_nats_worker" ] || [ ! -x "$1/tmsg_nats_load" ]; then
    echo "usage: cluster.sh FOLDER [NATS_SERVER], where tmsg_nats_worker and tmsg_nats_load are" >&2
    exit 2
fi
programs=$1
nats_server=${2-nats-server}
work=$(mktemp -d)

clean_up() {
    trap '' HUP INT TERM
    jobs -p >"$work/left"
    while read -r process; do
        kill_process "$process"
    done <"$work/left"
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT TERM

fail() {
    say "cluster: $1" >&2
    exit 1
}

# Removes the live line of the client first.
say() {
    [ ! -t 2 ] || printf '\r\033[K' >&2
    echo "$1"
}

# A process that is killed cannot remove the files that it has received.
kill_process() {
    kill -KILL "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
    rm -f "/tmp/zab_tmp_$1_"*
}

# begin NAME COMMAND...
begin() {
    name=$1
    shift
    : >>"$work/$name.log"
    "$@" >>"$work/$name.log" 2>&1 &
    echo $! >"$work/$name.process"
}

# end NAME
end() {
    say "$1 is killed"
    kill_process "$(cat "$work/$1.process")"
}

# wait_for NAME CONDITION...
wait_for() {
    waited_for=$1
    shift
    tries=400
    until "$@"; do
        sleep 0.05
        tries=$((tries - 1))
        if [ $tries -eq 0 ] || ! kill -0 "$(cat "$work/$waited_for.process")" 2>/dev/null; then
            cat "$work/$waited_for.log" >&2
            fail "$waited_for did not start"
        fi
    done
}

# url NAME KIND: the address that the server wrote to a file, for clients or for other servers.
url() {
    cat "$work/$1/"*.ports 2>/dev/null | sed -n "s|.*\"$2\":\[\"\([^\"]*\)\".*|\1|p"
}

has_url() {
    [ -n "$(url "$1" cluster)" ]
}

# begin_server NAME PORT CLUSTER_PORT ROUTE: a port of -1 means a free one.
begin_server() {
    rm -rf "${work:?}/$1"
    mkdir "$work/$1"
    cat >"$work/$1.conf" <<CONF
host: "127.0.0.1"
port: $2
ports_file_dir: "$work/$1"
cluster { name: demo, host: "127.0.0.1", port: $3, routes: [$4] }
CONF
    begin "$1" "$nats_server" -c "$work/$1.conf"
    wait_for "$1" has_url "$1"
}

is_ready() {
    [ "$(grep -c ready "$work/$1.log")" -ge "$2" ]
}

# begin_worker NAME TIME: worker 1 begins at server 1, and so on; it learns the other servers there.
begin_worker() {
    number=${1#worker}
    begin "$1" "$programs/tmsg_nats_worker" --name "$1" "$(cat "$work/url$(((number - 1) % 3 + 1))")"
    wait_for "$1" is_ready "$1" "$2"
}

begin_again() {
    case $1 in
        server*)
            port=${client_url##*:}
            begin_server server1 "$port" "${route##*:}" "\"$other_route\""
            ;;
        *) begin_worker "$1" 2 ;;
    esac
    say "$1 is back"
}

# What happens when the client has so many percent of the answers.
act_at() {
    case $1 in
        15) end worker2 ;;
        35) begin_again worker2 ;;
        45) end server1 ;;
        60) begin_again server1 ;;
        70) end worker3 ;;
        85) begin_again worker3 ;;
    esac
}

begin_server server1 -1 -1 ''
client_url=$(url server1 nats)
route=$(url server1 cluster)
begin_server server2 -1 -1 "\"$route\""
other_route=$(url server2 cluster)
begin_server server3 -1 -1 "\"$route\", \"$other_route\""
for number in 1 2 3; do url "server$number" nats >"$work/url$number"; done
for number in 1 2 3 4; do begin_worker "worker$number" 1; done
say "3 servers and 4 workers are there"

mkfifo "$work/progress"
"$programs/tmsg_nats_load" --files "$work" 2000 "$client_url" >"$work/progress" &
client=$!
while read -r line; do
    case $line in
        'reached '*) act_at "${line#reached }" ;;
        *) echo "$line" >>"$work/summary" ;;
    esac
done <"$work/progress"
status=0
wait "$client" || status=$?
if [ "$status" -ne 0 ]; then
    [ ! -e "$work/summary" ] || cat "$work/summary"
    fail "the client failed"
fi

# The workers finish what they have.
for number in 1 2 3 4; do kill -TERM "$(cat "$work/worker$number.process")"; done
for number in 1 2 3 4; do
    wait "$(cat "$work/worker$number.process")" || fail "worker$number failed"
done

echo
echo "worker    requests  MB    repeated requests that were recognised"
for number in 1 2 3 4; do
    awk -v name="worker$number" '
        $1 == "ran" { ++ran; bytes += $3 }
        $1 == "again" { ++again }
        END { printf "%-10s%-10d%-6.0f%d\n", name, ran, bytes / 1e6, again }' "$work/worker$number.log"
done
awk '$1 == "ran" && ++runs[$2] == 2 { ++twice }
    END { print "Repeated requests that ran on a second worker, too: " twice + 0 }' \
    "$work"/worker*.log
echo
cat "$work/summary"
