// XDenseMatrix.h: free functions on dense double matrices held row by row in
// flat arrays; sizes are passed columns first. Stateless and thread-safe;
// each returns 1 on success and 0 (or -6001 for a singular inverse) on
// failure, with no message. Nothing is restored after a failed inversion.
#pragma once

#include "KVDbase/platform/Export.h"

// out = a + b and out = a - b over columns * rows values; out may be a or b.
KVD_API int XfnMatrixAdd(double* pA, double* pB, double* pOut, int nColumns, int nRows);
KVD_API int XfnMatrixSubtract(double* pA, double* pB, double* pOut, int nColumns, int nRows);

// out (aRows rows of bColumns values) = a times b; aColumns must equal bRows.
// out must not overlap a or b.
KVD_API int XfnMatrixMultiply(double* pA, double* pB, double* pOut, int nAColumns, int nARows, int nBColumns,
                              int nBRows);

// in has rows rows of columns values; out receives columns rows of rows
// values and must not overlap in.
KVD_API int XfnMatrixTranspose(double* pIn, double* pOut, int nColumns, int nRows);
// Square, in place; always 1.
KVD_API int XfnMatrixTranspose(double* pMatrix, int nSize);
// In place for any shape; a non-square matrix goes through a temporary copy,
// and 0 means that copy could not be allocated (the matrix is then unchanged).
KVD_API int XfnMatrixTranspose(double* pMatrix, int nColumns, int nRows);

// Gauss-Jordan inversion in place with partial pivoting; sizes 2 to 1024.
// Returns 1, 0 for a size out of range, or -6001 when a pivot's magnitude is
// 1e-10 or less. The determinant is exact only when no rows were exchanged:
// an exchange restarts it from the negated magnitude of the column's last
// element.
KVD_API int XfnMatrixInverse(double* pMatrix, int nSize, double& dDeterminant);
