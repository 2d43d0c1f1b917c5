// File mappings on this platform. A mapping is a descriptor of its own on the
// file, so it keeps the file alive after the file's descriptor is closed, as
// the library's users expect of a mapping object. Views are remembered by
// address, so that unmapping and flushing need no length. Failures answer
// -1, null or false with errno set. Thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

// The alignment of a view's file offset, and the window that the library's
// mapped files move in.
constexpr uint32_t kSysAllocationGranularity = 65536;

// A mapping of the file; its number is never below 3.
int XfnSysCreateMapping(int fd);
bool XfnSysCloseMapping(int hMapping);
// A shared view of nSize bytes at nOffset (a multiple of the granularity),
// read-only or read-write; null on failure.
void* XfnSysMapView(int hMapping, uint64_t nOffset, size_t nSize, bool bWritable);
bool XfnSysUnmapView(void* pView);
// Writes nSize bytes from pAddress, inside a view, to the file; with 0, the
// whole view that starts at pAddress.
bool XfnSysFlushView(void* pAddress, size_t nSize);
