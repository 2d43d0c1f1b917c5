// XMatrixInvert.h: the Gauss-Jordan elimination shared by XfnMatrixInverse and
// the four-by-four matrix records. Internal to the library; stateless.
#pragma once

// The largest size that XfnMatrixInversion accepts: its permutation lives in a
// fixed array on the stack.
const int XMATRIX_INVERSE_MAX_SIZE = 1024;

// Inverts the nSize by nSize row-major matrix in place; nSize must lie in 2 to
// XMATRIX_INVERSE_MAX_SIZE. Returns 1 with the running determinant stored, or
// -6001 for a pivot of magnitude 1e-10 or less (the determinant then holds the
// value reached so far) or for a first column of zeros (determinant untouched).
int XfnMatrixInversion(double* pMatrix, int nSize, double& dDeterminant);
