#include "KVDbase/geometry/XComplex.h"

#include <type_traits>

namespace {

// Truncations toward zero that give, for values the target cannot hold, what
// the x86-64 conversion instructions give (the "integer indefinite" value),
// instead of leaving the result undefined.
int32_t XfnTruncToInt32(double d)
{
    if (!(d > -2147483649.0 && d < 2147483648.0))
        return INT32_MIN;
    return static_cast<int32_t>(d);
}

int64_t XfnTruncToInt64(double d)
{
    if (!(d >= -9223372036854775808.0 && d < 9223372036854775808.0))
        return INT64_MIN;
    return static_cast<int64_t>(d);
}

// Through the 64-bit conversion, keeping the low 32 bits.
uint32_t XfnTruncToUInt32(double d)
{
    return static_cast<uint32_t>(static_cast<uint64_t>(XfnTruncToInt64(d)));
}

// Values from 2^63 on are shifted into the signed range and the top bit put
// back, as the compiled conversion does.
uint64_t XfnTruncToUInt64(double d)
{
    const double dTwo63 = 9223372036854775808.0;
    if (d >= dTwo63)
        return static_cast<uint64_t>(XfnTruncToInt64(d - dTwo63)) ^ (uint64_t(1) << 63);
    return static_cast<uint64_t>(XfnTruncToInt64(d));
}

// How each integer element type computes. Wide is the integer type of the
// products and sums of products (the 8- and 16-bit types promote to a signed
// 32-bit int), Real the floating type of *= and of division.
template <class E> struct XComplexMath;

template <class E, class W, class R> struct XComplexMathBase {
    typedef W Wide;
    typedef typename std::make_unsigned<W>::type UWide;
    typedef R Real;
    static R ToReal(W n) { return static_cast<R>(n); }
};

// The narrow types truncate to 32 bits and keep the low bits.
template <class E> struct XComplexMathNarrow : XComplexMathBase<E, int32_t, float> {
    static E FromReal(float f) { return static_cast<E>(XfnTruncToInt32(f)); }
};

template <> struct XComplexMath<int8_t> : XComplexMathNarrow<int8_t> {};
template <> struct XComplexMath<uint8_t> : XComplexMathNarrow<uint8_t> {};
template <> struct XComplexMath<int16_t> : XComplexMathNarrow<int16_t> {};
template <> struct XComplexMath<uint16_t> : XComplexMathNarrow<uint16_t> {};
template <> struct XComplexMath<int32_t> : XComplexMathNarrow<int32_t> {};

template <> struct XComplexMath<uint32_t> : XComplexMathBase<uint32_t, uint32_t, float> {
    // The unsigned value reaches float by way of double.
    static float ToReal(uint32_t n) { return static_cast<float>(static_cast<double>(n)); }
    static uint32_t FromReal(float f) { return XfnTruncToUInt32(f); }
};

template <> struct XComplexMath<int64_t> : XComplexMathBase<int64_t, int64_t, double> {
    static int64_t FromReal(double d) { return XfnTruncToInt64(d); }
};

template <> struct XComplexMath<uint64_t> : XComplexMathBase<uint64_t, uint64_t, double> {
    static uint64_t FromReal(double d) { return XfnTruncToUInt64(d); }
};

// The record's arithmetic. Integer work goes through the unsigned form of the
// wide type, so that overflow wraps as it does in the machine instead of
// being undefined; the wrapped value is then read back as Wide.
template <class C>
struct XComplexOps {
    typedef decltype(C::re) E;
    static constexpr bool bFloating = std::is_floating_point<E>::value;

    static bool Equal(const C& a, const C& b) { return a.re == b.re && a.im == b.im; }

    static C Add(const C& a, const C& b)
    {
        if constexpr (bFloating) {
            return C(a.re + b.re, a.im + b.im);
        } else {
            typedef typename XComplexMath<E>::UWide U;
            return C(static_cast<E>(U(a.re) + U(b.re)), static_cast<E>(U(a.im) + U(b.im)));
        }
    }

    static C Subtract(const C& a, const C& b)
    {
        if constexpr (bFloating) {
            return C(a.re - b.re, a.im - b.im);
        } else {
            typedef typename XComplexMath<E>::UWide U;
            return C(static_cast<E>(U(a.re) - U(b.re)), static_cast<E>(U(a.im) - U(b.im)));
        }
    }

    static C Negate(const C& a)
    {
        if constexpr (bFloating) {
            return C(-a.re, -a.im);
        } else {
            typedef typename XComplexMath<E>::UWide U;
            return C(static_cast<E>(U(0) - U(a.re)), static_cast<E>(U(0) - U(a.im)));
        }
    }

    // The two integer expressions a c - b d and a d + b c in the wide type.
    template <class W>
    static void Products(const C& a, const C& b, W& nRe, W& nIm)
    {
        typedef typename std::make_unsigned<W>::type U;
        nRe = static_cast<W>(U(a.re) * U(b.re) - U(a.im) * U(b.im));
        nIm = static_cast<W>(U(a.re) * U(b.im) + U(a.im) * U(b.re));
    }

    static C Multiply(const C& a, const C& b)
    {
        if constexpr (bFloating) {
            return C(a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re);
        } else {
            typename XComplexMath<E>::Wide nRe, nIm;
            Products(a, b, nRe, nIm);
            return C(static_cast<E>(nRe), static_cast<E>(nIm));
        }
    }

