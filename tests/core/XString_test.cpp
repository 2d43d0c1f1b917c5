#include "KVDbase/core/XString.h"

#include "KVDbase/core/XFrameworkException.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdarg>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

// Exposes the header that the storage rules rest on.
class XProbeString : public XString {
public:
    using XString::XString;
    XProbeString(const XString& s) : XString(s) {}
    const XStringData* Header() const { return GetData(); }
    int Refs() const { return GetData()->nRefs; }
};

int Bound(const char* pszFormat, ...)
{
    va_list args;
    va_start(args, pszFormat);
    int n = XString::FormatBound(pszFormat, args);
    va_end(args);
    return n;
}

// Each string against its expected text.
void ExpectTexts(const std::vector<std::pair<XString, std::string>>& cases)
{
    for (size_t i = 0; i < cases.size(); ++i)
        EXPECT_EQ(std::string(cases[i].first), cases[i].second) << "case " << i;
}

} // namespace

TEST(XStringStorage, SharedEmptySizeClassesAndGrowth)
{
    XProbeString a, c(static_cast<const char*>(nullptr));
    EXPECT_EQ(c.Header(), a.Header());
    EXPECT_EQ(a.Refs(), -1);
    // Capacities round up to a class; past the last (512) they are exact.
    const int classes[][2] = {{1, 64}, {64, 64}, {65, 128}, {256, 256}, {512, 512}, {513, 513}, {5000, 5000}};
    for (const auto& c : classes)
        EXPECT_EQ(XString('x', c[0]).GetAllocLength(), c[1]) << c[0];
    EXPECT_THROW(XString('x', INT_MAX), XMemoryException);
    // Growing stays in the buffer until its class is full.
    XString s('a', 60);
    const char* p = s;
    s += "bcd";
    s += 'e';
    EXPECT_EQ(static_cast<const char*>(s), p);
    s += 'f';
    EXPECT_EQ(s.GetAllocLength(), 128);
    s += s; // the source lives in the buffer being replaced
    EXPECT_EQ(std::string(s), std::string(60, 'a') + "bcdef" + std::string(60, 'a') + "bcdef");
}

TEST(XStringStorage, CopiesShareUntilOneChanges)
{
    XProbeString a("shared text");
    XProbeString b(a);
    XString c;
    c = a;
    EXPECT_EQ(a.Header(), b.Header());
    EXPECT_EQ(a.Refs(), 3);
    b.SetAt(0, 'S');
    EXPECT_EQ(a.Refs(), 2);
    EXPECT_STREQ(b, "Shared text");
    // Replace(char, char) unshares unless its two characters are equal, whether or not one of them occurs.
    XProbeString d(a);
    EXPECT_EQ(d.Replace('t', 't'), 0);
    EXPECT_EQ(d.Header(), a.Header());
    EXPECT_EQ(d.Replace('#', '!'), 0);
    EXPECT_NE(d.Header(), a.Header());
    EXPECT_EQ(d.Refs(), 1);
}

TEST(XStringStorage, LockedBufferIsCopiedNotShared)
{
    XProbeString a("locked");
    char* p = a.LockBuffer();
    XProbeString b(a);
    EXPECT_NE(b.Header(), a.Header());
    EXPECT_STREQ(b, "locked");
    // A locked string assigned to, or emptied, keeps its buffer and its lock.
    a = XString("new");
    EXPECT_EQ(a.Refs(), -1);
    a.Empty();
    EXPECT_EQ(static_cast<const char*>(a), p);
    EXPECT_TRUE(a.IsEmpty());
    a.UnlockBuffer();
    EXPECT_EQ(a.Refs(), 1);
}

