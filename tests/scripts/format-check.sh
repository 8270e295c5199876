#!/usr/bin/env bash
# Every C++ file of the tree is formatted as .clang-format says: clang-format changes nothing.
# Prints the files it would change and how to fix them.
set -uo pipefail
root=$1
cd "$root" || exit 1
command -v clang-format >/dev/null || { echo "FAIL: clang-format is missing (scripts/install-deps)"; exit 1; }
bad=()
while IFS= read -r -d '' file; do
  clang-format --dry-run -Werror "$file" >/dev/null 2>&1 || bad+=("$file")
done < <(find host interfaces module services shell tests fuzz bench \
  -path '*/node_modules' -prune -o -type f \( -name '*.cpp' -o -name '*.hpp' -o -name '*.h' \) -print0)
if [ ${#bad[@]} -gt 0 ]; then
  printf 'FAIL: not formatted: %s\n' "${bad[@]}"
  echo "fix: clang-format -i <file>"
  exit 1
fi
echo "every C++ file is formatted"
