#!/bin/sh
# Shows the program tmsg at work: converts a request that was written by hand, inspects it and sends
# it to a server, through a tap that shows the messages. The argument is the program.
set -eu

if [ $# -ne 1 ] || [ ! -x "$1" ]; then
    echo "usage: program_demo.sh PROGRAM, the path of tmsg" >&2
    exit 2
fi
program=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
work=$(mktemp -d)
started=
trap 'for process in $started; do kill "$process" 2>/dev/null || true; done; rm -rf "$work"' EXIT
trap 'exit 1' HUP INT TERM

show() {
    echo "\$ tmsg $*"
    "$program" "$@"
}

cd "$(dirname "$0")"
echo "A request, written by hand as list text in reserve.tcl:"
cat reserve.tcl
echo
echo "\$ tmsg convert --from tcl --to chunks --chunk-size 64 --seq 7 reserve.tcl >reserve.chunks"
"$program" convert --from tcl --to chunks --chunk-size 64 --seq 7 reserve.tcl >"$work/reserve.chunks"
cd "$work"
echo
show inspect reserve.chunks
echo

echo "\$ tmsg serve --port 0 --to json"
mkfifo served tapped
"$program" serve --port 0 --to json >served &
server=$!
started=$server
exec 3<served
read -r port <&3
echo "$port"
echo "\$ tmsg tap --listen 0 --upstream 127.0.0.1:$port --to json --save captures"
"$program" tap --listen 0 --upstream "127.0.0.1:$port" --to json --save captures >tapped &
tap=$!
started="$server $tap"
exec 4<tapped
read -r tap_port <&4
echo "$tap_port"
echo
show call "127.0.0.1:$tap_port" --from chunks --to json reserve.chunks | tee answer
echo
read -r line <&3
echo
echo "The server has printed:"
echo "$line"
echo
echo "The tap has printed:"
while read -r line <&4; do
    echo "$line"
    case $line in *closed*) break ;; esac
done
echo
show inspect captures/1-to-client.chunks
echo
cat <&3 >/dev/null &
show call "127.0.0.1:$port" --repeat 1000 --parallel 4 --from chunks reserve.chunks

kill -TERM "$tap" "$server"
wait "$tap"
wait "$server"
started=
expected='{"response": [{}, {"article": "bolt M8", "count": 250, "weights": [0.25, 1.5], "code": {"type": "binary", "size": 3, "hex": "4d 38 2b "}}]}'
if ! grep -Fqx "$expected" answer; then
    echo "program_demo: this is not the expected answer" >&2
    exit 1
fi
