// Objects and the archive: an application class stored to a file on disk with
// the library's strings, times and arrays, read back as a new object graph,
// and a stream that names the wrong class refused with the archive's fault.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// A scene of a catalogue: a name, when it was taken and its band names.
class XScene : public XObject {
    XDECLARE_DYNCREATE(XScene)
public:
    XString strName;
    XTime timeTaken;
    XStringArray bands;
    void Serialize(XArchive& ar) override
    {
        XObject::Serialize(ar);
        if (ar.IsStoring())
            ar << strName << timeTaken;
        else
            ar >> strName >> timeTaken;
        bands.Serialize(ar);
    }
};
XIMPLEMENT_DYNCREATE(XScene, XObject)

} // namespace

int main()
{
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kvd_example_core_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::string strPath = (dir / "scenes.bin").string();
    std::printf("Objects and archive (file %s)\n", strPath.c_str());

    XScene scene;
    scene.strName = "LC08_116034";
    scene.timeTaken = XTime(2023, 5, 14, 2, 10, 0);
    scene.bands.Add("coastal");
    scene.bands.Add("blue");
    scene.bands.Add("green");
    XObArray catalogue;
    catalogue.Add(&scene);
    catalogue.Add(&scene); // stored once, referenced twice
    {
        XFile file(strPath.c_str(), XFile::flagCreate | XFile::flagWrite);
        XArchive ar(&file, XArchive::store);
        ar << &catalogue;
        ar.Close();
    }
    XFileStatus status{};
    Check(XFile::GetStatus(strPath.c_str(), status) && status.nSize > 0, "the catalogue is on disk");
    std::printf("  stored 2 references to 1 scene in %d bytes\n", static_cast<int>(status.nSize));

    XObArray* pBack = nullptr;
    {
        XFile file(strPath.c_str(), XFile::flagRead);
        XArchive ar(&file, XArchive::load);
        ar >> pBack;
    }
    XScene* pScene = pBack != nullptr && pBack->GetSize() == 2 ? static_cast<XScene*>(pBack->GetAt(0)) : nullptr;
    Check(pScene != nullptr && pScene->IsKindOf(XScene::GetRuntimeClassStatic()), "the scene comes back as XScene");
    Check(pScene != nullptr && pBack->GetAt(1) == pScene, "both references point at one new object");
    if (pScene != nullptr) {
        std::printf("  %s taken %s, %d bands, last \"%s\"\n", static_cast<const char*>(pScene->strName),
                    static_cast<const char*>(pScene->timeTaken.Format("%Y-%m-%d %H:%M")), pScene->bands.GetSize(),
                    static_cast<const char*>(pScene->bands[2]));
        Check(pScene->strName == scene.strName && pScene->timeTaken == scene.timeTaken &&
                  pScene->bands.GetSize() == 3 && pScene->bands[2] == "green",
              "name, time and bands are unchanged");
    }
    delete pScene;
    delete pBack;

    // A stream holding an array read as a single scene: the archive checks
    // the class it was asked for before it creates anything.
    bool bRefused = false;
    try {
        XFile file(strPath.c_str(), XFile::flagRead);
        XArchive ar(&file, XArchive::load);
        XObject* pObject = ar.ReadObject(XScene::GetRuntimeClassStatic());
        delete pObject;
    } catch (const XArchiveException& e) {
        bRefused = true;
        std::printf("  reading it as XScene: %s\n", e.what());
    }
    Check(bRefused, "a stream of another class is refused");

    std::error_code ec;
    fs::remove_all(dir, ec);
    Check(!fs::exists(dir), "the temporary directory is gone");
    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
