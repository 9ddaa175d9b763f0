#!/bin/sh
# initialisers_test.sh OBJECT...: no object of the library runs code when the library is loaded, so
# loading costs no time, and objects of other libraries may use this one before main().
set -eu
failed=0
for object; do
    sections=$(readelf -SW "$object")
    case $sections in
        *.init_array* | *.ctors* | *.preinit_array*) echo "$object has an initialiser"; failed=1 ;;
        *.text*) ;;
        *) echo "$object is no object"; failed=1 ;;
    esac
done
[ $# -gt 0 ] && exit $failed
