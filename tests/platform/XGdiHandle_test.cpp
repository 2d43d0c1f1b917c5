// Handles of the raster device: bad ones of every kind fail with the documented value and change nothing; bad
// arguments, selection rules, palettes, regions, GetObjectA, device capabilities, windows, threads.
#include "platform/XGdiTestCanvas.h"

#include <iterator>
#include <thread>
#include <vector>

#include "platform/XSysDC.h"

namespace {

HGDIOBJ Deleted(HGDIOBJ h)
{
    DeleteObject(h);
    return h;
}

// Every entry of the table is true, in each of the given contexts.
template <size_t N>
void ExpectAll(const bool (&bFailed)[N], const void* pContext)
{
    for (size_t i = 0; i < N; ++i)
        EXPECT_TRUE(bFailed[i]) << pContext << " call " << i;
}

} // namespace

TEST(XGdiHandle, CallsOnBadDCsFailWithTheirDocumentedValue)
{
    HDC dcDeleted = CreateCompatibleDC(nullptr);
    DeleteDC(dcDeleted);
    HPEN pen = CreatePen(PS_SOLID, 1, 0);
    HBRUSH br = CreateSolidBrush(0);
    HRGN rgn = CreateRectRgn(0, 0, 2, 2);
    XGdiTestCanvas src(4, 4);
    const POINT pts[3] = {{0, 0}, {3, 0}, {0, 3}};
    const int n = 3;
    RECT r = {0, 0, 2, 2};
    SIZE sz;
    TEXTMETRICA tm;
    XSysPixels px;
    for (HDC dc : {static_cast<HDC>(nullptr), dcDeleted, reinterpret_cast<HDC>(pen)}) {
        const bool bFailed[] = {
            !LineTo(dc, 1, 1), !MoveToEx(dc, 1, 1, nullptr), !Polyline(dc, pts, 3), !Polygon(dc, pts, 3),
            !PolyPolygon(dc, pts, &n, 1), !Ellipse(dc, 0, 0, 3, 3), !Rectangle(dc, 0, 0, 3, 3),
            !PatBlt(dc, 0, 0, 1, 1, PATCOPY), FillRect(dc, &r, br) == 0, !FillRgn(dc, rgn, br),
            SetPixel(dc, 0, 0, 0) == CLR_INVALID, GetPixel(dc, 0, 0) == CLR_INVALID, SelectObject(dc, br) == nullptr,
            GetCurrentObject(dc, OBJ_PEN) == nullptr, SetROP2(dc, R2_XORPEN) == 0, GetROP2(dc) == 0,
            SetBkMode(dc, OPAQUE) == 0, GetBkMode(dc) == 0, SetBkColor(dc, 0) == CLR_INVALID,
            GetBkColor(dc) == CLR_INVALID, SetTextColor(dc, 0) == CLR_INVALID, GetTextColor(dc) == CLR_INVALID,
            SetTextAlign(dc, 0) == GDI_ERROR, GetTextAlign(dc) == GDI_ERROR, SetPolyFillMode(dc, WINDING) == 0,
            GetPolyFillMode(dc) == 0, SetStretchBltMode(dc, HALFTONE) == 0, GetStretchBltMode(dc) == 0,
            GetDeviceCaps(dc, HORZRES) == 0, RealizePalette(dc) == GDI_ERROR,
            SelectPalette(dc, static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE)), FALSE) == nullptr,
            !BitBlt(dc, 0, 0, 2, 2, src.dc, 0, 0, SRCCOPY), !BitBlt(src.dc, 0, 0, 2, 2, dc, 0, 0, SRCCOPY),
            !TextOutA(dc, 0, 0, "a", 1), DrawTextA(dc, "a", 1, &r, DT_CALCRECT) == 0, WindowFromDC(dc) == nullptr,
            !GetTextExtentPoint32A(dc, "a", 1, &sz), !GetTextMetricsA(dc, &tm), !BeginPath(dc), !EndPath(dc),
            !AbortPath(dc), !StrokePath(dc), !DeleteDC(dc), !XfnWritePNG(dc, "gdi-png/never.png"),
            !XfnSysBeginPixels(dc, px), !XfnSysSetDCAntialias(dc, true), !XfnSysGetDCAntialias(dc),
            dc == nullptr || CreateCompatibleDC(dc) == nullptr,
        };
        ExpectAll(bFailed, dc);
    }
    EXPECT_FALSE(XfnWriteBitmapPNG(reinterpret_cast<HBITMAP>(pen), "gdi-png/never.png"));
    DeleteObject(rgn);
    DeleteObject(br);
    DeleteObject(pen);
}

