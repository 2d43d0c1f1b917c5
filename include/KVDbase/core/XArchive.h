// XArchive: the library's serialisation stream. It buffers primitive values
// over an XFile in a fixed byte order (byte-reversed unless mode bit 4 is
// set), and keeps the tables that store an object graph once and rebuild it:
// object references, class records and stored schemas. One thread at a time.
// The archive never closes its file. Faults of the stream are thrown as
// XArchiveException with the causes of the format; an object that cannot be
// created throws XMemoryException; XFile operations throw their own.
#pragma once

#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XFile;
class XMapPtrToPtr;
class XPtrArray;
class XTime;
class XTimeSpan;

class KVD_API XArchive {
public:
    // Mode bits.
    enum Mode : unsigned int {
        store = 0,
        load = 1,
        bNoFlushOnDelete = 2,
        bNoByteSwap = 4,
    };

    // The first value of every class-hierarchy block.
    static constexpr DWORD nHierarchyMagic = 0xFA2D481Cu;
    // The object table never grows to this index.
    static constexpr DWORD nMaxMapCount = 0x7FFFFFF1u;

    XArchive(XFile* pFile, unsigned int nMode, int nBufSize = 4096, void* lpBuf = nullptr);
    ~XArchive();

    BOOL IsLoading() const { return (nMode & load) != 0; }
    BOOL IsStoring() const { return (nMode & load) == 0; }
    BOOL IsByteSwapping() const { return (nMode & bNoByteSwap) == 0; }
    BOOL IsBufferEmpty() const { return lpBufCur == lpBufMax; }
    XFile* GetFile() const { return pFile; }

    // Table parameters, for use before the first object is stored or loaded.
    void SetLoadParams(unsigned int nGrowSize = 1024);
    void SetStoreParams(unsigned int nHashSize = 2053, unsigned int nBlockSize = 128);

    // Flushes and lets go of the file; the tables are kept.
    void Close();
    // Lets go of the file without flushing, frees the buffer and the tables.
    void Abort();
    void Flush();
    void FillBuffer(unsigned int nBytesNeeded);

    // Raw bytes, passing through the buffer; a short read is not an error.
    unsigned int Read(void* lpBuf, unsigned int nMax);
    void Write(const void* lpBuf, unsigned int nMax);

    // Text lines: WriteString writes the bytes alone. ReadString(char*, n)
    // reads up to a line end (a negative n keeps it as one line feed) and
    // returns null at the end of the stream; ReadString(XString&) reads a
    // whole line and returns 0 at the end of the stream.
    void WriteString(const char* lpsz);
    char* ReadString(char* lpsz, unsigned int nMax);
    int ReadString(XString& rString);

    // Object references and class records.
    XObject* ReadObject(const XRuntimeClass* pClassRequested);
    void WriteObject(const XObject* pOb);
    void MapObject(const XObject* pOb);
    XRuntimeClass* ReadRuntimeClassHierachy(XRuntimeClass* pClassDefault);
    void WriteRuntimeClassHierachy(const XRuntimeClass* pClass);
    void CheckCount();
    // The schema stored for a class of this stream, 0 if none is known.
    unsigned int GetRTCSchemaStored(XString strClass);

    // Primitive values.
    XArchive& operator<<(char ch) { return *this << static_cast<unsigned char>(ch); }
    XArchive& operator<<(unsigned char by);
    XArchive& operator<<(short w) { return *this << static_cast<unsigned short>(w); }
    XArchive& operator<<(unsigned short w);
    XArchive& operator<<(int i) { return *this << static_cast<unsigned int>(i); }
    XArchive& operator<<(unsigned int u);
    XArchive& operator<<(float f);
    XArchive& operator<<(double d);
    XArchive& operator<<(long double d) { return *this << static_cast<double>(d); }
    XArchive& operator<<(int64_t n);
    XArchive& operator<<(long long n) { return *this << static_cast<int64_t>(n); }
    XArchive& operator<<(tagPOINT pt);
    XArchive& operator<<(tagSIZE size);
    XArchive& operator<<(const tagRECT& rect);
    XArchive& operator<<(XString str);

