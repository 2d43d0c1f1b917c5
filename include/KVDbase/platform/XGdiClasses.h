// XGdiClasses.h: thin wrapper classes over the GDI handles of XGdi.h, in the
// shape that drawing code written against the original class library expects
// (CDC, CPen, CBrush, CFont, CRgn, CPoint). Each holds one handle and calls
// the function of the same name on it. A CGdiObject owns its handle and
// deletes it when destroyed unless it was detached; a CDC owns a DC it
// created (CreateCompatibleDC) and never one it was attached to. Failures are
// those of the handle functions. One thread at a time per object. This header
// is not part of KVDbase.h.
#pragma once

#include "KVDbase/platform/XGdi.h"

class CPoint : public tagPOINT {
public:
    CPoint() : tagPOINT{0, 0} {}
    CPoint(int nX, int nY) : tagPOINT{nX, nY} {}
    CPoint(POINT pt) : tagPOINT(pt) {}
    void Offset(int dx, int dy)
    {
        x += dx;
        y += dy;
    }
    bool operator==(POINT pt) const { return x == pt.x && y == pt.y; }
    bool operator!=(POINT pt) const { return !(*this == pt); }
    CPoint operator+(POINT pt) const { return CPoint(x + pt.x, y + pt.y); }
    CPoint operator-(POINT pt) const { return CPoint(x - pt.x, y - pt.y); }
};

// Base of the object wrappers: owns m_hObject.
class CGdiObject {
public:
    HGDIOBJ m_hObject = nullptr;

    CGdiObject() = default;
    CGdiObject(const CGdiObject&) = delete;
    CGdiObject& operator=(const CGdiObject&) = delete;
    virtual ~CGdiObject() { DeleteObject(); }

    HGDIOBJ GetSafeHandle() const { return m_hObject; }
    BOOL Attach(HGDIOBJ h)
    {
        if (m_hObject != nullptr || h == nullptr)
            return FALSE;
        m_hObject = h;
        return TRUE;
    }
    HGDIOBJ Detach()
    {
        HGDIOBJ h = m_hObject;
        m_hObject = nullptr;
        return h;
    }
    BOOL DeleteObject()
    {
        if (m_hObject == nullptr)
            return FALSE;
        return ::DeleteObject(Detach());
    }
    int GetObject(int c, LPVOID pv) const { return ::GetObjectA(m_hObject, c, pv); }

protected:
    // Takes a newly created handle; fails if one is held already.
    BOOL Take(HGDIOBJ h)
    {
        if (h == nullptr)
            return FALSE;
        if (m_hObject != nullptr) {
            ::DeleteObject(h);
            return FALSE;
        }
        m_hObject = h;
        return TRUE;
    }
};

class CPen : public CGdiObject {
public:
    CPen() = default;
    CPen(int nPenStyle, int nWidth, COLORREF crColor) { CreatePen(nPenStyle, nWidth, crColor); }
    BOOL CreatePen(int nPenStyle, int nWidth, COLORREF crColor) { return Take(::CreatePen(nPenStyle, nWidth, crColor)); }
    BOOL CreatePen(int nPenStyle, int nWidth, const LOGBRUSH* pLogBrush, int nStyleCount = 0,
                   const DWORD* lpStyle = nullptr)
    {
        return Take(::ExtCreatePen(static_cast<DWORD>(nPenStyle), static_cast<DWORD>(nWidth), pLogBrush,
                                   static_cast<DWORD>(nStyleCount), lpStyle));
    }
    BOOL CreatePenIndirect(const LOGPEN* lpLogPen) { return Take(::CreatePenIndirect(lpLogPen)); }
    operator HPEN() const { return static_cast<HPEN>(m_hObject); }
};

class CBrush : public CGdiObject {
public:
    CBrush() = default;
    explicit CBrush(COLORREF crColor) { CreateSolidBrush(crColor); }
    CBrush(int nIndex, COLORREF crColor) { CreateHatchBrush(nIndex, crColor); }
    BOOL CreateSolidBrush(COLORREF crColor) { return Take(::CreateSolidBrush(crColor)); }
    BOOL CreateHatchBrush(int nIndex, COLORREF crColor) { return Take(::CreateHatchBrush(nIndex, crColor)); }
    BOOL CreateBrushIndirect(const LOGBRUSH* lpLogBrush) { return Take(::CreateBrushIndirect(lpLogBrush)); }
    operator HBRUSH() const { return static_cast<HBRUSH>(m_hObject); }
};

class CFont : public CGdiObject {
public:
    BOOL CreateFontIndirect(const LOGFONTA* lpLogFont) { return Take(::CreateFontIndirectA(lpLogFont)); }
    operator HFONT() const { return static_cast<HFONT>(m_hObject); }
};

