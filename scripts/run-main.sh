#!/usr/bin/env bash
# A guided tour of the command-line program on a fresh build (what `make run` shows): what the
# library knows, what a saved factory stream looks like, and how a damaged one is reported.
# Usage: run-main.sh BUILD_DIR
set -euo pipefail
build=${1:-build}
cli="$build/tools/medium-physics"
out="$build/run"
[ -x "$cli" ] || { echo "run-main: $cli not found; build first (make build)" >&2; exit 1; }
mkdir -p "$out"

step() { printf '\n==== %s\n\n' "$*"; }

step "1. What this build knows: version, medium kind codes, built-in materials"
"$cli" info

step "2. Save a factory with no media: the smallest valid stream (11 bytes)"
"$cli" save -o "$out/empty.mpf"
od -An -tx1 "$out/empty.mpf"
"$cli" inspect "$out/empty.mpf"

step "3. Save a factory holding one medium (the obsolete cavitation placeholder) and inspect it"
# The substance entry (tag 11) comes first, then the medium that refers to it (kind 10).
"$cli" save -o "$out/obsolete-cavitation.mpf" obsolete-cavitation
"$cli" inspect "$out/obsolete-cavitation.mpf"

step "4. Inspect a copy cut short by 10 bytes: the report names the record that does not load"
size=$(stat -c %s "$out/obsolete-cavitation.mpf")
head -c $((size - 10)) "$out/obsolete-cavitation.mpf" > "$out/truncated.mpf"
# inspect exits 1 here, as it should; the tour goes on.
status=0
"$cli" inspect "$out/truncated.mpf" || status=$?
echo "(inspect exited with status $status)"

step "Files are in $out"
