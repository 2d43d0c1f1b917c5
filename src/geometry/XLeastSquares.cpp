#include "geometry/XLeastSquares.h"

#include <cmath>
#include <utility>
#include <vector>

int XfnGaussJordan(double** ppC, int n, double** ppB, int nRhs)
{
    // Per column: how often it has been the pivot column. Per step: where the
    // pivot was, so the column exchanges can be undone at the end.
    std::vector<int> nPivotCount(n, 0);
    std::vector<int> nPivotRow(n, 0);
    std::vector<int> nPivotColumn(n, 0);

    for (int i = 0; i < n; i++) {
        double dLargest = 0.0;
        int nRow = -1;
        int nColumn = -1;
        for (int j = 0; j < n; j++) {
            if (nPivotCount[j] == 1)
                continue;
            for (int k = 0; k < n; k++) {
                if (nPivotCount[k] == 0) {
                    // Greater or equal: on a tie the later element wins.
                    if (std::fabs(ppC[j][k]) >= dLargest) {
                        dLargest = std::fabs(ppC[j][k]);
                        nRow = j;
                        nColumn = k;
                    }
                } else if (nPivotCount[k] > 1) {
                    return 0;
                }
            }
        }
        // Only NaNs everywhere leave no candidate at all.
        if (nColumn < 0)
            return 0;
        ++nPivotCount[nColumn];
        if (nRow != nColumn) {
            for (int l = 0; l < n; l++)
                std::swap(ppC[nRow][l], ppC[nColumn][l]);
            for (int l = 0; l < nRhs; l++)
                std::swap(ppB[nRow][l], ppB[nColumn][l]);
        }
        nPivotRow[i] = nRow;
        nPivotColumn[i] = nColumn;
        if (ppC[nColumn][nColumn] == 0.0)
            return 0;
        const double dInvPivot = 1.0 / ppC[nColumn][nColumn];
        ppC[nColumn][nColumn] = 1.0;
        for (int l = 0; l < n; l++)
            ppC[nColumn][l] *= dInvPivot;
        for (int l = 0; l < nRhs; l++)
            ppB[nColumn][l] *= dInvPivot;
        for (int r = 0; r < n; r++) {
            if (r == nColumn)
                continue;
            const double d = ppC[r][nColumn];
            ppC[r][nColumn] = 0.0;
            for (int l = 0; l < n; l++)
                ppC[r][l] -= ppC[nColumn][l] * d;
            for (int l = 0; l < nRhs; l++)
                ppB[r][l] -= ppB[nColumn][l] * d;
        }
    }
    for (int l = n - 1; l >= 0; l--) {
        if (nPivotRow[l] != nPivotColumn[l]) {
            for (int k = 0; k < n; k++)
                std::swap(ppC[k][nPivotRow[l]], ppC[k][nPivotColumn[l]]);
        }
    }
    return 1;
}

int XfnLinearLeastSquares(double** ppRows, const double* pY, const double* pSigma, int nRows, double* pA,
                          const int* pFree, int nUnknowns, double** ppCovar, double& dChiSquare)
{
    const int m = nUnknowns;
    int mf = 0;
    for (int j = 0; j < m; j++) {
        if (pFree[j])
            mf++;
    }
    if (mf == 0)
        return 0;

    std::vector<double> b(mf, 0.0);
    for (int p = 0; p < mf; p++) {
        for (int q = 0; q < mf; q++)
            ppCovar[p][q] = 0.0;
    }

    // Accumulate the lower triangle of the normal matrix and the right side,
    // with the fixed unknowns' share taken off the observation first.
    for (int i = 0; i < nRows; i++) {
        const double* w = ppRows[i];
        double v = pY[i];
        if (mf < m) {
            for (int j = 0; j < m; j++) {
                if (!pFree[j])
                    v -= pA[j] * w[j];
            }
        }
        const double g = 1.0 / (pSigma[i] * pSigma[i]);
        for (int j = 0, p = -1; j < m; j++) {
            if (!pFree[j])
                continue;
            p++;
            const double u = w[j] * g;
            for (int k = 0, q = 0; k <= j; k++) {
                if (pFree[k])
                    ppCovar[p][q++] += u * w[k];
            }
            b[p] += v * u;
        }
    }
    for (int p = 1; p < mf; p++) {
        for (int q = 0; q < p; q++)
            ppCovar[q][p] = ppCovar[p][q];
    }

    std::vector<double*> pB(mf);
    for (int p = 0; p < mf; p++)
        pB[p] = &b[p];
    if (!XfnGaussJordan(ppCovar, mf, pB.data(), 1))
        return 0;
    for (int j = 0, p = 0; j < m; j++) {
        if (pFree[j])
            pA[j] = b[p++];
    }

    dChiSquare = 0.0;
    for (int i = 0; i < nRows; i++) {
        double dSum = 0.0;
        for (int j = 0; j < m; j++)
            dSum += pA[j] * ppRows[i][j];
        const double e = (pY[i] - dSum) / pSigma[i];
        dChiSquare += e * e;
    }

    // Spread the free unknowns' covariance over the full layout, fixed
    // unknowns getting zero rows and columns.
    for (int i = mf; i < m; i++) {
        for (int j = 0; j <= i; j++)
            ppCovar[i][j] = ppCovar[j][i] = 0.0;
    }
    for (int j = m - 1, k = mf - 1; j >= 0; j--) {
        if (!pFree[j])
            continue;
        for (int i = 0; i < m; i++)
            std::swap(ppCovar[i][k], ppCovar[i][j]);
        for (int i = 0; i < m; i++)
            std::swap(ppCovar[k][i], ppCovar[j][i]);
        k--;
    }
    return 1;
}
