#!/bin/sh
# ./kv demo: a real program crashes, its report is found and posted to a receiver on this machine, and what arrived is
# shown. Everything happens in a temporary home that is removed at the end.
set -eu
build=$(cd "${1:-build/release}" && pwd)
home=$(mktemp -d)
collector=
trap 'status=$?; [ -z "$collector" ] || kill "$collector" 2>/dev/null || :; rm -rf "$home"; exit $status' EXIT
trap 'exit 130' INT TERM
export HOME="$home" XDG_DATA_HOME="$home/data" XDG_CONFIG_HOME="$home/config" XDG_CACHE_HOME="$home/cache"
export LD_LIBRARY_PATH="$build/lib${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}"
kvbase=$build/bin/kvbase
cd "$home"

show() {
    printf '\n$ %s\n' "$*"
}

application=$home/Demo.app
mkdir -p "$application/Contents/MacOS"
cp "$build/bin/kvbase-demo" "$application/Contents/MacOS/Demo"
cat >"$application/Contents/Info.plist" <<'PLIST'
<?xml version="1.0" encoding="UTF-8"?>
<plist version="1.0"><dict>
<key>CFBundleIdentifier</key><string>com.example.demo</string>
<key>CFBundleExecutable</key><string>Demo</string>
<key>CFBundleName</key><string>Demo</string>
<key>CFBundleShortVersionString</key><string>2.1</string>
<key>CFBundleVersion</key><string>12345</string>
<key>KVBuildStyle</key><string>Release</string>
</dict></plist>
PLIST

show "kvbase collect --folder forms &"
"$kvbase" collect --folder forms >collect.out &
collector=$!
tries=0
until grep -q '^listening on ' collect.out 2>/dev/null; do
    tries=$((tries + 1))
    [ "$tries" -lt 300 ] || { echo "The receiver did not start." >&2; exit 1; }
    sleep 0.1
done
cat collect.out
address=$(sed -n 's/^listening on //p' collect.out)

show "Demo.app/Contents/MacOS/Demo crash"
status=0
{ DEMO_LOG=$home/Demo.log "$application/Contents/MacOS/Demo" crash || status=$?; } 2>>"$home/.xsession-errors"
echo "ended by signal $((status - 128))"

show "kvbase crash Demo.app"
"$kvbase" crash Demo.app | sed "s|$home|~|"

show "kvbase support Demo.app --email jane@example --dry-run"
"$kvbase" support Demo.app --email jane@example --dry-run --folder draft | sed -n '/^E-mail/,/^To be/{/^To be/!p}'

show "kvbase support Demo.app --email jane@example.com --message 'It just stopped.' --url $address"
"$kvbase" support Demo.app --email jane@example.com --message 'It just stopped.' --url "$address" --folder report |
    sed "s|$home|~|"

show "ls report"
ls report

show "head -n 14 report/crash.txt"
head -n 14 report/crash.txt | sed "s|$home|~|"

show "what the receiver stored in forms/form-0001.json"
sed -n 's/^\( *"[a-z]*": \)"\(.\{0,60\}\).*/\1"\2 .../p' forms/form-0001.json | sed "s|$home|~|"

show "kvbase crash Demo.app"
"$kvbase" crash Demo.app || echo "exit code $?"
