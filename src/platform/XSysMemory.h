// Memory and disk figures of this platform, and probes of the process's own
// address space. Figures that cannot be read answer 0. Thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

uint64_t XfnSysTotalPhysicalMemory();
// Memory available to new allocations without swapping, page cache included.
uint64_t XfnSysAvailablePhysicalMemory();
// Bytes of the disk of pszDirectory that the caller may use; false when the
// directory cannot be asked.
bool XfnSysDiskFreeBytes(const char* pszDirectory, uint64_t& nBytes);
// How many bytes from p on, at most nMax, lie in mapped memory that can be
// read (and written, with bWritable).
size_t XfnSysAccessibleSpan(const void* p, size_t nMax, bool bWritable);
