// XObject: the root of the library's class hierarchy. Every registered class
// has a static XRuntimeClass record, found by name in XObject::RTCMap, which
// the archive uses to write class names into streams and to create objects
// by name when it reads them back. Records register during static
// initialisation (one thread); afterwards the table is only read, by any
// number of threads. Records and the table live until process end.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XObject;
class XArchive;
class XMapSP;

// The run-time record of one class.
struct KVD_API XRuntimeClass {
    const char* lpszClassName;           // the name written in streams; a literal
    int32_t nObjectSize;                 // instance size, for information only
    uint32_t nSchema;                    // schema of the class's stream form
    XObject* (*pfnCreateObject)();       // null when the class cannot be created by name
    const XRuntimeClass* pBaseClass;     // the single base; null only for XObject

    // An empty record: registers nothing.
    XRuntimeClass();
    // Stores the five fields and registers the record under its name; a
    // second record of the same name replaces the first in the table.
    XRuntimeClass(const char* lpszClassName, int nObjectSize, unsigned int nSchema,
                  XObject* (*pfnCreateObject)(), const XRuntimeClass* pBaseClass);
    XRuntimeClass(const XRuntimeClass&) = default;
    XRuntimeClass& operator=(const XRuntimeClass&) = default;
    ~XRuntimeClass() {}

    // A new object of the class, or null if the class has no creation
    // function or its constructor throws.
    XObject* CreateObject() const;
    // 1 if this record or one of its bases is p (compared by address), else 0.
    BOOL IsDerivedFrom(const XRuntimeClass* p) const;

    // The class record of a stream: schema, name length and name.
    void Store(XArchive& ar) const;
    // Reads a class record; null if the name is 64 bytes or longer, cut
    // short, or not a class of this process.
    static XRuntimeClass* Load(XArchive& ar, unsigned int& nSchema);
};

// The three members of every registered class.
#define XDECLARE_DYNAMIC(className)                                  \
public:                                                              \
    static const XRuntimeClass rtc##className;                       \
    static const XRuntimeClass* GetRuntimeClassStatic();             \
    const XRuntimeClass* GetRuntimeClass() const override;

// ... and of a class that can be created by name.
#define XDECLARE_DYNCREATE(className)                                \
    XDECLARE_DYNAMIC(className)                                      \
    static XObject* CreateObject();

#define XIMPLEMENT_RUNTIMECLASS(className, baseClassName, pfnNew)                               \
    const XRuntimeClass className::rtc##className(#className, static_cast<int>(sizeof(className)), \
                                                  1, pfnNew, &baseClassName::rtc##baseClassName); \
    const XRuntimeClass* className::GetRuntimeClassStatic() { return &className::rtc##className; }  \
    const XRuntimeClass* className::GetRuntimeClass() const { return &className::rtc##className; }

#define XIMPLEMENT_DYNAMIC(className, baseClassName) \
    XIMPLEMENT_RUNTIMECLASS(className, baseClassName, nullptr)

#define XIMPLEMENT_DYNCREATE(className, baseClassName)                  \
    XObject* className::CreateObject() { return new className; }        \
    XIMPLEMENT_RUNTIMECLASS(className, baseClassName, &className::CreateObject)

class KVD_API XObject {
public:
    virtual ~XObject();
    virtual const XRuntimeClass* GetRuntimeClass() const;
    // Writes (when storing) or reads and checks (when loading) the block
    // that names this object's class hierarchy. Every Serialize override
    // calls this first.
    virtual void Serialize(XArchive& ar);

    BOOL IsKindOf(const XRuntimeClass* pClass) const;

    static const XRuntimeClass rtcXObject;
    static const XRuntimeClass* GetRuntimeClassStatic();
    static XObject* CreateObject();

    // Class name to record, filled during static initialisation.
    static XMapSP RTCMap;

protected:
    XObject() = default;

private:
    XObject(const XObject&);
    XObject& operator=(const XObject&);
};
