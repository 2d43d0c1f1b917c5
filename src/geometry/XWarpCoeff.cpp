#include "KVDbase/geometry/XWarpCoeff.h"

#include "geometry/XLeastSquares.h"

#include <cmath>
#include <cstring>
#include <typeinfo>
#include <vector>

namespace {

// Marks a residual or error that has no value.
const double XWARP_NO_VALUE = 1.7e308;

const double XWARP_DEGREES_TO_RADIANS = 0.017453292519943295;

// Number of unknowns of a fitted model, both outputs together; 0 for an
// order that cannot be fitted.
int XfnWarpUnknowns(int nOrder)
{
    switch (nOrder) {
    case XWarpCoeff::ORDER_AFFINE:
        return 6;
    case XWarpCoeff::ORDER_BILINEAR:
        return 8;
    case XWarpCoeff::ORDER_QUADRATIC:
        return 12;
    case XWarpCoeff::ORDER_CUBIC:
        return 20;
    default:
        return 0;
    }
}

// The model's terms at (x, y), highest degree first and the constant last,
// in the order of the coefficients.
void XfnWarpTerms(int nOrder, double x, double y, double* pTerms)
{
    switch (nOrder) {
    case XWarpCoeff::ORDER_AFFINE:
        pTerms[0] = x;
        pTerms[1] = y;
        pTerms[2] = 1.0;
        break;
    case XWarpCoeff::ORDER_BILINEAR:
        pTerms[0] = x;
        pTerms[1] = y;
        pTerms[2] = x * y;
        pTerms[3] = 1.0;
        break;
    case XWarpCoeff::ORDER_QUADRATIC:
        pTerms[0] = x * x;
        pTerms[1] = y * y;
        pTerms[2] = x * y;
        pTerms[3] = x;
        pTerms[4] = y;
        pTerms[5] = 1.0;
        break;
    case XWarpCoeff::ORDER_CUBIC:
        pTerms[0] = x * x * x;
        pTerms[1] = y * y * y;
        pTerms[2] = x * x * y;
        pTerms[3] = x * y * y;
        pTerms[4] = x * x;
        pTerms[5] = y * y;
        pTerms[6] = x * y;
        pTerms[7] = x;
        pTerms[8] = y;
        pTerms[9] = 1.0;
        break;
    default:
        break;
    }
}

} // namespace

XWarpCoeff::XWarpCoeff()
{
    XWarpCoeff::Reset();
}

XWarpCoeff::XWarpCoeff(const XWarpCoeff& src) : order(src.order), error(src.error)
{
    std::memcpy(coeffX, src.coeffX, sizeof(coeffX));
    std::memcpy(coeffY, src.coeffY, sizeof(coeffY));
}

XWarpCoeff& XWarpCoeff::operator=(const XWarpCoeff& src)
{
    order = src.order;
    std::memcpy(coeffX, src.coeffX, sizeof(coeffX));
    std::memcpy(coeffY, src.coeffY, sizeof(coeffY));
    error = src.error;
    return *this;
}

XWarpCoeff::~XWarpCoeff()
{
    XWarpCoeff::Reset();
}

void XWarpCoeff::Reset()
{
    order = ORDER_NONE;
    for (int i = 0; i < MAX_COEFFS; i++) {
        coeffX[i] = 0.0;
        coeffY[i] = 0.0;
    }
}

