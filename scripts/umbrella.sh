#!/usr/bin/env bash
# Writes include/KVDbase/KVDbase.h: one include for every public header, so
# that an application needs only the one. A header that says it is "not part
# of KVDbase.h" (the GDI-shaped stand-ins) is left out.
set -euo pipefail
cd "$(dirname "$0")/../include"
{
  echo "// KVDbase.h: the whole interface of the library in one include."
  echo "#pragma once"
  for folder in platform core collections files remote workers raster geometry drawing text crypto; do
    [ -d "KVDbase/$folder" ] || continue
    echo
    for h in $(ls KVDbase/$folder/*.h | sort); do
      grep -q "not part of KVDbase.h" "$h" && continue
      echo "#include \"$h\""
    done
  done
} > KVDbase/KVDbase.h
