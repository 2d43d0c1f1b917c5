#include "KVDbase/geometry/XWarp2D.h"

#include <climits>
#include <memory>
#include <new>

namespace {

// The bound that marks an empty box; a reset grid holds the reverse box.
const double XWARP_BOX_LIMIT = 1.7e308;

// Column (or row) of a point whose offset from the grid's lower corner is
// dOffset cells, held to the grid. A quotient with no int value (a NaN or an
// infinity from a grid of zero width, or a point billions of cells away)
// counts as the lowest int, as the processor's own conversion gives it, and
// so lands in the first cell.
int XfnWarpCellIndex(double dOffset, int nCells)
{
    int nIndex = INT_MIN;
    if (dOffset > -2147483649.0 && dOffset < 2147483648.0)
        nIndex = static_cast<int>(dOffset);
    if (nIndex < 0)
        return 0;
    if (nIndex > nCells - 1)
        return nCells - 1;
    return nIndex;
}

} // namespace

XWarp2D::XWarp2D()
    : numCellsX(0), numCellsY(0), minPoint(-XWARP_BOX_LIMIT, -XWARP_BOX_LIMIT),
      maxPoint(XWARP_BOX_LIMIT, XWARP_BOX_LIMIT), prev(nullptr), next(nullptr)
{
    XWarp2D::Reset();
}

XWarp2D::XWarp2D(const XWarp2D& src)
    : XWarpCoeff(src), numCellsX(src.numCellsX), numCellsY(src.numCellsY), minPoint(src.minPoint),
      maxPoint(src.maxPoint), prev(src.prev), next(src.next)
{
    for (int i = 0; i < src.localCoeffs.GetSize(); i++)
        localCoeffs.Add(src.localCoeffs.GetAt(i));
}

XWarp2D& XWarp2D::operator=(const XWarp2D& src)
{
    if (this == &src)
        return *this;
    XWarpCoeff::operator=(src);
    localCoeffs.RemoveAll();
    for (int i = 0; i < src.localCoeffs.GetSize(); i++)
        localCoeffs.Add(src.localCoeffs.GetAt(i));
    numCellsX = src.numCellsX;
    numCellsY = src.numCellsY;
    minPoint = src.minPoint;
    maxPoint = src.maxPoint;
    prev = src.prev;
    next = src.next;
    return *this;
}

XWarp2D::~XWarp2D()
{
    XWarp2D::Reset();
}

void XWarp2D::Reset()
{
    XWarpCoeff::Reset();
    localCoeffs.RemoveAll();
    numCellsX = 0;
    numCellsY = 0;
    minPoint = tagXVector2(-XWARP_BOX_LIMIT, -XWARP_BOX_LIMIT);
    maxPoint = tagXVector2(XWARP_BOX_LIMIT, XWARP_BOX_LIMIT);
    prev = nullptr;
    next = nullptr;
}

int XWarp2D::WarpPoint(tagXVector2* pPoints, int nCount)
{
    return XWarpCoeff::WarpPoint(pPoints, nCount);
}

int XWarp2D::WarpPoint(tagXVector2 in, tagXVector2& out)
{
    return XWarpCoeff::WarpPoint(in, out);
}

int XWarp2D::WarpPoint(tagXVector2& point)
{
    return XWarpCoeff::WarpPoint(point);
}

int XWarp2D::WarpPoint(double* pX, double* pY, int nCount)
{
    return XWarpCoeff::WarpPoint(pX, pY, nCount);
}

int XWarp2D::WarpPoint(double dX, double dY, double& dOutX, double& dOutY)
{
    return XWarpCoeff::WarpPoint(dX, dY, dOutX, dOutY);
}

int XWarp2D::WarpPoint(double& dX, double& dY)
{
    if (prev != nullptr && !prev->WarpPoint(dX, dY))
        return 0;
    // The cells hold plain XWarpCoeff values, so their model is called
    // directly. An empty cell (order -1) fails there and falls back to the
    // global model, whose own failure leaves the point alone.
    XWarpCoeff* pLocal = GetWarpCoeffLocal(dX, dY);
    if (pLocal == nullptr || !pLocal->XWarpCoeff::WarpPoint(dX, dY))
        XWarpCoeff::WarpPoint(dX, dY);
    if (next != nullptr && !next->WarpPoint(dX, dY))
        return 0;
    return 1;
}

int XWarp2D::IsUnchanged()
{
    if (prev != nullptr && !prev->IsUnchanged())
        return 0;
    if (next != nullptr && !next->IsUnchanged())
        return 0;
    if (order > 0)
        return 0;
    for (int i = 0; i < localCoeffs.GetSize(); i++) {
        if (localCoeffs[i].GetOrder() > 0)
            return 0;
    }
    return 1;
}