namespace {

// One point through the model of the given order: 1 and the new point, or
// 0 for an order that warps nothing. Inlined into the loops below, where
// the order does not change from point to point.
inline __attribute__((always_inline)) int XfnWarpEvaluate(int nOrder, const double* A, const double* B, double& dX,
                                                           double& dY)
{
    const double x = dX, y = dY;
    double dNewX, dNewY;
    switch (nOrder) {
    case XWarpCoeff::ORDER_IDENTITY:
        return 1;
    case XWarpCoeff::ORDER_SCALE:
        dNewX = A[0] * x + A[1];
        dNewY = B[0] * y + B[1];
        break;
    case XWarpCoeff::ORDER_AFFINE:
        dNewX = A[0] * x + A[1] * y + A[2];
        dNewY = B[0] * x + B[1] * y + B[2];
        break;
    case XWarpCoeff::ORDER_BILINEAR: {
        const double xy = x * y;
        dNewX = A[0] * x + A[1] * y + A[2] * xy + A[3];
        dNewY = B[0] * x + B[1] * y + B[2] * xy + B[3];
        break;
    }
    case XWarpCoeff::ORDER_QUADRATIC: {
        const double x2 = x * x, y2 = y * y, xy = x * y;
        dNewX = A[0] * x2 + A[1] * y2 + A[2] * xy + A[3] * x + A[4] * y + A[5];
        dNewY = B[0] * x2 + B[1] * y2 + B[2] * xy + B[3] * x + B[4] * y + B[5];
        break;
    }
    case XWarpCoeff::ORDER_CUBIC: {
        const double x3 = x * x * x, y3 = y * y * y, x2y = x * x * y, xy2 = x * y * y;
        const double x2 = x * x, y2 = y * y, xy = x * y;
        dNewX = A[0] * x3 + A[1] * y3 + A[2] * x2y + A[3] * xy2 + A[4] * x2 + A[5] * y2 + A[6] * xy + A[7] * x +
                A[8] * y + A[9];
        dNewY = B[0] * x3 + B[1] * y3 + B[2] * x2y + B[3] * xy2 + B[4] * x2 + B[5] * y2 + B[6] * xy + B[7] * x +
                B[8] * y + B[9];
        break;
    }
    default:
        return 0;
    }
    dX = dNewX;
    dY = dNewY;
    return 1;
}

int XfnWarpArray(int nOrder, const double* A, const double* B, double* pX, double* pY, int nCount)
{
    int nResult = 1;
    for (int i = 0; i < nCount; i++) {
        if (!XfnWarpEvaluate(nOrder, A, B, pX[i], pY[i]))
            nResult = 0;
    }
    return nResult;
}

int XfnWarpArray(int nOrder, const double* A, const double* B, tagXVector2* pPoints, int nCount)
{
    int nResult = 1;
    for (int i = 0; i < nCount; i++) {
        if (!XfnWarpEvaluate(nOrder, A, B, pPoints[i].x, pPoints[i].y))
            nResult = 0;
    }
    return nResult;
}

} // namespace

// The array forms take each point through the virtual single-point form, so
// a derived class's model applies. A plain XWarpCoeff warps the array in one
// loop instead: the same arithmetic, without a call per point.
int XWarpCoeff::WarpPoint(tagXVector2* pPoints, int nCount)
{
    if (typeid(*this) == typeid(XWarpCoeff))
        return XfnWarpArray(order, coeffX, coeffY, pPoints, nCount);
    int nResult = 1;
    for (int i = 0; i < nCount; i++) {
        if (!WarpPoint(pPoints[i].x, pPoints[i].y))
            nResult = 0;
    }
    return nResult;
}

int XWarpCoeff::WarpPoint(tagXVector2 in, tagXVector2& out)
{
    out = in;
    return WarpPoint(out.x, out.y);
}

int XWarpCoeff::WarpPoint(tagXVector2& point)
{
    return WarpPoint(point.x, point.y);
}

int XWarpCoeff::WarpPoint(double* pX, double* pY, int nCount)
{
    if (typeid(*this) == typeid(XWarpCoeff))
        return XfnWarpArray(order, coeffX, coeffY, pX, pY, nCount);
    int nResult = 1;
    for (int i = 0; i < nCount; i++) {
        if (!WarpPoint(pX[i], pY[i]))
            nResult = 0;
    }
    return nResult;
}

int XWarpCoeff::WarpPoint(double dX, double dY, double& dOutX, double& dOutY)
{
    dOutX = dX;
    dOutY = dY;
    return WarpPoint(dOutX, dOutY);
}

