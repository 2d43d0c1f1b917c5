// Collections: a growable array, a linked list, a hash map and the stack, each
// used the way an application keeps its tables, a map stored through an
// archive and read back, and a two-dimensional block addressed by offsets.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <cstring>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

} // namespace

int main()
{
    std::printf("Collections\n");

    // An array of histogram counts grows as values arrive.
    XDWordArray histogram;
    const BYTE abPixels[] = {3, 7, 3, 0, 255, 3, 7};
    for (BYTE b : abPixels) {
        if (b >= histogram.GetSize())
            histogram.SetSize(b + 1);
        ++histogram[b];
    }
    histogram.InsertAt(0, 99u); // every bin moves up one place, and back
    histogram.RemoveAt(0);
    std::printf("  histogram: %d bins, bin 3 = %u, bin 7 = %u\n", histogram.GetSize(), histogram[3], histogram[7]);
    Check(histogram.GetSize() == 256 && histogram[3] == 3 && histogram[7] == 2 && histogram[255] == 1,
          "XDWordArray grows on demand and counts");

    // A list keeps its order and finds by value.
    XStringList files;
    files.AddTail("b2.tif");
    files.AddTail("b3.tif");
    files.AddHead("b1.tif");
    POSITION pos = files.Find("b2.tif");
    if (pos != nullptr)
        files.InsertAfter(pos, "b2.ovr");
    XString strOrder;
    for (POSITION p = files.GetHeadPosition(); p != nullptr;)
        strOrder += files.GetNext(p) + " ";
    std::printf("  list: %s\n", static_cast<const char*>(strOrder));
    Check(strOrder == "b1.tif b2.tif b2.ovr b3.tif ", "XStringList inserts at both ends and after a found element");

    // A map from keyword to value, stored and loaded through an archive.
    XMapStringToString header;
    header["SENSOR"] = "OLI";
    header["BANDS"] = "11";
    header["DATUM"] = "WGS84";
    XMemFile memory;
    {
        XArchive ar(&memory, XArchive::store);
        header.Serialize(ar);
        ar.Close();
    }
    memory.SeekToBegin();
    XMapStringToString copy;
    {
        XArchive ar(&memory, XArchive::load);
        copy.Serialize(ar);
    }
    XString strValue;
    std::printf("  map: %d keys stored in %d bytes\n", copy.GetCount(), static_cast<int>(memory.GetLength()));
    Check(copy.GetCount() == 3 && copy.Lookup("DATUM", strValue) && strValue == "WGS84" &&
              !copy.Lookup("datum", strValue),
          "XMapStringToString round trip, keys case-sensitive");
    Check(copy.RemoveKey("BANDS") && copy.GetCount() == 2, "RemoveKey drops one key");

    // The stack gives back the newest value first and null when empty.
    XStack<int*> stack;
    int a = 1, b = 2;
    stack.Push(&a);
    stack.Push(&b);
    int* pFirst = stack.Pop();
    int* pSecond = stack.Pop();
    Check(pFirst == &b && pSecond == &a && stack.Pop() == nullptr && stack.IsEmpty(), "XStack is last in, first out");

    // A 4 x 3 block of floats: element (i, j) at pOffset2[j] + pOffset1[i].
    tagXArr2 block;
    bool bShaped = block.Alloc(4, 3, sizeof(float)) != 0;
    if (bShaped) {
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 4; ++i) {
                float f = static_cast<float>(10 * j + i);
                std::memcpy(block.pData + block.pOffset2[j] + block.pOffset1[i], &f, sizeof f);
            }
    }
    float fLast = 0;
    if (bShaped)
        std::memcpy(&fLast, block.pData + block.pOffset2[2] + block.pOffset1[3], sizeof fLast);
    std::printf("  block 4 x 3: element (3, 2) = %.0f\n", fLast);
    Check(bShaped && fLast == 23.0f && block.Reform(6, 2) && block.nDim1 == 6, "tagXArr2 addresses and reshapes");

    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
