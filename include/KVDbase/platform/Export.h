// Export.h: the one macro that marks the library's exported interface.
// The library is built with hidden visibility; every exported class and free
// function carries KVD_API so that only the interface leaves libKVDbase.so.
#pragma once

#define KVD_API __attribute__((visibility("default")))
