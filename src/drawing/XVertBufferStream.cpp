// The stream form of XVertBuffer: the state, the record count, then each
// record as its kind, the counts a reader needs to size it, and its block.

#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XMemory.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XFile.h"
#include "drawing/XVertRecord.h"

#include <cstdlib>

using namespace XVertRecord;

namespace {

// A header that carries only the two values the size of an image needs.
BITMAPINFO ImageInfo(int nWidth, int nHeight)
{
    BITMAPINFO bmi = {};
    bmi.bmiHeader.biSize = 40;
    bmi.bmiHeader.biWidth = nWidth;
    bmi.bmiHeader.biHeight = nHeight;
    return bmi;
}

[[noreturn]] void ThrowBadStream(XArchive& ar, int nCause)
{
    XFile* pFile = ar.GetFile();
    XArchiveException::Throw(nCause, pFile != nullptr ? pFile->GetFilePath() : XString());
}

// The point total of a kind 17 record, from its ring sizes.
int RingPointTotal(const void* pRecord)
{
    const int nRings = GetI32(At(pRecord, OFS_COUNT));
    int64_t nTotal = 0;
    for (int r = 0; r < nRings; ++r)
        nTotal += GetI32(At(pRecord, OFS_POINTS + 4 * r));
    return static_cast<int>(nTotal);
}

} // namespace

void XVertBuffer::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    if (ar.IsStoring()) {
        ar << nType << bRecording << dLineWidth << dLineAlpha << dForeAlpha << dBackAlpha << dTextSize;
        ar << nMaxPoints << nFontSizeFlag;
        ar << static_cast<unsigned int>(clrLine) << static_cast<unsigned int>(clrFore)
           << static_cast<unsigned int>(clrBack);
        ar << LineStyle << FillStyle << TextStyle;
        ar << Records.GetSize();
        StoreRecords(ar);
    } else {
        unsigned int nLine, nFore, nBack;
        ar >> nType >> bRecording >> dLineWidth >> dLineAlpha >> dForeAlpha >> dBackAlpha >> dTextSize;
        ar >> nMaxPoints >> nFontSizeFlag;
        ar >> nLine >> nFore >> nBack;
        clrLine = nLine;
        clrFore = nFore;
        clrBack = nBack;
        ar >> LineStyle >> FillStyle >> TextStyle;
        LoadRecords(ar);
    }
}

void XVertBuffer::StoreRecords(XArchive& ar)
{
    for (int i = 0; i < Records.GetSize(); ++i) {
        void* pRecord = Records.GetAt(i);
        const int nKind = Kind(pRecord);
        int nSize;
        ar << nKind;
        switch (nKind) {
        case KIND_POLYLINE:
        case KIND_POLYPOINT:
        case KIND_POLYGON: {
            const int n = GetI32(At(pRecord, OFS_COUNT));
            ar << n;
            nSize = GetClassSizeBytes(nKind, n, nullptr, 0);
            break;
        }
        case KIND_TEXT: {
            const int n = GetI32(At(pRecord, OFS_TEXT_COUNT));
            ar << n;
            nSize = GetClassSizeBytes(nKind, n, nullptr, 0);
            break;
        }
        case KIND_DIB: {
            const int w = GetI32(At(pRecord, OFS_DIB_WIDTH));
            const int h = GetI32(At(pRecord, OFS_DIB_HEIGHT));
            ar << w << h;
            const BITMAPINFO bmi = ImageInfo(w, h);
            nSize = GetClassSizeBytes(nKind, 0, &bmi, 0);
            break;
        }
        case KIND_POLYPOLYGON: {
            const int r = GetI32(At(pRecord, OFS_COUNT));
            const int n = RingPointTotal(pRecord);
            ar << r << n;
            nSize = GetClassSizeBytes(nKind, n, nullptr, r);
            break;
        }
        default:
            // Kind 19 gives its fixed part alone; a kind not listed gives no
            // bytes, and a reader stops there.
            nSize = GetClassSizeBytes(nKind, 0, nullptr, 0);
            break;
        }
        ar.Write(pRecord, static_cast<unsigned int>(nSize));
    }
}

