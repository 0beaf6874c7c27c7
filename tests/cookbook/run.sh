#!/bin/sh
# run.sh PROGRAM EXPECTED: the program succeeds and prints what stands in the file.
set -eu
"$1" > "$1.printed"
diff -u "$2" "$1.printed"
