// XComplex.h: complex pixel values, one record per element type, each a real
// and an imaginary part. tagXComplex (double) is the hub: the others convert to
// and from it, never to each other. Plain values; no failure is reported, and a
// division by zero gives whatever the element type's conversion makes of it.
#pragma once

#include "KVDbase/platform/Export.h"

#include <cstdint>

struct tagXComplex;
struct tagXComplexf;
struct tagXComplexc;
struct tagXComplexuc;
struct tagXComplexs;
struct tagXComplexus;
struct tagXComplexl;
struct tagXComplexul;
struct tagXComplexll;
struct tagXComplexull;

// Integer records: sums, differences and negation wrap around in the element
// type. Binary * works in 32-bit integers (64-bit for ll and ull) and narrows;
// *= takes the same integer products through float (double for ll and ull)
// and truncates back, so for wide parts the two can differ. / and /= divide
// in float (double for ll and ull) and truncate toward zero.

// Element double, pixel type 16; the hub that the others convert through.
struct KVD_API tagXComplex {
    double re;
    double im;

    tagXComplex() : re(0), im(0) {}
    tagXComplex(double dRe, double dIm) : re(dRe), im(dIm) {}

    bool operator==(const tagXComplex& z) const;
    bool operator!=(const tagXComplex& z) const;
    tagXComplex operator+(const tagXComplex& z) const;
    tagXComplex operator-(const tagXComplex& z) const;
    tagXComplex operator*(const tagXComplex& z) const;
    tagXComplex operator/(const tagXComplex& z) const;
    tagXComplex operator-() const;
    tagXComplex& operator+=(const tagXComplex& z);
    tagXComplex& operator-=(const tagXComplex& z);
    tagXComplex& operator*=(const tagXComplex& z);
    tagXComplex& operator/=(const tagXComplex& z);

    // Exact widening; the unsigned records widen as unsigned values.
    tagXComplex& operator=(const tagXComplexc& z);
    tagXComplex& operator=(const tagXComplexf& z);
    tagXComplex& operator=(const tagXComplexl& z);
    tagXComplex& operator=(const tagXComplexs& z);
    tagXComplex& operator=(const tagXComplexuc& z);
    tagXComplex& operator=(const tagXComplexul& z);
    tagXComplex& operator=(const tagXComplexus& z);
};

// Element float, pixel type 15.
struct KVD_API tagXComplexf {
    float re;
    float im;

    tagXComplexf() : re(0), im(0) {}
    tagXComplexf(float fRe, float fIm) : re(fRe), im(fIm) {}

    bool operator==(const tagXComplexf& z) const;
    bool operator!=(const tagXComplexf& z) const;
    tagXComplexf operator+(const tagXComplexf& z) const;
    tagXComplexf operator-(const tagXComplexf& z) const;
    tagXComplexf operator*(const tagXComplexf& z) const;
    tagXComplexf operator/(const tagXComplexf& z) const;
    tagXComplexf operator-() const;
    tagXComplexf& operator+=(const tagXComplexf& z);
    tagXComplexf& operator-=(const tagXComplexf& z);
    tagXComplexf& operator*=(const tagXComplexf& z);
    tagXComplexf& operator/=(const tagXComplexf& z);

    tagXComplexf& operator=(const tagXComplex& z);
};

// Element int8_t, pixel type 10.
struct KVD_API tagXComplexc {
    int8_t re;
    int8_t im;

    tagXComplexc() : re(0), im(0) {}
    tagXComplexc(int8_t nRe, int8_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexc& z) const;
    bool operator!=(const tagXComplexc& z) const;
    tagXComplexc operator+(const tagXComplexc& z) const;
    tagXComplexc operator-(const tagXComplexc& z) const;
    tagXComplexc operator*(const tagXComplexc& z) const;
    tagXComplexc operator/(const tagXComplexc& z) const;
    tagXComplexc operator-() const;
    tagXComplexc& operator+=(const tagXComplexc& z);
    tagXComplexc& operator-=(const tagXComplexc& z);
    tagXComplexc& operator*=(const tagXComplexc& z);
    tagXComplexc& operator/=(const tagXComplexc& z);

    tagXComplexc& operator=(const tagXComplex& z);
};

// Element uint8_t, pixel type 9.
struct KVD_API tagXComplexuc {
    uint8_t re;
    uint8_t im;

    tagXComplexuc() : re(0), im(0) {}
    tagXComplexuc(uint8_t nRe, uint8_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexuc& z) const;
    bool operator!=(const tagXComplexuc& z) const;
    tagXComplexuc operator+(const tagXComplexuc& z) const;
    tagXComplexuc operator-(const tagXComplexuc& z) const;
    tagXComplexuc operator*(const tagXComplexuc& z) const;
    tagXComplexuc operator/(const tagXComplexuc& z) const;
    tagXComplexuc operator-() const;
    tagXComplexuc& operator+=(const tagXComplexuc& z);
    tagXComplexuc& operator-=(const tagXComplexuc& z);
    tagXComplexuc& operator*=(const tagXComplexuc& z);
    tagXComplexuc& operator/=(const tagXComplexuc& z);

    tagXComplexuc& operator=(const tagXComplex& z);
};

// Element int16_t, pixel type 12.
struct KVD_API tagXComplexs {
    int16_t re;
    int16_t im;

    tagXComplexs() : re(0), im(0) {}
    tagXComplexs(int16_t nRe, int16_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexs& z) const;
    bool operator!=(const tagXComplexs& z) const;
    tagXComplexs operator+(const tagXComplexs& z) const;
    tagXComplexs operator-(const tagXComplexs& z) const;
    tagXComplexs operator*(const tagXComplexs& z) const;
    tagXComplexs operator/(const tagXComplexs& z) const;
    tagXComplexs operator-() const;
    tagXComplexs& operator+=(const tagXComplexs& z);
    tagXComplexs& operator-=(const tagXComplexs& z);
    tagXComplexs& operator*=(const tagXComplexs& z);
    tagXComplexs& operator/=(const tagXComplexs& z);