XWarpCoeff* XWarp2D::GetWarpCoeffLocal(double dX, double dY)
{
    if (localCoeffs.GetSize() == 0 || numCellsX < 1 || numCellsY < 1)
        return nullptr;
    const double dWidth = (maxPoint.x - minPoint.x) / numCellsX;
    const double dHeight = (maxPoint.y - minPoint.y) / numCellsY;
    const int nColumn = XfnWarpCellIndex((dX - minPoint.x) / dWidth, numCellsX);
    const int nRow = XfnWarpCellIndex((dY - minPoint.y) / dHeight, numCellsY);
    return &localCoeffs[nRow * numCellsX + nColumn];
}

template <class ReadSource, class FitLocal>
void XWarp2D::CreateGrid(int nCount, const int* pUse, int nCellsX, int nCellsY, ReadSource readSource,
                         FitLocal fitLocal)
{
    // One cell, or a grid with no rows or columns, is the global model
    // alone; so is a grid with more cells than an array can index.
    if (nCellsX < 1 || nCellsY < 1)
        return;
    const long long nCells = static_cast<long long>(nCellsX) * nCellsY;
    if (nCells <= 1 || nCells > INT_MAX)
        return;

    tagXVector2 boxMin(XWARP_BOX_LIMIT, XWARP_BOX_LIMIT);
    tagXVector2 boxMax(-XWARP_BOX_LIMIT, -XWARP_BOX_LIMIT);
    for (int k = 0; k < nCount; k++) {
        if (pUse != nullptr && !pUse[k])
            continue;
        const tagXVector2 point = readSource(k);
        boxMin.x = point.x < boxMin.x ? point.x : boxMin.x;
        boxMin.y = point.y < boxMin.y ? point.y : boxMin.y;
        boxMax.x = point.x > boxMax.x ? point.x : boxMax.x;
        boxMax.y = point.y > boxMax.y ? point.y : boxMax.y;
    }
    if (boxMin.x > boxMax.x || boxMin.y > boxMax.y)
        return;
    // Without memory for the mask the warp stays global, as it would with
    // no grid asked for.
    std::unique_ptr<int[]> pMask(new (std::nothrow) int[nCount]);
    if (!pMask)
        return;

    // Cells are closed on all four sides: a point on a shared edge takes
    // part in the fits of every cell that touches it. A cell whose fit fails
    // is stored all the same, with order -1, so that the index of a cell is
    // always row * nCellsX + column.
    const double dWidth = (boxMax.x - boxMin.x) / nCellsX;
    const double dHeight = (boxMax.y - boxMin.y) / nCellsY;
    for (int j = 0; j < nCellsY; j++) {
        const double y0 = j * dHeight + boxMin.y;
        const double y1 = y0 + dHeight;
        for (int i = 0; i < nCellsX; i++) {
            const double x0 = i * dWidth + boxMin.x;
            const double x1 = x0 + dWidth;
            for (int k = 0; k < nCount; k++) {
                pMask[k] = 0;
                if (pUse != nullptr && !pUse[k])
                    continue;
                const tagXVector2 point = readSource(k);
                if (x0 <= point.x && point.x <= x1 && y0 <= point.y && point.y <= y1)
                    pMask[k] = 1;
            }
            XWarpCoeff local;
            fitLocal(local, pMask.get());
            localCoeffs.Add(local);
        }
    }
    minPoint = boxMin;
    maxPoint = boxMax;
    numCellsX = nCellsX;
    numCellsY = nCellsY;
}

int XWarp2D::Create(int nOrder, int nCount, double* pSourceX, double* pSourceY, double* pTargetX, double* pTargetY,
                    int* pUse, int nCellsX, int nCellsY)
{
    Reset();
    if (!XWarpCoeff::Create(nOrder, nCount, pSourceX, pSourceY, pTargetX, pTargetY, pUse))
        return 0;
    auto readSource = [&](int k) { return tagXVector2(pSourceX[k], pSourceY[k]); };
    auto fitLocal = [&](XWarpCoeff& local, int* pMask) {
        local.Create(nOrder, nCount, pSourceX, pSourceY, pTargetX, pTargetY, pMask);
    };
    try {
        CreateGrid(nCount, pUse, nCellsX, nCellsY, readSource, fitLocal);
    } catch (...) {
        // No half-built grid survives a failed allocation.
        Reset();
        throw;
    }
    // Measured again, now through the local models.
    error = CalcError(nCount, pSourceX, pSourceY, pTargetX, pTargetY, pUse, nullptr, nullptr);
    return 1;
}

int XWarp2D::Create(int nOrder, int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse, int nCellsX,
                    int nCellsY)
{
    Reset();
    if (!XWarpCoeff::Create(nOrder, nCount, pSource, pTarget, pUse))
        return 0;
    auto readSource = [&](int k) { return pSource[k]; };
    auto fitLocal = [&](XWarpCoeff& local, int* pMask) { local.Create(nOrder, nCount, pSource, pTarget, pMask); };
    try {
        CreateGrid(nCount, pUse, nCellsX, nCellsY, readSource, fitLocal);
    } catch (...) {
        Reset();
        throw;
    }
    error = CalcError(nCount, pSource, pTarget, pUse, nullptr);
    return 1;
}
