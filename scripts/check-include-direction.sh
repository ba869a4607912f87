#!/usr/bin/env bash
# The layers, checked on the quoted #include lines of the sources: each folder may include only the folders
# listed for it, so an arrow that runs the wrong way (module code reaching into posix/ or windows/, the
# client library reaching above itself, a host program reaching inside the module) fails the build's CI.
#
#   scripts/check-include-direction.sh [tree]     (default: this repository)
#
# Prints every offending line and exits 1 when there is one.
set -euo pipefail
root="${1:-$(dirname "$0")/..}"
cd "$root"

seam='platform/[A-Za-z]+\.h'     # the platform seam's interfaces, not its implementations
parsing='parsing/[A-Za-z]+\.h'   # the record parser, not parsing/native
core='wsman/core/'
internal='(api|base|checks|engine|parsing|platform|wsman)/'

# folder | pattern an include of that folder must match (or "!pattern": must not match)
rules=(
  "src/wsman/core|^${core}"
  "src/wsman|^wsman/"
  "src/parsing/native|^(parsing/native/|${core})"
  "src/platform/posix|^(platform/|parsing/native/|wsman/)"
  "src/platform/windows|^(platform/|${core})"
  "src/platform|^(${seam}|${core})"
  "src/base|^(base/|${seam}|${core})"
  "src/parsing|^(${parsing}|base/|${seam}|${core})"
  "src/engine|^(engine/|${parsing}|base/|${seam}|${core})"
  "src/checks|^(checks/|engine/|${parsing}|base/|${seam}|${core})"
  "src/api|^(api/|checks/|engine/|base/|${seam}|${core}|qnsnwsm\.h$)"
  "sim|!^${internal}"
  "tools|!^${internal}"
)

status=0
folders=()
for rule in "${rules[@]}"; do
  if [ -d "${rule%%|*}" ]; then folders+=("${rule%%|*}"); fi
done
# One pass over every quoted include; each file belongs to the deepest folder that has a rule (the rules list
# deeper folders first).
while IFS= read -r hit; do
  file="${hit%%:*}"
  rest="${hit#*:}"
  line="${rest%%:*}"
  [[ "$rest" =~ \"([^\"]+)\" ]] || continue
  target="${BASH_REMATCH[1]}"
  for rule in "${rules[@]}"; do
    folder="${rule%%|*}"
    [[ "$file" == "$folder"/* ]] || continue
    pattern="${rule#*|}"
    if [[ "$pattern" == !* ]]; then
      [[ "$target" =~ ${pattern#!} ]] || break
    else
      [[ "$target" =~ $pattern ]] && break
    fi
    echo "$file:$line: includes \"$target\", which $folder may not include" >&2
    status=1
    break
  done
done < <(grep -rnE --include='*.h' --include='*.hpp' --include='*.c' --include='*.cpp' \
              '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "${folders[@]}" || true)
exit "$status"