TEST(XGdiHandle, BadObjectsAreRefusedAndChangeNothing)
{
    XGdiTestCanvas cv(8, 8);
    HDC dcDeleted = CreateCompatibleDC(nullptr);
    DeleteDC(dcDeleted);
    HPEN pen = CreatePen(PS_SOLID, 1, 0);
    const HGDIOBJ penBefore = GetCurrentObject(cv.dc, OBJ_PEN);
    const HGDIOBJ brushDeleted = Deleted(CreateSolidBrush(0)), rgnDeleted = Deleted(CreateRectRgn(0, 0, 4, 4));
    for (HGDIOBJ h : {HGDIOBJ(nullptr), Deleted(CreatePen(PS_SOLID, 1, 0)), brushDeleted,
                      Deleted(CreateCompatibleBitmap(nullptr, 4, 4)), HGDIOBJ(dcDeleted), rgnDeleted,
                      reinterpret_cast<HGDIOBJ>(uintptr_t(0xDEADBEEF))}) {
        EXPECT_EQ(SelectObject(cv.dc, h), nullptr);
        EXPECT_FALSE(DeleteObject(h));
        EXPECT_EQ(GetObjectType(h), 0u) << h;
        EXPECT_EQ(GetObjectA(h, 0, nullptr), 0) << h;
    }
    // A DC is no object to select or delete; a region is selected as a clip, which the device has not; a bitmap
    // goes into one memory DC at a time, and into no window's DC; a pen is no palette, and there is none to realise.
    HRGN rgn = CreateRectRgn(0, 0, 1, 1);
    HDC other = CreateCompatibleDC(nullptr);
    HWND wnd = XfnCreateImageWindow(2, 2);
    RECT r = {0, 0, 8, 8};
    const HBRUSH black = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    const bool bRefused[] = {
        SelectObject(cv.dc, cv.dc) == nullptr, !DeleteObject(cv.dc), SelectObject(cv.dc, rgn) == HGDI_ERROR,
        GetCurrentObject(cv.dc, OBJ_PEN) == penBefore, GetCurrentObject(cv.dc, 99) == nullptr,
        FillRect(cv.dc, &r, static_cast<HBRUSH>(brushDeleted)) == 0, FillRect(cv.dc, &r, HBRUSH(pen)) == 0,
        !FillRgn(cv.dc, static_cast<HRGN>(rgnDeleted), black), !PtInRegion(static_cast<HRGN>(rgnDeleted), 1, 1),
        !PtInRegion(HRGN(pen), 1, 1), GetRgnBox(rgn, nullptr) == ERROR, SelectObject(other, cv.bm) == nullptr,
        SelectObject(cv.dc, cv.bm) == cv.bm, SelectObject(GetDC(wnd), cv.bm) == nullptr,
        SelectPalette(cv.dc, reinterpret_cast<HPALETTE>(pen), FALSE) == nullptr, RealizePalette(cv.dc) == 0,
    };
    ExpectAll(bRefused, cv.dc);
    EXPECT_EQ(cv.Count(kWhite), 64);
    // Objects in use stay; stock objects are never deleted.
    HGDIOBJ old = SelectObject(cv.dc, pen);
    EXPECT_FALSE(DeleteObject(pen));
    SelectObject(cv.dc, old);
    EXPECT_TRUE(DeleteObject(pen));
    EXPECT_TRUE(DeleteObject(rgn));
    EXPECT_TRUE(DeleteObject(GetStockObject(BLACK_PEN)));
    EXPECT_EQ(GetObjectType(GetStockObject(BLACK_PEN)), static_cast<DWORD>(OBJ_PEN));
    DestroyWindow(wnd);
    DeleteDC(other);
}

