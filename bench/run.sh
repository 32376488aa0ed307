#!/usr/bin/env bash
# run.sh BUILD: measures the program in BUILD/tree and the benchmarks in BUILD,
# each beside its peers, and writes bench/RESULTS.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$1
results=bench/RESULTS.md
failed=0

machine() {
  local model memory
  model=$(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -n 1)
  memory=$(awk '/^MemTotal/ { printf "%.0f GiB", $2 / 1048576 }' /proc/meminfo)
  echo "${model:-unknown processor}, $(nproc) processors, $memory, $(uname -sr), $(. /etc/os-release && echo "$PRETTY_NAME")"
}

{
  echo '# Benchmarks'
  echo
  echo "Made by \`./dev bench\` at commit $(git rev-parse --short HEAD 2>/dev/null || echo unknown) on:"
  echo "$(machine)."
  echo 'Peers were measured in the same run, alternating with ours.'
  echo
  echo '## The whole program'
  echo
  python3 bench/program_cost.py "$build/bench/ledgora_measure" "$build/tree/bin/ledgora_collect" || failed=1
  echo
  echo '## Installed packages'
  echo
  echo 'A dpkg root of 5,000 packages with 400,000 paths, and an rpm that prints a long listing.'
  echo 'The program holds itself to a share of the machine, which the elapsed time shows.'
  echo
  python3 bench/packages.py "$build/tree" || failed=1
  echo
  echo '## Packages of npm and Python'
  echo
  echo '3,000 packages of each; type 22 is that of this machine.'
  echo
  /usr/bin/python3 bench/ecosystem.py "$build/tree" || failed=1
  echo
  echo '## Processes (type 3, option 1)'
  echo
  python3 bench/process_table.py "$build/tree/bin/ledgora_collect" || failed=1
  echo
  echo '## Ports and connections'
  echo
  echo 'In a network namespace with 1,000 processes; the login shell has no profile of its own.'
  echo
  python3 bench/sockets.py "$build/bench/ledgora_measure" "$build/tree/bin/ledgora_collect" || failed=1
  if [ "$(id -u)" = 0 ]; then
    echo
    echo '## Software identification'
    echo
    echo 'Processes that no rule names, so every rule is tried on each. Target: 3 CPU seconds for'
    echo '1,000 of both, and a cost that grows with each of them and not faster.'
    echo
    python3 bench/software.py "$build/tree" || failed=1
  fi
  if [ -x "$build/bench/ledgora_bench" ]; then
    echo
    echo '## Operations'
    echo
    echo 'Times are of the processor, per iteration. Names that begin with "peer" are other tools'
    echo 'or ways that do the same.'
    echo
    "$build/bench/ledgora_bench" --benchmark_format=json --benchmark_min_time=0.2 2>/dev/null |
      python3 bench/table.py || failed=1
  fi
} >"$results.new"
mv "$results.new" "$results"
cat "$results"
exit "$failed"
