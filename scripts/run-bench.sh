#!/usr/bin/env bash
# Runs the benchmark program of a build and prints its table.
# Usage: run-bench.sh BUILD_DIR [extra Google Benchmark options, e.g. --benchmark_filter=zlib]
# BENCH_MIN_TIME (seconds per benchmark, default 0.2) trades precision for time: the 64 MiB
# compression cases take about a second per iteration at level 6, so the default keeps the whole
# run to a minute or two on two cores.
set -euo pipefail
build=${1:-build-bench}
shift || true
bin="$build/bench/mp_benchmarks"
if [ ! -x "$bin" ]; then
  echo "run-bench.sh: $bin not found; build the mp_benchmarks target of $build first" >&2
  exit 1
fi
min_time=${BENCH_MIN_TIME:-0.2}
echo "== $bin (min time ${min_time}s per benchmark; bytes_per_second from CPU time; ratio = raw / compressed)"
"$bin" --benchmark_min_time="$min_time" --benchmark_counters_tabular=true "$@"
