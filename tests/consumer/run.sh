#!/bin/sh
# run.sh install|debian BUILD FOLDER LIBDIR: puts the library into FOLDER/usr, by installation or from its packages.
# run.sh cmake|pkg-config FOLDER WORK LIBDIR: builds the program against FOLDER/usr, in WORK, and runs it.
set -eu
step=$1 from=$2 to=$3 libdir=$4
project=$(dirname "$0")/project
rm -rf "$to"
mkdir -p "$to"

has() { [ -e "$1" ] || [ -L "$1" ] || { echo "missing: $1" >&2; exit 1; }; }
depends() {
    dpkg-deb -f "$1" Depends | grep -q "$2" || { echo "$1 should depend on $2: $(dpkg-deb -f "$1" Depends)" >&2; exit 1; }
}

case $step in
install)
    cmake --install "$from" --prefix "$to/usr"
    has "$to/usr/$libdir/libNorqStd.so.1"
    ;;
debian)
    rm -rf "$from/packages"
    (cd "$from" && cpack -G DEB)
    for package in "$from"/packages/*.deb; do
        dpkg-deb -x "$package" "$to"
        mkdir -p "$to/$(basename "$package" .deb)"
        dpkg-deb -x "$package" "$to/$(basename "$package" .deb)"
    done
    has "$(echo "$to"/libnorqstd1_*)/usr/$libdir/libNorqStd.so.1"
    has "$(echo "$to"/libnorqstd-dev_*)/usr/$libdir/libNorqStd.so"
    "$to/usr/bin/shipper" --help >/dev/null
    depends "$from"/packages/libnorqstd1_*.deb libicu
    depends "$from"/packages/libnorqstd-dev_*.deb 'libnorqstd1 (='
    depends "$from"/packages/norqstd-tools_*.deb 'libnorqstd1 (='
    ;;
cmake)
    cmake -S "$project" -B "$to" -G Ninja -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$from/usr"
    cmake --build "$to"
    "$to/consumer"
    ;;
pkg-config)
    export PKG_CONFIG_PATH="$from/usr/$libdir/pkgconfig"
    # shellcheck disable=SC2046 # a list of switches
    "${CXX:-g++}" -O2 "$project/main.cpp" -o "$to/consumer" $(pkg-config --cflags --libs norqstd)
    LD_LIBRARY_PATH="$from/usr/$libdir" "$to/consumer"
    ;;
esac
