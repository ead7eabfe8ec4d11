# shellcheck shell=bash
# Shared by the scripts, which source it. Sets `root`, the repository's folder.
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# A build through sudo leaves folders that belong to root.
for folder in "$root/build" "$root/build"/*/; do
  [[ $folder != */@(debian13*|roots)/ ]] || continue # they do belong to root
  if [[ -e $folder && ! -w $folder ]]; then
    echo "$folder belongs to $(stat -c %U "$folder"): remove it, or go on as that user" >&2
    exit 1
  fi
done
unset folder

# Configures and builds a preset in build/PRESET. The output goes to build/PRESET.log and, after a
# failure, to standard error. Further arguments are passed to the configuration.
build_preset() { # PRESET [-D...]
  local preset=$1 log=$root/build/$1.log
  shift
  mkdir -p "$root/build"
  if (cd "$root" && cmake --preset "$preset" "$@" && cmake --build --preset "$preset") \
    >"$log" 2>&1 </dev/null; then
    return
  fi
  # A compiler's first complaint explains the others.
  { grep -m 1 -A 20 -E 'FAILED:|CMake Error' "$log" || tail -n 20 "$log"; } >&2
  echo "the build of '$preset' failed; all of it is in build/$preset.log" >&2
  return 1
}
