// An application outside the project: it registers a class of its own,
// creates it by name, formats a string and decodes an error code, all
// through the installed library alone.
#include <KVDbase/KVDbase.h>

#include <cstdio>
#include <cstring>

class XConsumerShape : public XObject {
    XDECLARE_DYNCREATE(XConsumerShape)
};
XIMPLEMENT_DYNCREATE(XConsumerShape, XObject)

static int Fail(const char* pszWhat)
{
    std::fprintf(stderr, "consumer: %s\n", pszWhat);
    return 1;
}

int main()
{
    // Create by name through a class record, as a stream does.
    XMemFile file;
    {
        XArchive ar(&file, XArchive::store);
        XConsumerShape::GetRuntimeClassStatic()->Store(ar);
        ar.Close();
    }
    file.SeekToBegin();
    XArchive ar(&file, XArchive::load);
    unsigned int nSchema = 0;
    XRuntimeClass* pClass = XRuntimeClass::Load(ar, nSchema);
    if (pClass == nullptr)
        return Fail("the class is not found by name");
    XObject* pObject = pClass->CreateObject();
    if (pObject == nullptr || !pObject->IsKindOf(XConsumerShape::GetRuntimeClassStatic()))
        return Fail("the object is not created by name");
    delete pObject;

    XString str;
    str.Format("%s-%03d", "band", 7);
    if (str != "band-007")
        return Fail("Format");

    XString strModule, strGroup;
    XString strMessage = XfnGetErrorString(0x2001001D, strModule, strGroup);
    if (strMessage != "The remote file connection doesn't exist" || strModule != "Kvbase" || strGroup != "Remote File")
        return Fail("error decoding");
    std::printf("consumer: ok\n");
    return 0;
}