class CRgn : public CGdiObject {
public:
    BOOL CreatePolygonRgn(const POINT* lpPoints, int nCount, int nMode)
    {
        return Take(::CreatePolygonRgn(lpPoints, nCount, nMode));
    }
    BOOL CreatePolyPolygonRgn(const POINT* lpPoints, const int* lpPolyCounts, int nCount, int nPolyFillMode)
    {
        return Take(::CreatePolyPolygonRgn(lpPoints, lpPolyCounts, nCount, nPolyFillMode));
    }
    BOOL CreateRectRgn(int x1, int y1, int x2, int y2) { return Take(::CreateRectRgn(x1, y1, x2, y2)); }
    BOOL PtInRegion(int x, int y) const { return ::PtInRegion(static_cast<HRGN>(m_hObject), x, y); }
    BOOL PtInRegion(POINT pt) const { return PtInRegion(pt.x, pt.y); }
    int GetRgnBox(RECT* lpRect) const { return ::GetRgnBox(static_cast<HRGN>(m_hObject), lpRect); }
    operator HRGN() const { return static_cast<HRGN>(m_hObject); }
};

// A device context. SelectObject hands back the wrapper that was selected
// before through this CDC, or, for an object that came from elsewhere, a
// wrapper of the CDC's own that does not own its handle and stays valid until
// the next selection of that kind.
class CDC {
public:
    HDC m_hDC = nullptr;

    CDC() = default;
    CDC(const CDC&) = delete;
    CDC& operator=(const CDC&) = delete;
    ~CDC()
    {
        if (bOwnDC)
            DeleteDC();
    }

    HDC GetSafeHdc() const { return m_hDC; }
    operator HDC() const { return m_hDC; }
    BOOL Attach(HDC hDC)
    {
        if (m_hDC != nullptr || hDC == nullptr)
            return FALSE;
        m_hDC = hDC;
        bOwnDC = false;
        return TRUE;
    }
    HDC Detach()
    {
        HDC h = m_hDC;
        m_hDC = nullptr;
        bOwnDC = false;
        return h;
    }
    BOOL CreateCompatibleDC(CDC* pDC)
    {
        if (m_hDC != nullptr)
            return FALSE;
        m_hDC = ::CreateCompatibleDC(pDC != nullptr ? pDC->m_hDC : nullptr);
        bOwnDC = m_hDC != nullptr;
        return m_hDC != nullptr;
    }
    BOOL DeleteDC()
    {
        if (m_hDC == nullptr)
            return FALSE;
        BOOL bOk = ::DeleteDC(m_hDC);
        m_hDC = nullptr;
        bOwnDC = false;
        return bOk;
    }

    CPen* SelectObject(CPen* pPen) { return Select<CPen>(pPen, tempPen, pLastPen); }
    CBrush* SelectObject(CBrush* pBrush) { return Select<CBrush>(pBrush, tempBrush, pLastBrush); }
    CFont* SelectObject(CFont* pFont) { return Select<CFont>(pFont, tempFont, pLastFont); }
    HGDIOBJ SelectStockObject(int nIndex) { return ::SelectObject(m_hDC, ::GetStockObject(nIndex)); }

    int GetDeviceCaps(int nIndex) const { return ::GetDeviceCaps(m_hDC, nIndex); }
    int SetROP2(int nDrawMode) { return ::SetROP2(m_hDC, nDrawMode); }
    int GetROP2() const { return ::GetROP2(m_hDC); }
    int SetBkMode(int nBkMode) { return ::SetBkMode(m_hDC, nBkMode); }
    int GetBkMode() const { return ::GetBkMode(m_hDC); }
    COLORREF SetBkColor(COLORREF crColor) { return ::SetBkColor(m_hDC, crColor); }
    COLORREF GetBkColor() const { return ::GetBkColor(m_hDC); }
    COLORREF SetTextColor(COLORREF crColor) { return ::SetTextColor(m_hDC, crColor); }
    COLORREF GetTextColor() const { return ::GetTextColor(m_hDC); }
    UINT SetTextAlign(UINT nFlags) { return ::SetTextAlign(m_hDC, nFlags); }
    UINT GetTextAlign() const { return ::GetTextAlign(m_hDC); }
    int SetPolyFillMode(int nPolyFillMode) { return ::SetPolyFillMode(m_hDC, nPolyFillMode); }
    int GetPolyFillMode() const { return ::GetPolyFillMode(m_hDC); }
    int SetStretchBltMode(int nStretchMode) { return ::SetStretchBltMode(m_hDC, nStretchMode); }
    int GetStretchBltMode() const { return ::GetStretchBltMode(m_hDC); }