    XArchive& operator>>(char& ch) { return *this >> reinterpret_cast<unsigned char&>(ch); }
    XArchive& operator>>(unsigned char& by);
    XArchive& operator>>(short& w) { return *this >> reinterpret_cast<unsigned short&>(w); }
    XArchive& operator>>(unsigned short& w);
    XArchive& operator>>(int& i) { return *this >> reinterpret_cast<unsigned int&>(i); }
    XArchive& operator>>(unsigned int& u);
    XArchive& operator>>(float& f);
    XArchive& operator>>(double& d);
    XArchive& operator>>(long double& d);
    XArchive& operator>>(int64_t& n);
    XArchive& operator>>(long long& n) { return *this >> reinterpret_cast<int64_t&>(n); }
    XArchive& operator>>(tagPOINT& pt);
    XArchive& operator>>(tagSIZE& size);
    XArchive& operator>>(tagRECT& rect);
    XArchive& operator>>(XString& str);

    // bool has no stream form: a class stores it as an integer of its choice.
    // Nor has an unsigned 64-bit value: the stream's "unsigned long" is 32
    // bits (DWORD), its 64-bit integer is signed (int64_t); say which.
    XArchive& operator<<(bool) = delete;
    XArchive& operator>>(bool&) = delete;
    XArchive& operator<<(unsigned long) = delete;
    XArchive& operator>>(unsigned long&) = delete;
    XArchive& operator<<(unsigned long long) = delete;
    XArchive& operator>>(unsigned long long&) = delete;

protected:
    XArchive(const XArchive&);
    XArchive& operator=(const XArchive&);

    BOOL bDirectBuffer;
    XString strFileName;
    unsigned int nMode;
    BOOL bUserBuf;
    int nBufSize;
    XFile* pFile;
    BYTE* lpBufCur;
    BYTE* lpBufMax;
    BYTE* lpBufStart;
    void* pObjectTable;       // XMapPtrToPtr* when storing, XPtrArray* when loading
    int nGrowSize;
    int nHashSize;
    DWORD nMapCount;
    XMapPtrToPtr* pSchemaMap;

private:
    XMapPtrToPtr* StoreMap() const { return static_cast<XMapPtrToPtr*>(pObjectTable); }
    XPtrArray* LoadArray() const { return static_cast<XPtrArray*>(pObjectTable); }
    // Reads into the buffer until nBytesWanted are present or the file ends.
    void ReadIntoBuffer(unsigned int nBytesWanted);
    // Reads one class record and enters it in the tables.
    XRuntimeClass* LoadClassRecord();
    template <typename T> void Put(T value);
    template <typename T> T Get();
};

// The length of a stored text: 0xFFFFFFFF announces wide text.
KVD_API unsigned int GetStringLength(XArchive& ar);

// Objects through their pointers.
KVD_API XArchive& operator<<(XArchive& ar, const XObject* pOb);
KVD_API XArchive& operator>>(XArchive& ar, XObject*& pOb);
KVD_API XArchive& operator>>(XArchive& ar, const XObject*& pOb);

// Moments and spans go through a stream as their low 32 bits.
KVD_API XArchive& operator<<(XArchive& ar, XTime t);
KVD_API XArchive& operator>>(XArchive& ar, XTime& t);
KVD_API XArchive& operator<<(XArchive& ar, XTimeSpan ts);
KVD_API XArchive& operator>>(XArchive& ar, XTimeSpan& ts);

// The three pointer operators of a creatable class X: reading requests X's
// own record, so a stream holding an object of another class throws.
#define XDECLARE_ARCHIVE_OPERATORS(className)                                  \
    KVD_API XArchive& operator>>(XArchive& ar, className*& pOb);               \
    KVD_API XArchive& operator>>(XArchive& ar, const className*& pOb);         \
    KVD_API XArchive& operator<<(XArchive& ar, const className* pOb);

#define XIMPLEMENT_ARCHIVE_OPERATORS(className)                                                    \
    XArchive& operator>>(XArchive& ar, className*& pOb)                                            \
    {                                                                                              \
        pOb = static_cast<className*>(ar.ReadObject(className::GetRuntimeClassStatic()));          \
        return ar;                                                                                 \
    }                                                                                              \
    XArchive& operator>>(XArchive& ar, const className*& pOb)                                      \
    {                                                                                              \
        pOb = static_cast<const className*>(ar.ReadObject(className::GetRuntimeClassStatic()));    \
        return ar;                                                                                 \
    }                                                                                              \
    XArchive& operator<<(XArchive& ar, const className* pOb)                                       \
    {                                                                                              \
        ar.WriteObject(pOb);                                                                       \
        return ar;                                                                                 \
    }
