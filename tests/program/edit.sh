#!/bin/sh
# edit.sh PROGRAM: values that are looked up, changed and compared, and what is refused.
. "$(dirname "$0")/common.sh"

cat >all.tcl <<'END'
request {name add struct {host {string here}} struct {i8 {int8_t -5} u8 {uint8_t 5} i16 {int16_t -5} u16 {uint16_t 5}
    i32 {int32_t -5} u32 {uint32_t 5} i64 {int64_t -5} u64 {uint64_t 5} d {double 0.1234567890123} t {bool true}
    s {string "a \"b\""} bin {binary 3 "a\x00b"} f {file 3 "abc"} list {array {int32_t 1 string two}} in {struct {x {int32_t 1}}}
    m {response {struct {} struct {y {bool false}}}} a.b {int32_t 1} "" {int32_t 2} s {string second}}}
END
make all.wire convert --from tcl --to wire all.tcl

# get PATH TEXT, and what there is not.
gets() { run 0 get all.wire "$1" && printed "$2
"; }
while IFS='|' read -r path text; do gets "$path" "$text"; done <<'END'
body.i8|-5
body.u64|5
body.d|0.1234567890123
body.t|true
body.s|a "b"
body.bin|{"$binary":"YQBi"}
body.f|{"$file":"YWJj"}
body.list|[1,"two"]
body.list[1]|two
body["a.b"]|1
body[""]|2
body.m.body.y|false
body.m|{"response":true,"meta":{},"body":{"y":false}}
meta|{"host":"here"}
END
run 0 get all.wire '' && shows '{"request":"add","meta":{"host":"here"},"body":{"$struct":[["i8",{"$int8":-5}]'
refuse_each 1 <<END
get all.wire body.in.none.x|all.wire: no value at body.in.none
get all.wire body.list[2]|all.wire: no value at body.list[2]
get all.wire i8|all.wire: no value at i8
END
refuse 2 'PATH: bad path: body..x; see tmsg --help' get all.wire body..x

# The type stays, or is given. The borders of each type fit, and nothing beyond them.
sets() { run 0 set all.wire "$1" && cp out changed && run 0 get changed "$2" && printed "$3
"; }
keeps() { run 0 set all.wire "$1=$2" && cp out changed && differs all.wire changed && printed "$1: $3 -> ${4-$2}
"; }
# differs ARGUMENT...: diff says so, and nothing on standard error.
differs() {
    status=0
    "$program" diff "$@" >out 2>err || status=$?
    [ "$status" -eq 1 ] && [ ! -s err ] || fail "diff $*: exit status $status"
}
while read -r path low high below above; do
    keeps "body.$path" "$low" "$(case $path in u*) echo 5 ;; *) echo -5 ;; esac)"
    sets "body.new:$(case $path in u*) echo uint ;; *) echo int ;; esac)${path#?}_t=$high" body.new "$high"
    for bad in "$below" "$above" 1.5 '' 5x 0x5 '1,"a":2'; do
        type=$(case $path in u*) echo uint ;; *) echo int ;; esac)${path#?}_t
        refuse 1 "body.$path: no $type: $bad" set all.wire "body.$path=$bad"
    done
done <<'END'
i8 -128 127 -129 128
u8 0 255 -1 256
i16 -32768 32767 -32769 32768
u16 0 65535 -1 65536
i32 -2147483648 2147483647 -2147483649 2147483648
u32 0 4294967295 -1 4294967296
i64 -9223372036854775808 9223372036854775807 -9223372036854775809 9223372036854775808
u64 0 18446744073709551615 -1 18446744073709551616
END
for number in 2.5 -Infinity NaN; do keeps body.d "$number" 0.1234567890123; done
keeps body.d 1e300 0.1234567890123 1e+300
keeps body.t false true
keeps body.s 'x=y:z' '"a \"b\""' '"x=y:z"'
keeps 'body.list[0]' 7 1
keeps 'body["a.b"]' 7 1
keeps body.m.body.y true false
printf 'a\0c' >bytes
keeps body.bin @bytes 'binary of 3 bytes 61 00 62' 'binary of 3 bytes 61 00 63 from byte 2'
keeps body.f @bytes 'file of 3 bytes' 'file of 3 bytes from byte 1'
sets body.new=5 body.new 5
sets 'body.list[2]=5' body.list '[1,"two","5"]'
sets 'body["a:b"]:bool=true' 'body["a:b"]' true
sets 'body["q\"=["]=5' body '{"$struct":[["i8",{"$int8":-5}],["u8",{"$uint8":5}],["i16",{"$int16":-5}],["u16",{"$uint16":5}],["i32",-5],["u32",{"$uint32":5}],["i64",{"$int64":"-5"}],["u64",{"$uint64":"5"}],["d",0.1234567890123],["t",true],["s","a \"b\""],["bin",{"$binary":"YQBi"}],["f",{"$file":"YWJj"}],["list",[1,"two"]],["in",{"x":1}],["m",{"$message":{"response":true,"meta":{},"body":{"y":false}}}],["a.b",1],["",2],["s","second"],["q\"=[","5"]]}'
sets '["body"]["in"]:=[1,{"$int8":5}]' body.in '[1,{"$int8":5}]'
sets 'body:={"f":{"$file":"YWJj"}}' body '{"f":{"$file":"YWJj"}}'
run 0 set all.wire body.i8:string=x body.i8=y body.in.z:=1 body.in.z=2
cp out changed && run 0 get changed body.in && printed '{"x":1,"z":2}
' && run 0 get changed body.i8 && printed 'y
'
refuse_each 1 <<'END'
set all.wire body.d=1e400|body.d: no double: 1e400
set all.wire body.t=yes|body.t: no bool: yes
set all.wire body.list=5|body.list: holds a value of type array, so write body.list:=JSON
set all.wire body.in=5|body.in: holds a value of type struct, so write body.in:=JSON
set all.wire body.m=5|body.m: holds a value of type message, so write body.m:=JSON
set all.wire body:=[1]|body: takes a struct, not: array
set all.wire body.new.x=5|body.new.x: no value at body.new
set all.wire body.i8.x=5|body.i8.x: a value of type int8_t has no members
set all.wire body.in[0]=5|body.in[0]: a struct has names, no positions
set all.wire body.list.x=5|body.list.x: an array has positions, no names
set all.wire body.list[3]=5|body.list[3]: beyond the end of an array of 2 values
set all.wire body.m.y=5|body.m.y: a message has only meta and body
set all.wire body.new:file=abc|body.new: a file takes @FILE, not: abc
set all.wire body.new:file=@none|body.new: failed to open none
set all.wire body.new:binary=@none|body.new: failed to open none: No such file or directory
set all.wire body.in:={"a":nul}|body.in:1:6: syntax error while parsing value - invalid literal
set all.wire body.i8=6 body.u8=-1|body.u8: no uint8_t: -1
END
refuse 1 "body.s: String length 65536 out of range 0..65535" set all.wire "body.s=$(head -c 65536 /dev/zero | tr '\0' x)"
refuse_each 2 <<'END'
set all.wire body.x|no PATH=VALUE, PATH:=JSON or PATH:TYPE=VALUE: body.x; see tmsg --help
set all.wire =5|no PATH=VALUE, PATH:=JSON or PATH:TYPE=VALUE: =5; see tmsg --help
set all.wire body.i8=1 body..x=5|bad path: body..x; see tmsg --help
set all.wire body.a:b=5|no such type: b; the types are int8_t, uint8_t, int16_t, uint16_t, int32_t, uint32_t, int64_t, uint64_t, double, bool, string, binary, file; see tmsg --help
set all.wire body.i8=1 --none|The following argument was not expected: --none; see tmsg --help
END

# List text comes out with every digit and byte, or not at all.
make same.tcl set all.tcl body.i8=-5
run 0 convert --from tcl --to wire same.tcl && cmp out all.wire
refuse 1 'list text cannot hold this message: expected { but got: }' set all.tcl 'body["x\\"]=5'

# Typed JSON keeps its lines, and hexadecimal text comes back.
printf '{\n    "response": true,\n    "body": {\n        "a": 1\n    }\n}\n' >lines.json
run 0 set lines.json body.a=2 && [ "$(sed -n 5p out)" = '        "a": 2' ] || fail "printed: $(cat out)"

make one.hex convert --to hex message.wire
run 0 set one.hex body.s=z && cp out changed.hex && differs one.hex changed.hex && printed 'body.s: "x y" -> "z"
'

# Names by index and chunk headers stay right.
make index.wire convert --from tcl --to wire --names-by-index message.tcl
make more.wire set index.wire body.s=z 'body.new:={"t":{"s":1}}'
run 0 get more.wire body && printed '{"s":"z","new":{"t":{"s":1}}}
'
run 0 get more.wire meta.catalog && printed '["s","new","t"]
'
make seven.chunks convert --from wire --to chunks --seq 7 --port 3 --chunk-size 15 all.wire
make changed.chunks set seven.chunks body.i8=6
run 0 inspect changed.chunks && shows '1          0       15  first  -        3          7'
printf '{\n   "request": "x"}' >indented.json
make wanted.json set indented.json body.a=1
for file in changed.chunks wanted.json; do
    { head -c 3 $file; sleep 0.2; tail -c +4 $file; } | run 0 set - body.a=1 && cp out slow
    run 0 set $file body.a=1 && cmp out slow || fail "input that comes slowly is written in another way"
done
make whole.chunks convert -t chunks --seq 7 message.wire
{ printf '\0\200\0\0\0\0\0\7\0\100'; tail -c +3 whole.chunks; } >empty.chunks
run 0 set empty.chunks body.s='x y' && cp out changed.chunks && run 0 diff changed.chunks message.wire

# In place: through a link, with the mode, and all or nothing.
make list.tcl convert --from wire --to tcl message.wire
chmod 640 list.tcl
ln -s list.tcl link.tcl
run 0 set --in-place link.tcl meta.a=2 body.b:=3 && printed ''
[ -L link.tcl ] && [ "$(stat -c %a list.tcl)" = 640 ] || fail "another link or mode"
[ "$(cat list.tcl)" = 'request {name "add" struct {"a" {int32_t 2 } } struct {"s" {string "x y" } "b" {int32_t 3 } } } ' ] || fail "$(cat list.tcl)"
cp list.tcl before.tcl
ls -A >files
refuse 1 'meta.a: no int32_t: x' set --in-place list.tcl body.b=4 meta.a=x
head -c 3000000 /dev/zero >large
(ulimit -f 2000 && refuse 1 'failed to write to list.tcl: File too large' set --in-place list.tcl body.l:binary=@large)
rm large
cmp list.tcl before.tcl
ls -A | cmp - files || fail "other files are left"
mkfifo pipe
refuse 1 'failed to find -: No such file or directory' set --in-place - body.a=1 <list.tcl

# diff: what is absent, types, kinds, repeated names, orders.
printf 'request {name "add" struct {} struct {s {string s} s {string t} a {array {int32_t 1 int32_t 2}} b {struct {c {bool true}}}
    d {double 0} m {request {name x struct {} struct {}}} n {double nan}}}' >left.tcl