    CPoint MoveTo(int x, int y)
    {
        POINT pt = {0, 0};
        ::MoveToEx(m_hDC, x, y, &pt);
        return CPoint(pt);
    }
    CPoint MoveTo(POINT point) { return MoveTo(point.x, point.y); }
    BOOL LineTo(int x, int y) { return ::LineTo(m_hDC, x, y); }
    BOOL LineTo(POINT point) { return LineTo(point.x, point.y); }
    BOOL Polyline(const POINT* lpPoints, int nCount) { return ::Polyline(m_hDC, lpPoints, nCount); }
    BOOL Polygon(const POINT* lpPoints, int nCount) { return ::Polygon(m_hDC, lpPoints, nCount); }
    BOOL PolyPolygon(const POINT* lpPoints, const int* lpPolyCounts, int nCount)
    {
        return ::PolyPolygon(m_hDC, lpPoints, lpPolyCounts, nCount);
    }
    BOOL Rectangle(int x1, int y1, int x2, int y2) { return ::Rectangle(m_hDC, x1, y1, x2, y2); }
    BOOL Ellipse(int x1, int y1, int x2, int y2) { return ::Ellipse(m_hDC, x1, y1, x2, y2); }
    void FillRect(const RECT* lpRect, CBrush* pBrush)
    {
        ::FillRect(m_hDC, lpRect, pBrush != nullptr ? static_cast<HBRUSH>(*pBrush) : nullptr);
    }
    void FillSolidRect(const RECT* lpRect, COLORREF clr)
    {
        HBRUSH hBrush = ::CreateSolidBrush(clr);
        ::FillRect(m_hDC, lpRect, hBrush);
        ::DeleteObject(hBrush);
    }
    COLORREF SetPixel(int x, int y, COLORREF crColor) { return ::SetPixel(m_hDC, x, y, crColor); }
    COLORREF GetPixel(int x, int y) const { return ::GetPixel(m_hDC, x, y); }
    BOOL BeginPath() { return ::BeginPath(m_hDC); }
    BOOL EndPath() { return ::EndPath(m_hDC); }
    BOOL FillPath() { return ::FillPath(m_hDC); }
    BOOL StrokePath() { return ::StrokePath(m_hDC); }
    BOOL BitBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, DWORD dwRop)
    {
        return ::BitBlt(m_hDC, x, y, nWidth, nHeight, pSrcDC != nullptr ? pSrcDC->m_hDC : nullptr, xSrc, ySrc, dwRop);
    }
    BOOL StretchBlt(int x, int y, int nWidth, int nHeight, CDC* pSrcDC, int xSrc, int ySrc, int nSrcWidth,
                    int nSrcHeight, DWORD dwRop)
    {
        return ::StretchBlt(m_hDC, x, y, nWidth, nHeight, pSrcDC != nullptr ? pSrcDC->m_hDC : nullptr, xSrc, ySrc,
                            nSrcWidth, nSrcHeight, dwRop);
    }
    BOOL TextOut(int x, int y, const char* lpszString, int nCount)
    {
        return ::TextOutA(m_hDC, x, y, lpszString, nCount);
    }
    BOOL ExtTextOut(int x, int y, UINT nOptions, const RECT* lpRect, const char* lpszString, UINT nCount,
                    const int* lpDxWidths)
    {
        return ::ExtTextOutA(m_hDC, x, y, nOptions, lpRect, lpszString, nCount, lpDxWidths);
    }
    int DrawText(const char* lpszString, int nCount, RECT* lpRect, UINT nFormat)
    {
        return ::DrawTextA(m_hDC, lpszString, nCount, lpRect, nFormat);
    }
    BOOL GetTextExtent(const char* lpszString, int nCount, SIZE* pSize) const
    {
        return ::GetTextExtentPoint32A(m_hDC, lpszString, nCount, pSize);
    }
    BOOL GetTextMetrics(TEXTMETRICA* lpMetrics) const { return ::GetTextMetricsA(m_hDC, lpMetrics); }

private:
    template <class T>
    T* Select(T* pObject, T& temp, T*& pLast)
    {
        HGDIOBJ hOld = ::SelectObject(m_hDC, pObject != nullptr ? pObject->m_hObject : nullptr);
        if (hOld == nullptr)
            return nullptr;
        T* pOld;
        if (pLast != nullptr && pLast->m_hObject == hOld) {
            pOld = pLast;
        } else {
            temp.Detach();
            temp.Attach(hOld);
            pOld = &temp;
        }
        pLast = pObject;
        return pOld;
    }

    bool bOwnDC = false;
    // Wrappers of objects selected from elsewhere: never deleted by the CDC.
    struct Borrowed {
        template <class T>
        struct Of : T {
            ~Of() override { this->Detach(); }
        };
    };
    Borrowed::Of<CPen> tempPen;
    Borrowed::Of<CBrush> tempBrush;
    Borrowed::Of<CFont> tempFont;
    CPen* pLastPen = nullptr;
    CBrush* pLastBrush = nullptr;
    CFont* pLastFont = nullptr;
};
