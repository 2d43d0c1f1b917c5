// The stream forms of the lists and their pointer operators.
#include "KVDbase/collections/XList.h"

namespace {

void PutElement(XArchive& ar, XObject* pOb)
{
    ar << static_cast<const XObject*>(pOb);
}

template <class TYPE>
void PutElement(XArchive& ar, const TYPE& element)
{
    ar << element;
}

// The count, then the elements from head to tail; loading appends.
template <class LIST, class TYPE>
void SerializeList(XArchive& ar, LIST& list)
{
    if (ar.IsStoring()) {
        ar << list.GetCount();
        for (POSITION pos = list.GetHeadPosition(); pos != nullptr;)
            PutElement(ar, list.GetNext(pos));
    } else {
        DWORD nCount;
        ar >> nCount;
        // A false count ends in the archive's end-of-stream exception.
        for (; nCount > 0; --nCount) {
            TYPE element{};
            ar >> element;
            list.AddTail(element);
        }
    }
}

} // namespace

#define XKVD_LIST_SERIALIZE(className, TYPE)          \
    void className::Serialize(XArchive& ar)            \
    {                                                  \
        XObject::Serialize(ar);                        \
        SerializeList<className, TYPE>(ar, *this);     \
    }                                                  \
    XIMPLEMENT_ARCHIVE_OPERATORS(className)

XKVD_LIST_SERIALIZE(XCharList, char)
XKVD_LIST_SERIALIZE(XUCharList, unsigned char)
XKVD_LIST_SERIALIZE(XShortList, short)
XKVD_LIST_SERIALIZE(XUShortList, unsigned short)
XKVD_LIST_SERIALIZE(XIntList, int)
XKVD_LIST_SERIALIZE(XUIntList, unsigned int)
XKVD_LIST_SERIALIZE(XInt64List, int64_t)
XKVD_LIST_SERIALIZE(XFloatList, float)
XKVD_LIST_SERIALIZE(XDoubleList, double)
XKVD_LIST_SERIALIZE(XObList, XObject*)
XKVD_LIST_SERIALIZE(XStringList, XString)
