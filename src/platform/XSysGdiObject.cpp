// The handle table of the GDI stand-ins and the surfaces behind them.
#include "platform/XSysGdiObject.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

namespace {

using namespace XGdiTable;

struct Table {
    std::mutex lock;
    std::vector<uint32_t> freeSlots;
    uint32_t nUsed = 0;
};

Table& TheTable()
{
    static Table* pTable = new Table; // lives for the process: handles may be used during exit
    return *pTable;
}

uintptr_t Encode(uint32_t nIndex, uint32_t nGeneration)
{
    return (static_cast<uintptr_t>(nGeneration) << 32) | (nIndex + 1);
}

} // namespace

std::atomic<XGdiTable::Slot*> XGdiTable::g_chunks[XGdiTable::nMaxChunks];

HGDIOBJ XfnGdiAdd(std::unique_ptr<XGdiObject> pObject)
{
    if (!pObject)
        return nullptr;
    Table& t = TheTable();
    std::lock_guard<std::mutex> guard(t.lock);
    uint32_t nIndex;
    if (!t.freeSlots.empty()) {
        nIndex = t.freeSlots.back();
        t.freeSlots.pop_back();
    } else {
        if (t.nUsed >= nChunkSlots * nMaxChunks)
            return nullptr;
        nIndex = t.nUsed;
        if (g_chunks[nIndex >> nChunkBits].load(std::memory_order_relaxed) == nullptr) {
            Slot* pChunk = new (std::nothrow) Slot[nChunkSlots];
            if (pChunk == nullptr)
                return nullptr;
            g_chunks[nIndex >> nChunkBits].store(pChunk, std::memory_order_release);
        }
        ++t.nUsed;
    }
    Slot& s = g_chunks[nIndex >> nChunkBits].load(std::memory_order_relaxed)[nIndex & (nChunkSlots - 1)];
    s.pObject.store(pObject.release(), std::memory_order_release);
    return reinterpret_cast<HGDIOBJ>(Encode(nIndex, s.nGeneration.load(std::memory_order_relaxed)));
}

bool XfnGdiRemove(const void* h)
{
    Table& t = TheTable();
    XGdiObject* pObject;
    {
        std::lock_guard<std::mutex> guard(t.lock);
        uint32_t nGeneration = 0;
        Slot* s = Locate(h, nGeneration);
        if (s == nullptr || s->nGeneration.load(std::memory_order_relaxed) != nGeneration)
            return false;
        pObject = s->pObject.exchange(nullptr, std::memory_order_acq_rel);
        if (pObject == nullptr)
            return false;
        // Generation 0 never names a live object, so it is skipped.
        uint32_t nNext = nGeneration + 1;
        s->nGeneration.store(nNext == 0 ? 1 : nNext, std::memory_order_release);
        t.freeSlots.push_back(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(h)) - 1);
    }
    delete pObject;
    return true;
}

// ---------------------------------------------------------------- surfaces

namespace {
// cairo's image surfaces end at 32767 pixels a side; the bytes are capped so
// that an offset within a surface fits in 31 bits.
constexpr int nMaxSide = 32767;
constexpr int64_t nMaxBytes = 0x7FFFFFFF;
} // namespace

std::unique_ptr<XGdiSurface> XGdiSurface::Create(int nWidth, int nHeight)
{
    if (nWidth <= 0 || nHeight <= 0 || nWidth > nMaxSide || nHeight > nMaxSide ||
        static_cast<int64_t>(nWidth) * nHeight * 4 > nMaxBytes)
        return nullptr;
    uint8_t* p = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(nWidth) * nHeight, 4));
    if (p == nullptr)
        return nullptr;
    std::unique_ptr<XGdiSurface> s = Wrap(p, nWidth, nHeight, static_cast<ptrdiff_t>(nWidth) * 4);
    if (!s) {
        std::free(p);
        return nullptr;
    }
    s->pOwned = p;
    return s;
}

std::unique_ptr<XGdiSurface> XGdiSurface::Wrap(uint8_t* pTop, int nWidth, int nHeight, ptrdiff_t nStride)
{
    const ptrdiff_t nAbs = nStride < 0 ? -nStride : nStride;
    if (pTop == nullptr || nWidth <= 0 || nHeight <= 0 || nWidth > nMaxSide || nHeight > nMaxSide ||
        nAbs < static_cast<ptrdiff_t>(nWidth) * 4 || nAbs % 4 != 0 || nAbs > INT32_MAX)
        return nullptr;
    cairo_surface_t* pCairo =
        cairo_image_surface_create_for_data(pTop, CAIRO_FORMAT_RGB24, nWidth, nHeight, static_cast<int>(nStride));
    if (cairo_surface_status(pCairo) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(pCairo);
        return nullptr;
    }
    std::unique_ptr<XGdiSurface> s(new (std::nothrow) XGdiSurface);
    if (!s) {
        cairo_surface_destroy(pCairo);
        return nullptr;
    }
    s->px = {pTop, nWidth, nHeight, nStride};
    s->pCairo = pCairo;
    return s;
}

XGdiSurface::~XGdiSurface()
{
    cairo_surface_destroy(pCairo);
    std::free(pOwned);
}

XGdiFont::~XGdiFont()
{
    if (pDesc != nullptr)
        pango_font_description_free(pDesc);
}

cairo_t* XGdiDC::Cairo()
{
    if (pCairo == nullptr && pSurface != nullptr) {
        pCairo = cairo_create(pSurface->pCairo);
        if (cairo_status(pCairo) != CAIRO_STATUS_SUCCESS) {
            cairo_destroy(pCairo);
            pCairo = nullptr;
        }
    }
    return pCairo;
}

void XGdiDC::DropCairo()
{
    if (pCairo != nullptr)
        cairo_destroy(pCairo);
    pCairo = nullptr;
}

XGdiDC::~XGdiDC()
{
    DropCairo();
    for (Attachment& a : attach) {
        if (a.pfnFree != nullptr)
            a.pfnFree(a.p);
    }
}
