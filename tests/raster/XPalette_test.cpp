#include "KVDbase/raster/XPalette.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <tuple>

namespace {

// One palette as filled by XfnGetPalette, with the arrays pre-set to a marker so that untouched entries show.
struct tagPal {
    unsigned char r[256], g[256], b[256];
    explicit tagPal(int nIndex, unsigned char nFill = 0x5A)
    {
        std::memset(r, nFill, 256);
        std::memset(g, nFill, 256);
        std::memset(b, nFill, 256);
        XfnGetPalette(nIndex, r, g, b);
    }
    std::tuple<int, int, int> At(int i) const { return {r[i], g[i], b[i]}; }
    int DistinctColours() const
    {
        std::set<std::tuple<int, int, int>> set;
        for (int i = 0; i < 256; ++i)
            set.insert(At(i));
        return static_cast<int>(set.size());
    }
};

using RGB = std::tuple<int, int, int>;

XString NameOf(int nIndex)
{
    XString str("stale");
    XfnGetPaletteName(nIndex, &str);
    return str;
}

// Every catalogued palette has its own name and fills entries 0-254 (255 too, but for the primary ramps 10-15);
// indices outside give "Default" and leave the arrays alone.
TEST(XPalette, CatalogueOfSixtyEightNamedPalettes)
{
    EXPECT_EQ(XfnGetNumberOfPalette(), 68);
    const std::pair<int, const char*> aNames[] = {
        {1, "Grey"}, {6, "Black + Rainbow"}, {20, "Standard GAMMA-II"}, {26, "16 LEVEL"}, {61, "RGB_Reduce"},
        {68, "Yellow - Blue"}, {0, "Default"}, {69, "Default"}, {-1, "Default"}, {1000, "Default"},
    };
    for (const auto& n : aNames)
        EXPECT_TRUE(NameOf(n.first) == n.second) << n.first;
    std::set<std::string> setNames;
    for (int i = 1; i <= 68; ++i) {
        setNames.insert(static_cast<const char*>(NameOf(i)));
        tagPal a(i, 0x00), b(i, 0xFF);
        EXPECT_EQ(std::memcmp(&a, &b, sizeof a) == 0, i < 10 || i > 15) << "palette " << i;
        for (int k = 0; k < 255; ++k)
            ASSERT_EQ(a.At(k), b.At(k)) << "palette " << i << " entry " << k;
        EXPECT_GT(a.DistinctColours(), 1) << "palette " << i;
    }
    EXPECT_EQ(setNames.size(), 68u);
    EXPECT_EQ(setNames.count("Default"), 0u);
    for (int i : {0, 69}) {
        tagPal pal(i);
        for (int k = 0; k < 256; ++k)
            ASSERT_EQ(pal.At(k), RGB(0x5A, 0x5A, 0x5A)) << i;
    }
    XfnGetPaletteName(1, nullptr); // ignored, not a crash
}

TEST(XPalette, DerivedPalettesKeepTheirRelations)
{
    tagPal p1(1), p2(2), p3(3), p6(6), p7(7), p8(8), p9(9), p62(62);
    for (int i = 0; i < 256; ++i)
        ASSERT_EQ(p3.At(i), p2.At(255 - i)) << i;
    EXPECT_EQ(p6.At(0), RGB(0, 0, 0));
    EXPECT_EQ(p8.At(0), RGB(255, 255, 255));
    EXPECT_EQ(p9.At(255), RGB(255, 255, 255));
    for (int i = 1; i < 256; ++i) {
        ASSERT_EQ(p6.At(i), p2.At(i)) << i;
        ASSERT_EQ(p8.At(i), p2.At(i)) << i;
    }
    for (int i = 0; i < 255; ++i)
        ASSERT_EQ(p9.At(i), p7.At(i)) << i;
    EXPECT_EQ(p7.At(255), RGB(0, 0, 0));
    EXPECT_EQ(std::memcmp(&p62, &p1, sizeof p1), 0);
}

TEST(XPalette, MixedPaletteSixteenStartsDarkAndStepTablesHaveTheirColourCounts)
{
    tagPal pal(16);
    for (int i = 0; i <= 192; ++i)
        ASSERT_EQ(pal.r[i], 0) << i;
    for (int i = 0; i <= 96; ++i)
        ASSERT_EQ(pal.g[i], 0) << i;
    EXPECT_NE(pal.r[193], 0);
    EXPECT_NE(pal.g[97], 0);
    EXPECT_EQ(tagPal(26).DistinctColours(), 20);
    EXPECT_EQ(tagPal(66).DistinctColours(), 256);
}

// Control entries: exact, with the values between running straight from one to the next within dTolerance.
struct tagControl {
    int nEntry;
    RGB rgb;
};

void ExpectControls(int nIndex, std::initializer_list<tagControl> aControl, double dTolerance = 2.0)
{
    tagPal pal(nIndex);
    const tagControl* pPrev = nullptr;
    for (const tagControl& c : aControl) {
        EXPECT_EQ(pal.At(c.nEntry), c.rgb) << "palette " << nIndex << " entry " << c.nEntry;
        if (pPrev != nullptr) {
            const int a0[3] = {std::get<0>(pPrev->rgb), std::get<1>(pPrev->rgb), std::get<2>(pPrev->rgb)};
            const int a1[3] = {std::get<0>(c.rgb), std::get<1>(c.rgb), std::get<2>(c.rgb)};
            const unsigned char* apCh[3] = {pal.r, pal.g, pal.b};
            for (int i = pPrev->nEntry; i <= c.nEntry; ++i)
                for (int ch = 0; ch < 3; ++ch) {
                    double dExact = a0[ch] + (a1[ch] - a0[ch]) * double(i - pPrev->nEntry) / (c.nEntry - pPrev->nEntry);
                    ASSERT_LE(std::abs(apCh[ch][i] - dExact), dTolerance) << nIndex << " entry " << i << " ch " << ch;
                }
        }
        pPrev = &c;
    }
}

TEST(XPalette, ComputedRampsTellingRowsAndTwoColourRamps)
{
    ExpectControls(1, {{0, {0, 0, 0}}, {255, {255, 255, 255}}}, 0.0);
    ExpectControls(10, {{0, {0, 0, 0}}, {254, {254, 0, 0}}}, 0.0);
    ExpectControls(13, {{0, {255, 0, 0}}, {254, {255, 254, 254}}}, 0.0);
    ExpectControls(2, {{0, {229, 0, 255}}, {38, {81, 0, 255}}, {58, {3, 100, 255}}, {63, {0, 125, 255}},
                       {89, {0, 255, 151}}, {114, {0, 153, 51}}, {127, {56, 153, 0}}, {153, {168, 255, 0}},
                       {173, {255, 255, 0}}, {186, {255, 255, 0}}, {229, {255, 96, 0}}, {254, {255, 3, 85}},
                       {255, {255, 3, 85}}});
    ExpectControls(5, {{0, {0, 0, 255}}, {63, {0, 251, 255}}, {64, {0, 255, 251}}, {127, {0, 255, 0}},
                       {192, {255, 255, 0}}, {255, {255, 0, 0}}});
    ExpectControls(57, {{0, {0, 0, 255}}, {85, {0, 255, 255}}, {170, {255, 255, 0}}, {255, {255, 1, 0}}});
    EXPECT_EQ(tagPal(22).At(255), RGB(254, 254, 254));
    ExpectControls(58, {{0, {255, 0, 0}}, {255, {0, 0, 255}}}, 0.5);
    ExpectControls(51, {{0, {165, 42, 42}}, {255, {124, 255, 0}}}, 1.5);
}

} // namespace
