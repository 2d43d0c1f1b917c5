#include "KVDbase/geometry/XDenseMatrix.h"

#include "geometry/XMatrixInvert.h"

#include <cmath>
#include <cstddef>
#include <cstring>
#include <new>
#include <utility>

namespace {

// Pivots of this magnitude or less count as zero.
const double XMATRIX_PIVOT_THRESHOLD = 1e-10;

const int XMATRIX_SINGULAR = -6001;

size_t XfnMatrixCount(int nColumns, int nRows)
{
    return static_cast<size_t>(nColumns) * static_cast<size_t>(nRows);
}

} // namespace

int XfnMatrixAdd(double* pA, double* pB, double* pOut, int nColumns, int nRows)
{
    if (nColumns < 1 || nRows < 1)
        return 0;
    size_t nCount = XfnMatrixCount(nColumns, nRows);
    for (size_t i = 0; i < nCount; i++)
        pOut[i] = pA[i] + pB[i];
    return 1;
}

int XfnMatrixSubtract(double* pA, double* pB, double* pOut, int nColumns, int nRows)
{
    if (nColumns < 1 || nRows < 1)
        return 0;
    size_t nCount = XfnMatrixCount(nColumns, nRows);
    for (size_t i = 0; i < nCount; i++)
        pOut[i] = pA[i] - pB[i];
    return 1;
}

int XfnMatrixMultiply(double* pA, double* pB, double* pOut, int nAColumns, int nARows, int nBColumns, int nBRows)
{
    if (nARows < 1 || nBColumns < 1 || nBRows < 1 || nAColumns != nBRows)
        return 0;
    for (size_t i = 0; i < static_cast<size_t>(nARows); i++) {
        const double* pARow = pA + i * nAColumns;
        for (size_t j = 0; j < static_cast<size_t>(nBColumns); j++) {
            double dSum = 0.0;
            for (size_t k = 0; k < static_cast<size_t>(nAColumns); k++)
                dSum += pARow[k] * pB[k * nBColumns + j];
            pOut[i * nBColumns + j] = dSum;
        }
    }
    return 1;
}

int XfnMatrixTranspose(double* pIn, double* pOut, int nColumns, int nRows)
{
    if (nColumns < 1 || nRows < 1)
        return 0;
    for (size_t r = 0; r < static_cast<size_t>(nRows); r++) {
        for (size_t c = 0; c < static_cast<size_t>(nColumns); c++)
            pOut[c * nRows + r] = pIn[r * nColumns + c];
    }
    return 1;
}

int XfnMatrixTranspose(double* pMatrix, int nSize)
{
    if (nSize < 2)
        return 1;
    const size_t n = static_cast<size_t>(nSize);
    for (size_t r = 0; r + 1 < n; r++) {
        for (size_t c = r + 1; c < n; c++)
            std::swap(pMatrix[r * n + c], pMatrix[c * n + r]);
    }
    return 1;
}

int XfnMatrixTranspose(double* pMatrix, int nColumns, int nRows)
{
    if (nColumns == nRows)
        return XfnMatrixTranspose(pMatrix, nColumns);
    // A size below 1 would fail the transpose anyway; refusing it here also
    // keeps a negative count from reaching the allocation.
    if (nColumns < 1 || nRows < 1)
        return 0;
    size_t nCount = XfnMatrixCount(nColumns, nRows);
    double* pTemp = new (std::nothrow) double[nCount];
    if (pTemp == nullptr)
        return 0;
    int nResult = XfnMatrixTranspose(pMatrix, pTemp, nColumns, nRows);
    if (nResult)
        std::memcpy(pMatrix, pTemp, nCount * sizeof(double));
    delete[] pTemp;
    return nResult;
}

int XfnMatrixInversion(double* pMatrix, int nSize, double& dDeterminant)
{
    const size_t n = static_cast<size_t>(nSize);
    int nPerm[XMATRIX_INVERSE_MAX_SIZE];
    double d = 1.0;
    for (int i = 0; i < nSize; i++)
        nPerm[i] = i;

    // The pivot row survives from one column to the next: a column that holds
    // only zeros from the diagonal down finds no row and reuses the last one.
    int p = -1;
    for (size_t k = 0; k < n; k++) {
        double dBest = 0.0;
        double dLast = 0.0;
        for (size_t i = k; i < n; i++) {
            dLast = std::fabs(pMatrix[i * n + k]);
            if (dLast > dBest) {
                dBest = dLast;
                p = static_cast<int>(i);
            }
        }
        // Only a first column of zeros leaves no row at all.
        if (p < 0)
            return XMATRIX_SINGULAR;

        double* pRowK = pMatrix + k * n;
        double* pRowP = pMatrix + static_cast<size_t>(p) * n;
        const double v = pRowP[k];
        if (std::fabs(v) <= XMATRIX_PIVOT_THRESHOLD) {
            dDeterminant = d;
            return XMATRIX_SINGULAR;
        }
        d *= v;
        if (static_cast<size_t>(p) != k) {
            // An exchange restarts the determinant from the last magnitude
            // that the search looked at, rather than flipping its sign.
            d = -dLast;
            std::swap(nPerm[k], nPerm[p]);
            for (size_t j = 0; j < n; j++)
                std::swap(pRowK[j], pRowP[j]);
        }
        for (size_t j = 0; j < n; j++)
            pRowK[j] /= v;
        for (size_t i = 0; i < n; i++) {
            if (i == k)
                continue;
            double* pRowI = pMatrix + i * n;
            const double f = pRowI[k];
            if (f == 0.0)
                continue;
            for (size_t j = 0; j < n; j++) {
                if (j != k)
                    pRowI[j] -= f * pRowK[j];
            }
            pRowI[k] = -f / v;
        }
        pRowK[k] = 1.0 / v;
    }

    // Row exchanges of the input become column exchanges of the inverse.
    for (size_t i = 0; i < n; i++) {
        while (nPerm[i] != static_cast<int>(i)) {
            const size_t q = static_cast<size_t>(nPerm[i]);
            std::swap(nPerm[q], nPerm[i]);
            for (size_t r = 0; r < n; r++)
                std::swap(pMatrix[r * n + i], pMatrix[r * n + q]);
        }
    }
    dDeterminant = d;
    return 1;
}

int XfnMatrixInverse(double* pMatrix, int nSize, double& dDeterminant)
{
    if (nSize < 2 || nSize > XMATRIX_INVERSE_MAX_SIZE)
        return 0;
    return XfnMatrixInversion(pMatrix, nSize, dDeterminant);
}
