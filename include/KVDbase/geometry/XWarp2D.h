// XWarp2D.h: a piecewise warp: a global XWarpCoeff fit plus a grid of local
// fits, with optional warps to run before (prev) and after (next), not owned.
// No locks: a finished object is only read by WarpPoint. Failure is a 0
// result; exhausted memory during a fit throws and leaves the object reset.
#pragma once

#include "KVDbase/collections/XArray.h"
#include "KVDbase/geometry/XVector.h"
#include "KVDbase/geometry/XWarpCoeff.h"
#include "KVDbase/platform/Export.h"

class KVD_API XWarp2D : public XWarpCoeff {
public:
    // A new object is reset: no model, no grid, no links. Unlike a reset
    // XWarpCoeff it moves points by leaving them alone, and succeeds.
    XWarp2D();
    // Copies the global model, every local model, the grid and both links
    // (as pointers: the linked warps are shared, not copied).
    XWarp2D(const XWarp2D& src);
    XWarp2D& operator=(const XWarp2D& src);
    ~XWarp2D() override;

    // Resets the global model, drops the grid and clears both links.
    void Reset() override;

    // The forms that end in WarpPoint(double&, double&), as in XWarpCoeff.
    int WarpPoint(tagXVector2* pPoints, int nCount) override;
    int WarpPoint(tagXVector2 in, tagXVector2& out) override;
    int WarpPoint(tagXVector2& point) override;
    int WarpPoint(double* pX, double* pY, int nCount) override;
    int WarpPoint(double dX, double dY, double& dOutX, double& dOutY) override;
    // Runs prev, then the local model of the point's cell (or the global
    // model where that cell has none, or where there is no grid), then next.
    // Returns 0 only when prev or next fails; a failing global model leaves
    // the point as it is.
    int WarpPoint(double& dX, double& dY) override;

    // 1 when neither link, nor the global model, nor any local model changes
    // points.
    int IsUnchanged() override;

    // Fits the global model of nOrder (2 to 5) to the used control points
    // and, for a grid of more than one cell, one local model per cell of the
    // used points' bounding box, row by row, each to the points on or inside
    // its cell. A cell whose fit fails keeps no model; only a failed global
    // fit returns 0, with the object reset. Clears both links: set them after.
    int Create(int nOrder, int nCount, double* pSourceX, double* pSourceY, double* pTargetX, double* pTargetY,
               int* pUse, int nCellsX, int nCellsY);
    int Create(int nOrder, int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse, int nCellsX,
               int nCellsY);

    XWarp2D* GetPrev() { return prev; }
    void SetPrev(XWarp2D* pPrev) { prev = pPrev; }
    XWarp2D* GetNext() { return next; }
    void SetNext(XWarp2D* pNext) { next = pNext; }

    // Read access for applications: the grid and its local models, index
    // row * GetNumCellsX() + column; empty when the warp is global only.
    int GetNumCellsX() const { return numCellsX; }
    int GetNumCellsY() const { return numCellsY; }
    tagXVector2 GetMinPoint() const { return minPoint; }
    tagXVector2 GetMaxPoint() const { return maxPoint; }
    const XArray<XWarpCoeff, XWarpCoeff>& GetLocalCoeffs() const { return localCoeffs; }

protected:
    // The local model of the cell holding (dX, dY); a point outside the grid
    // gets the nearest edge cell. Null with no grid. The pointer lives until
    // the next Reset or Create.
    XWarpCoeff* GetWarpCoeffLocal(double dX, double dY);

    XArray<XWarpCoeff, XWarpCoeff> localCoeffs;
    int numCellsX;
    int numCellsY;
    tagXVector2 minPoint;
    tagXVector2 maxPoint;
    XWarp2D* prev;
    XWarp2D* next;

private:
    // The grid part of Create, shared by both forms: after a successful
    // global fit, fits and stores the local models. readSource(i) gives
    // source point i; fitLocal(local, pMask) fits one local model to the
    // points whose mask entry is 1.
    template <class ReadSource, class FitLocal>
    void CreateGrid(int nCount, const int* pUse, int nCellsX, int nCellsY, ReadSource readSource,
                    FitLocal fitLocal);
};
