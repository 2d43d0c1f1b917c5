#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XMemory.h"
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "drawing/XDIBConvert.h"
#include "drawing/XVertClip.h"
#include "drawing/XVertRecord.h"

#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>

using namespace XVertRecord;

XIMPLEMENT_DYNCREATE(XVertBuffer, XObject)
XIMPLEMENT_ARCHIVE_OPERATORS(XVertBuffer)

// ---------------------------------------------------------------------------
// Replay registry

namespace {

XVertReplay* g_apReplays[4] = {nullptr, nullptr, nullptr, nullptr};

} // namespace

XVertReplay::~XVertReplay() {}

void XVertReplay::ReleaseRecord(XVertBuffer*, void*) {}

void XVertReplay::Install(int nType, XVertReplay* pReplay)
{
    if (nType >= XVertBuffer::PATH_GDI && nType <= XVertBuffer::PATH_GDIP)
        g_apReplays[nType] = pReplay;
}

XVertReplay* XVertReplay::Find(int nType)
{
    if (nType >= XVertBuffer::PATH_GDI && nType <= XVertBuffer::PATH_GDIP)
        return g_apReplays[nType];
    return nullptr;
}

void*& XVertReplay::Points(XVertBuffer* p) { return p->pPoints; }
void*& XVertReplay::PointsGDIP(XVertBuffer* p) { return p->pPointsGDIP; }
int& XVertReplay::PointsBytes(XVertBuffer* p) { return p->nPointsBytes; }

void XVertReplay::SetClipBox(XVertBuffer* p, double dMinX, double dMaxX, double dMinY, double dMaxY)
{
    p->dClipMinX = dMinX;
    p->dClipMaxX = dMaxX;
    p->dClipMinY = dMinY;
    p->dClipMaxY = dMaxY;
}

void XVertReplay::GetClipBox(const XVertBuffer* p, double& dMinX, double& dMaxX, double& dMinY, double& dMaxY)
{
    dMinX = p->dClipMinX;
    dMaxX = p->dClipMaxX;
    dMinY = p->dClipMinY;
    dMaxY = p->dClipMaxY;
}

void XVertReplay::CalcClipRegion(XVertBuffer* p, XBackBuffer* pBack)
{
    p->CalcClipRegion(pBack);
}

int XVertReplay::IsInClipRegion(const XVertBuffer* p, double x1, double y1, double x2, double y2)
{
    return p->IsInClipRegion(x1, y1, x2, y2);
}

// ---------------------------------------------------------------------------
// Construction and state

XVertBuffer::XVertBuffer() : XVertBuffer(PATH_GL) {}

// The defaults are set for the typed form as well: the scratch pointers are
// freed by the destructor, and every other field is better defined than not.
XVertBuffer::XVertBuffer(int nTypeArg)
    : nType(nTypeArg), bRecording(0), nMaxPoints(0), bUpdateNeeded(1), nFontSizeFlag(0), pPoints(nullptr),
      pPointsGDIP(nullptr), nPointsBytes(0), dClipMinX(-1.7e308), dClipMaxX(1.7e308), dClipMinY(-1.7e308),
      dClipMaxY(1.7e308)
{
    ResetRecordedState();
    bForceLineStyle = bForceFillStyle = bForceTextStyle = 0;
}

XVertBuffer::~XVertBuffer()
{
    Free();
    std::free(pPoints);
    std::free(pPointsGDIP);
}

void XVertBuffer::ResetRecordedState()
{
    LineStyle = tagXLineStyle();
    FillStyle = tagXFillStyle();
    TextStyle = tagXTextStyle();
    dLineWidth = -1.0;
    clrLine = clrFore = clrBack = 0xFF000000u;
    dLineAlpha = dForeAlpha = dBackAlpha = -1.0;
    dTextSize = -1.0;
}

// ---------------------------------------------------------------------------
// Record sizes and data

