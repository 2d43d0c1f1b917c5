// The stream forms of the maps and their pointer operators.
#include "KVDbase/collections/XMap.h"

namespace {

void PutValue(XArchive& ar, XObject* pOb)
{
    ar << static_cast<const XObject*>(pOb);
}

template <class TYPE>
void PutValue(XArchive& ar, const TYPE& value)
{
    ar << value;
}

// The count, then key and value of each entry in walk order: buckets
// ascending, each chain from its head. Loading adds with SetAt, so that the
// chains come back reversed and a stored key replaces a present one.
template <class MAP, class KEY, class VALUE>
void SerializeMap(XArchive& ar, MAP& map)
{
    if (ar.IsStoring()) {
        ar << map.GetCount();
        for (POSITION pos = map.GetStartPosition(); pos != nullptr;) {
            KEY key;
            VALUE value;
            map.GetNextAssoc(pos, key, value);
            PutValue(ar, key);
            PutValue(ar, value);
        }
    } else {
        DWORD nCount;
        ar >> nCount;
        for (; nCount > 0; --nCount) {
            KEY key{};
            VALUE value{};
            ar >> key;
            ar >> value;
            map.SetAt(key, value);
        }
    }
}

} // namespace

void XMapWordToOb::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeMap<XMapWordToOb, WORD, XObject*>(ar, *this);
}

void XMapStringToOb::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeMap<XMapStringToOb, XString, XObject*>(ar, *this);
}

void XMapStringToString::Serialize(XArchive& ar)
{
    XObject::Serialize(ar);
    SerializeMap<XMapStringToString, XString, XString>(ar, *this);
}

XIMPLEMENT_ARCHIVE_OPERATORS(XMapWordToOb)
XIMPLEMENT_ARCHIVE_OPERATORS(XMapStringToOb)
XIMPLEMENT_ARCHIVE_OPERATORS(XMapStringToString)
