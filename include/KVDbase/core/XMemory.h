// XMemory: one allocation call that gives heap memory or a read-write view of
// a temporary file, with one free call for both, and the queries of physical
// memory, disk space and address validity. Failures answer null or 0; only
// XFile's own exceptions after the temporary file is open can leave Alloc.
// mapMem has no lock: callers on several threads provide their own exclusion.
#pragma once

#include "KVDbase/collections/XMap.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class KVD_API XMemory {
public:
    XMemory() {}
    ~XMemory() {}

    // nMode 0 prefers the heap and falls back to a file, 1 takes a file at
    // once, 2 takes the heap when that much memory is available; any other
    // mode, or a negative size, gives null.
    static void* Alloc(int64_t nSize, int nMode);
    // 1 for an address that Alloc gave; anything else is passed to free and
    // answers 0.
    static int Free(void* p);

    // Address given out to its mapping (null for heap memory).
    static XMapPtrToPtr mapMem;
};

KVD_API void* XMalloc(int64_t nSize, int nMode);
KVD_API int XFree(void* p);

KVD_API uint64_t XfnGetTotalPhysicalMemory();
KVD_API uint64_t XfnGetAvailablePhysicalMemory();
KVD_API double XfnGetAvailablePhysicalMemoryInPercent();
// 1 only when the disk of strPath's directory has more than nBytes free for
// the caller; 0 also when the disk cannot be asked.
KVD_API int XfnIsDiskSpaceEnough(XString strPath, uint64_t nBytes);
// 1 when p is not null and the nBytes from it can be read (and written, with
// bWritable) by this process.
KVD_API int XfnIsValidAddress(const void* p, unsigned int nBytes, int bWritable = 1);
// 1 when p is not null and can be read up to its terminator or nLength
// characters, whichever comes first; a negative nLength reads to the
// terminator.
KVD_API int XfnIsValidString(const char* p, int nLength = -1);
KVD_API int XfnIsValidString(const wchar_t* p, int nLength = -1);
