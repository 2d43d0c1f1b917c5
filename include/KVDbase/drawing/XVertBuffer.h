// XVertBuffer: a recorded vector drawing, a flat list of self-contained
// records in world coordinates that streams through XArchive and replays on an
// XBackBuffer by the render path chosen when it is built. The buffer owns its
// record blocks. One thread at a time. Recording never reports failure: a
// record whose block cannot be allocated is dropped. Loading throws
// XArchiveException for a stream it cannot read.
#pragma once

#include "KVDbase/collections/XArray.h"
#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/geometry/XVector.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XBackBuffer;
class XFile;
class XVertBuffer;

// The replay of one render path. Each path's module installs one object during
// static initialisation; XVertBuffer::Draw hands the buffer to it, and Free
// lets it release what a replay attached to a record (the OpenGL path's
// textures) before the block goes. A path with no installed replay draws
// nothing and has nothing to release.
class KVD_API XVertReplay {
public:
    virtual ~XVertReplay();
    virtual void Draw(XVertBuffer* pBuffer, XBackBuffer* pBack) = 0;
    // Called by Free for every record of a buffer of this path.
    virtual void ReleaseRecord(XVertBuffer* pBuffer, void* pRecord);

    // Installs (or, with null, removes) the replay of a render path 1 to 3.
    // The object is not owned and must outlive its use.
    static void Install(int nType, XVertReplay* pReplay);
    static XVertReplay* Find(int nType);

protected:
    // The replay state kept in the buffer between replays.
    static void*& Points(XVertBuffer* p);
    static void*& PointsGDIP(XVertBuffer* p);
    static int& PointsBytes(XVertBuffer* p);
    // The view in world coordinates, set at each replay.
    static void SetClipBox(XVertBuffer* p, double dMinX, double dMaxX, double dMinY, double dMaxY);
    static void GetClipBox(const XVertBuffer* p, double& dMinX, double& dMaxX, double& dMinY, double& dMaxY);
    // The clip box of a replay and its test, shared by every path.
    static void CalcClipRegion(XVertBuffer* p, XBackBuffer* pBack);
    static int IsInClipRegion(const XVertBuffer* p, double x1, double y1, double x2, double y2);
};

class KVD_API XVertBuffer : public XObject {
    XDECLARE_DYNCREATE(XVertBuffer)
    friend class XVertReplay;

public:
    // Render paths.
    enum { PATH_GDI = 1, PATH_GL = 2, PATH_GDIP = 3 };

    // Record kinds.
    enum {
        KIND_START = 1,
        KIND_LINECOLOR = 2,
        KIND_FORECOLOR = 3,
        KIND_BACKCOLOR = 4,
        KIND_LINESTYLE = 5,
        KIND_LINEWIDTH = 6,
        KIND_FILLSTYLE = 7,
        KIND_TEXTSTYLE = 8,
        KIND_TEXTSIZE = 9,
        KIND_LINE = 10,
        KIND_POLYLINE = 11,
        KIND_POLYPOINT = 12,
        KIND_POLYGON = 13,
        KIND_TEXT = 14,
        KIND_DIB = 15,
        KIND_POLYFILLMODE = 16,
        KIND_POLYPOLYGON = 17,
        KIND_TEXTBOX = 18,
        KIND_EMF = 19,
        KIND_ELLIPSE = 20,
        KIND_END = 65535,
    };

    // The fixed part of a kind 19 record: all that its stream form keeps.
    enum { EMF_FIXED_BYTES = 49 };

    // A path 2 buffer with every field at its default.
    XVertBuffer();
    // The same with the render path given.
    explicit XVertBuffer(int nType);
    ~XVertBuffer() override;

    int GetType() const { return nType; }
    void SetType(int nTypeArg) { nType = nTypeArg; }
    BOOL IsUpdateNeeded() const { return bUpdateNeeded; }
    void UpdateNeeded() { bUpdateNeeded = 1; }
    void UpdateCompleted() { bUpdateNeeded = 0; }
    int GetFontSizeFlag() const { return nFontSizeFlag; }
    void SetFontSizeFlag(int nFlag) { nFontSizeFlag = nFlag; }
    BOOL IsRecording() const { return bRecording; }
    int GetMaxPoints() const { return nMaxPoints; }

    // The records in drawing order; each element is a block owned here.
    int GetRecordCount() const { return Records.GetSize(); }
    void* GetRecord(int nIndex) const { return Records.GetAt(nIndex); }

