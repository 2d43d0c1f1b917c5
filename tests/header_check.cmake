# Fails when a public header is missing from the umbrella header.
file(GLOB_RECURSE headers RELATIVE ${INCLUDE_DIR} ${INCLUDE_DIR}/KVDbase/*/*.h)
# Headers that stay out of the one include on purpose: the OpenGL context
# stand-ins.
list(REMOVE_ITEM headers KVDbase/platform/XWGL.h)
file(READ ${INCLUDE_DIR}/KVDbase/KVDbase.h umbrella)
set(missing)
foreach(h IN LISTS headers)
  string(FIND "${umbrella}" "#include \"${h}\"" found)
  if(found EQUAL -1)
    list(APPEND missing ${h})
  endif()
endforeach()
if(missing)
  message(FATAL_ERROR "not in KVDbase.h (run scripts/umbrella.sh): ${missing}")
endif()
