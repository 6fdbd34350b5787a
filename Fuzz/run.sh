#!/bin/sh
# Runs every fuzz target of a build for a while: run.sh BUILD SECONDS
# Seeds lie in Fuzz/Seeds/<target>. What breaks a target is left in BUILD/fuzz.
set -eu
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
seconds=$2
failed=0

for program in "$build"/bin/*Fuzz; do
    name=$(basename "$program")
    corpus=$build/fuzz/$name
    mkdir -p "$corpus"
    seeds=
    [ -d "$here/Seeds/$name" ] && seeds=$here/Seeds/$name
    echo "== $name"
    HOME=$corpus "$program" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -print_final_stats=0 -verbosity=0 \
        -artifact_prefix="$corpus/found-" "$corpus" $seeds || failed=1
done
[ "$failed" = 0 ] && echo "no target broke"
exit "$failed"