    // The last-recorded state.
    const tagXLineStyle& GetLineStyle() const { return LineStyle; }
    const tagXFillStyle& GetFillStyle() const { return FillStyle; }
    const tagXTextStyle& GetTextStyle() const { return TextStyle; }
    double GetLineWidth() const { return dLineWidth; }
    double GetTextSize() const { return dTextSize; }
    COLORREF GetLineColor() const { return clrLine; }
    COLORREF GetForeColor() const { return clrFore; }
    COLORREF GetBackColor() const { return clrBack; }
    double GetLineAlpha() const { return dLineAlpha; }
    double GetForeAlpha() const { return dForeAlpha; }
    double GetBackAlpha() const { return dBackAlpha; }

    // Size in bytes of a record of a kind, 0 for a kind not listed or counts
    // that give no valid size. n is the point count (11, 12, 13), the text
    // length (14), the point total (17) or the metafile length (19); m is the
    // ring count (17) or the name length (19). Kind 15 reads the width and
    // height of pInfo (0 without one) and depends on the render path.
    int GetClassSizeBytes(int nKind, int n, const BITMAPINFO* pInfo, int m) const;
    // The start of a record's bulk data; nKind 0 reads the kind from the
    // record. Null for a kind not listed.
    static void* GetClassDataPtr(void* pRecord, int nKind);

    // Clears the list and the last-recorded state and begins recording.
    void Start();
    // Appends the end record and stops recording, in any state.
    void End();
    // Deletes every record and empties the list.
    void Free();

    void AddLineColor(COLORREF clr, double dAlpha);
    void AddForeColor(COLORREF clr, double dAlpha);
    void AddBackColor(COLORREF clr, double dAlpha);
    // The last argument is taken and not used.
    void AddLineStyle(const tagXLineStyle* pStyle, double dWidth, COLORREF clr, double dAlpha);
    void AddFillStyle(const tagXFillStyle* pStyle, COLORREF clrFore, COLORREF clrBack, double dAlpha);
    void AddTextStyle(const tagXTextStyle* pStyle, double dSize, COLORREF clr, COLORREF clrBack, double dAlpha);
    // Appends kind 16 whenever recording, changed or not.
    void AddPolyFillMode(int nMode);

    void AddLine(double x1, double y1, double x2, double y2);
    void AddLine(double x1, double y1, double z1, double x2, double y2, double z2);
    void AddLine(tagXVector2 p1, tagXVector2 p2);
    void AddLine(tagXVector3 p1, tagXVector3 p2);

    // The extent (minimum x, minimum y, maximum x, maximum y) is copied as
    // given, never computed; a null extent is stored as four zeros. A null z
    // array gives z 0.0.
    void AddPolyline(const double* x, const double* y, const double* z, int n, const double* pExtent);
    void AddPolyline(const double* x, const double* y, int n, const double* pExtent);
    void AddPolyline(const tagXVector2* pPoints, int n, const double* pExtent);
    void AddPolyline(const tagXVector3* pPoints, int n, const double* pExtent);
    void AddPolypoint(const double* x, const double* y, const double* z, int n, const double* pExtent);
    void AddPolypoint(const double* x, const double* y, int n, const double* pExtent);
    void AddPolypoint(const tagXVector2* pPoints, int n, const double* pExtent);
    void AddPolypoint(const tagXVector3* pPoints, int n, const double* pExtent);
    void AddPolygon(const double* x, const double* y, const double* z, int n, const double* pExtent);
    void AddPolygon(const double* x, const double* y, int n, const double* pExtent);
    void AddPolygon(const tagXVector2* pPoints, int n, const double* pExtent);
    void AddPolygon(const tagXVector3* pPoints, int n, const double* pExtent);
    void AddPolyPolygon(const double* x, const double* y, const double* z, const int* pCounts, int nRings,
                        const double* pExtent);
    void AddPolyPolygon(const double* x, const double* y, const int* pCounts, int nRings, const double* pExtent);
    void AddPolyPolygon(const tagXVector2* pPoints, const int* pCounts, int nRings, const double* pExtent);
    void AddPolyPolygon(const tagXVector3* pPoints, const int* pCounts, int nRings, const double* pExtent);

    void AddText(XString strText, double x, double y, double z);
    // The metafile handle is kept as an opaque 4-byte value: it has meaning
    // only in the process that made it.
    void AddTextBox(double x, double y, double z, double d1, double d2, HANDLE hEnhMetaFile);
    void AddEMF(double x, double y, double z, int n1, int n2, int n3, unsigned int nSize, const unsigned char* pData,
                XString strName);
    void AddEllipse(double x, double y, double rx, double ry);
    void AddEllipse(double x, double y, double z, double rx, double ry);
    void AddEllipse(const tagXVector2* pCenter, double rx, double ry);
    void AddEllipse(const tagXVector3* pCenter, double rx, double ry);

