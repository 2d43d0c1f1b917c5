// An application outside the project: it registers a class of its own,
// creates it by name, formats a string and decodes an error code, all
// through the installed library alone.
#include <KVDbase/KVDbase.h>

#include <cstdio>

class XConsumerShape : public XObject {
    XDECLARE_DYNCREATE(XConsumerShape)
};
XIMPLEMENT_DYNCREATE(XConsumerShape, XObject)

int main()
{
    // Create by name through a class record, as a stream does.
    XMemFile file;
    XArchive store(&file, XArchive::store);
    XConsumerShape::GetRuntimeClassStatic()->Store(store);
    store.Close();
    file.SeekToBegin();
    XArchive load(&file, XArchive::load);
    unsigned int nSchema = 0;
    XRuntimeClass* pClass = XRuntimeClass::Load(load, nSchema);
    XObject* pObject = pClass != nullptr ? pClass->CreateObject() : nullptr;
    bool bCreated = pObject != nullptr && pObject->IsKindOf(XConsumerShape::GetRuntimeClassStatic());
    delete pObject;

    XString str, strModule, strGroup;
    str.Format("%s-%03d", "band", 7);
    XString strMessage = XfnGetErrorString(0x2001001D, strModule, strGroup);
    bool bDecoded = strMessage == "The remote file connection doesn't exist" && strModule == "Kvbase";
    std::printf("consumer: created %d, formatted %d, decoded %d\n", bCreated, str == "band-007", bDecoded);
    return bCreated && str == "band-007" && bDecoded ? 0 : 1;
}