TEST(XGdiHandle, BadArgumentsOfCreationAndModesFail)
{
    XGdiTestCanvas cv(2, 2);
    LOGBRUSH solid = {BS_SOLID, 0, 0}, hatched = {BS_HATCHED, 0, 9}, nothing = {BS_DIBPATTERNPT, DIB_RGB_COLORS, 0};
    LOGBRUSH unknown = {77, 0, 0}, notBitmap = {BS_PATTERN, 0, reinterpret_cast<ULONG_PTR>(cv.dc)};
    // Packed DIBs: two planes, too many colours, too large.
    struct {
        BITMAPINFOHEADER h;
        uint32_t bits[2];
    } planes = {{40, 1, 1, 2, 32, BI_RGB, 0, 0, 0, 0, 0}, {}};
    decltype(planes) colours = {{40, 1, 1, 1, 8, BI_RGB, 0, 0, 0, 257, 0}, {}};
    decltype(planes) huge = {{40, 8192, 8192, 1, 32, BI_RGB, 0, 0, 0, 0, 0}, {}};
    const DWORD runs[2] = {1, 1};
    const POINT two[2] = {{0, 0}, {1, 1}}, wide[3] = {{0, 0}, {40000000, 0}, {0, 5}};
    const int negative[2] = {3, -1};
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {40, 100000, 100000, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    void* pv = reinterpret_cast<void*>(1);
    uint32_t px[4];
    LOGPALETTE pal = {0x200, 1, {{0, 0, 0, 0}}};
    auto dib = [](const void* p) { return LOGBRUSH{BS_DIBPATTERNPT, DIB_RGB_COLORS, reinterpret_cast<ULONG_PTR>(p)}; };
    const LOGBRUSH bad[] = {hatched, nothing, unknown, notBitmap, dib(&planes), dib(&colours), dib(&huge)};
    for (const LOGBRUSH& lb : bad)
        EXPECT_EQ(CreateBrushIndirect(&lb), nullptr) << lb.lbStyle;
    const bool bFailed[] = {
        CreatePen(PS_USERSTYLE, 1, 0) == nullptr, CreatePen(PS_SOLID, -1, 0) == nullptr,
        CreatePen(0x00100000, 0, 0) == nullptr, CreatePenIndirect(nullptr) == nullptr,
        CreateHatchBrush(6, 0) == nullptr, CreateBrushIndirect(nullptr) == nullptr,
        ExtCreatePen(PS_COSMETIC, 3, &solid, 0, nullptr) == nullptr,
        ExtCreatePen(PS_GEOMETRIC, 3, &hatched, 0, nullptr) == nullptr,
        ExtCreatePen(PS_GEOMETRIC | PS_ALTERNATE, 1, &solid, 0, nullptr) == nullptr,
        ExtCreatePen(PS_GEOMETRIC | PS_DASH, 1, &solid, 2, runs) == nullptr,
        ExtCreatePen(PS_GEOMETRIC | PS_SOLID, 1, nullptr, 0, nullptr) == nullptr,
        CreateFontIndirectA(nullptr) == nullptr, CreatePalette(nullptr) == nullptr, CreatePalette(&pal) == nullptr,
        GetStockObject(-1) == nullptr, GetStockObject(DEFAULT_GUI_FONT + 1) == nullptr,
        CreatePolygonRgn(nullptr, 3, ALTERNATE) == nullptr, CreatePolygonRgn(two, 2, ALTERNATE) == nullptr,
        CreatePolygonRgn(wide, 3, 7) == nullptr, CreatePolygonRgn(wide, 3, ALTERNATE) == nullptr,
        CreatePolyPolygonRgn(wide, negative, 2, WINDING) == nullptr,
        CreateCompatibleBitmap(nullptr, -1, 10) == nullptr, CreateCompatibleBitmap(nullptr, 100000, 100000) == nullptr,
        CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0) == nullptr && pv == nullptr,
        XfnCreateImageWindow(100000, 100000) == nullptr, XfnCreateImageWindow(0, 10) == nullptr,
        XfnCreatePixelDC(px, 2, 2, 4) == nullptr, // a stride shorter than a row
        XfnCreatePixelDC(nullptr, 2, 2, 8) == nullptr, XfnCreatePixelWindow(px, 2, 2, 6) == nullptr,
        SetROP2(cv.dc, 0) == 0, SetROP2(cv.dc, R2_WHITE + 1) == 0, SetBkMode(cv.dc, 5) == 0,
        SetPolyFillMode(cv.dc, 7) == 0, SetStretchBltMode(cv.dc, 9) == 0,
        !XfnSysSetDCAttachment(cv.dc, XSysDCSlot(-1), nullptr, nullptr),
        XfnSysGetDCAttachment(cv.dc, XSysDCSlot(99)) == nullptr,
    };
    ExpectAll(bFailed, nullptr);
    bmi.bmiHeader.biWidth = 0;
    EXPECT_EQ(CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0), nullptr);
    bmi.bmiHeader = {40, 4, 4, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    EXPECT_EQ(CreateDIBSection(nullptr, &bmi, DIB_RGB_COLORS, &pv, nullptr, 0), nullptr);
    // A bitmap of no size is one pixel.
    HBITMAP one = CreateCompatibleBitmap(nullptr, 0, 0);
    BITMAP b;
    ASSERT_EQ(GetObjectA(one, sizeof(b), &b), static_cast<int>(sizeof(b)));
    EXPECT_EQ(b.bmWidth, 1);
    DeleteObject(one);
}

