#!/usr/bin/env bash
# Checks that scripts/lint reports faults, in a source and in a header, and passes sound code. A
# mistake in the list of checks or in the header filter would silence it without a word.
#   lint_test.sh REPOSITORY
set -uo pipefail
lint=$1/scripts/lint
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "FAILED: $*"
  exit 1
}

echo 'struct Implicit { Implicit(int value); };' >"$work/faults.h"
cat >"$work/faults.cpp" <<'END'
#include "faults.h"
int Dereference(const int* value, int unused) {
  int sum;
  sum = value == nullptr ? *value : 0;
  return sum;
}
END
echo 'int Twice(int value) { return 2 * value; }' >"$work/sound.cpp"
for unit in faults sound; do
  printf '{"directory": "%s", "command": "g++ -std=c++20 -c %s.cpp",\n' "$work" "$unit"
  printf '  "file": "%s/%s.cpp"\n},\n' "$work" "$unit"
done | sed '1s/^/[/; $s/,$/]/' >"$work/compile_commands.json"

out=$("$lint" --build "$work" "$work"/faults.* 2>&1) && fail "faults pass"
for finding in clang-format clang-analyzer-core.NullDereference cppcoreguidelines-init-variables \
  google-explicit-constructor misc-unused-parameters; do
  [[ $out == *"$finding"* ]] || fail "$finding does not fire: $out"
done
out=$("$lint" --build "$work" "$work/sound.cpp" 2>&1) || fail "sound code does not pass: $out"
cp "$work/sound.cpp" "$work/stray.cpp"
"$lint" --build "$work" "$work/stray.cpp" >/dev/null 2>&1 && fail "a source that nothing builds passes"
echo "all passed"
