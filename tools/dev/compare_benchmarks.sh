#!/usr/bin/env bash
# compare_benchmarks.sh REVISION [ARGUMENTS of bench/against.py]: builds that revision beside this tree's benchmarks, which
# are in build/bench, and compares the two.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
revision=$(git rev-parse --verify "$1^{commit}")
tree=build/against/tree

git worktree prune
if [ -e "$tree/.git" ]; then
  git -C "$tree" checkout --quiet --detach "$revision"
else
  git worktree add --quiet --detach "$tree" "$revision"
fi
cmake -S "$tree" --preset bench >build/against/configure.log || { cat build/against/configure.log; exit 1; }
cmake --build "$tree/build/bench" -j "$(nproc)" -- --quiet
python3 bench/against.py --old "$tree/build/bench" --new build/bench "${@:2}"
