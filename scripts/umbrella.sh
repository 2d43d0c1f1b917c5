#!/usr/bin/env bash
# Writes include/KVDbase/KVDbase.h: one include for every public header, so
# that an application needs only the one.
set -euo pipefail
cd "$(dirname "$0")/../include"
{
  echo "// KVDbase.h: the whole interface of the library in one include."
  echo "#pragma once"
  for folder in platform core collections files remote workers raster geometry drawing text crypto; do
    [ -d "KVDbase/$folder" ] || continue
    echo
    for h in $(ls KVDbase/$folder/*.h | sort); do
      # The OpenGL context stand-ins are for applications that draw with
      # OpenGL on a back buffer's DC; they stay out of the one include.
      [ "$h" = KVDbase/platform/XWGL.h ] && continue
      echo "#include \"$h\""
    done
  done
} > KVDbase/KVDbase.h
