#!/usr/bin/env bash
# The include-direction check passes on a copy of the tree and fails on each violation planted in it.
set -euo pipefail
check="$1"
source_root="$2"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp -r "$source_root/src" "$source_root/sim" "$source_root/tools" "$scratch/"
"$check" "$scratch" || { echo "the unchanged copy fails the check"; exit 1; }

# file | include that crosses a layer
plants=(
  "src/engine/WinRMErrorText.cpp|platform/posix/XmlLibrary.h"
  "src/checks/CheckText.cpp|platform/windows/Bstr.h"
  "src/parsing/CQncXmlDoc.cpp|parsing/native/ItemTree.h"
  "src/wsman/soap/Reply.cpp|base/QncString.h"
  "src/wsman/core/ErrorCodes.cpp|wsman/soap/XmlPtr.h"
  "src/platform/WsmanAutomation.cpp|wsman/client/ClientSession.h"
  "tools/host/Checks.cpp|engine/CQnWSMan.h"
)
for plant in "${plants[@]}"; do
  file="${plant%%|*}"
  cp "$scratch/$file" "$scratch/$file.orig"
  echo "#include \"${plant#*|}\"" >>"$scratch/$file"
  if output=$("$check" "$scratch" 2>&1); then
    echo "not refused: $file including ${plant#*|}"
    exit 1
  fi
  grep -qF "$file:" <<<"$output" || { echo "refused without naming $file: $output"; exit 1; }
  mv "$scratch/$file.orig" "$scratch/$file"
done
echo "every planted violation refused"