TEST(XStringStorage, ConcurrentCopiesKeepCountsExact)
{
    XProbeString shared(XString('z', 300));
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&shared] {
            for (int i = 0; i < 20000; ++i) {
                XString copy(shared);
                XString other = copy;
                other += 'q'; // takes a private copy
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(shared.Refs(), 1);
}

TEST(XStringStorage, BufferOperations)
{
    XString s("abc");
    std::strcpy(s.GetBuffer(10), "abcdefgh");
    s.ReleaseBuffer();
    EXPECT_EQ(s.GetLength(), 8);
    s.ReleaseBuffer(3);
    // A shared buffer is copied whole even when less is asked for.
    XString shared(s);
    EXPECT_STREQ(s.GetBuffer(1), "abc");
    s.ReleaseBuffer(-5);
    EXPECT_TRUE(s.IsEmpty());
    EXPECT_EQ(s.GetBufferSetLength(5)[5], '\0');
    s.ReleaseBuffer(1000); // capped at the capacity
    EXPECT_EQ(s.GetLength(), 64);
    XString e;
    e.GetBufferSetLength(-1);
    e.ReleaseBuffer(4);
    EXPECT_TRUE(e.IsEmpty());
    XString big('b', 600);
    big.ReleaseBuffer(20);
    big.FreeExtra();
    EXPECT_EQ(big.GetAllocLength(), 64);
    EXPECT_EQ(std::string(big), std::string(20, 'b'));
}

TEST(XStringText, ConstructionCompareAndExtraction)
{
    XString w, u(reinterpret_cast<const unsigned char*>("u")), n("x"), ch, un, ab("ab");
    ch = 'c';
    w = L"w";
    un = reinterpret_cast<const unsigned char*>("un");
    n = static_cast<const wchar_t*>(nullptr);
    XString s("hello world");
    ExpectTexts({{XString(L"h\u00e9llo \u4e16"), "h\xc3\xa9llo \xe4\xb8\x96"}, {XString(L"abcdef", 3), "abc"},
                 {XString("abcdef", 4), "abcd"}, {w, "w"}, {u, "u"}, {un, "un"}, {n, ""}, {ch, "c"},
                 {ab + ab, "abab"}, {ab + 'x', "abx"}, {'x' + ab, "xab"}, {ab + "zz", "abzz"}, {"zz" + ab, "zzab"},
                 {s.Left(-1), ""}, {s.Right(-1), ""}, {s.Mid(2, -4), ""}, {s.Mid(50, 2), ""}, {s.Left(5), "hello"},
                 {s.Right(5), "world"}, {s.Mid(6), "world"}, {s.Mid(-3, 2), "he"}, {s.Mid(6, 100), "world"},
                 {s.SpanIncluding("leh"), "hell"}, {s.SpanExcluding(" "), "hello"}});
    // Whole extractions share the buffer.
    XProbeString probe(s);
    for (const XString& whole : {s.Left(1000), s.Right(11), s.Mid(0, 11)})
        EXPECT_EQ(XProbeString(whole).Header(), probe.Header());
    // A null text compares as the empty one.
    EXPECT_EQ(s.CompareNoCase("HELLO World"), 0);
    EXPECT_GT(s.Collate(nullptr), 0);
    for (int nOrder : {XString().Compare(nullptr), XString().CompareNoCase(nullptr), XString().CollateNoCase(nullptr)})
        EXPECT_EQ(nOrder, 0);
}

TEST(XStringChange, TrimCaseReverseAndOem)
{
    XString s("  \t padded \n "), x("xxaxx"), y("-=value=-"), u("\xe4\xb8\x96  ");
    s.TrimLeft();
    XString left(s);
    s.TrimRight();
    x.TrimLeft('x');
    x.TrimRight('x');
    y.TrimLeft("");
    y.TrimLeft("=-");
    y.TrimRight("-=");
    u.TrimRight(); // a multi-byte character whose last byte is not a blank survives
    XString m("Mixed Case \xc3\xa9"), l(m), r("ab\xe4\xb8\x96z"), oem("caf\xc3\xa9 \xe2\x88\x9e"), back;
    m.MakeUpper();
    l.MakeLower();
    r.MakeReverse();
    oem.CharToOemA();
    back = oem;
    back.OemToCharA();
    ExpectTexts({{left, "padded \n "}, {s, "padded"}, {x, "a"}, {y, "value"}, {u, "\xe4\xb8\x96"},
                 {m, "MIXED CASE \xc3\xa9"}, {l, "mixed case \xc3\xa9"}, {r, "z\xe4\xb8\x96" "ba"},
                 {oem, "caf\x82 \xec"}, {back, "caf\xc3\xa9 \xe2\x88\x9e"}});
}

TEST(XStringChange, ReplaceRemoveInsertDelete)
{
    XString s("a-b-c");
    EXPECT_EQ(s.Replace('-', '+'), 2);
    EXPECT_EQ(s.Replace("+", "<->"), 2);
    EXPECT_STREQ(s, "a<->b<->c");
    EXPECT_EQ(s.Replace("<->", nullptr), 2);
    EXPECT_EQ(s.Replace("", "x") + s.Replace("q", "x"), 0);
    XString shared(s);
    EXPECT_EQ(s.Replace("b", "BBB"), 1);
    EXPECT_STREQ(shared, "abc");
    EXPECT_STREQ(s, "aBBBc");

    XString r("banana");
    EXPECT_EQ(r.Remove('a'), 3);
    EXPECT_EQ(r.Insert(-5, 'X'), 4);
    EXPECT_EQ(r.Insert(100, "YZ"), 6);
    EXPECT_STREQ(r, "XbnnYZ");
    // Delete gives the length before it; an over-long count stops at the end.
    EXPECT_EQ(r.Delete(1, 2), 6);
    EXPECT_EQ(r.Delete(2, 99), 4);
    EXPECT_STREQ(r, "Xn");
    // Inserting a string into itself, in place and across a new buffer.
    r.Insert(1, r);
    EXPECT_STREQ(r, "XXnn");
    XString g('g', 60);
    g.Insert(0, g);
    EXPECT_EQ(std::string(g), std::string(120, 'g'));
}

TEST(XStringSearch, ByteIndexesOnCharacterBoundaries)
{
    XString s("one two one");
    const std::pair<int, int> cases[] = {
        {s.Find('o', -4), 0}, {s.Find('o', 1), 6}, {s.Find('o', 100), -1}, {s.Find("one", 1), 8},
        {s.Find("two", -2), 4}, {s.Find("one", 100), -1}, {s.Find("zzz"), -1}, {s.ReverseFind('e'), 10},
        {s.FindOneOf("wt"), 4},
        // The second byte of a character is not a match for a single byte.
        {XString("\xc3\xa9\xa9").Find('\xa9'), 2}};
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
}

TEST(XStringFormat, OutputMatchesTheCLibrary)
{
    XString s;
    s.Format("%d|%5.2f|%-4s|%x|%c|%%|%I64d %I64u", 42, 3.14159, "ab", 255, 'Z', static_cast<int64_t>(-5000000000LL),
             static_cast<uint64_t>(1) << 40);
    EXPECT_STREQ(s, "42| 3.14|ab  |ff|Z|%|-5000000000 1099511627776");
    s.Format("%ld %lu|%s|%*d|%.*s|%hs|%Fs", static_cast<LONG>(-7), static_cast<ULONG>(7),
             static_cast<const char*>(nullptr), 6, 7, 2, "abc", "h", "f");
    EXPECT_STREQ(s, "-7 7|(null)|     7|ab|h|f");
    // Wide text and characters are formatted piece by piece, among every other kind of conversion.
    s.Format("%S|%ls|%hs|%C", L"wide", L"\u00e9", "narrow", static_cast<wint_t>(L'w'));
    EXPECT_STREQ(s, "wide|\xc3\xa9|narrow|w");
    int nWritten = -1;
    s.Format("%S%%|%+5d|%-*d|%.*f|%I64d|%hd|%hc|%lc|%e|%G|%x|%n|%LS|%q|%", static_cast<const wchar_t*>(nullptr), 5, 3,
             7, 2, 1.5, static_cast<int64_t>(-1), 3, 'h', static_cast<wint_t>(L'\u00e9'), 1000.0, 0.5, 255, &nWritten,
             L"l");
    EXPECT_STREQ(s, "(null)%|   +5|7  |1.50|-1|3|h|\xc3\xa9|1.000000e+03|0.5|ff||l|%q|");
    EXPECT_EQ(nWritten, 53);
    // Narrow formats too keep what comes before a lone % at the end.
    const char* pszLone = "%.3f|%d%";
    s.Format(pszLone, 1.0, 3);
    EXPECT_STREQ(s, "1.000|3");
}

TEST(XStringFormat, BoundWalkAndShortBounds)
{
    const std::pair<int, int> cases[] = {
        {Bound("abc%%"), 4}, {Bound("%s", static_cast<const char*>(nullptr)), 6}, {Bound("%5.2s", "abc"), 5},
        {Bound("%s", ""), 1}, {Bound("%.2s", "abcdef"), 2}, {Bound("%d", 1), 32}, {Bound("%40.5d", 1), 45},
        {Bound("%e", 1.0), 128}, {Bound("%.3f", 1.0), 315}, {Bound("%#x", 1), 34}, {Bound("%c", 'a'), 2},
        {Bound("%ls", L"wide"), 4}, {Bound("%E", 1.0), 0}, {Bound("%I64d%s", static_cast<int64_t>(1), "xyz"), 35},
        {Bound("%p|%n", nullptr, nullptr), 33}, {Bound("%I64s%I64c", "x"), 0}, {Bound("%*.*s|", -40, -5, "ab"), -4}};
    for (size_t i = 0; i < std::size(cases); ++i)
        EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;
    // %E reserves nothing; a negative width from the arguments pulls the bound below zero, yet the text comes whole.
    XString s;
    s.Format("%E", 12345.678);
    EXPECT_STREQ(s, "1.234568E+04");
    s.Format("%*.*s|", -40, -5, "ab");
    EXPECT_STREQ(s, ("ab" + std::string(38, ' ') + "|").c_str());
}

// Formats of bare %d, %i, %u, %s and %f conversions are written without the
// C library: the same text, and the same reserved size as the bound walk's.
template <class... ARGS>
void ExpectAsTheCLibrary(const char* pszFormat, ARGS... args)
{
    XString s;
    s.Format(pszFormat, args...);
    char szExpected[2048];
    std::snprintf(szExpected, sizeof szExpected, pszFormat, args...);
    EXPECT_STREQ(s, szExpected) << pszFormat;
    const int n = Bound(pszFormat, args...);
    EXPECT_EQ(s.GetAllocLength(), n <= 64 ? 64 : n <= 128 ? 128 : n <= 256 ? 256 : n <= 512 ? 512 : n) << pszFormat;
}

TEST(XStringFormat, PlainFormatsMatchTheCLibrary)
{
    ExpectAsTheCLibrary("%d|%i|%u|%d", INT_MIN, -1, -1, 0);
    ExpectAsTheCLibrary("100%% of %s%s and %s", "\xea\xb0\x80", "", "x");
    ExpectAsTheCLibrary("tile %d of %s at %.3f", 7, "abc", 2.0005);
    ExpectAsTheCLibrary("%.2f %.0f %.0f %f %.1f %.f", 0.125, 2.5, 3.5, -0.0, -1e-9, 0.5);
    ExpectAsTheCLibrary("%f|%.20f|%.3f", -9.99e299, 0.1, 1e300);
    ExpectAsTheCLibrary("%f|%f|%f", 1.7e308, HUGE_VAL, std::nan(""));
    // Not plain: the general way gives the same text.
    ExpectAsTheCLibrary("%d %d %d %d %d %d %d %d %d", 1, 2, 3, 4, 5, 6, 7, 8, 9);
    ExpectAsTheCLibrary("%.100f|%d", 1.0, 3);
}

TEST(XStringFormat, MessageInserts)
{
    XString s;
    s.FormatMessageA("%1 has %2!d! items%n%3!5.1f!%0 hidden", "list", 3, 2.25);
    EXPECT_STREQ(s, "list has 3 items\n  2.2");
    s.FormatMessageA("%2 then %1 and %2", "a", "b");
    EXPECT_STREQ(s, "b then a and b");
    // Every kind of insert; insert 3 is never used but takes its argument.
    s.FormatMessageA("%1!c!%2!I64d!%4!e!%5!S!%6!hS!%7!x!%r%t%.%!% %%", 'c', static_cast<int64_t>(-9), nullptr, 1.0,
                     L"w", "n", 255);
    EXPECT_STREQ(s, "c-91.000000e+00wnff\r\t.! %");
    for (const char* pszBad : {"%1!d", "%q", "%1!!", "%1!d! %1!s!", "%1!y!"})
        EXPECT_THROW(s.FormatMessageA(pszBad, 1), XMemoryException) << pszBad;
    EXPECT_THROW(s.FormatMessageA(nullptr), XMemoryException);
}

TEST(XStringHelpers, WideConversionHelpers)
{
    wchar_t wide[8];
    XfnA2WHelper(wide, "\xc3\xa9t\xc3\xa9", 8);
    EXPECT_EQ(std::wstring(wide), L"\u00e9t\u00e9");
    char narrow[4];
    XfnW2AHelper(narrow, L"\u00e9t\u00e9", 4); // cut to fit, still terminated
    EXPECT_STREQ(narrow, "\xc3\xa9t");
    narrow[0] = 'k';
    XfnW2AHelper(narrow, L"zz", 0);
    EXPECT_EQ(narrow[0], 'k');
}
