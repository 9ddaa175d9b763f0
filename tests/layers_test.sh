#!/bin/sh
# Folders are layers: a file includes only what stands in its own folder or below. A public header
# includes no private one.
set -eu
cd "$1"

layer_of() {
    case $1 in
        export.h | fwd.h) echo 0 ;;
        value/*) echo 1 ;;
        composite/*) echo 2 ;;
        message/chunks/*) echo 7 ;;
        message/*) echo 3 ;;
        creator/*) echo 4 ;;
        binary/*) echo 5 ;;
        text/*) echo 6 ;;
        transport/*) echo 8 ;;
        rpc/*) echo 9 ;;
        tmsg.h) echo 10 ;;
        *) echo unknown ;;
    esac
}

failed=0
for file in $(find . -name '*.h' -o -name '*.cpp' | sed 's|^\./||' | sort); do
    here=$(layer_of "$file")
    for included in $(sed -n 's|^#include "tmsg/\(.*\)"|\1|p' "$file"); do
        there=$(layer_of "$included")
        if [ "$here" = unknown ] || [ "$there" = unknown ] || [ "$there" -gt "$here" ]; then
            echo "tmsg/$file includes tmsg/$included, which does not stand below it"
            failed=1
        fi
        case $file:$included in
            */internal/*:* | *.cpp:*) ;;
            *:*/internal/*)
                echo "tmsg/$file is public and includes tmsg/$included, which is private"
                failed=1
                ;;
        esac
    done
done
exit $failed