int XWarpCoeff::WarpPoint(double& dX, double& dY)
{
    return XfnWarpEvaluate(order, coeffX, coeffY, dX, dY);
}

int XWarpCoeff::IsUnchanged()
{
    return order <= 0 ? 1 : 0;
}

namespace {

// Fits model nOrder to the used points and leaves its unknowns in dA, x half
// first; 0 for an order that cannot be fitted, too few points or a singular
// system. ReadPoint(i, sx, sy, tx, ty) fetches control point i, so both
// forms of Create share one fit, to the bit.
template <class ReadPoint>
int XfnWarpFit(int nOrder, int nCount, const int* pUse, ReadPoint readPoint, std::vector<double>& dA)
{
    const int m = XfnWarpUnknowns(nOrder);
    if (m == 0)
        return 0;
    int nUsed = 0;
    for (int i = 0; i < nCount; i++) {
        if (pUse == nullptr || pUse[i])
            nUsed++;
    }
    const int nRows = 2 * nUsed;
    if (nRows < m)
        return 0;

    // Row 2k holds the terms of the k-th used point in the x half of the
    // unknowns, row 2k+1 the same terms in the y half.
    const int nHalf = m / 2;
    std::vector<double> dDesign(static_cast<size_t>(nRows) * m, 0.0);
    std::vector<double*> pRows(nRows);
    std::vector<double> dY(nRows);
    for (int i = 0, k = 0; i < nCount; i++) {
        if (pUse != nullptr && !pUse[i])
            continue;
        double dSourceX, dSourceY;
        readPoint(i, dSourceX, dSourceY, dY[2 * k], dY[2 * k + 1]);
        double* pRowX = &dDesign[static_cast<size_t>(2 * k) * m];
        double* pRowY = pRowX + m;
        XfnWarpTerms(nOrder, dSourceX, dSourceY, pRowX);
        XfnWarpTerms(nOrder, dSourceX, dSourceY, pRowY + nHalf);
        pRows[2 * k] = pRowX;
        pRows[2 * k + 1] = pRowY;
        k++;
    }
    // Every observation weighs the same and every unknown is free; the
    // covariance and chi-square are not kept.
    std::vector<double> dSigma(nRows, 1.0);
    std::vector<int> nFree(m, 1);
    std::vector<double> dCovar(static_cast<size_t>(m) * m, 0.0);
    std::vector<double*> pCovar(m);
    for (int j = 0; j < m; j++)
        pCovar[j] = &dCovar[static_cast<size_t>(j) * m];
    double dChiSquare = 0.0;
    dA.assign(m, 0.0);
    return XfnLinearLeastSquares(pRows.data(), dY.data(), dSigma.data(), nRows, dA.data(), nFree.data(), m,
                                 pCovar.data(), dChiSquare);
}

} // namespace

void XWarpCoeff::SetFit(int nOrder, const double* pUnknowns)
{
    const int nHalf = XfnWarpUnknowns(nOrder) / 2;
    for (int j = 0; j < nHalf; j++) {
        coeffX[j] = pUnknowns[j];
        coeffY[j] = pUnknowns[nHalf + j];
    }
    order = nOrder;
}

int XWarpCoeff::Create(int nOrder, int nCount, double* pSourceX, double* pSourceY, double* pTargetX,
                       double* pTargetY, int* pUse)
{
    Reset();
    std::vector<double> dA;
    auto readPoint = [&](int i, double& dSX, double& dSY, double& dTX, double& dTY) {
        dSX = pSourceX[i];
        dSY = pSourceY[i];
        dTX = pTargetX[i];
        dTY = pTargetY[i];
    };
    if (!XfnWarpFit(nOrder, nCount, pUse, readPoint, dA))
        return 0;
    SetFit(nOrder, dA.data());
    error = CalcError(nCount, pSourceX, pSourceY, pTargetX, pTargetY, pUse, nullptr, nullptr);
    return 1;
}

