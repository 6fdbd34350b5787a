#!/bin/sh
# Runs clang-tidy over the sources whose text, headers or checks have changed since they last passed.
# usage: lint.sh BUILD_FOLDER JOBS, in the root of the project, everything being built.
set -eu
build=$1
jobs=$2
passed=${XDG_CACHE_HOME:-$HOME/.cache}/kvbase-lint
mkdir -p "$passed"

# One line for each source file of the library and the tools: it and the project's headers that it includes.
inputs() {
    ninja -C "$build" -t deps | awk -v root="$PWD/" '
        /: #deps/ { if (line != "") print line; line = ""; next }
        {
            file = $1
            sub("^" root, "", file)
            sub("^(\\.\\./)+", "", file)
            if (file ~ /^(Headers|Sources|Tools)\// && file !~ /_autogen\//) line = line file " "
        }
        END { if (line != "") print line }' | grep -E '^[^ ]*\.cpp ' | sort -u
}

inputs | while read -r source headers; do
    # The headers are a list of words.
    # shellcheck disable=SC2086
    digest=$(cat .clang-tidy "$source" $headers | sha1sum | cut -d ' ' -f 1)
    [ -e "$passed/$digest" ] || echo "$passed/$digest $source"
done | xargs -r -P "$jobs" -n 2 sh -c 'clang-tidy-14 -p "$0" --quiet "$2" 2>/dev/null && touch "$1"' "$build"
