// Geometry: ground control points of an image fitted to map coordinates. An
// affine fit shows one bad point by its residual; leaving it out brings the
// error to zero. A piecewise warp then follows a bent grid that no single
// polynomial of low order follows.
#include "KVDbase/KVDbase.h"

#include <cmath>
#include <cstdio>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// Image column and row to map easting and northing: 30 m pixels, the image
// turned slightly, its corner at (500000, 4200000).
tagXVector2 ToMap(double dCol, double dRow)
{
    return {500000.0 + 30.0 * dCol + 2.0 * dRow, 4200000.0 - 2.0 * dCol - 30.0 * dRow};
}

} // namespace

int main()
{
    std::printf("Geometry\n");
    const int nPoints = 8;
    tagXVector2 aSource[nPoints], aTarget[nPoints];
    for (int i = 0; i < nPoints; ++i) {
        aSource[i] = {100.0 * (i % 4), 150.0 * (i / 4) + 10.0 * i};
        aTarget[i] = ToMap(aSource[i].x, aSource[i].y);
    }
    aTarget[5].x += 45.0; // a point clicked one and a half pixels off

    XWarpCoeff fit;
    Check(fit.Create(XWarpCoeff::ORDER_AFFINE, nPoints, aSource, aTarget, nullptr), "affine fit to 8 points");
    tagXVector2 aResidual[nPoints];
    tagXVector3 rms = fit.CalcError(nPoints, aSource, aTarget, nullptr, aResidual);
    int nWorst = 0;
    for (int i = 0; i < nPoints; ++i) {
        std::printf("    point %d: residual %7.2f %7.2f\n", i, aResidual[i].x, aResidual[i].y);
        if (std::fabs(aResidual[i].x) > std::fabs(aResidual[nWorst].x))
            nWorst = i;
    }
    std::printf("  rms x %.2f, y %.2f, together %.2f m\n", rms.x, rms.y, rms.z);
    Check(nWorst == 5 && rms.x > 5.0, "the bad point has the largest residual");

    int anUse[nPoints] = {1, 1, 1, 1, 1, 0, 1, 1};
    fit.Create(XWarpCoeff::ORDER_AFFINE, nPoints, aSource, aTarget, anUse);
    rms = fit.CalcError(nPoints, aSource, aTarget, anUse, aResidual);
    std::printf("  without point 5: rms %.6f m; x' = %.3f col + %.3f row + %.1f\n", rms.z, fit.GetCoeffX()[0],
                fit.GetCoeffX()[1], fit.GetCoeffX()[2]);
    Check(rms.z < 1e-6 && aResidual[5].x == 1.7e308, "an excluded point gets no residual and the fit is exact");
    tagXVector2 pt = {250.0, 320.0};
    fit.WarpPoint(pt);
    tagXVector2 expected = ToMap(250.0, 320.0);
    Check(std::fabs(pt.x - expected.x) < 1e-6 && std::fabs(pt.y - expected.y) < 1e-6, "a new point maps exactly");

    XWarpCoeff rotation;
    rotation.CreateRotation(90.0, 0.0, 0.0);
    double dX = 1.0, dY = 0.0;
    rotation.WarpPoint(dX, dY);
    Check(std::fabs(dX) < 1e-12 && std::fabs(dY - 1.0) < 1e-12, "a 90 degree rotation takes (1, 0) to (0, 1)");

    // A sheet bent along a sine: the global quadratic misses, a 4 x 4 grid of
    // local affine fits follows it closely.
    const int nSide = 21, nGrid = nSide * nSide;
    static tagXVector2 aGridSource[nGrid], aGridTarget[nGrid];
    for (int i = 0; i < nGrid; ++i) {
        aGridSource[i] = {10.0 * (i % nSide), 10.0 * (i / nSide)};
        aGridTarget[i] = {aGridSource[i].x, aGridSource[i].y + 8.0 * std::sin(aGridSource[i].x / 32.0)};
    }
    XWarpCoeff global;
    global.Create(XWarpCoeff::ORDER_QUADRATIC, nGrid, aGridSource, aGridTarget, nullptr);
    XWarp2D piecewise;
    piecewise.Create(XWarpCoeff::ORDER_AFFINE, nGrid, aGridSource, aGridTarget, nullptr, 4, 4);
    double dGlobal = global.CalcError(nGrid, aGridSource, aGridTarget, nullptr, nullptr).z;
    double dLocal = piecewise.CalcError(nGrid, aGridSource, aGridTarget, nullptr, nullptr).z;
    std::printf("  bent sheet: quadratic rms %.3f, 4 x 4 piecewise affine rms %.3f\n", dGlobal, dLocal);
    Check(piecewise.GetLocalCoeffs().GetSize() == 16 && dLocal < dGlobal / 2, "the local fits follow the bend");

    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