int XWarpCoeff::Create(int nOrder, int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse)
{
    Reset();
    std::vector<double> dA;
    auto readPoint = [&](int i, double& dSX, double& dSY, double& dTX, double& dTY) {
        dSX = pSource[i].x;
        dSY = pSource[i].y;
        dTX = pTarget[i].x;
        dTY = pTarget[i].y;
    };
    if (!XfnWarpFit(nOrder, nCount, pUse, readPoint, dA))
        return 0;
    SetFit(nOrder, dA.data());
    error = CalcError(nCount, pSource, pTarget, pUse, nullptr);
    return 1;
}

void XWarpCoeff::CreateRotation(double dAngleDegrees, double dCenterX, double dCenterY)
{
    Reset();
    const double dRadians = dAngleDegrees * XWARP_DEGREES_TO_RADIANS;
    const double s = std::sin(dRadians);
    const double c = std::cos(dRadians);
    order = ORDER_AFFINE;
    coeffX[0] = c;
    coeffX[1] = -s;
    coeffX[2] = -c * dCenterX + s * dCenterY + dCenterX;
    coeffY[0] = s;
    coeffY[1] = c;
    coeffY[2] = -s * dCenterX - c * dCenterY + dCenterY;
    error = tagXVector3(0.0, 0.0, 0.0);
}

namespace {

// Sums of squared residuals and the count of points behind them.
struct tagXWarpErrorSum {
    double dSumX = 0.0;
    double dSumY = 0.0;
    int nCount = 0;

    void Add(double dResX, double dResY)
    {
        dSumX += dResX * dResX;
        dSumY += dResY * dResY;
        nCount++;
    }

    tagXVector3 Result() const
    {
        if (nCount == 0)
            return tagXVector3(XWARP_NO_VALUE, XWARP_NO_VALUE, XWARP_NO_VALUE);
        const double n = nCount;
        return tagXVector3(std::sqrt(dSumX / n), std::sqrt(dSumY / n), std::sqrt((dSumX + dSumY) / n));
    }
};

} // namespace

tagXVector3 XWarpCoeff::CalcError(int nCount, double* pSourceX, double* pSourceY, double* pTargetX,
                                  double* pTargetY, int* pUse, double* pResidualX, double* pResidualY)
{
    tagXWarpErrorSum sum;
    for (int i = 0; i < nCount; i++) {
        if (pResidualX != nullptr)
            pResidualX[i] = XWARP_NO_VALUE;
        if (pResidualY != nullptr)
            pResidualY[i] = XWARP_NO_VALUE;
        if (pUse != nullptr && !pUse[i])
            continue;
        double dX, dY;
        if (!WarpPoint(pSourceX[i], pSourceY[i], dX, dY))
            continue;
        const double dResX = pTargetX[i] - dX;
        const double dResY = pTargetY[i] - dY;
        if (pResidualX != nullptr)
            pResidualX[i] = dResX;
        if (pResidualY != nullptr)
            pResidualY[i] = dResY;
        sum.Add(dResX, dResY);
    }
    return sum.Result();
}

tagXVector3 XWarpCoeff::CalcError(int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse,
                                  tagXVector2* pResidual)
{
    tagXWarpErrorSum sum;
    for (int i = 0; i < nCount; i++) {
        if (pResidual != nullptr)
            pResidual[i] = tagXVector2(XWARP_NO_VALUE, XWARP_NO_VALUE);
        if (pUse != nullptr && !pUse[i])
            continue;
        tagXVector2 mapped;
        if (!WarpPoint(pSource[i], mapped))
            continue;
        const tagXVector2 residual(pTarget[i].x - mapped.x, pTarget[i].y - mapped.y);
        if (pResidual != nullptr)
            pResidual[i] = residual;
        sum.Add(residual.x, residual.y);
    }
    return sum.Result();
}
