#!/bin/sh
# layers_test.sh ROOT: folders are layers: a file includes only what stands in its own folder or
# below. A public header of the library includes no private one.
set -eu
cd "$1"

layer_of() {
    case $1 in
        tmsg/export.h | tmsg/fwd.h | tmsg/version.*) echo 0 ;;
        tmsg/value/*) echo 1 ;;
        tmsg/composite/*) echo 2 ;;
        tmsg/message/chunks/*) echo 7 ;;
        tmsg/message/*) echo 3 ;;
        tmsg/creator/*) echo 4 ;;
        tmsg/binary/*) echo 5 ;;
        tmsg/text/*) echo 6 ;;
        tmsg/transport/*) echo 8 ;;
        tmsg/rpc/*) echo 9 ;;
        tmsg/tmsg.h | tmsg/nats/*) echo 10 ;;
        tools/io/* | tools/page/*) echo 11 ;;
        tools/forms/*) echo 12 ;;
        tools/net/*) echo 13 ;;
        tools/nats/*) echo 14 ;;
        tools/verbs/*) echo 15 ;;
        tools/main.cpp) echo 16 ;;
        *) echo unknown ;;
    esac
}

# included_by FILE: the files of the libraries and of the program, as they are included.
included_by() {
    case $1 in
        tmsg/* | nats/*) sed -n 's|^#include "\(tmsg/.*\)"|\1|p' "$1" ;;
        tools/*) sed -n -e 's|^#include <\(tmsg/.*\)>|\1|p' -e 's|^#include "\(.*\)"|tools/\1|p' "$1" ;;
    esac
}

failed=0
for path in $(find tmsg nats tools -name '*.h' -o -name '*.cpp' | sort); do
    file=${path#nats/}
    here=$(layer_of "$file")
    for included in $(included_by "$path"); do
        there=$(layer_of "$included")
        if [ "$here" = unknown ] || [ "$there" = unknown ] || [ "$there" -gt "$here" ]; then
            echo "$file includes $included, which does not stand below it"
            failed=1
        fi
        case $file:$included in
            */internal/*:* | tmsg/*.cpp:*) ;;
            # The tap reads the protocol that the library for NATS speaks, and waits for libnats, too.
            tools/nats/*.cpp:tmsg/nats/internal/tm_nats_frames.h) ;;
            tools/nats/*.cpp:tmsg/nats/internal/tm_nats_event.h) ;;
            *:*/internal/*)
                echo "$file includes $included, which is private"
                failed=1
                ;;
        esac
    done
done
exit $failed