    // An image in the pixel form of the render path, with its opacity class.
    // Sources of 8 (palette or grey), 16 (5-5-5), 24 and 32 bits a pixel; the
    // five doubles are kept as given. Bytes 0 to 3 of dwKey: enable, red,
    // green, blue of a colour that becomes fully transparent black.
    void AddDIB(const char* pBits, const BITMAPINFO* pInfo, double d1, double d2, double d3, double d4, double d5,
                double dAlpha, DWORD dwKey);

    // Appends a ready-made record and takes it over, recording or not. The
    // block must come from malloc or XMalloc.
    void AddRawBuffer(void* pRecord);
    // Writes kind, n and the extent into a caller-made point record of kind
    // 11, 12 or 13, then appends it and takes it over; with another kind it
    // does nothing and the block stays the caller's.
    void AddRawPolyBuffer(void* pRecord, int nKind, int n, const double* pExtent);

    // Replays by the render path's installed replay.
    void Draw(XBackBuffer* pBack);
    // Replays a GDI or GDI+ buffer (paths 1 and 3) on a plain DC whose pixels
    // are world * s + o per axis, through a back buffer of type 4 on it;
    // nothing on path 2 or when no back buffer can be made on the DC.
    void Draw(HDC hDC, double ox, double sx, double oy, double sy);

    // Stream form: the class hierarchy, the state, the count and the records.
    // Reading appends to the records already held. A kind 19 record reads back
    // as its 49-byte fixed part, whose length fields still claim the metafile
    // and name that were not stored: nothing may read past byte 49.
    void Serialize(XArchive& ar) override;

    // Reads a saved buffer from a file, appending its records, and gives every
    // line colour record among them but the last the colour clr, keeping an
    // opacity only when it was full.
    void Load(XFile* pFile, COLORREF clr);
    void Load(const char* pszPath, COLORREF clr);

protected:
    int nType;
    XPtrArray Records;
    BOOL bRecording;
    tagXLineStyle LineStyle;
    tagXFillStyle FillStyle;
    tagXTextStyle TextStyle;
    double dLineWidth;
    COLORREF clrLine;
    COLORREF clrFore;
    COLORREF clrBack;
    double dLineAlpha;
    double dForeAlpha;
    double dBackAlpha;
    double dTextSize;
    int nMaxPoints;
    BOOL bForceLineStyle;
    BOOL bForceFillStyle;
    BOOL bForceTextStyle;
    BOOL bUpdateNeeded;
    int nFontSizeFlag;
    void* pPoints;
    void* pPointsGDIP;
    int nPointsBytes;
    double dClipMinX;
    double dClipMaxX;
    double dClipMinY;
    double dClipMaxY;

    // The view's box in world coordinates: the bounding box of the surface's
    // four corner pixels, so that a rotated view is inside it. A null back
    // buffer gives the no-clip box, -1.7e308 to 1.7e308.
    void CalcClipRegion(XBackBuffer* pBack);
    // 1 when the box of the arguments (lo, hi per axis, as given) overlaps or
    // touches the clip box on both axes; always 1 for the no-clip box.
    int IsInClipRegion(double x1, double y1, double x2, double y2) const;
    // The same; the last two values are not read.
    int IsInClipRegion(double x1, double y1, double x2, double y2, double, double) const
    {
        return IsInClipRegion(x1, y1, x2, y2);
    }

private:
    void ResetRecordedState();
    // A zeroed block for a record of nBytes with its kind written; null when
    // it cannot be allocated.
    static BYTE* NewRecord(int nKind, int nBytes);
    // Appends a block and takes it over; false (the block freed) when the
    // list cannot grow.
    bool Append(void* pRecord);
    // Kinds 2, 3, 4 with the path's colour form.
    void AddColor(int nKind, COLORREF clr, double dAlpha, COLORREF& clrLast, double& dAlphaLast);
    // Kinds 11, 12, 13: z may be null; exactly one of (x, y), p2 and p3 gives
    // the points.
    void AddPoints(int nKind, const double* x, const double* y, const double* z, const tagXVector2* p2,
                   const tagXVector3* p3, int n, const double* pExtent);
    void AddRings(const double* x, const double* y, const double* z, const tagXVector2* p2, const tagXVector3* p3,
                  const int* pCounts, int nRings, const double* pExtent);
    bool AddDoubles(int nKind, const double* pValues, int nCount);
    void StoreRecords(XArchive& ar);
    void LoadRecords(XArchive& ar);
};

XDECLARE_ARCHIVE_OPERATORS(XVertBuffer)