    // *= rounds the integer products through the floating type before
    // truncating them back; binary * does not.
    static C MultiplyAssign(const C& a, const C& b)
    {
        if constexpr (bFloating) {
            return Multiply(a, b);
        } else {
            typedef XComplexMath<E> M;
            typename M::Wide nRe, nIm;
            Products(a, b, nRe, nIm);
            return C(M::FromReal(M::ToReal(nRe)), M::FromReal(M::ToReal(nIm)));
        }
    }

    static C Divide(const C& a, const C& b)
    {
        if constexpr (bFloating) {
            const E n = b.re * b.re + b.im * b.im;
            return C((a.re * b.re + a.im * b.im) / n, (a.im * b.re - a.re * b.im) / n);
        } else {
            typedef XComplexMath<E> M;
            typedef typename M::Wide W;
            typedef typename M::UWide U;
            const W n = static_cast<W>(U(b.re) * U(b.re) + U(b.im) * U(b.im));
            const W nRe = static_cast<W>(U(a.re) * U(b.re) + U(a.im) * U(b.im));
            const W nIm = static_cast<W>(U(a.im) * U(b.re) - U(a.re) * U(b.im));
            const typename M::Real r = M::ToReal(n);
            return C(M::FromReal(M::ToReal(nRe) / r), M::FromReal(M::ToReal(nIm) / r));
        }
    }
};

} // namespace

// Stamps out the operators that every record has.
#define XCOMPLEX_DEFINE_OPERATORS(C)                                                              \
    bool C::operator==(const C& z) const { return XComplexOps<C>::Equal(*this, z); }            \
    bool C::operator!=(const C& z) const { return !XComplexOps<C>::Equal(*this, z); }           \
    C C::operator+(const C& z) const { return XComplexOps<C>::Add(*this, z); }                  \
    C C::operator-(const C& z) const { return XComplexOps<C>::Subtract(*this, z); }             \
    C C::operator*(const C& z) const { return XComplexOps<C>::Multiply(*this, z); }             \
    C C::operator/(const C& z) const { return XComplexOps<C>::Divide(*this, z); }               \
    C C::operator-() const { return XComplexOps<C>::Negate(*this); }                            \
    C& C::operator+=(const C& z) { return *this = XComplexOps<C>::Add(*this, z); }              \
    C& C::operator-=(const C& z) { return *this = XComplexOps<C>::Subtract(*this, z); }         \
    C& C::operator*=(const C& z) { return *this = XComplexOps<C>::MultiplyAssign(*this, z); }   \
    C& C::operator/=(const C& z) { return *this = XComplexOps<C>::Divide(*this, z); }

XCOMPLEX_DEFINE_OPERATORS(tagXComplex)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexf)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexc)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexuc)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexs)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexus)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexl)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexul)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexll)
XCOMPLEX_DEFINE_OPERATORS(tagXComplexull)

#undef XCOMPLEX_DEFINE_OPERATORS

namespace {

template <class C>
tagXComplex& XfnComplexWiden(tagXComplex& to, const C& from)
{
    to.re = static_cast<double>(from.re);
    to.im = static_cast<double>(from.im);
    return to;
}

// The narrow records truncate to 32 bits and keep the low bits, with no
// saturation.
template <class C>
C& XfnComplexNarrow(C& to, const tagXComplex& from)
{
    typedef decltype(C::re) E;
    to.re = static_cast<E>(XfnTruncToInt32(from.re));
    to.im = static_cast<E>(XfnTruncToInt32(from.im));
    return to;
}

} // namespace

tagXComplex& tagXComplex::operator=(const tagXComplexc& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexf& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexl& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexs& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexuc& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexul& z) { return XfnComplexWiden(*this, z); }
tagXComplex& tagXComplex::operator=(const tagXComplexus& z) { return XfnComplexWiden(*this, z); }

tagXComplexf& tagXComplexf::operator=(const tagXComplex& z)
{
    re = static_cast<float>(z.re);
    im = static_cast<float>(z.im);
    return *this;
}

tagXComplexc& tagXComplexc::operator=(const tagXComplex& z) { return XfnComplexNarrow(*this, z); }
tagXComplexuc& tagXComplexuc::operator=(const tagXComplex& z) { return XfnComplexNarrow(*this, z); }
tagXComplexs& tagXComplexs::operator=(const tagXComplex& z) { return XfnComplexNarrow(*this, z); }
tagXComplexus& tagXComplexus::operator=(const tagXComplex& z) { return XfnComplexNarrow(*this, z); }
tagXComplexl& tagXComplexl::operator=(const tagXComplex& z) { return XfnComplexNarrow(*this, z); }

tagXComplexul& tagXComplexul::operator=(const tagXComplex& z)
{
    re = XfnTruncToUInt32(z.re);
    im = XfnTruncToUInt32(z.im);
    return *this;
}

tagXComplexll& tagXComplexll::operator=(const tagXComplex& z)
{
    re = XfnTruncToInt64(z.re);
    im = XfnTruncToInt64(z.im);
    return *this;
}

tagXComplexull& tagXComplexull::operator=(const tagXComplex& z)
{
    re = XfnTruncToUInt64(z.re);
    im = XfnTruncToUInt64(z.im);
    return *this;
}