int XVertBuffer::GetClassSizeBytes(int nKind, int n, const BITMAPINFO* pInfo, int m) const
{
    int64_t nSize;
    switch (nKind) {
    case KIND_START:
    case KIND_END:
        return 4;
    case KIND_LINECOLOR:
    case KIND_FORECOLOR:
    case KIND_BACKCOLOR:
    case KIND_POLYFILLMODE:
        return 8;
    case KIND_LINESTYLE:
        return 20;
    case KIND_LINEWIDTH:
    case KIND_TEXTSIZE:
        return 12;
    case KIND_FILLSTYLE:
        return 136;
    case KIND_TEXTSTYLE:
        return 68;
    case KIND_LINE:
        return 52;
    case KIND_TEXTBOX:
        return 48;
    case KIND_ELLIPSE:
        return 44;
    case KIND_POLYLINE:
    case KIND_POLYPOINT:
    case KIND_POLYGON:
        if (n < 0)
            return 0;
        nSize = 40 + int64_t{POINT_BYTES} * n;
        break;
    case KIND_TEXT:
        if (n < 0)
            return 0;
        nSize = 33 + int64_t{n};
        break;
    case KIND_POLYPOLYGON:
        if (n < 0 || m < 0)
            return 0;
        nSize = 40 + 4 * int64_t{m} + int64_t{POINT_BYTES} * n;
        break;
    case KIND_EMF:
        if (n < 0 || m < 0)
            return 0;
        nSize = EMF_FIXED_BYTES + int64_t{n} + m;
        break;
    case KIND_DIB: {
        if (pInfo == nullptr)
            return 0;
        const int64_t w = pInfo->bmiHeader.biWidth;
        const int64_t h = pInfo->bmiHeader.biHeight;
        if (w <= 0 || h <= 0 || w > INT_MAX / 4)
            return 0;
        if (nType == PATH_GDI) {
            const int w24 = XfnCalcDIBWidthBytes(static_cast<int>(w), 24);
            const int w8 = XfnCalcDIBWidthBytes(static_cast<int>(w), 8);
            nSize = OFS_DIB_PIXELS + (int64_t{w24} + w8) * h;
        } else if (nType == PATH_GL || nType == PATH_GDIP) {
            nSize = OFS_DIB_PIXELS + w * h * 4;
        } else {
            return 0; // no pixel form exists for another path
        }
        break;
    }
    default:
        return 0;
    }
    return nSize > INT_MAX ? 0 : static_cast<int>(nSize);
}

void* XVertBuffer::GetClassDataPtr(void* pRecord, int nKind)
{
    if (nKind == 0)
        nKind = Kind(pRecord);
    switch (nKind) {
    case KIND_START:
    case KIND_END:
        return pRecord;
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
    case KIND_ELLIPSE:
        return At(pRecord, OFS_VALUE);
    case KIND_POLYLINE:
    case KIND_POLYPOINT:
    case KIND_POLYGON:
        return At(pRecord, OFS_POINTS);
    case KIND_TEXT:
        return At(pRecord, OFS_TEXT_CHARS);
    case KIND_DIB:
        return At(pRecord, OFS_DIB_PIXELS);
    case KIND_POLYPOLYGON:
        return At(pRecord, OFS_POINTS + 4 * GetI32(At(pRecord, OFS_COUNT)));
    case KIND_TEXTBOX:
        return At(pRecord, 48);
    case KIND_EMF:
        return At(pRecord, OFS_EMF_DATA);
    default:
        return nullptr;
    }
}

// ---------------------------------------------------------------------------
// Blocks and the list

BYTE* XVertBuffer::NewRecord(int nKind, int nBytes)
{
    if (nBytes <= 0)
        return nullptr;
    BYTE* p = static_cast<BYTE*>(std::calloc(1, static_cast<size_t>(nBytes)));
    if (p != nullptr)
        PutI32(p, nKind);
    return p;
}

bool XVertBuffer::Append(void* pRecord)
{
    try {
        Records.Add(pRecord);
        return true;
    } catch (const XMemoryException&) {
        // The list cannot grow: the record is dropped like any other that
        // cannot be allocated.
        XFree(pRecord);
        return false;
    }
}

void XVertBuffer::Free()
{
    XVertReplay* pReplay = XVertReplay::Find(nType);
    for (int i = 0; i < Records.GetSize(); ++i) {
        void* pRecord = Records.GetAt(i);
        if (pReplay != nullptr)
            pReplay->ReleaseRecord(this, pRecord);
        XFree(pRecord);
    }
    Records.RemoveAll();
}

