#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a bounded time on a scratch copy of its seed corpus.
# Usage: run-fuzz.sh BUILD_DIR SECONDS
set -euo pipefail
build=${1:-build-fuzz}
seconds=${2:-30}
here=$(cd "$(dirname "$0")/.." && pwd)
status=0
for bin in "$build"/fuzz/fuzz_*; do
  [ -x "$bin" ] || continue
  name=$(basename "$bin")
  work=$(mktemp -d)
  [ -d "$here/fuzz/corpus/$name" ] && cp -r "$here/fuzz/corpus/$name/." "$work/"
  echo "== $name: ${seconds}s"
  if ! ASAN_OPTIONS=detect_leaks=1 "$bin" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
        -artifact_prefix="$here/fuzz/" -print_final_stats=1 "$work" > "$work.log" 2>&1; then
    tail -n 40 "$work.log"
    echo "== $name: FAILED (artifact in fuzz/)"
    status=1
  else
    grep -E 'stat::number_of_executed_units|Done' "$work.log" | tail -n 2 || true
  fi
  rm -rf "$work" "$work.log"
done
exit $status
