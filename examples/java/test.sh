#!/bin/sh
# test.sh README COMMAND...: the command prints what README.md shows of the example.
set -eu
readme=$1
shift
shown=$(awk '/^### /{ours = /from Java/} ours && /^```/{inside = $0 == "```text"; next} ours && inside' "$readme")
printed=$("$@")
[ "$printed" = "$shown" ] || { printf 'printed:\n%s\nshown in %s:\n%s\n' "$printed" "$readme" "$shown" >&2; exit 1; }