void XVertBuffer::Start()
{
    ResetRecordedState();
    bForceLineStyle = bForceFillStyle = bForceTextStyle = 1;
    nMaxPoints = 0;
    Free();
    if (BYTE* p = NewRecord(KIND_START, 4))
        Append(p);
    bRecording = 1;
}

void XVertBuffer::End()
{
    if (BYTE* p = NewRecord(KIND_END, 4))
        Append(p);
    bRecording = 0;
}

void XVertBuffer::AddRawBuffer(void* pRecord)
{
    Append(pRecord);
}

void XVertBuffer::AddRawPolyBuffer(void* pRecord, int nKind, int n, const double* pExtent)
{
    if (nKind != KIND_POLYLINE && nKind != KIND_POLYPOINT && nKind != KIND_POLYGON)
        return;
    PutI32(At(pRecord, OFS_KIND), nKind);
    PutI32(At(pRecord, OFS_COUNT), n);
    for (int i = 0; i < 4; ++i)
        PutF64(At(pRecord, OFS_EXTENT + 8 * i), pExtent != nullptr ? pExtent[i] : 0.0);
    Append(pRecord);
    if (n > nMaxPoints)
        nMaxPoints = n;
}

// ---------------------------------------------------------------------------
// Colours and styles

void XVertBuffer::AddColor(int nKind, COLORREF clr, double dAlpha, COLORREF& clrLast, double& dAlphaLast)
{
    if (!bRecording || (clr == clrLast && dAlpha == dAlphaLast))
        return;
    BYTE* p = NewRecord(nKind, 8);
    if (p == nullptr)
        return;
    COLORREF clrStored = clr;
    if (nType == PATH_GDI) {
        // The GDI path keeps the opacity in the high byte; the "no colour"
        // value 0xFF000000 counts as fully transparent black.
        const double dOpacity = clr == 0xFF000000u ? 0.0 : dAlpha;
        clrStored = (clr & 0x00FFFFFFu) | (static_cast<COLORREF>(XfnOpacityByte(dOpacity)) << 24);
    }
    PutU32(At(p, OFS_VALUE), clrStored);
    if (Append(p)) {
        clrLast = clr;
        dAlphaLast = dAlpha;
    }
}

void XVertBuffer::AddLineColor(COLORREF clr, double dAlpha)
{
    AddColor(KIND_LINECOLOR, clr, dAlpha, clrLine, dLineAlpha);
}

void XVertBuffer::AddForeColor(COLORREF clr, double dAlpha)
{
    AddColor(KIND_FORECOLOR, clr, dAlpha, clrFore, dForeAlpha);
}

void XVertBuffer::AddBackColor(COLORREF clr, double dAlpha)
{
    AddColor(KIND_BACKCOLOR, clr, dAlpha, clrBack, dBackAlpha);
}

bool XVertBuffer::AddDoubles(int nKind, const double* pValues, int nCount)
{
    BYTE* p = NewRecord(nKind, GetClassSizeBytes(nKind, 0, nullptr, 0));
    if (p == nullptr)
        return false;
    for (int i = 0; i < nCount; ++i)
        PutF64(At(p, 4 + 8 * i), pValues[i]);
    return Append(p);
}

void XVertBuffer::AddLineStyle(const tagXLineStyle* pStyle, double dWidth, COLORREF clr, double)
{
    if (!bRecording)
        return;
    if (bForceLineStyle || *pStyle != LineStyle) {
        if (BYTE* p = NewRecord(KIND_LINESTYLE, 20)) {
            PutU16(At(p, 4), pStyle->nPattern);
            PutI32(At(p, 8), pStyle->nFactor);
            PutU32(At(p, 12), pStyle->nPenBits);
            PutU32(At(p, 16), pStyle->nSolidPenBits);
            if (Append(p)) {
                LineStyle = *pStyle;
                bForceLineStyle = 0;
            }
        }
    }
    if (dWidth != dLineWidth && AddDoubles(KIND_LINEWIDTH, &dWidth, 1))
        dLineWidth = dWidth;
    AddLineColor(clr, 1.0);
}

void XVertBuffer::AddFillStyle(const tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg, double dAlpha)
{
    if (!bRecording)
        return;
    if (bForceFillStyle || *pStyle != FillStyle) {
        if (BYTE* p = NewRecord(KIND_FILLSTYLE, 136)) {
            std::memcpy(At(p, 4), pStyle->Pattern, tagXFillStyle::PATTERN_BYTES);
            PutI32(At(p, 132), pStyle->nStyle);
            if (Append(p)) {
                FillStyle = *pStyle;
                bForceFillStyle = 0;
            }
        }
    }
    AddForeColor(clrForeArg, dAlpha);
    AddBackColor(clrBackArg, 1.0);
}