printf 'fault {struct {} struct {n {double nan} s {string s} a {array {int32_t 1}} b {int64_t 1} d {double -0} m {request {name y struct {} struct {}}}
    s {string u} s {string v} u {uint8_t 1}}}' >right.tcl
printf 'response {%s}' "$(cat right.tcl)" >right
mv right right.tcl
for side in left right; do make $side.wire convert --from tcl --to wire $side.tcl; done
differs left.wire right.wire
printed 'message: request "add" -> fault
body.s[#2]: "t" -> "u"
body.a[1]: 2 -> absent
body.b: struct -> int64_t 1
body.b.c: true -> absent
body.d: 0.0 -> -0.0
body.m: request "x" -> request "y"
body.s[#3]: absent -> "v"
body.u: absent -> uint8_t 1
'
for same in left right all; do run 0 diff $same.wire $same.wire && printed ''; done
refuse 2 'failed to open none: No such file or directory' diff left.wire none
run 0 diff left.wire - <left.tcl
run 2 diff left.wire bytes
run 2 diff left.wire
cat left.wire right.wire >both.wire
for verb in 'get both.wire body' 'set both.wire body.x=1' 'diff both.wire left.wire'; do
    # shellcheck disable=SC2086
    run "$([ "${verb%% *}" = diff ] && echo 2 || echo 1)" $verb
    grep -q 'another message follows the first one' err || fail "$verb: $(cat err)"
done
"$program" diff left.wire right.wire >/dev/full 2>err && fail "no error for a full disk" || [ $? -eq 2 ] || fail "exit status $?"
