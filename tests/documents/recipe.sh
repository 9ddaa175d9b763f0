#!/bin/sh
# recipe.sh PAGE FILE COMMAND...: the page shows the whole file, and what the command prints.
set -eu
page=$1
file=$2
shift 2
case $file in
    *.py) language=python ;;
    *) language=cpp ;;
esac

awk -v fence="\`\`\`$language" '/^```/ { inside = !inside && $0 == fence; next } inside' "$page" |
    diff - "$file" || { echo "$page shows other code (<) than is in $file (>)"; exit 1; }
exec "$(dirname "$0")/prints.sh" "$page" "$@"
