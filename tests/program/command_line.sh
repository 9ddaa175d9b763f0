#!/bin/sh
# command_line.sh PROGRAM: help, and what is wrong with the command line.
. "$(dirname "$0")/common.sh"
refuse 2 'no verb given; see tmsg --help'
refuse_each 2 <<END
melt|no such verb: melt; choose from convert, inspect, peek, check, get, set, diff, call, serve, tap, help; see tmsg --help
help melt|no such verb: melt; choose from convert, inspect, peek, check, get, set, diff, call, serve, tap, help; see tmsg --help
check --melt|The following argument was not expected: --melt; see tmsg --help
check --color=red|--color: red not in {auto,always,never}; see tmsg --help
convert --from json --to tcl|--from: no such form: json; choose from auto, chunks, hex, tcl, typed-json, wire; see tmsg --help
convert --from tcl --to wood|--to: no such form: wood; choose from chunks, dump, hex, json, tcl, typed-json, wire, xml; see tmsg --help
convert --from tcl --to xml --chunk-size 0|--chunk-size: Value 0 not in range 1 to 1048575; see tmsg --help
convert --from tcl --to xml --max-text 0|--max-text: Value 0 not in range 1 to 9223372036854775807; see tmsg --help
call here|HOST:PORT: no address of the form HOST:PORT: here; see tmsg --help
call here:65536|HOST:PORT: no address of the form HOST:PORT: here:65536; see tmsg --help
serve --idle 0|--idle: Value 0 not in range 0.001000 to 1000000.000000; see tmsg --help
END
run 0 --help && shows 'peek' && cp out help && run 0 help && cmp out help && run 0 -h && cmp out help
for verb in convert inspect peek check call serve tap; do run 0 $verb --help && shows "--help" && cp out help && run 0 help $verb && cmp out help; done
run 0 -V && grep -Eq '^tmsg [0-9]+\.[0-9]+\.[0-9]+$' out || fail "no version"
