#!/usr/bin/env bash
# Shows that the lint fires: every family of checks that is switched on must find its fault, in a
# source and in a header, and sound code must pass.
#   lint_test.sh REPOSITORY
set -uo pipefail
lint=$1/scripts/lint
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0

fail() {
  echo "FAILED: $*"
  failures=$((failures + 1))
}

cat >"$work/faults.h" <<'END'
struct Implicit {
  Implicit(int value);
};
END
cat >"$work/faults.cpp" <<'END'
#include "faults.h"

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

struct Base {
  virtual ~Base() = default;
  virtual void Run();
};
struct Derived : Base {
  virtual void Run();
};

static int UseAfterMove(std::string text) {
  const std::string other = std::move(text);
  return static_cast<int>(text.size() + other.size());
}
static int Dereference(const int* value) { return value == nullptr ? *value : 0; }
static int Sum(const std::vector<std::string>& names) {
  int sum;
  sum = 0;
  for (const std::string name : names) sum += name.size() == 0 ? 1 : 0;
  return sum;
}
int Faults(int unused) {
  return UseAfterMove(std::getenv("HOME")) + Dereference(nullptr) + Sum({});
}
END
cat >"$work/sound.cpp" <<'END'
int Twice(int value);
int Twice(int value) { return 2 * value; }
END
printf 'int  Crooked( ) ;\n' >"$work/crooked.h"

for unit in faults sound; do
  printf '{"directory": "%s", "command": "g++ -std=c++20 -c %s.cpp",\n' "$work" "$unit"
  printf '  "file": "%s/%s.cpp"\n},\n' "$work" "$unit"
done | sed '1s/^/[/; $s/,$/]/' >"$work/compile_commands.json"

out=$("$lint" --build "$work" "$work/faults.cpp" 2>&1) && fail "faults pass"
for check in bugprone-use-after-move clang-analyzer-core.NullDereference concurrency-mt-unsafe \
  cppcoreguidelines-init-variables google-explicit-constructor misc-unused-parameters \
  modernize-use-override performance-for-range-copy readability-container-size-empty; do
  [[ $out == *"$check"* ]] || fail "$check does not fire"
done
out=$("$lint" --build "$work" "$work/sound.cpp" 2>&1) || fail "sound code does not pass: $out"
out=$("$lint" --build "$work" "$work/crooked.h" 2>&1) && fail "a crooked layout passes"
[[ $out == *"clang-format -i"* ]] || fail "a crooked layout does not print the way to mend it"
cp "$work/sound.cpp" "$work/stray.cpp"
out=$("$lint" --build "$work" "$work/stray.cpp" 2>&1) && fail "a source that nothing builds passes"

((failures == 0)) && echo "all passed"
exit $((failures > 0))
