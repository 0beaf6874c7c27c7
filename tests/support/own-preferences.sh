#!/bin/sh
# own-preferences.sh COMMAND...: runs it with preferences of its own, in a folder that goes with it.
set -eu
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
export NORQSTD_REGISTRY_USER="$folder" NORQSTD_REGISTRY_MACHINE="$folder"
"$@"
