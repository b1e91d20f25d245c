#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Every shell script in the repository passes shellcheck: the tracked *.sh files, and the tracked
# files without an extension whose first line runs sh or bash (such as .ci/run).
#   check/scripts.sh           (from the source root)
set -eu
cd "$(dirname "$0")/.."

scripts() {
    git ls-files -- '*.sh'
    git ls-files | grep -Ev '(^|/)[^/]*\.[^/]*$' | while IFS= read -r file; do
        if [ -f "$file" ] && head -n 1 "$file" | grep -Eq '^#!(/usr)?/bin/(env +)?(ba)?sh( |$)'; then
            echo "$file"
        fi
    done
}

scripts | sort -u | xargs shellcheck
