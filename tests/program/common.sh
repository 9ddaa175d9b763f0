# common.sh: what the scripts of the verbs share. "$1" is the program (its absolute path).
# shellcheck shell=sh
set -eu
program=$1
work=$(mktemp -d)
server=
memory=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM
cd "$work"

fail() {
    echo "$1" >&2
    [ ! -s err ] || sed 's/^/stderr: /' err >&2
    exit 1
}

# run STATUS ARGUMENT...: leaves what is printed in `out` and `err`. Only a failure says something on
# standard error: one line.
run() {
    expected=$1
    shift
    status=0
    "$program" "$@" >out 2>err || status=$?
    [ "$status" -eq "$expected" ] || fail "tmsg $*: exit status $status instead of $expected"
    lines=$(wc -l <err)
    [ "$lines" -eq "$([ "$expected" -eq 0 ] && echo 0 || echo 1)" ] || fail "tmsg $*: $lines lines of error"
}

# make FILE ARGUMENT...: like run, into a file.
make() {
    file=$1
    shift
    run 0 "$@"
    cp out "$file"
}

# Standard output is exactly that text.
printed() { printf '%s' "$1" | cmp -s - out || fail "printed: $(cat out)"; }
shows() { grep -Fq -e "$1" out || fail "not shown: $1; but: $(cat out)"; }
says() { [ "$(cat err)" = "tmsg: $1" ] || fail "did not say: $1"; }

# refuse STATUS ERROR ARGUMENT...: nothing on standard output.
refuse() {
    wanted=$2
    expected=$1
    shift 2
    run "$expected" "$@"
    printed ''
    says "$wanted"
}

# refuse_each STATUS: a table of arguments without spaces, and the error of each.
refuse_each() {
    while IFS='|' read -r arguments error; do
        # shellcheck disable=SC2086
        refuse "$1" "$error" $arguments </dev/null
    done
}

# The first files that messages brought to the process, found without a walk over /tmp.
files_of() { ls "/tmp/zab_tmp_${1}_0" "/tmp/zab_tmp_${1}_1" 2>/dev/null || :; }

# serve OPTION...: starts $server on a free $port, with at most $memory KiB of memory if that is set.
serve() {
    : >serve.out
    ([ -z "$memory" ] || ulimit -v "$memory"; exec "$program" serve "$@") >serve.out 2>serve.err & server=$!
    until port=$(sed -n 1p serve.out) && [ -n "$port" ]; do
        kill -0 "$server" 2>/dev/null || fail "the server did not start: $(cat serve.err)"
        sleep 0.05
    done
}

# told TEXT: what the server says behind the place where it listens.
told() {
    [ "$(sed -n 1p serve.err)" = "tmsg: listening on 127.0.0.1:$port" ] && [ "$(sed 1d serve.err)" = "$1" ] ||
        fail "the server said: $(cat serve.err)"
}

# stop SIGNAL: the server ends well.
stop() {
    kill -"$1" "$server"
    wait "$server" || fail "the server ended with $?"
    server=
}

text='request {name "add" struct {"a" {int32_t 1 } } struct {"s" {string "x y" } } } '
printf '%s' "$text" >message.tcl
make message.wire convert --from tcl --to wire message.tcl
