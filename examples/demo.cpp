// The library's typical road, walked end to end: what a new user sees first.
#include "KVDbase/KVDbase.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// An application class of its own, registered by name like the library's.
class XDemoTile : public XObject {
    XDECLARE_DYNCREATE(XDemoTile)
public:
    int nRow = 0;
    int nColumn = 0;
    void Serialize(XArchive& ar) override
    {
        XObject::Serialize(ar);
        if (ar.IsStoring())
            ar << nRow << nColumn;
        else
            ar >> nRow >> nColumn;
    }
};
XIMPLEMENT_DYNCREATE(XDemoTile, XObject)

// Objects are created by name the way a stream does it: from a class record.
XObject* CreateByName(const char* pszClassName)
{
    XMemFile file;
    {
        // The class record of a stream: schema, name length, name.
        XArchive ar(&file, XArchive::store);
        WORD nLength = static_cast<WORD>(std::strlen(pszClassName));
        ar << static_cast<DWORD>(1) << nLength;
        ar.Write(pszClassName, nLength);
        ar.Close();
    }
    file.SeekToBegin();
    XArchive ar(&file, XArchive::load);
    unsigned int nSchema = 0;
    XRuntimeClass* pClass = XRuntimeClass::Load(ar, nSchema);
    return pClass == nullptr ? nullptr : pClass->CreateObject();
}

void ShowObjects()
{
    std::printf("Objects by class name\n");
    XObject* pTile = CreateByName("XDemoTile");
    Check(pTile != nullptr && pTile->IsKindOf(XDemoTile::GetRuntimeClassStatic()), "XDemoTile created by name");
    XObject* pArray = CreateByName("XStringArray");
    Check(pArray != nullptr && std::string(pArray->GetRuntimeClass()->lpszClassName) == "XStringArray",
          "XStringArray created by name");
    Check(CreateByName("XNoSuchClass") == nullptr, "an unknown name gives no object");
    delete pTile;
    delete pArray;
}

void ShowStrings()
{
    std::printf("Strings\n");
    XString strName;
    strName.Format("scene_%04d_band%I64d.img", 17, static_cast<int64_t>(3));
    std::printf("  formatted: %s\n", static_cast<const char*>(strName));
    Check(strName == "scene_0017_band3.img", "Format with the 64-bit prefix");
    XString strCopy = strName;
    strCopy.MakeUpper();
    Check(strName == "scene_0017_band3.img" && strCopy == "SCENE_0017_BAND3.IMG", "a copy changes alone");
}

void ShowErrors()
{
    std::printf("Error codes\n");
    XString strModule, strGroup;
    XString strMessage = XfnGetErrorString(0x2001001D, strModule, strGroup);
    std::printf("  0x2001001D: \"%s\" [%s / %s]\n", static_cast<const char*>(strMessage),
                static_cast<const char*>(strModule), static_cast<const char*>(strGroup));
    Check(strMessage == "The remote file connection doesn't exist" && strModule == "Kvbase" &&
              strGroup == "Remote File",
          "a library code decodes from the catalogue");
    strMessage = XfnGetErrorString(2, strModule, strGroup);
    std::printf("  2: \"%s\" [%s]\n", static_cast<const char*>(strMessage), static_cast<const char*>(strModule));
    Check(strModule == "Win32", "a system number gives the system's text");
}

void ShowTime()
{
    std::printf("Time\n");
    XTime t(2024, 2, 29, 12, 30, 15);
    std::printf("  %s: day %d of week, %02d:%02d:%02d\n", static_cast<const char*>(t.Format("%Y-%m-%d")),
                t.GetDayOfWeek(), t.GetHour(), t.GetMinute(), t.GetSecond());
    Check(t.GetYear() == 2024 && t.GetMonth() == 2 && t.GetDay() == 29, "a moment taken apart");
    XTimeSpan span = XTime(2024, 3, 1, 14, 31, 16) - t;
    std::printf("  span: %s\n", static_cast<const char*>(span.Format("%D day %H:%M:%S")));
    Check(span.Format("%D %H %M %S") == "1 02 01 01", "a span formatted");
}

void ShowArchive()
{
    std::printf("Archive\n");
    XMemFile file;
    XObArray tiles;
    for (int i = 0; i < 3; ++i) {
        XDemoTile* pTile = new XDemoTile;
        pTile->nRow = i;
        pTile->nColumn = i * 10;
        tiles.Add(pTile);
    }
    tiles.Add(tiles[0]); // the same tile twice
    {
        XArchive ar(&file, XArchive::store);
        ar << &tiles;
        ar.Close();
    }
    std::printf("  stored %d tiles in %d bytes\n", tiles.GetSize(), static_cast<int>(file.GetLength()));
    file.SeekToBegin();
    XArchive ar(&file, XArchive::load);
    XObArray* pBack = nullptr;
    ar >> pBack;
    bool bOk = pBack != nullptr && pBack->GetSize() == 4 && pBack->GetAt(3) == pBack->GetAt(0) &&
               static_cast<XDemoTile*>(pBack->GetAt(2))->nColumn == 20;
    Check(bOk, "an object graph round trip keeps shared objects shared");
    for (int i = 0; i < 3; ++i) {
        delete tiles[i];
        if (pBack != nullptr)
            delete pBack->GetAt(i);
    }
    delete pBack;
}

} // namespace

int main()
{
    auto tStart = std::chrono::steady_clock::now();
    std::printf("KVDbase demo\n\n");
    ShowObjects();
    ShowStrings();
    ShowErrors();
    ShowTime();
    ShowArchive();
    double dMs = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - tStart).count();
    std::printf("\n%s in %.1f ms\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED", dMs);
    return g_nFailures == 0 ? 0 : 1;
}