void XVertBuffer::AddTextStyle(const tagXTextStyle* pStyle, double dSize, COLORREF clr, COLORREF clrBackArg,
                               double dAlpha)
{
    if (!bRecording)
        return;
    if (bForceTextStyle || *pStyle != TextStyle) {
        if (BYTE* p = NewRecord(KIND_TEXTSTYLE, 68)) {
            const LOGFONTA& lf = pStyle->lf;
            PutI32(At(p, 4), pStyle->nAlign);
            PutI32(At(p, 8), lf.lfHeight);
            PutI32(At(p, 12), lf.lfWidth);
            PutI32(At(p, 16), lf.lfEscapement);
            PutI32(At(p, 20), lf.lfOrientation);
            PutI32(At(p, 24), lf.lfWeight);
            const BYTE aBytes[8] = {lf.lfItalic,       lf.lfUnderline,     lf.lfStrikeOut, lf.lfCharSet,
                                    lf.lfOutPrecision, lf.lfClipPrecision, lf.lfQuality,   lf.lfPitchAndFamily};
            std::memcpy(At(p, 28), aBytes, 8);
            std::memcpy(At(p, 36), lf.lfFaceName, 32);
            if (Append(p)) {
                TextStyle = *pStyle;
                bForceTextStyle = 0;
            }
        }
    }
    if (dSize != dTextSize && AddDoubles(KIND_TEXTSIZE, &dSize, 1))
        dTextSize = dSize;
    AddLineColor(clr, dAlpha);
    AddBackColor(clrBackArg, 1.0);
}

void XVertBuffer::AddPolyFillMode(int nMode)
{
    if (!bRecording)
        return;
    if (BYTE* p = NewRecord(KIND_POLYFILLMODE, 8)) {
        PutI32(At(p, OFS_VALUE), nMode);
        Append(p);
    }
}

// ---------------------------------------------------------------------------
// Shapes

void XVertBuffer::AddLine(double x1, double y1, double x2, double y2)
{
    AddLine(x1, y1, 0.0, x2, y2, 0.0);
}

void XVertBuffer::AddLine(double x1, double y1, double z1, double x2, double y2, double z2)
{
    if (!bRecording)
        return;
    const double a[6] = {x1, y1, z1, x2, y2, z2};
    AddDoubles(KIND_LINE, a, 6);
}

void XVertBuffer::AddLine(tagXVector2 p1, tagXVector2 p2)
{
    AddLine(p1.x, p1.y, 0.0, p2.x, p2.y, 0.0);
}

void XVertBuffer::AddLine(tagXVector3 p1, tagXVector3 p2)
{
    AddLine(p1.x, p1.y, p1.z, p2.x, p2.y, p2.z);
}

namespace {

void PutExtent(BYTE* p, const double* pExtent)
{
    for (int i = 0; i < 4; ++i)
        PutF64(p + 8 * i, pExtent != nullptr ? pExtent[i] : 0.0);
}

// Writes n points from whichever source is given, z 0.0 where none is.
void PutPoints(BYTE* p, const double* x, const double* y, const double* z, const tagXVector2* p2,
               const tagXVector3* p3, int nFirst, int n)
{
    for (int i = nFirst; i < nFirst + n; ++i, p += POINT_BYTES) {
        if (p3 != nullptr) {
            PutF64(p, p3[i].x);
            PutF64(p + 8, p3[i].y);
            PutF64(p + 16, p3[i].z);
        } else if (p2 != nullptr) {
            PutF64(p, p2[i].x);
            PutF64(p + 8, p2[i].y);
            PutF64(p + 16, 0.0);
        } else {
            PutF64(p, x[i]);
            PutF64(p + 8, y[i]);
            PutF64(p + 16, z != nullptr ? z[i] : 0.0);
        }
    }
}

} // namespace

