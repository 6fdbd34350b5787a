#!/bin/sh
# Runs the benchmarks of a build and prints how they compare with their peers: run.sh BUILD [NAME...]
# A benchmark is named "Task/Contender[/options]"; each task has a contender KVBase. Medians over interleaved runs.
set -eu
build=$1
shift
[ $# -gt 0 ] || set -- $(cd "$build/bin" && ls -- *Benchmark)

for name in "$@"; do
    program=$build/bin/${name%Benchmark}Benchmark
    results=$(mktemp)
    "$program" --benchmark_repetitions=7 --benchmark_enable_random_interleaving=true \
        --benchmark_report_aggregates_only=true --benchmark_format=csv >"$results" 2>/dev/null
    echo "== ${name%Benchmark}"
    awk -F, '
        { gsub(/"/, "", $1) }
        $1 !~ /_median$/ { next }
        {
            sub(/_median$/, "", $1)
            parts = split($1, part, "/")
            options = ""
            for (i = 3; i <= parts; i++) options = options "/" part[i]
            task = part[1] options
            time[task, part[2]] = $3
            unit[task] = $5
            if (!(task in known)) { known[task] = 1; order[++tasks] = task }
            contenders[task] = contenders[task] " " part[2]
        }
        END {
            for (t = 1; t <= tasks; t++) {
                task = order[t]
                own = time[task, "KVBase"]
                printf "%-44s KVBase %12.1f %s\n", task, own, unit[task]
                count = split(contenders[task], contender, " ")
                for (i = 1; i <= count; i++)
                    if (contender[i] != "KVBase")
                        printf "%-44s %s %.1f: ratio %.2f\n", "", contender[i], time[task, contender[i]],
                               own / time[task, contender[i]]
            }
        }' "$results"
    rm -f "$results"
done
