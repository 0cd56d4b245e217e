#!/bin/sh
# Installs the build given as $1 into a temporary prefix and checks that the programs,
# the desktop file, the icons and the manual page are where a desktop looks for them.
set -e
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

status=0
for file in bin/pixelwright bin/pixelwright-cli share/applications/pixelwright.desktop \
    share/icons/hicolor/scalable/apps/pixelwright.svg share/icons/hicolor/48x48/apps/pixelwright.png \
    share/icons/hicolor/256x256/apps/pixelwright.png share/man/man1/pixelwright-cli.1; do
    if [ ! -s "$prefix/$file" ]; then
        echo "missing after install: $file" >&2
        status=1
    fi
done
[ "$status" -eq 0 ] || exit 1

desktop-file-validate "$prefix/share/applications/pixelwright.desktop"
"$prefix/bin/pixelwright-cli" --version | grep -q '^pixelwright-cli 8\.1$'
# The manual page is the --help text: its options must be in it.
grep -qF -- '\-\-max\-kb' "$prefix/share/man/man1/pixelwright-cli.1"
# A 48-pixel icon is a 48-pixel PNG: signature, then the width and height of IHDR.
od -An -tx1 -N24 "$prefix/share/icons/hicolor/48x48/apps/pixelwright.png" | tr -d ' \n' |
    grep -q '^89504e470d0a1a0a0000000d494844520000003000000030$'
echo "installed and checked in a temporary prefix"
