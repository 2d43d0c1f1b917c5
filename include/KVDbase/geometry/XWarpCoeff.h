// XWarpCoeff.h: one two-dimensional polynomial mapping, fitted to control
// points by least squares or set as a rotation, that then moves points.
// Plain data with no locks: a finished object may be read by several threads
// while nobody calls Create or Reset. Failure is a 0 result, never a throw,
// except that exhausted memory during a fit throws std::bad_alloc.
#pragma once

#include "KVDbase/geometry/XVector.h"
#include "KVDbase/platform/Export.h"

class KVD_API XWarpCoeff {
public:
    // The models that order selects. Order is not the polynomial degree.
    enum {
        ORDER_NONE = -1,     // no transform: WarpPoint fails
        ORDER_IDENTITY = 0,  // WarpPoint leaves the point alone and succeeds
        ORDER_SCALE = 1,     // x' = A0 x + A1, y' = B0 y + B1
        ORDER_AFFINE = 2,    // A0 x + A1 y + A2
        ORDER_BILINEAR = 3,  // A0 x + A1 y + A2 xy + A3
        ORDER_QUADRATIC = 4, // A0 x^2 + A1 y^2 + A2 xy + A3 x + A4 y + A5
        ORDER_CUBIC = 5,     // A0 x^3 + A1 y^3 + A2 x^2 y + A3 x y^2 + A4 x^2 + A5 y^2
                             // + A6 xy + A7 x + A8 y + A9
    };
    enum { MAX_COEFFS = 10 };

    // A new object is reset: order -1, so WarpPoint fails until a fit.
    XWarpCoeff();
    XWarpCoeff(const XWarpCoeff& src);
    XWarpCoeff& operator=(const XWarpCoeff& src);
    virtual ~XWarpCoeff();

    // order -1 and all coefficients 0; error is left as it was.
    virtual void Reset();

    // Every form below ends in WarpPoint(double&, double&), the one a
    // subclass overrides. The array forms move every point even after a
    // failure and return 1 only if all succeeded; the forms with a separate
    // output copy the input there first.
    virtual int WarpPoint(tagXVector2* pPoints, int nCount);
    virtual int WarpPoint(tagXVector2 in, tagXVector2& out);
    virtual int WarpPoint(tagXVector2& point);
    virtual int WarpPoint(double* pX, double* pY, int nCount);
    virtual int WarpPoint(double dX, double dY, double& dOutX, double& dOutY);
    // Evaluates the model and stores both outputs together; 0 for order -1
    // or an order outside the models.
    virtual int WarpPoint(double& dX, double& dY);

    // 1 when order is 0 or less, whatever the coefficients.
    virtual int IsUnchanged();

    // Fits model nOrder (2 to 5) to the control points whose pUse entry is
    // non-zero (pUse may be null: all points). Needs at least 3, 4, 6 or 10
    // points. Returns 0, with the object reset, for another order, too few
    // points or a singular system; on success stores the fit's error.
    int Create(int nOrder, int nCount, double* pSourceX, double* pSourceY, double* pTargetX, double* pTargetY,
               int* pUse);
    int Create(int nOrder, int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse);

    // Rotation by dAngleDegrees about (dCenterX, dCenterY), positive from the
    // x axis toward the y axis, as an affine model with zero error.
    void CreateRotation(double dAngleDegrees, double dCenterX, double dCenterY);

    // Root mean square residuals (target minus mapped source) of the used
    // points: x, y, and both together. Points that are excluded or fail to map
    // get 1.7e308 in the residual arrays (each may be null), and with no point
    // counted all three results are 1.7e308.
    tagXVector3 CalcError(int nCount, double* pSourceX, double* pSourceY, double* pTargetX, double* pTargetY,
                          int* pUse, double* pResidualX, double* pResidualY);
    tagXVector3 CalcError(int nCount, tagXVector2* pSource, tagXVector2* pTarget, int* pUse,
                          tagXVector2* pResidual);

    // Read access for applications. The coefficient arrays hold MAX_COEFFS
    // values, those past the model's terms 0.
    int GetOrder() const { return order; }
    const double* GetCoeffX() const { return coeffX; }
    const double* GetCoeffY() const { return coeffY; }
    tagXVector3 GetError() const { return error; }

protected:
    // A back buffer derives its view transforms rather than fitting them and
    // writes their coefficients itself.
    friend class XBackBuffer;

    int order;
    double coeffX[MAX_COEFFS];
    double coeffY[MAX_COEFFS];
    tagXVector3 error;

private:
    // Stores the fitted unknowns of model nOrder and sets order.
    void SetFit(int nOrder, const double* pUnknowns);
};
