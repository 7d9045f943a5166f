#!/usr/bin/env bash
# Loads the built Reel Warp plug-ins into Debian's Ardour 7, headless
# (ardour7-lua with the dummy backend), and checks what a user of that host
# would rely on: the plug-in loads from where it was put, processes audio,
# reports the latency Ardour compensates as "Low Latency Mode" is switched,
# and comes back from a saved session as it was saved.
#
#   run-ardour-test.sh FORMAT PATH [FORMAT PATH ...]
#
# FORMAT is vst2 (PATH: the .so), vst3 (PATH: the .vst3 bundle) or lv2
# (PATH: the .lv2 bundle). Exits non-zero with the reason on any failure.
# REELWARP_ARDOUR_KEEP=1 keeps the scratch folder for a look afterwards.
set -euo pipefail

here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
ardour_lua="$(command -v ardour7-lua || true)"
ardour_lib=/usr/lib/ardour7
run_limit=180   # seconds for one Ardour process; a run takes well under a minute

die() {
    echo "ardour-test: FAIL: $*" >&2
    exit 1
}

usage() {
    echo "usage: $0 {vst2|vst3|lv2} PATH [{vst2|vst3|lv2} PATH ...]" >&2
    exit 2
}

if [ $# -lt 2 ] || [ $(($# % 2)) -ne 0 ]; then usage; fi

# No Ardour is a broken setup, not a reason to skip: tools/install-deps.sh installs it.
[ -n "$ardour_lua" ] || die "ardour7-lua not found; install Debian's 'ardour' package (tools/install-deps.sh)"
for tool in ardour-vst-scanner ardour-vst3-scanner; do
    [ -x "$ardour_lib/$tool" ] || die "$ardour_lib/$tool not found; is Debian's 'ardour' package complete?"
done

# One Ardour process with its output kept. Fails on a non-zero exit, a
# time-out, a missing PASS line, or an error Ardour reported on the way.
run_ardour() {
    local stage="$1" log="$2"
    shift 2
    local status=0
    timeout -k 10 "$run_limit" "$ardour_lua" "$here/reelwarp-session.lua" "$stage" "$@" </dev/null >"$log" 2>&1 || status=$?
    grep '^reelwarp-ardour: ' "$log" | sed 's/^reelwarp-ardour: /    /' || true
    local problem=""
    if [ "$status" -eq 124 ] || [ "$status" -eq 137 ]; then
        problem="Ardour did not finish within ${run_limit} s"
    elif [ "$status" -ne 0 ]; then
        problem="ardour7-lua exited with status $status"
    elif ! grep -q "^reelwarp-ardour: PASS $stage\$" "$log"; then
        problem="the session script stopped before the end"
    elif grep -q '^\[\(ERROR\|FATAL\)\]' "$log"; then
        problem="Ardour reported errors"
    fi
    if [ -n "$problem" ]; then
        echo "---- ardour7-lua output ($stage) ----" >&2
        cat "$log" >&2
        echo "----" >&2
        local reason
        reason="$(grep -o 'FAIL: .*' "$log" | head -n 1 || true)"
        die "$stage: $problem${reason:+: ${reason#FAIL: }}"
    fi
    # Not failures, but worth seeing: what Ardour warned about.
    grep '^\[WARNING\]' "$log" | sed "s/^/    ardour ($stage): /" || true
}

test_format() {
    local format="$1" source="$2"
    local started=$SECONDS

    # Global, not local: the clean-up trap runs as the subshell exits.
    scratch="$(mktemp -d "${TMPDIR:-/tmp}/reelwarp-ardour-$format.XXXXXX")"
    if [ "${REELWARP_ARDOUR_KEEP:-0}" = 1 ]; then
        echo "ardour-test: keeping $scratch"
    else
        trap 'rm -rf "$scratch"' EXIT
    fi

    # Nothing of the user's: home, caches, configuration and every plug-in
    # search path point into the scratch folder, so an installed copy in
    # ~/.vst, ~/.vst3 or ~/.lv2 can neither be scanned nor loaded.
    local root="$scratch/plugins"
    mkdir -p "$scratch/home" "$scratch/run" "$root/vst" "$root/vst3" "$root/lv2" "$root/ladspa"
    chmod 700 "$scratch/run"
    export HOME="$scratch/home"
    export XDG_CONFIG_HOME="$HOME/.config" XDG_CACHE_HOME="$HOME/.cache"
    export XDG_DATA_HOME="$HOME/.local/share" XDG_STATE_HOME="$HOME/.local/state"
    export XDG_RUNTIME_DIR="$scratch/run"
    export VST_PATH="$root/vst" LXVST_PATH="$root/vst" VST3_PATH="$root/vst3"
    export LV2_PATH="$root/lv2" LADSPA_PATH="$root/ladspa" DSSI_PATH="$root/ladspa"
    unset VST_PLUGINS LXVST_PLUGINS DISPLAY WAYLAND_DISPLAY

    # A copy, so that a rebuild during the run cannot swap the binary, and
    # dated in the past: Ardour takes a scanner's cache only if it is newer
    # than the plug-in.
    local binary copy
    case "$format" in
        vst2)
            [ -f "$source" ] || die "vst2: no plug-in binary at $source"
            copy="$root/vst/$(basename "$source")"
            cp "$source" "$copy"
            binary="$copy"
            ;;
        vst3)
            [ -d "$source" ] || die "vst3: no bundle at $source"
            copy="$root/vst3/$(basename "$source")"
            cp -R "$source" "$copy"
            binary="$copy/Contents/x86_64-linux/$(basename "$source" .vst3).so"
            ;;
        lv2)
            [ -f "$source/manifest.ttl" ] || die "lv2: no bundle (manifest.ttl) at $source"
            copy="$root/lv2/$(basename "$source")"
            cp -R "$source" "$copy"
            binary="$(find "$copy" -maxdepth 1 -name '*.so' | head -n 1)"
            ;;
    esac
    [ -f "$binary" ] || die "$format: no shared object in $copy"
    cmp -s "${source%/}${binary#"$copy"}" "$binary" || die "$format: $source changed while it was copied; run again"
    find "$copy" -exec touch -h -d '2 days ago' {} +

    echo "ardour-test: $format: $source"
    echo "    copy under test: $copy ($(sha256sum "$binary" | cut -c1-16))"

    local scan_log="$scratch/scan.log"
    case "$format" in
        vst2 | vst3)
            local scanner=ardour-vst-scanner ext=v2i
            [ "$format" = vst3 ] && scanner=ardour-vst3-scanner ext=v3i
            LD_LIBRARY_PATH="$ardour_lib" timeout 60 "$ardour_lib/$scanner" -f "$copy" >"$scan_log" 2>&1 ||
                { cat "$scan_log" >&2; die "$format: Ardour's $scanner rejected $copy"; }
            local cache
            cache="$(find "$XDG_CACHE_HOME/ardour7" -name "*.$ext" 2>/dev/null | head -n 1)"
            [ -n "$cache" ] || { cat "$scan_log" >&2; die "$format: $scanner left no cache for $copy"; }
            grep -q 'name="Reel Warp"' "$cache" || { cat "$cache" >&2; die "$format: the scanner's cache does not describe Reel Warp"; }
            ;;
    esac

    # The probe processors around the effect are Lua DSP scripts; Ardour finds
    # them by name in the user's script folder.
    mkdir -p "$XDG_CONFIG_HOME/ardour7/scripts"
    cp "$here/probe-source.lua" "$here/probe-meter.lua" "$XDG_CONFIG_HOME/ardour7/scripts/"

    local session="$scratch/session"
    run_ardour create "$scratch/create.log" "$format" "$root" "$session"
    run_ardour reload "$scratch/reload.log" "$format" "$root" "$session"

    echo "ardour-test: $format passed in $((SECONDS - started)) s"
}

failed=0
passed=0
while [ $# -gt 0 ]; do
    format="$1" path="$2"
    shift 2
    case "$format" in
        vst2 | vst3 | lv2) ;;
        *) usage ;;
    esac
    # Each format in a subshell: its environment and clean-up stay its own,
    # and one failure does not hide the others' results. (Not as an if
    # condition, where bash would ignore errexit inside.)
    set +e
    (test_format "$format" "$path")
    status=$?
    set -e
    if [ "$status" -eq 0 ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
    fi
done

echo "ardour-test: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