void XVertBuffer::AddPoints(int nKind, const double* x, const double* y, const double* z, const tagXVector2* p2,
                            const tagXVector3* p3, int n, const double* pExtent)
{
    if (!bRecording)
        return;
    if (BYTE* p = NewRecord(nKind, GetClassSizeBytes(nKind, n, nullptr, 0))) {
        PutI32(At(p, OFS_COUNT), n);
        PutExtent(At(p, OFS_EXTENT), pExtent);
        PutPoints(At(p, OFS_POINTS), x, y, z, p2, p3, 0, n);
        Append(p);
    }
    // Kept even when the block is lost: the replay sizes its scratch by it.
    if (n > nMaxPoints)
        nMaxPoints = n;
}

void XVertBuffer::AddRings(const double* x, const double* y, const double* z, const tagXVector2* p2,
                           const tagXVector3* p3, const int* pCounts, int nRings, const double* pExtent)
{
    if (!bRecording || nRings < 0)
        return;
    int64_t nTotal = 0;
    bool bValid = true;
    for (int r = 0; r < nRings; ++r) {
        if (pCounts[r] < 0)
            bValid = false;
        nTotal += pCounts[r];
    }
    if (nTotal < 0 || nTotal > INT_MAX)
        bValid = false;
    if (!bValid)
        return;
    const int nPoints = static_cast<int>(nTotal);
    if (BYTE* p = NewRecord(KIND_POLYPOLYGON, GetClassSizeBytes(KIND_POLYPOLYGON, nPoints, nullptr, nRings))) {
        PutI32(At(p, OFS_COUNT), nRings);
        PutExtent(At(p, OFS_EXTENT), pExtent);
        for (int r = 0; r < nRings; ++r)
            PutI32(At(p, OFS_POINTS + 4 * r), pCounts[r]);
        PutPoints(At(p, OFS_POINTS + 4 * nRings), x, y, z, p2, p3, 0, nPoints);
        Append(p);
    }
    if (nPoints > nMaxPoints)
        nMaxPoints = nPoints;
}