// The stream cannot say how long a record of an unknown kind is, so a reader
// can never go past one: such a record, counts that give no valid size, a block
// that disagrees with its counts, a block that cannot be allocated and a
// stream that ends inside a block all end the load with XArchiveException.
void XVertBuffer::LoadRecords(XArchive& ar)
{
    int nCount;
    ar >> nCount;
    for (int i = 0; i < nCount; ++i) {
        int nKind, n = 0, m = 0, nSize;
        ar >> nKind;
        switch (nKind) {
        case KIND_START:
        case KIND_LINECOLOR:
        case KIND_FORECOLOR:
        case KIND_BACKCOLOR:
        case KIND_LINESTYLE:
        case KIND_LINEWIDTH:
        case KIND_FILLSTYLE:
        case KIND_TEXTSTYLE:
        case KIND_TEXTSIZE:
        case KIND_LINE:
        case KIND_POLYFILLMODE:
        case KIND_TEXTBOX:
        case KIND_EMF:
        case KIND_ELLIPSE:
        case KIND_END:
            nSize = GetClassSizeBytes(nKind, 0, nullptr, 0);
            break;
        case KIND_POLYLINE:
        case KIND_POLYPOINT:
        case KIND_POLYGON:
        case KIND_TEXT:
            ar >> n;
            nSize = GetClassSizeBytes(nKind, n, nullptr, 0);
            break;
        case KIND_DIB: {
            ar >> n >> m;
            const BITMAPINFO bmi = ImageInfo(n, m);
            nSize = GetClassSizeBytes(nKind, 0, &bmi, 0);
            break;
        }
        case KIND_POLYPOLYGON:
            ar >> m >> n;
            nSize = GetClassSizeBytes(nKind, n, nullptr, m);
            break;
        default:
            ThrowBadStream(ar, XArchiveException::badClass);
        }
        if (nSize <= 0)
            ThrowBadStream(ar, XArchiveException::badClass);

        void* pRecord = nKind == KIND_DIB ? XMalloc(nSize, 2) : std::malloc(static_cast<size_t>(nSize));
        if (pRecord == nullptr)
            ThrowBadStream(ar, XArchiveException::genericException);
        int nCause = XArchiveException::none;
        if (ar.Read(pRecord, static_cast<unsigned int>(nSize)) != static_cast<unsigned int>(nSize)) {
            nCause = XArchiveException::endOfFile;
        } else if (Kind(pRecord) != nKind) {
            nCause = XArchiveException::badClass;
        } else {
            switch (nKind) {
            case KIND_POLYLINE:
            case KIND_POLYPOINT:
            case KIND_POLYGON:
                if (GetI32(At(pRecord, OFS_COUNT)) != n)
                    nCause = XArchiveException::badClass;
                break;
            case KIND_TEXT:
                if (GetI32(At(pRecord, OFS_TEXT_COUNT)) != n)
                    nCause = XArchiveException::badClass;
                break;
            case KIND_DIB:
                if (GetI32(At(pRecord, OFS_DIB_WIDTH)) != n || GetI32(At(pRecord, OFS_DIB_HEIGHT)) != m)
                    nCause = XArchiveException::badClass;
                // A texture name belongs to the context that made it: the
                // loaded image gets its own at its first replay.
                PutU32(At(pRecord, OFS_DIB_TEXTURE), 0);
                break;
            case KIND_POLYPOLYGON: {
                bool bRingsValid = GetI32(At(pRecord, OFS_COUNT)) == m;
                for (int r = 0; bRingsValid && r < m; ++r)
                    bRingsValid = GetI32(At(pRecord, OFS_POINTS + 4 * r)) >= 0;
                if (!bRingsValid || RingPointTotal(pRecord) != n)
                    nCause = XArchiveException::badClass;
                break;
            }
            default:
                break;
            }
        }
        if (nCause == XArchiveException::none && !Append(pRecord)) {
            pRecord = nullptr; // Append has freed it
            nCause = XArchiveException::genericException;
        }
        if (nCause != XArchiveException::none) {
            XFree(pRecord);
            ThrowBadStream(ar, nCause);
        }
    }
}

void XVertBuffer::Load(XFile* pFile, COLORREF clr)
{
    XArchive ar(pFile, XArchive::load, 4096);
    const int nFirst = Records.GetSize();
    Serialize(ar);
    const int nEnd = Records.GetSize();
    ar.Close();
    // The last record is left alone: a drawing ends with its end record.
    for (int i = nFirst; i < nEnd - 1; ++i) {
        void* pRecord = Records.GetAt(i);
        if (Kind(pRecord) != KIND_LINECOLOR)
            continue;
        const COLORREF clrOld = GetU32(At(pRecord, OFS_VALUE));
        // Only a full opacity survives: 255 / 255.0 truncates to 1, anything
        // less to 0.
        const int nKeep = static_cast<int>((clrOld >> 24) / 255.0);
        PutU32(At(pRecord, OFS_VALUE), (static_cast<COLORREF>(nKeep * 255) << 24) | clr);
    }
}

void XVertBuffer::Load(const char* pszPath, COLORREF clr)
{
    XFile file;
    // The open is not checked: a missing file fails at the first read, with
    // the file's own exception.
    file.Open(pszPath, XFile::flagRead);
    Load(&file, clr);
    file.Close();
}