TEST(XGdiHandle, GetObjectReportsEachKind)
{
    LOGBRUSH lb = {BS_SOLID, kRed, 0}, got;
    const DWORD table[3] = {4, 2, 1};
    HPEN user = ExtCreatePen(PS_GEOMETRIC | PS_USERSTYLE, 2, &lb, 3, table);
    HBRUSH hatch = CreateHatchBrush(HS_CROSS, kBlue);
    alignas(EXTLOGPEN) uint8_t block[64];
    const EXTLOGPEN& e = *reinterpret_cast<const EXTLOGPEN*>(block);
    EXPECT_EQ(GetObjectA(user, sizeof(block), block), GetObjectA(user, 0, nullptr)); // a null buffer asks the size
    EXPECT_EQ(GetObjectA(user, 0, block), 0);
    EXPECT_EQ((std::vector<DWORD>{e.elpNumEntries, e.elpStyleEntry[2], e.elpColor}), (std::vector<DWORD>{3, 1, kRed}));
    EXPECT_EQ(GetObjectType(user), static_cast<DWORD>(OBJ_EXTPEN));
    ASSERT_EQ(GetObjectA(hatch, sizeof(got), &got), static_cast<int>(sizeof(got)));
    EXPECT_EQ(got.lbHatch, static_cast<ULONG_PTR>(HS_CROSS));
    for (HGDIOBJ h : {HGDIOBJ(hatch), HGDIOBJ(user)})
        EXPECT_TRUE(DeleteObject(h));
}

TEST(XGdiHandle, MemoryDCMeasuresItsReferenceAndAWindowsDCGoesWithIt)
{
    HWND wnd = XfnCreateImageWindow(320, 200);
    ASSERT_NE(wnd, nullptr);
    HDC win = GetDC(wnd), mem = CreateCompatibleDC(win);
    EXPECT_EQ(GetDC(wnd), win); // one DC per window
    EXPECT_EQ(WindowFromDC(win), wnd);
    // 96 pixels an inch, 32 bits a pixel, no palette; a memory DC measures the DC it was made for.
    const int caps[][2] = {{HORZRES, 320}, {VERTRES, 200}, {BITSPIXEL, 32}, {PLANES, 1}, {HORZSIZE, 85}, {VERTSIZE, 53},
                           {LOGPIXELSX, 96}, {LOGPIXELSY, 96}, {TECHNOLOGY, DT_RASDISPLAY}, {NUMCOLORS, -1},
                           {COLORRES, 24}, {SIZEPALETTE, 0}, {DRIVERVERSION, 0x4000}};
    for (const auto& c : caps) {
        EXPECT_EQ(GetDeviceCaps(win, c[0]), c[1]) << c[0];
        EXPECT_EQ(GetDeviceCaps(mem, c[0]), c[1]) << c[0];
    }
    EXPECT_EQ((std::vector<DWORD>{GetObjectType(mem), GetObjectType(win)}), (std::vector<DWORD>{OBJ_MEMDC, OBJ_DC}));
    EXPECT_EQ(GetCurrentObject(win, OBJ_BITMAP), nullptr);
    // The window's DC is the window's: DeleteDC leaves it, and it goes with the window.
    EXPECT_FALSE(DeleteDC(win));
    EXPECT_EQ(ReleaseDC(wnd, win), 1);
    DeleteDC(mem);
    EXPECT_TRUE(DestroyWindow(wnd));
    const bool bGone[] = {!DestroyWindow(wnd), GetDC(wnd) == nullptr, ReleaseDC(wnd, win) == 0,
                          XfnGetWindowPixels(wnd, nullptr) == nullptr, GetPixel(win, 0, 0) == CLR_INVALID,
                          !GetClientRect(wnd, nullptr)};
    ExpectAll(bGone, wnd);
}

