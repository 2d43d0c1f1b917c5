#include "KVDbase/core/XMemory.h"

#include "KVDbase/files/XFile.h"
#include "platform/XSysMap.h"
#include "platform/XSysMemory.h"

#include <cstdlib>
#include <cstring>
#include <cwchar>

XMapPtrToPtr XMemory::mapMem;

namespace {

const char kTempPrefix[] = "$XMEMORY_TEMP$";

// The name a mapped block's file carries while the block lives: Free finds
// it from the mapping's number alone.
XString MappedFileName(int hMapping)
{
    XString strName;
    strName.Format("%s%s.%d", static_cast<const char*>(XfnGetTempPath()), kTempPrefix, hMapping);
    return strName;
}

void RemoveQuietly(const XString& strName)
{
    try {
        XFile::Remove(strName);
    } catch (const XFileException&) {
        // Nothing is reported: a file that cannot go stays behind.
    }
}

// A read-write view of a new temporary file of nSize bytes, or null.
void* AllocMapped(int64_t nSize)
{
    XString strName = XfnGetTempFileName(kTempPrefix);
    XFile file;
    if (!file.Open(strName, XFile::flagCreate | XFile::flagReadWrite, nullptr))
        return nullptr;
    file.SetLength(nSize);
    int hMapping = XfnSysCreateMapping(file.hFile);
    file.Close();
    if (hMapping == -1) {
        RemoveQuietly(strName);
        return nullptr;
    }
    XString strFinal = MappedFileName(hMapping);
    try {
        XFile::Rename(strName, strFinal);
    } catch (const XFileException&) {
        XfnSysCloseMapping(hMapping);
        RemoveQuietly(strName);
        return nullptr;
    }
    void* p = XfnSysMapView(hMapping, 0, static_cast<size_t>(nSize), true);
    if (p == nullptr) {
        XfnSysCloseMapping(hMapping);
        RemoveQuietly(strFinal);
        return nullptr;
    }
    XMemory::mapMem[p] = reinterpret_cast<void*>(static_cast<intptr_t>(hMapping));
    return p;
}

// Whether the bytes of a text up to its terminator, or nLength units, can be
// read; nUnit is the size of one character.
bool IsReadableText(const void* p, int nLength, size_t nUnit)
{
    if (p == nullptr)
        return false;
    const size_t nMaxUnits = nLength < 0 ? SIZE_MAX / nUnit : static_cast<size_t>(nLength);
    const unsigned char* pAt = static_cast<const unsigned char*>(p);
    size_t nUnitsLeft = nMaxUnits;
    while (nUnitsLeft > 0) {
        // Probe a page's worth at a time, and look for the terminator in it.
        size_t nWant = nUnitsLeft < 4096 / nUnit ? nUnitsLeft : 4096 / nUnit;
        size_t nSpan = XfnSysAccessibleSpan(pAt, nWant * nUnit, false) / nUnit;
        for (size_t i = 0; i < nSpan; ++i) {
            bool bZero = nUnit == 1 ? pAt[i] == 0 : reinterpret_cast<const wchar_t*>(pAt)[i] == 0;
            if (bZero)
                return true;
        }
        if (nSpan < nWant)
            return false;
        pAt += nSpan * nUnit;
        nUnitsLeft -= nSpan;
    }
    return true;
}

} // namespace

void* XMemory::Alloc(int64_t nSize, int nMode)
{
    if (nMode < 0 || nMode > 2 || nSize < 0)
        return nullptr;
    if (nMode == 2)
        nMode = XfnGetAvailablePhysicalMemory() >= static_cast<uint64_t>(nSize) ? 0 : 1;
    if (nMode == 0) {
        void* p = std::malloc(static_cast<size_t>(nSize));
        if (p != nullptr) {
            mapMem[p] = nullptr;
            return p;
        }
    }
    return AllocMapped(nSize);
}

int XMemory::Free(void* p)
{
    void* pHandle;
    if (!mapMem.Lookup(p, pHandle)) {
        std::free(p);
        return 0;
    }
    if (pHandle != nullptr) {
        int hMapping = static_cast<int>(reinterpret_cast<intptr_t>(pHandle));
        // The view goes before the file.
        XfnSysUnmapView(p);
        XfnSysCloseMapping(hMapping);
        RemoveQuietly(MappedFileName(hMapping));
    } else {
        std::free(p);
    }
    mapMem.RemoveKey(p);
    return 1;
}

void* XMalloc(int64_t nSize, int nMode)
{
    return XMemory::Alloc(nSize, nMode);
}

int XFree(void* p)
{
    return XMemory::Free(p);
}

uint64_t XfnGetTotalPhysicalMemory()
{
    return XfnSysTotalPhysicalMemory();
}

uint64_t XfnGetAvailablePhysicalMemory()
{
    return XfnSysAvailablePhysicalMemory();
}

double XfnGetAvailablePhysicalMemoryInPercent()
{
    return static_cast<double>(XfnGetAvailablePhysicalMemory()) * 100.0 /
           static_cast<double>(XfnGetTotalPhysicalMemory());
}

int XfnIsDiskSpaceEnough(XString strPath, uint64_t nBytes)
{
    uint64_t nFree = 0;
    XfnSysDiskFreeBytes(XfnGetDirName(strPath), nFree);
    return nFree > nBytes ? 1 : 0;
}

int XfnIsValidAddress(const void* p, unsigned int nBytes, int bWritable)
{
    if (p == nullptr)
        return 0;
    if (nBytes == 0)
        return 1;
    if (XfnSysAccessibleSpan(p, nBytes, false) < nBytes)
        return 0;
    if (!bWritable)
        return 1;
    return XfnSysAccessibleSpan(p, nBytes, true) >= nBytes ? 1 : 0;
}

int XfnIsValidString(const char* p, int nLength)
{
    return IsReadableText(p, nLength, 1) ? 1 : 0;
}

int XfnIsValidString(const wchar_t* p, int nLength)
{
    return IsReadableText(p, nLength, sizeof(wchar_t)) ? 1 : 0;
}
