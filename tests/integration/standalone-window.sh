#!/usr/bin/env bash
# The standalone app in a virtual display, three times over: it comes up with
# its window, quits cleanly on an interrupt from a terminal, and keeps the
# plug-in's state in the user's settings file for the next run.
# Usage (inside a display): standalone-window.sh APP
set -uo pipefail
app="$1"
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
export HOME="$home"

for round in 1 2 3; do
    "$app" >"$home/log.txt" 2>&1 &
    pid=$!
    shown=0
    for _ in $(seq 1 150); do
        if xwininfo -root -tree 2>/dev/null | grep -q '"Reel Warp"'; then
            shown=1
            break
        fi
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.2
    done
    if [ "$shown" != 1 ]; then
        echo "round $round: no window named \"Reel Warp\" appeared"
        cat "$home/log.txt"
        kill -KILL "$pid" 2>/dev/null
        exit 1
    fi
    sleep 1 # a few frames of the reels and meters
    kill -INT "$pid"
    wait "$pid"
    rc=$?
    if [ "$rc" != 0 ]; then
        echo "round $round: the app ended with $rc after an interrupt"
        cat "$home/log.txt"
        exit 1
    fi
done

settings="$home/.config/Reel Warp.settings"
if ! grep -q 'filterState' "$settings" 2>/dev/null; then
    echo "no plug-in state kept in $settings"
    exit 1
fi
echo "the window came and went three times; the state is kept"
