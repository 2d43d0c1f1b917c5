#include "KVDbase/raster/XBand.h"

#include "KVDbase/collections/XDimArray.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// A band that logs the arguments of each ReadSubset and WriteSubset and
// answers reads with an array of the rectangle's size.
class XRecordingBand : public XBand {
public:
    using XBand::ReadSubset;
    std::vector<std::string> log;
    int nReadResult = 1;
    tagXArr2 arr;

    int ReadSubset(tagXArr2*& pixels, int selector, int x0, int x1, int y0, int y1, int* extra) override
    {
        Record("R", selector, x0, x1, y0, y1, extra != nullptr, 0.0);
        arr.Alloc(x1 - x0 + 1, y1 - y0 + 1, GetDataSize());
        pixels = &arr;
        return nReadResult;
    }
    int WriteSubset(void*, int x0, int x1, int y0, int y1, bool flag, double value) override
    {
        Record("Wv", 0, x0, x1, y0, y1, flag, value);
        return 7;
    }
    int WriteSubset(tagXArr2*, int x0, int x1, int y0, int y1, bool flag, double value) override
    {
        Record("Wa", 0, x0, x1, y0, y1, flag, value);
        return 8;
    }
private:
    void Record(const char* pszKind, int selector, int x0, int x1, int y0, int y1, bool bFlag, double value)
    {
        char sz[96];
        std::snprintf(sz, sizeof sz, "%s %d %d..%d %d..%d%s %d", pszKind, selector, x0, x1, y0, y1,
                      bFlag ? " flag" : "", int(value));
        log.push_back(sz);
    }
};

TEST(XBand, DefaultsAndTheClassRecord)
{
    XRecordingBand band;
    EXPECT_EQ(band.GetDataType(), 1);
    EXPECT_EQ(band.GetNullValue(), 1.7e308);
    // Registered by name but not creatable.
    const XRuntimeClass* pClass = XBand::GetRuntimeClassStatic();
    EXPECT_STREQ(pClass->lpszClassName, "XBand");
    EXPECT_EQ(pClass->CreateObject(), nullptr);
    EXPECT_EQ(band.GetRuntimeClass(), pClass);
}

TEST(XBand, ReadsComeDownToOneReadSubsetAndThePointerFormGivesTheArrayFields)
{
    XRecordingBand band;
    band.SetSize(10, 6);
    tagXArr2* pArr = nullptr;
    band.ReadLineH(pArr, 3, 1, 4, 2);
    band.ReadLineH(pArr, 3, 5);
    band.ReadLineV(pArr, 2, 7, 1, 3);
    band.ReadLineV(pArr, 2, 7);
    EXPECT_EQ(pArr, &band.arr);
    band.SetXSize(12); // the whole line is measured at the time of the call
    band.ReadLineH(pArr, 0, 1);
    EXPECT_EQ(band.ReadPixel(pArr, 11, 5), 1);
    // Pixels outside the band are refused without a call.
    const int aaOutside[][2] = {{12, 0}, {0, -1}, {-1, 0}, {0, 6}};
    for (const int* xy : aaOutside)
        EXPECT_EQ(band.ReadPixel(pArr, xy[0], xy[1]), 0);
    const std::vector<std::string> expected = {
        "R 3 1..4 2..2 0", "R 3 0..9 5..5 0", "R 2 7..7 1..3 0", "R 2 7..7 0..5 0", "R 0 0..11 1..1 0",
        "R 0 11..11 5..5 0",
    };
    EXPECT_EQ(band.log, expected);
    // The pointer form gives the array's data and extents.
    band.SetDataType(3);
    void* pData = nullptr;
    int nFirst = -1, nSecond = -1;
    int nExtra = 0;
    EXPECT_EQ(band.ReadSubset(pData, nFirst, nSecond, 4, 2, 6, 1, 3, &nExtra), 1);
    EXPECT_EQ(band.log.back(), "R 4 2..6 1..3 flag 0"); // the flag marks the extra argument
    EXPECT_EQ(pData, band.arr.pData);
    EXPECT_EQ(nFirst, 5);
    EXPECT_EQ(nSecond, 3);
    // A failed read leaves the caller's fields.
    band.nReadResult = 0;
    void* pUntouched = &nExtra;
    nFirst = nSecond = -2;
    EXPECT_EQ(band.ReadSubset(pUntouched, nFirst, nSecond, 0, 0, 1, 0, 1, nullptr), 0);
    EXPECT_EQ(pUntouched, &nExtra);
    EXPECT_EQ(nFirst + nSecond, -4);
}

TEST(XBand, WritesComeDownToTheWriteSubsetOfTheirKind)
{
    XRecordingBand band;
    band.SetSize(10, 6);
    unsigned char raw[64] = {};
    tagXArr2 arr;
    const int anResult[] = {
        band.WriteLineH(raw, 1, 3, 2, true, 5.0),   band.WriteLineH(raw, 4, false, 1.0),
        band.WriteLineH(&arr, 1, 3, 2, false, 2.0), band.WriteLineH(&arr, 4, true, 3.0),
        band.WriteLineV(raw, 2, 1, 5, false, 0.0),  band.WriteLineV(raw, 2, false, 0.0),
        band.WriteLineV(&arr, 3, 0, 1, true, 4.0),  band.WriteLineV(&arr, 3, false, 4.0),
        band.WritePixel(raw, 10, -1, false, 6.0),   band.WritePixel(&arr, -3, 6, true, 7.0),
    };
    // Raw buffers reach the void* form (7), arrays the array form (8); WritePixel does no bounds test.
    const std::vector<std::string> expected = {
        "Wv 0 1..3 2..2 flag 5", "Wv 0 0..9 4..4 1",      "Wa 0 1..3 2..2 2",      "Wa 0 0..9 4..4 flag 3",
        "Wv 0 2..2 1..5 0",      "Wv 0 2..2 0..5 0",      "Wa 0 3..3 0..1 flag 4", "Wa 0 3..3 0..5 4",
        "Wv 0 10..10 -1..-1 6",  "Wa 0 -3..-3 6..6 flag 7",
    };
    EXPECT_EQ(band.log, expected);
    EXPECT_EQ(std::vector<int>(anResult, anResult + 10), (std::vector<int>{7, 7, 8, 8, 7, 7, 8, 8, 7, 8}));
}

} // namespace
