// XLeastSquares.h: the linear least-squares fit by the normal equations and
// the Gauss-Jordan elimination beneath it, used by the warp fits. Internal to
// the library. Matrices are arrays of row pointers; both functions return 1,
// or 0 for a singular system, and throw only std::bad_alloc.
#pragma once

// Solves C x = B in place for an n by n C and an n by nRhs B, with full
// pivoting. C ends as its inverse and B as the solution. Only an exact zero
// pivot counts as singular.
int XfnGaussJordan(double** ppC, int n, double** ppB, int nRhs);

// Fits the nUnknowns values of pA to nRows design rows ppRows (each nUnknowns
// long) with right-hand values pY and standard deviations pSigma. Unknowns
// whose pFree entry is zero keep their value in pA. On success ppCovar
// (nUnknowns by nUnknowns) holds the covariance, laid out over all unknowns,
// and dChiSquare the weighted sum of squared residuals.
int XfnLinearLeastSquares(double** ppRows, const double* pY, const double* pSigma, int nRows, double* pA,
                          const int* pFree, int nUnknowns, double** ppCovar, double& dChiSquare);