TEST(XGdiHandle, RegionsAnswerByTheirFillAndFillWithABrush)
{
    HRGN r = CreateRectRgn(6, 5, 2, 3), empty = CreateRectRgn(4, 4, 4, 9); // corners in either order
    RECT box;
    EXPECT_EQ(GetRgnBox(empty, &box), NULLREGION); // an empty rectangle is an empty region, not a failure
    EXPECT_EQ(GetRgnBox(r, &box), SIMPLEREGION);
    EXPECT_EQ((std::vector<LONG>{box.left, box.top, box.right, box.bottom}), (std::vector<LONG>{2, 3, 6, 5}));
    EXPECT_TRUE(PtInRegion(r, 2, 3) && PtInRegion(r, 5, 4));
    EXPECT_FALSE(PtInRegion(r, 6, 4) || PtInRegion(r, 5, 5) || PtInRegion(r, 1, 3) || PtInRegion(empty, 4, 4));
    // FillRgn paints the region's pixels and clips them to the surface.
    XGdiTestCanvas cv(5, 5);
    ASSERT_TRUE(FillRgn(cv.dc, r, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH))));
    EXPECT_EQ(cv.Count(kBlack), 3 * 2);
    // Rings with holes: a square with a square hole, the hole's ring reversed.
    const POINT pts[8] = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {3, 3}, {3, 7}, {7, 7}, {7, 3}};
    const int counts[2] = {4, 4};
    for (int nMode : {ALTERNATE, WINDING}) {
        HRGN h = CreatePolyPolygonRgn(pts, counts, 2, nMode);
        EXPECT_TRUE(PtInRegion(h, 1, 1));
        EXPECT_FALSE(PtInRegion(h, 5, 5));
        EXPECT_EQ(GetRgnBox(h, &box), COMPLEXREGION);
        DeleteObject(h);
    }
    // A region far too wide for a bit mask still answers by its spans.
    const POINT wide[4] = {{-3000000, 0}, {3000000, 0}, {3000000, 40}, {-3000000, 40}};
    HRGN w = CreatePolygonRgn(wide, 4, ALTERNATE);
    EXPECT_TRUE(PtInRegion(w, -2999999, 39));
    EXPECT_FALSE(PtInRegion(w, 3000000, 0));
    for (HRGN h : {r, empty, w})
        EXPECT_TRUE(DeleteObject(h));
}

TEST(XGdiHandle, ThreadsDrawOnTheirOwnDCsWhileObjectsComeAndGo)
{
    // Each thread makes, uses and deletes its own objects on its own surface; the handle table is shared.
    constexpr int kThreads = 4;
    std::vector<int> failures(kThreads, 0);
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            XGdiTestCanvas cv(32, 32);
            for (int i = 0; i < 300; ++i) {
                const COLORREF c = RGB(t * 40, i & 0xFF, 7);
                HPEN pen = CreatePen(PS_SOLID, i % 3, c);
                HBRUSH br = CreateHatchBrush(i % 6, c);
                HGDIOBJ op = SelectObject(cv.dc, pen);
                HGDIOBJ ob = SelectObject(cv.dc, br);
                Rectangle(cv.dc, 1, 1, 31, 31);
                SelectObject(cv.dc, op);
                SelectObject(cv.dc, ob);
                failures[t] += DeleteObject(pen) ? 0 : 1;
                failures[t] += DeleteObject(br) ? 0 : 1;
                failures[t] += cv.At(1, 1) == c ? 0 : 1;
                // The deleted handles stay dead even as slots are reused.
                failures[t] += GetObjectType(pen) == 0 ? 0 : 1;
                if (i % 50 == 0) // text with the shared stock font
                    failures[t] += TextOutA(cv.dc, 2, 2, "Ag", 2) ? 0 : 1;
            }
        });
    }
    for (std::thread& th : threads)
        th.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(failures[t], 0) << t;
}
