#!/bin/sh
# hardening_test.sh LIBRARY PROGRAM OBJECT...: both files, and the objects that the library is made
# of, are built with what makes faults harder to exploit.
set -u
library=$1
program=$2
shift 2
failed=0

# expect WHAT FILE PATTERN COMMAND...: what the command says about the file has the pattern.
expect() {
    what=$1
    file=$2
    pattern=$3
    shift 3
    "$@" "$file" | grep -Eq "$pattern" || { echo "$file: $what"; failed=1; }
}

for file in "$library" "$program"; do
    expect "no relocations made read-only" "$file" GNU_RELRO readelf -lW
    expect "symbols are bound late" "$file" 'BIND_NOW|FLAGS_1.* NOW' readelf -dW
    expect "executable stack" "$file" 'GNU_STACK.* RW  ' readelf -lW
    expect "no guards on the stack" "$file" __stack_chk_fail readelf -sW
    expect "no position-independent code" "$file" 'Type: *DYN' readelf -hW
done
expect "no program for any address" "$program" 'FLAGS_1.* PIE' readelf -dW
expect "no checked calls" "$library" '__[a-z]*_chk' readelf -sW

# The parts of the C library that are linked in lack the note on some systems, and the result too.
case $(uname -m) in
    x86_64 | i?86)
        for object; do expect "jumps and returns are not guarded" "$object" 'IBT, SHSTK' readelf -nW; done
        ;;
esac
exit $failed
