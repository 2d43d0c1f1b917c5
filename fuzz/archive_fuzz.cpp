// Loads arbitrary bytes as an archive: as an object graph of any creatable
// class, and as the body of each creatable class read in place. The only
// acceptable outcomes are a loaded object or one of the library's own
// exceptions; every object the load created is deleted afterwards.
//
// With KVD_FUZZ_SEED_DIR set, initialisation writes a valid stream of every
// creatable class there, as the corpus to start from.
#include "KVDbase/KVDbase.h"

#include "core/XMapSP.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

namespace {

// The creatable classes of this build, in name order.
const std::vector<const XRuntimeClass*>& CreatableClasses()
{
    static const std::vector<const XRuntimeClass*> classes = [] {
        std::vector<const XRuntimeClass*> v;
        for (POSITION pos = XObject::RTCMap.GetStartPosition(); pos != nullptr;) {
            XString strName;
            void* p;
            XObject::RTCMap.GetNextAssoc(pos, strName, p);
            const XRuntimeClass* pClass = static_cast<const XRuntimeClass*>(p);
            if (pClass->pfnCreateObject != nullptr)
                v.push_back(pClass);
        }
        std::sort(v.begin(), v.end(), [](const XRuntimeClass* a, const XRuntimeClass* b) {
            return std::string(a->lpszClassName) < std::string(b->lpszClassName);
        });
        return v;
    }();
    return classes;
}

// An archive that can delete what its load created: the objects of its
// table, which are the entries without a stored schema.
class XFuzzArchive : public XArchive {
public:
    using XArchive::XArchive;
    void DeleteLoadedObjects()
    {
        XPtrArray* pTable = static_cast<XPtrArray*>(pObjectTable);
        if (pTable == nullptr)
            return;
        for (int i = 1; i < pTable->GetSize(); ++i) {
            void* pEntry = pTable->GetAt(i);
            void* pSchema;
            if (pEntry != nullptr && !(pSchemaMap != nullptr && pSchemaMap->Lookup(pEntry, pSchema)))
                delete static_cast<XObject*>(pEntry);
        }
        pTable->RemoveAll();
    }
};

void WriteSeed(const std::string& strDir, const std::string& strName, BYTE bySelector, XObject* pObject, bool bAsBody)
{
    XMemFile file;
    {
        XArchive ar(&file, XArchive::store | ((bySelector & 1) ? XArchive::bNoByteSwap : 0));
        if (bAsBody)
            pObject->Serialize(ar);
        else
            ar << pObject;
        ar.Close();
    }
    std::vector<BYTE> bytes(static_cast<size_t>(file.GetLength()));
    file.SeekToBegin();
    if (!bytes.empty())
        file.Read(bytes.data(), static_cast<unsigned int>(bytes.size()));
    std::string strPath = strDir + "/seed-" + strName;
    if (FILE* f = std::fopen(strPath.c_str(), "wb")) {
        std::fwrite(&bySelector, 1, 1, f);
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    const char* pszDir = std::getenv("KVD_FUZZ_SEED_DIR");
    if (pszDir == nullptr)
        return 0;
    const auto& classes = CreatableClasses();
    for (size_t i = 0; i < classes.size(); ++i) {
        XObject* pObject = classes[i]->CreateObject();
        if (pObject == nullptr)
            continue;
        std::string strName = classes[i]->lpszClassName;
        WriteSeed(pszDir, strName + "-graph", 0, pObject, false);
        WriteSeed(pszDir, strName + "-body", static_cast<BYTE>((i + 1) << 1), pObject, true);
        delete pObject;
    }
    // A few collections with content.
    XObArray objects;
    XObject* pShared = XObject::CreateObject();
    objects.Add(pShared);
    objects.Add(pShared);
    objects.Add(nullptr);
    WriteSeed(pszDir, "obarray-shared", 0, &objects, false);
    XStringArray strings;
    strings.Add("short");
    strings.Add(XString('w', 300));
    WriteSeed(pszDir, "stringarray", 1, &strings, false);
    delete pShared;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t nSize)
{
    if (nSize < 1 || nSize > (1u << 20))
        return 0;
    BYTE bySelector = pData[0];
    std::vector<BYTE> bytes(pData + 1, pData + nSize);
    bytes.push_back(0);
    XMemFile file(bytes.data(), static_cast<unsigned int>(nSize - 1), 0);
    unsigned int nMode = XArchive::load | ((bySelector & 1) ? XArchive::bNoByteSwap : 0u);

    // Selector 0: an object graph of any class; otherwise the body of one class.
    const auto& classes = CreatableClasses();
    size_t nTarget = (bySelector >> 1) % (classes.size() + 1);
    XObject* pBody = nTarget == 0 ? nullptr : classes[nTarget - 1]->CreateObject();

    XFuzzArchive ar(&file, nMode);
    try {
        if (pBody == nullptr)
            ar.ReadObject(nullptr);
        else
            pBody->Serialize(ar);
    } catch (const XArchiveException&) {
    } catch (const XMemoryException&) {
    } catch (const std::bad_alloc&) {
    } catch (const XFileException&) {
    }
    ar.DeleteLoadedObjects();
    delete pBody;
    return 0;
}
