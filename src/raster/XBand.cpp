// XBand: bookkeeping, and every convenience read and write as one call of
// the subclass's ReadSubset or WriteSubset.
#include "KVDbase/raster/XBand.h"

#include "KVDbase/collections/XDimArray.h"
#include "KVDbase/raster/XDataType.h"

#include <cstring>

XIMPLEMENT_DYNAMIC(XBand, XObject)

// OffsetInFile is deliberately not initialised: nothing here reads it, and
// the code that creates a band always sets it.
XBand::XBand()
    : ID(-1), DataType(1), XSize(0), YSize(0), XTileSize(256), YTileSize(256), CompressionInfo(0),
      BandMin(XBAND_NOT_KNOWN), BandMax(XBAND_NOT_KNOWN), BandMean(XBAND_NOT_KNOWN), BandStdDev(XBAND_NOT_KNOWN),
      Histogram(), NullValue(XBAND_NOT_KNOWN)
{
}

XBand::~XBand() {}

void XBand::SetHistogram(int64_t* counters)
{
    std::memcpy(Histogram, counters, sizeof(Histogram));
}

int XBand::GetDataSize()
{
    return XfnGetDataSize(DataType);
}

int XBand::GetDataType()
{
    return DataType;
}

int XBand::ReadLineH(tagXArr2*& pixels, int selector, int x0, int x1, int y)
{
    return ReadSubset(pixels, selector, x0, x1, y, y, nullptr);
}

int XBand::ReadLineH(tagXArr2*& pixels, int selector, int y)
{
    return ReadSubset(pixels, selector, 0, XSize - 1, y, y, nullptr);
}

int XBand::ReadLineV(tagXArr2*& pixels, int selector, int x, int y0, int y1)
{
    return ReadSubset(pixels, selector, x, x, y0, y1, nullptr);
}

int XBand::ReadLineV(tagXArr2*& pixels, int selector, int x)
{
    return ReadSubset(pixels, selector, x, x, 0, YSize - 1, nullptr);
}

int XBand::ReadPixel(tagXArr2*& pixels, int x, int y)
{
    if (x < 0 || x > GetXSize() - 1 || y < 0 || y > GetYSize() - 1)
        return 0;
    return ReadSubset(pixels, 0, x, x, y, y, nullptr);
}

int XBand::WriteLineH(void* pixels, int x0, int x1, int y, bool flag, double value)
{
    return WriteSubset(pixels, x0, x1, y, y, flag, value);
}

int XBand::WriteLineH(void* pixels, int y, bool flag, double value)
{
    return WriteSubset(pixels, 0, XSize - 1, y, y, flag, value);
}

int XBand::WriteLineH(tagXArr2* pixels, int x0, int x1, int y, bool flag, double value)
{
    return WriteSubset(pixels, x0, x1, y, y, flag, value);
}

int XBand::WriteLineH(tagXArr2* pixels, int y, bool flag, double value)
{
    return WriteSubset(pixels, 0, XSize - 1, y, y, flag, value);
}

int XBand::WriteLineV(void* pixels, int x, int y0, int y1, bool flag, double value)
{
    return WriteSubset(pixels, x, x, y0, y1, flag, value);
}

int XBand::WriteLineV(void* pixels, int x, bool flag, double value)
{
    return WriteSubset(pixels, x, x, 0, YSize - 1, flag, value);
}

int XBand::WriteLineV(tagXArr2* pixels, int x, int y0, int y1, bool flag, double value)
{
    return WriteSubset(pixels, x, x, y0, y1, flag, value);
}

int XBand::WriteLineV(tagXArr2* pixels, int x, bool flag, double value)
{
    return WriteSubset(pixels, x, x, 0, YSize - 1, flag, value);
}

int XBand::WritePixel(void* pixels, int x, int y, bool flag, double value)
{
    return WriteSubset(pixels, x, x, y, y, flag, value);
}

int XBand::WritePixel(tagXArr2* pixels, int x, int y, bool flag, double value)
{
    return WriteSubset(pixels, x, x, y, y, flag, value);
}

int XBand::ReadSubset(void*& data, int& first, int& second, int selector, int x0, int x1, int y0, int y1,
                      int* extra)
{
    tagXArr2* pArray = nullptr;
    const int nResult = ReadSubset(pArray, selector, x0, x1, y0, y1, extra);
    if (nResult != 0 && pArray != nullptr) {
        data = pArray->pData;
        first = pArray->nDim1;
        second = pArray->nDim2;
    }
    return nResult;
}