void XVertBuffer::AddPolyline(const double* x, const double* y, const double* z, int n, const double* pExtent)
{
    AddPoints(KIND_POLYLINE, x, y, z, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolyline(const double* x, const double* y, int n, const double* pExtent)
{
    AddPoints(KIND_POLYLINE, x, y, nullptr, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolyline(const tagXVector2* pPoints2, int n, const double* pExtent)
{
    AddPoints(KIND_POLYLINE, nullptr, nullptr, nullptr, pPoints2, nullptr, n, pExtent);
}
void XVertBuffer::AddPolyline(const tagXVector3* pPoints3, int n, const double* pExtent)
{
    AddPoints(KIND_POLYLINE, nullptr, nullptr, nullptr, nullptr, pPoints3, n, pExtent);
}

void XVertBuffer::AddPolypoint(const double* x, const double* y, const double* z, int n, const double* pExtent)
{
    AddPoints(KIND_POLYPOINT, x, y, z, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolypoint(const double* x, const double* y, int n, const double* pExtent)
{
    AddPoints(KIND_POLYPOINT, x, y, nullptr, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolypoint(const tagXVector2* pPoints2, int n, const double* pExtent)
{
    AddPoints(KIND_POLYPOINT, nullptr, nullptr, nullptr, pPoints2, nullptr, n, pExtent);
}
void XVertBuffer::AddPolypoint(const tagXVector3* pPoints3, int n, const double* pExtent)
{
    AddPoints(KIND_POLYPOINT, nullptr, nullptr, nullptr, nullptr, pPoints3, n, pExtent);
}

void XVertBuffer::AddPolygon(const double* x, const double* y, const double* z, int n, const double* pExtent)
{
    AddPoints(KIND_POLYGON, x, y, z, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolygon(const double* x, const double* y, int n, const double* pExtent)
{
    AddPoints(KIND_POLYGON, x, y, nullptr, nullptr, nullptr, n, pExtent);
}
void XVertBuffer::AddPolygon(const tagXVector2* pPoints2, int n, const double* pExtent)
{
    AddPoints(KIND_POLYGON, nullptr, nullptr, nullptr, pPoints2, nullptr, n, pExtent);
}
void XVertBuffer::AddPolygon(const tagXVector3* pPoints3, int n, const double* pExtent)
{
    AddPoints(KIND_POLYGON, nullptr, nullptr, nullptr, nullptr, pPoints3, n, pExtent);
}

void XVertBuffer::AddPolyPolygon(const double* x, const double* y, const double* z, const int* pCounts, int nRings,
                                 const double* pExtent)
{
    AddRings(x, y, z, nullptr, nullptr, pCounts, nRings, pExtent);
}
void XVertBuffer::AddPolyPolygon(const double* x, const double* y, const int* pCounts, int nRings,
                                 const double* pExtent)
{
    AddRings(x, y, nullptr, nullptr, nullptr, pCounts, nRings, pExtent);
}
void XVertBuffer::AddPolyPolygon(const tagXVector2* pPoints2, const int* pCounts, int nRings, const double* pExtent)
{
    AddRings(nullptr, nullptr, nullptr, pPoints2, nullptr, pCounts, nRings, pExtent);
}
void XVertBuffer::AddPolyPolygon(const tagXVector3* pPoints3, const int* pCounts, int nRings, const double* pExtent)
{
    AddRings(nullptr, nullptr, nullptr, nullptr, pPoints3, pCounts, nRings, pExtent);
}

void XVertBuffer::AddText(XString strText, double x, double y, double z)
{
    if (!bRecording)
        return;
    const int n = strText.GetLength();
    if (BYTE* p = NewRecord(KIND_TEXT, GetClassSizeBytes(KIND_TEXT, n, nullptr, 0))) {
        PutF64(At(p, 4), x);
        PutF64(At(p, 12), y);
        PutF64(At(p, 20), z);
        PutI32(At(p, OFS_TEXT_COUNT), n);
        std::memcpy(At(p, OFS_TEXT_CHARS), static_cast<const char*>(strText), static_cast<size_t>(n));
        Append(p);
    }
}

void XVertBuffer::AddTextBox(double x, double y, double z, double d1, double d2, HANDLE hEnhMetaFile)
{
    if (!bRecording)
        return;
    if (BYTE* p = NewRecord(KIND_TEXTBOX, 48)) {
        const double a[5] = {x, y, z, d1, d2};
        for (int i = 0; i < 5; ++i)
            PutF64(At(p, 4 + 8 * i), a[i]);
        PutU32(At(p, OFS_TEXTBOX_HANDLE), static_cast<uint32_t>(reinterpret_cast<uintptr_t>(hEnhMetaFile)));
        Append(p);
    }
}

void XVertBuffer::AddEMF(double x, double y, double z, int n1, int n2, int n3, unsigned int nSize,
                         const unsigned char* pData, XString strName)
{
    if (!bRecording || nSize > static_cast<unsigned int>(INT_MAX))
        return;
    const int n = static_cast<int>(nSize);
    const int m = strName.GetLength();
    if (BYTE* p = NewRecord(KIND_EMF, GetClassSizeBytes(KIND_EMF, n, nullptr, m))) {
        PutF64(At(p, 4), x);
        PutF64(At(p, 12), y);
        PutF64(At(p, 20), z);
        PutI32(At(p, OFS_EMF_INTS), n1);
        PutI32(At(p, OFS_EMF_INTS + 4), n2);
        PutI32(At(p, OFS_EMF_INTS + 8), n3);
        PutI32(At(p, OFS_EMF_SIZE), n);
        if (n > 0)
            std::memcpy(At(p, OFS_EMF_DATA), pData, static_cast<size_t>(n));
        PutI32(At(p, OFS_EMF_DATA + n), m);
        std::memcpy(At(p, OFS_EMF_DATA + n + 4), static_cast<const char*>(strName), static_cast<size_t>(m));
        Append(p);
    }
}

void XVertBuffer::AddEllipse(double x, double y, double rx, double ry)
{
    AddEllipse(x, y, 0.0, rx, ry);
}

void XVertBuffer::AddEllipse(double x, double y, double z, double rx, double ry)
{
    if (!bRecording)
        return;
    const double a[5] = {x, y, z, rx, ry};
    AddDoubles(KIND_ELLIPSE, a, 5);
}

void XVertBuffer::AddEllipse(const tagXVector2* pCenter, double rx, double ry)
{
    AddEllipse(pCenter->x, pCenter->y, 0.0, rx, ry);
}

void XVertBuffer::AddEllipse(const tagXVector3* pCenter, double rx, double ry)
{
    AddEllipse(pCenter->x, pCenter->y, pCenter->z, rx, ry);
}

// ---------------------------------------------------------------------------
// Images

void XVertBuffer::AddDIB(const char* pBits, const BITMAPINFO* pInfo, double d1, double d2, double d3, double d4,
                         double d5, double dAlpha, DWORD dwKey)
{
    if (!bRecording)
        return;
    const int nSize = GetClassSizeBytes(KIND_DIB, 0, pInfo, 0);
    if (nSize == 0)
        return;
    BYTE* p = static_cast<BYTE*>(XMalloc(nSize, 2));
    if (p == nullptr)
        return;
    // Row padding is part of the record: keep it zero.
    std::memset(p, 0, static_cast<size_t>(nSize));

    const BITMAPINFOHEADER& bih = pInfo->bmiHeader;
    const int w = bih.biWidth;
    const int h = bih.biHeight;
    PutI32(At(p, OFS_KIND), KIND_DIB);
    PutI32(At(p, OFS_DIB_WIDTH), w);
    PutI32(At(p, OFS_DIB_HEIGHT), h);
    const double a[5] = {d1, d2, d3, d4, d5};
    for (int i = 0; i < 5; ++i)
        PutF64(At(p, OFS_DIB_DOUBLES + 8 * i), a[i]);
    PutU32(At(p, OFS_DIB_TEXTURE), 0);

    const XDIBForm nForm = nType == PATH_GDI ? XDIB_FORM_ROWS_AND_MASK
                           : nType == PATH_GL ? XDIB_FORM_BGRA_BOTTOM_UP
                                              : XDIB_FORM_BGRA_TOP_DOWN;
    const int nClass = XfnConvertDIBPixels(pBits, pInfo, dAlpha, dwKey, nForm, At(p, OFS_DIB_PIXELS));
    PutI32(At(p, OFS_DIB_CLASS), nClass);
    Append(p);
}

// ---------------------------------------------------------------------------
// Replay

namespace {
const double kNoClip = XVertClipBox::kNoClip;
} // namespace

void XVertBuffer::CalcClipRegion(XBackBuffer* pBack)
{
    if (pBack == nullptr) {
        dClipMinX = dClipMinY = -kNoClip;
        dClipMaxX = dClipMaxY = kNoClip;
        return;
    }
    const double w = pBack->GetWidth() - 1;
    const double h = pBack->GetHeight() - 1;
    const double corners[4][2] = {{0, 0}, {w, 0}, {w, h}, {0, h}};
    for (int i = 0; i < 4; ++i) {
        double x = corners[i][0], y = corners[i][1];
        pBack->ConvPixelToWorldCoord(x, y);
        if (i == 0 || x < dClipMinX)
            dClipMinX = x;
        if (i == 0 || x > dClipMaxX)
            dClipMaxX = x;
        if (i == 0 || y < dClipMinY)
            dClipMinY = y;
        if (i == 0 || y > dClipMaxY)
            dClipMaxY = y;
    }
}

int XVertBuffer::IsInClipRegion(double x1, double y1, double x2, double y2) const
{
    return XVertClipBox{dClipMinX, dClipMaxX, dClipMinY, dClipMaxY}.Contains(x1, y1, x2, y2) ? 1 : 0;
}

void XVertBuffer::Draw(XBackBuffer* pBack)
{
    if (XVertReplay* pReplay = XVertReplay::Find(nType))
        pReplay->Draw(this, pBack);
}

// The view a caller's transform gives, on a back buffer that draws straight
// on the DC.
void XVertBuffer::Draw(HDC hDC, double ox, double sx, double oy, double sy)
{
    if (nType != PATH_GDI && nType != PATH_GDIP)
        return;
    XBackBuffer bb;
    if (!bb.Create(hDC, XBackBuffer::TYPE_DC))
        return;
    // The world box of the DC's pixels under pixel = world * s + o.
    const double w = bb.GetWidth(), h = bb.GetHeight();
    const double x1 = -ox / sx, x2 = (w - 1 - ox) / sx;
    const double y1 = (h - 1 - oy) / sy, y2 = -oy / sy;
    bb.SetWorldToCenter((x1 + x2) / 2, (y1 + y2) / 2);
    bb.SetWorldPerPixel((x2 - x1) / w, (y2 - y1) / h);
    Draw(&bb);
}
