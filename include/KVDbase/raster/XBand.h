// XBand: the abstract description of one raster band, its identity, pixel
// type, sizes, statistics and histogram, with reads and writes of pixels,
// lines and rectangles that all come down to one ReadSubset and two
// WriteSubset operations of a subclass. No locks; results are int, non-zero
// for success. Registered as "XBand", not creatable by name.
#pragma once

#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

struct tagXArr2;

// Statistics not yet known hold this value, the upper limit of the pixel
// data types.
const double XBAND_NOT_KNOWN = 1.7e308;

class KVD_API XBand : public XObject {
    XDECLARE_DYNAMIC(XBand)
public:
    int ID;
    XString BandName;
    int64_t OffsetInFile;   // left unset here: whoever creates a band sets it
    int DataType;           // pixel data type code
    int XSize;
    int YSize;
    int XTileSize;
    int YTileSize;
    int CompressionInfo;    // opaque to this class
    double BandMin;
    double BandMax;
    double BandMean;
    double BandStdDev;
    int64_t Histogram[256];
    double NullValue;

    XBand();
    ~XBand() override;

    int GetID() { return ID; }
    void SetID(int id) { ID = id; }
    XString GetBandName() { return BandName; }
    void SetBandName(XString name) { BandName = name; }
    int64_t GetOffsetInFile() { return OffsetInFile; }
    void SetOffsetInFile(int64_t offset) { OffsetInFile = offset; }
    void SetDataType(int type) { DataType = type; }
    int GetCompressionInfo() { return CompressionInfo; }
    void SetCompressionInfo(int info) { CompressionInfo = info; }

    int GetXSize() { return XSize; }
    int GetYSize() { return YSize; }
    void SetXSize(int x) { XSize = x; }
    void SetYSize(int y) { YSize = y; }
    void GetSize(int& x, int& y) { x = XSize; y = YSize; }
    void SetSize(int x, int y) { XSize = x; YSize = y; }

    int GetXTileSize() { return XTileSize; }
    int GetYTileSize() { return YTileSize; }
    void SetXTileSize(int x) { XTileSize = x; }
    void SetYTileSize(int y) { YTileSize = y; }
    void GetTileSize(int& x, int& y) { x = XTileSize; y = YTileSize; }
    void SetTileSize(int x, int y) { XTileSize = x; YTileSize = y; }

    double GetBandMin() { return BandMin; }
    double GetBandMax() { return BandMax; }
    double GetBandMean() { return BandMean; }
    double GetBandStdDev() { return BandStdDev; }
    void SetBandMin(double d) { BandMin = d; }
    void SetBandMax(double d) { BandMax = d; }
    void SetBandMean(double d) { BandMean = d; }
    void SetBandStdDev(double d) { BandStdDev = d; }

    double GetNullValue() { return NullValue; }
    void SetNullValue(double d) { NullValue = d; }

    // The 256 counters inside the object; the caller may write through it.
    int64_t* GetHistogram() { return Histogram; }
    // Copies 256 counters (2048 bytes) from counters.
    void SetHistogram(int64_t* counters);
    // Bytes per pixel of DataType.
    int GetDataSize();

    // A subclass may report a code other than DataType.
    virtual int GetDataType();

    // Reads. The subclass's ReadSubset supplies the array; the caller does
    // not allocate it. selector is handed on untouched (0 for ReadPixel).
    virtual int ReadLineH(tagXArr2*& pixels, int selector, int x0, int x1, int y);
    virtual int ReadLineH(tagXArr2*& pixels, int selector, int y);
    virtual int ReadLineV(tagXArr2*& pixels, int selector, int x, int y0, int y1);
    virtual int ReadLineV(tagXArr2*& pixels, int selector, int x);
    // 0 without a call to ReadSubset for a pixel outside the band.
    virtual int ReadPixel(tagXArr2*& pixels, int x, int y);

    // Writes; flag and value are handed on untouched and mean what the
    // subclass makes them mean. No bounds are tested.
    virtual int WriteLineH(void* pixels, int x0, int x1, int y, bool flag, double value);
    virtual int WriteLineH(void* pixels, int y, bool flag, double value);
    virtual int WriteLineH(tagXArr2* pixels, int x0, int x1, int y, bool flag, double value);
    virtual int WriteLineH(tagXArr2* pixels, int y, bool flag, double value);
    virtual int WriteLineV(void* pixels, int x, int y0, int y1, bool flag, double value);
    virtual int WriteLineV(void* pixels, int x, bool flag, double value);
    virtual int WriteLineV(tagXArr2* pixels, int x, int y0, int y1, bool flag, double value);
    virtual int WriteLineV(tagXArr2* pixels, int x, bool flag, double value);
    virtual int WritePixel(void* pixels, int x, int y, bool flag, double value);
    virtual int WritePixel(tagXArr2* pixels, int x, int y, bool flag, double value);

    // The array form's data pointer and first and second dimensions; on
    // failure all three stay as they were. The pointer belongs to the array,
    // and the array to the subclass.
    virtual int ReadSubset(void*& data, int& first, int& second, int selector, int x0, int x1, int y0, int y1,
                           int* extra);

    // What a subclass supplies. Inclusive coordinates. (A subclass that
    // overrides one overload brings the others back with
    // "using XBand::ReadSubset;".)
    virtual int ReadSubset(tagXArr2*& pixels, int selector, int x0, int x1, int y0, int y1, int* extra) = 0;
    virtual int WriteSubset(void* pixels, int x0, int x1, int y0, int y1, bool flag, double value) = 0;
    virtual int WriteSubset(tagXArr2* pixels, int x0, int x1, int y0, int y1, bool flag, double value) = 0;
};
