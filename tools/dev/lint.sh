#!/usr/bin/env bash
# The parts of ./dev lint: lint.sh PART. Those that take seconds are tests as well, by the name checks:PART.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
jobs=$(nproc)

# Files of the tree that match one of the patterns; in an export without git, all that are there.
files() {
  git ls-files -- "$@" 2>/dev/null && return
  local pattern names=()
  for pattern in "$@"; do names+=(-o -path "./$pattern"); done
  find . -path ./build -prune -o \( "${names[@]:1}" \) -print
}

part_format() { files '*.h' '*.hpp' '*.c' '*.cpp' | xargs clang-format-14 --dry-run --Werror; }

part_layers() { python3 -B tools/checks/check_layers.py; }

part_tree() { python3 -B tools/checks/check_tree.py; }

part_cppcheck() {
  mkdir -p build/cppcheck  # what it found in files that did not change
  cppcheck --std=c++20 --language=c++ --enable=warning,performance,portability,style --inline-suppr --quiet -j "$jobs" \
    --cppcheck-build-dir=build/cppcheck --suppressions-list=tools/checks/cppcheck.txt --error-exitcode=1 \
    -I src -I include -DKOVADATA_API= src tools fuzz
}

part_mypy() { (cd python && ../build/python/venv/bin/mypy); }

# A source file that a file is part of: for a header, the one of its name or else one that includes it, if only by others.
source_of() {
  local includer
  if [ -e "${1%.*}.cpp" ]; then
    echo "${1%.*}.cpp"
    return
  fi
  for includer in $(git grep -lF "#include \"${1#src/}\"" -- src); do
    source_of "$includer" && return
  done
  return 1
}

# Source files that a change since REVISION touches.
touched_sources() {
  local file
  git diff --name-only --diff-filter=d --merge-base "$1" -- 'src/*.cpp' 'src/*.h' | while read -r file; do
    source_of "$file" || echo "no source file includes $file" >&2
  done | sort -u
}

# tidy [REVISION]: what a change touches since then, or everything
part_tidy() {
  cmake --preset lint >/dev/null
  if [ -n "${1:-}" ]; then touched_sources "$1"; else files 'src/*.cpp'; fi |
    xargs -r -P "$jobs" -n 4 clang-tidy-14 -p build/lint --quiet --warnings-as-errors='*'
  # The headers of the C++ interface with it.
  clang-tidy-14 --quiet --warnings-as-errors='*' examples/frame.cpp -- -std=c++20 -Iinclude
}

"part_$1" "${@:2}"
