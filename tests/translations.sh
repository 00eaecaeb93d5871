#!/bin/sh
# Every text that passes the translator has a Russian one: takes the sources' texts over into a copy and looks for gaps.
set -eu
copy=$(mktemp --suffix=.ts)
trap 'rm -f "$copy"' EXIT
cp "$1/translations/Ravelin_ru.ts" "$copy"
"$1/translations/update" "$copy"
grep -q '<source>Start Ok!</source>' "$copy"
if grep -B3 'type="unfinished"' "$copy"; then
    echo "These texts lack a translation: run translations/update, then fill translations/Ravelin_ru.ts" >&2
    exit 1
fi
cmp "$1/translations/Ravelin_ru.ts" "$copy"
