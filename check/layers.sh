#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Includes run only downward: each folder may include its own headers and those of the layers
# below it, never those above. Prints every include that runs upward or sideways; fails if any.
#   check/layers.sh            (from the source root)
set -eu
cd "$(dirname "$0")/.."

# folder: the folders it may include from (besides itself). Top down: the tool, the public
# interface, start-up, translate, display and hashtable, the common ground, the board catalogue,
# the platform. The stand-in platform and the host support sit beside the library, under the tool.
# A folder under src/ or host/ goes by its own name: src/translate is translate, host/support is
# host_support.
allowed() {
    case $1 in
    tools) echo "diagpanel host_support host_platform platform boards" ;;
    startup) echo "diagpanel translate display hashtable common boards platform" ;;
    translate) echo "diagpanel display hashtable common boards platform" ;;
    display | hashtable) echo "diagpanel common boards platform" ;;
    common) echo "diagpanel boards platform" ;;
    boards | platform) echo "diagpanel" ;;
    include) echo "diagpanel" ;;
    host_support) echo "diagpanel host_platform platform" ;;
    host_platform) echo "diagpanel platform boards" ;;
    esac
}

# The project's own include roots; anything else (<pthread.h>, <CLI/CLI.hpp>) is not a layer.
layers=" tools diagpanel startup translate display hashtable common boards platform host_support host_platform "

status=0
for file in $(git ls-files '*.cpp' '*.hpp' '*.h'); do
    case $file in
    src/* | host/*) folder=${file#*/} folder=${folder%%/*} ;;
    *) folder=${file%%/*} ;;
    esac
    case $file in host/*) folder=host_$folder ;; esac
    may=$(allowed "$folder")
    [ -n "$may" ] || continue # tests/, bench/: programs that reach in on purpose
    sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*[<"]\([^/">]*\)\/.*/\1/p' "$file" |
        while read -r root; do
            case "$layers" in *" $root "*) ;; *) continue ;; esac
            case " $folder $may " in *" $root "*) ;; *) echo "$file: includes $root/" ;; esac
        done
done >"${TMPDIR:-/tmp}/layers.$$"
if [ -s "${TMPDIR:-/tmp}/layers.$$" ]; then
    echo "includes that run upward or sideways:"
    cat "${TMPDIR:-/tmp}/layers.$$"
    status=1
fi
rm -f "${TMPDIR:-/tmp}/layers.$$"
exit $status