    tagXComplexs& operator=(const tagXComplex& z);
};

// Element uint16_t, pixel type 11.
struct KVD_API tagXComplexus {
    uint16_t re;
    uint16_t im;

    tagXComplexus() : re(0), im(0) {}
    tagXComplexus(uint16_t nRe, uint16_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexus& z) const;
    bool operator!=(const tagXComplexus& z) const;
    tagXComplexus operator+(const tagXComplexus& z) const;
    tagXComplexus operator-(const tagXComplexus& z) const;
    tagXComplexus operator*(const tagXComplexus& z) const;
    tagXComplexus operator/(const tagXComplexus& z) const;
    tagXComplexus operator-() const;
    tagXComplexus& operator+=(const tagXComplexus& z);
    tagXComplexus& operator-=(const tagXComplexus& z);
    tagXComplexus& operator*=(const tagXComplexus& z);
    tagXComplexus& operator/=(const tagXComplexus& z);

    tagXComplexus& operator=(const tagXComplex& z);
};

// Element int32_t, pixel type 14.
struct KVD_API tagXComplexl {
    int32_t re;
    int32_t im;

    tagXComplexl() : re(0), im(0) {}
    tagXComplexl(int32_t nRe, int32_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexl& z) const;
    bool operator!=(const tagXComplexl& z) const;
    tagXComplexl operator+(const tagXComplexl& z) const;
    tagXComplexl operator-(const tagXComplexl& z) const;
    tagXComplexl operator*(const tagXComplexl& z) const;
    tagXComplexl operator/(const tagXComplexl& z) const;
    tagXComplexl operator-() const;
    tagXComplexl& operator+=(const tagXComplexl& z);
    tagXComplexl& operator-=(const tagXComplexl& z);
    tagXComplexl& operator*=(const tagXComplexl& z);
    tagXComplexl& operator/=(const tagXComplexl& z);

    tagXComplexl& operator=(const tagXComplex& z);
};

// Element uint32_t, pixel type 13.
struct KVD_API tagXComplexul {
    uint32_t re;
    uint32_t im;

    tagXComplexul() : re(0), im(0) {}
    tagXComplexul(uint32_t nRe, uint32_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexul& z) const;
    bool operator!=(const tagXComplexul& z) const;
    tagXComplexul operator+(const tagXComplexul& z) const;
    tagXComplexul operator-(const tagXComplexul& z) const;
    tagXComplexul operator*(const tagXComplexul& z) const;
    tagXComplexul operator/(const tagXComplexul& z) const;
    tagXComplexul operator-() const;
    tagXComplexul& operator+=(const tagXComplexul& z);
    tagXComplexul& operator-=(const tagXComplexul& z);
    tagXComplexul& operator*=(const tagXComplexul& z);
    tagXComplexul& operator/=(const tagXComplexul& z);

    tagXComplexul& operator=(const tagXComplex& z);
};

// Element int64_t, pixel type none.
struct KVD_API tagXComplexll {
    int64_t re;
    int64_t im;

    tagXComplexll() : re(0), im(0) {}
    tagXComplexll(int64_t nRe, int64_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexll& z) const;
    bool operator!=(const tagXComplexll& z) const;
    tagXComplexll operator+(const tagXComplexll& z) const;
    tagXComplexll operator-(const tagXComplexll& z) const;
    tagXComplexll operator*(const tagXComplexll& z) const;
    tagXComplexll operator/(const tagXComplexll& z) const;
    tagXComplexll operator-() const;
    tagXComplexll& operator+=(const tagXComplexll& z);
    tagXComplexll& operator-=(const tagXComplexll& z);
    tagXComplexll& operator*=(const tagXComplexll& z);
    tagXComplexll& operator/=(const tagXComplexll& z);

    tagXComplexll& operator=(const tagXComplex& z);
};

// Element uint64_t, pixel type none.
struct KVD_API tagXComplexull {
    uint64_t re;
    uint64_t im;

    tagXComplexull() : re(0), im(0) {}
    tagXComplexull(uint64_t nRe, uint64_t nIm) : re(nRe), im(nIm) {}

    bool operator==(const tagXComplexull& z) const;
    bool operator!=(const tagXComplexull& z) const;
    tagXComplexull operator+(const tagXComplexull& z) const;
    tagXComplexull operator-(const tagXComplexull& z) const;
    tagXComplexull operator*(const tagXComplexull& z) const;
    tagXComplexull operator/(const tagXComplexull& z) const;
    tagXComplexull operator-() const;
    tagXComplexull& operator+=(const tagXComplexull& z);
    tagXComplexull& operator-=(const tagXComplexull& z);
    tagXComplexull& operator*=(const tagXComplexull& z);
    tagXComplexull& operator/=(const tagXComplexull& z);

    tagXComplexull& operator=(const tagXComplex& z);
};

static_assert(sizeof(tagXComplex) == 16 && sizeof(tagXComplexf) == 8 && sizeof(tagXComplexc) == 2 &&
                  sizeof(tagXComplexuc) == 2 && sizeof(tagXComplexs) == 4 && sizeof(tagXComplexus) == 4 &&
                  sizeof(tagXComplexl) == 8 && sizeof(tagXComplexul) == 8 && sizeof(tagXComplexll) == 16 &&
                  sizeof(tagXComplexull) == 16,
              "complex records are two bare elements");
