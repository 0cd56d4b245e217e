#include "io/codecs/tiff.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <mutex>
#include <set>

#include "image/bitmap.h"
#include "image/convert.h"
#include "image/settings.h"
#include "io/codecs/jpeg.h"
#include "io/codecs/tiff_ccitt.h"
#include "io/codecs/tiff_decode.h"
#include "io/codecs/tiff_ifd.h"
#include "io/codecs/tiff_ojpeg.h"
#include "io/codecs/tiff_rows.h"
#include "io/orientation.h"

static_assert(std::endian::native == std::endian::little, "samples are swapped into little-endian order");

namespace {

enum : uint16_t {
    kTagNewSubfileType = 254,
    kTagImageWidth = 256,
    kTagImageLength = 257,
    kTagBitsPerSample = 258,
    kTagCompression = 259,
    kTagPhotometric = 262,
    kTagFillOrder = 266,
    kTagDocumentName = 269,
    kTagImageDescription = 270,
    kTagStripOffsets = 273,
    kTagOrientation = 274,
    kTagSamplesPerPixel = 277,
    kTagRowsPerStrip = 278,
    kTagStripByteCounts = 279,
    kTagXResolution = 282,
    kTagYResolution = 283,
    kTagPlanarConfig = 284,
    kTagPageName = 285,
    kTagXPosition = 286,
    kTagYPosition = 287,
    kTagT4Options = 292,
    kTagT6Options = 293,
    kTagResolutionUnit = 296,
    kTagPageNumber = 297,
    kTagSoftware = 305,
    kTagPredictor = 317,
    kTagColorMap = 320,
    kTagTileWidth = 322,
    kTagTileLength = 323,
    kTagTileOffsets = 324,
    kTagTileByteCounts = 325,
    kTagSubIFDs = 330,
    kTagExtraSamples = 338,
    kTagSampleFormat = 339,
    kTagJPEGTables = 347,
    kTagJPEGProc = 512,
    kTagJPEGIFOffset = 513,
    kTagJPEGIFByteCount = 514,
    kTagYCbCrCoefficients = 529,
    kTagYCbCrSubSampling = 530,
    kTagXMP = 700,
    kTagICCProfile = 34675,
    kTagPhotoshopResources = 34377,
    kTagPhotoshopSourceData = 37724,
    kTagExifIFD = 34665,
};

enum : int32_t { kPhotometricWhiteIsZero = 0, kPhotometricBlackIsZero = 1, kPhotometricRGB = 2 };
enum : int32_t { kPhotometricPalette = 3, kPhotometricSeparated = 5, kPhotometricYCbCr = 6 };
enum : int32_t { kCompressionOldJpeg = 6, kCompressionJpeg = 7 };

std::mutex gLimitsLock;
TIETiffLimits gLimits;

// Stretches floating-point grey so that its smallest value becomes 0 and its largest 1.
void Normalize32f(TIEBitmap& Bitmap) {
    float low = INFINITY, high = -INFINITY;
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        if (const auto* row = static_cast<const float*>(Bitmap.GetScanline(y)))
            for (int32_t x = 0; x < Bitmap.Width(); ++x)
                if (std::isfinite(row[x])) {
                    low = std::min(low, row[x]);
                    high = std::max(high, row[x]);
                }
    if (!(high > low)) return;
    const float range = high - low;
    for (int32_t y = 0; y < Bitmap.Height(); ++y)
        if (auto* row = static_cast<float*>(Bitmap.GetScanline(y)))
            for (int32_t x = 0; x < Bitmap.Width(); ++x)
                row[x] = std::isfinite(row[x]) ? (row[x] - low) / range : 0;
}

TIOTIFFCompression CompressionOf(int64_t Code, int64_t T4Options) {
    switch (Code) {
    case 1:
        return ioTIFF_UNCOMPRESSED;
    case 2:
        return ioTIFF_CCITT1D;
    case 3:
        return (T4Options & 1) ? ioTIFF_G3FAX2D : ioTIFF_G3FAX1D;
    case 4:
        return ioTIFF_G4FAX;
    case 5:
        return ioTIFF_LZW;
    case 6:
        return ioTIFF_OLDJPEG;
    case 7:
        return ioTIFF_JPEG;
    case 8:
        return ioTIFF_DEFLATE;
    case 32773:
        return ioTIFF_PACKBITS;
    case 32946:
        return ioTIFF_ZIP;
    default:
        return ioTIFF_UNKNOWN;
    }
}

TIOTIFFPhotometInterpret PhotometricOf(int32_t Code) {
    return Code == 8 ? ioTIFF_CIELAB : TIOTIFFPhotometInterpret(Code);
}

// Interleaves one row of each plane into a row of whole pixels.
void JoinPlanes(const uint8_t* Planes, size_t PlaneBytes, size_t Count, size_t Samples, int32_t Bits,
                uint8_t* Row) {
    if (Bits % 8 == 0) {
        const size_t bytes = size_t(Bits / 8);
        for (size_t x = 0; x < Samples; ++x)
            for (size_t plane = 0; plane < Count; ++plane)
                std::memcpy(Row + (x * Count + plane) * bytes, Planes + plane * PlaneBytes + x * bytes,
                            bytes);
        return;
    }
    std::memset(Row, 0, (Samples * Count * size_t(Bits) + 7) / 8);
    for (size_t x = 0; x < Samples; ++x)
        for (size_t plane = 0; plane < Count; ++plane)
            for (size_t b = 0; b < size_t(Bits); ++b) {
                const size_t from = x * size_t(Bits) + b;
                const size_t to = (x * Count + plane) * size_t(Bits) + b;
                if ((Planes[plane * PlaneBytes + from / 8] >> (7 - from % 8)) & 1)
                    Row[to / 8] |= uint8_t(0x80 >> (to % 8));
            }
}

// The directory of the page being read, with the tags' defaults applied.
struct TDirectory {
    int64_t Width = 0, Height = 0;
    int32_t Samples = 1, Bits = 1, SampleFormat = 1;
    int64_t RowsPerStrip = 0;
    int64_t TileWidth = -1, TileLength = -1;
    int32_t Photometric = kPhotometricRGB;
    int32_t Planar = 1;
    int32_t Compression = 1;
    int32_t Predictor = 1;
    int64_t T4Options = 0;
    int32_t FillOrder = 1;
    int32_t ExtraSamples = 0;
    int32_t AlphaIndex = -1;
    int32_t SubsamplingH = 1, SubsamplingV = 1;
    std::string Software;
    std::vector<uint64_t> Offsets, ByteCounts;
    bool Tiled = false;
    std::vector<uint8_t> JpegTables;
    int64_t JpegInterchangeOffset = 0, JpegInterchangeBytes = 0;
    int64_t JpegProc = 1;
};

class TTIFFReaderContext {
  public:
    TTIFFReaderContext(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress)
        : fSource(Stream), fBitmap(Bitmap), fParams(IOParams), fProgress(Progress), fLimits(IETiffLimits()) {}

    void ReadStream(bool Preview, int32_t& PageCount);

  private:
    bool SelectDirectory(TIETIFFIFDReader& Reader, int32_t& PageCount);
    bool ReadTags(const TIETIFFIFDReader& Reader);
    void FillParams(const TIETIFFIFDReader& Reader);
    TIEPixelFormat ChooseFormat() const;
    bool WithinLimits() const;
    std::vector<uint8_t> ReadBlock(size_t Index);
    bool ReadBlocks(TIEBitmap& Target, TIETiffRowConverter& Converter);
    bool DecodeBlock(size_t Index, int64_t X0, int64_t Y0, int64_t StoredWidth, int64_t StoredRows,
                     TIEBitmap& Target, TIETiffRowConverter& Converter);
    bool DecodeSubsampledBlock(TIETiffRowDecoder& Decoder, int64_t X0, int64_t Y0, int64_t StoredWidth,
                               int64_t StoredRows, TIEBitmap& Target);
    bool DecodeJpegBlock(std::vector<uint8_t> Data, int64_t X0, int64_t Y0, int64_t Rows, TIEBitmap& Target);
    void PrepareOldJpeg(const TIETIFFIFDReader& Reader);
    void PrepareRow(uint8_t* Row, size_t Samples, int32_t Stride) const;
    bool Fail() {
        IESetAborting(fProgress);
        return false;
    }

    TIEDetectSource fSource;
    TIEBitmap& fBitmap;
    TIOParams& fParams;
    TProgressRec& fProgress;
    const TIETiffLimits fLimits;
    TIETiffHeader fHeader;
    TDirectory fDir;
    double fLumaRed = 0.299, fLumaGreen = 0.587, fLumaBlue = 0.114;
    std::vector<TRGB> fPalette;
    std::unique_ptr<TIEGenericJPEG> fJpegCodec;
    // Old-style JPEG: the head that each strip's scan data follows, empty where every
    // strip is a whole stream.
    std::vector<uint8_t> fOldJpegHead;
    bool fOldJpegEndMarker = false;
    std::vector<uint8_t> fOldJpegScanHead;
};

bool TTIFFReaderContext::SelectDirectory(TIETIFFIFDReader& Reader, int32_t& PageCount) {
    // The chain is walked to its end for the count; a loop ends it like a zero offset.
    std::vector<uint64_t> pages;
    std::set<uint64_t> seen;
    for (uint64_t offset = fHeader.FirstIFD; offset != 0 && int32_t(pages.size()) < fLimits.MaxPages;) {
        if (!seen.insert(offset).second || !Reader.Read(offset)) break;
        pages.push_back(offset);
        offset = Reader.NextIFD();
    }
    PageCount = int32_t(pages.size());
    fParams.ImageCount = PageCount;
    const int32_t index = fParams.TIFF_ImageIndex;
    if (index < 0 || index >= PageCount || !Reader.Read(pages[size_t(index)])) return false;
    if (fParams.TIFF_SubIndex >= 0) {
        const int64_t sub = Reader.GetInteger(kTagSubIFDs, uint64_t(fParams.TIFF_SubIndex), 0);
        if (sub <= 0 || !Reader.Read(uint64_t(sub))) return false;
    }
    return true;
}

bool TTIFFReaderContext::ReadTags(const TIETIFFIFDReader& Reader) {
    TDirectory& d = fDir;
    d.TileWidth = Reader.GetInteger(kTagTileWidth, 0, -1);
    d.TileLength = Reader.GetInteger(kTagTileLength, 0, -1);
    d.Width = Reader.GetInteger(kTagImageWidth, 0, 0);
    d.Height = Reader.GetInteger(kTagImageLength, 0, 0);
    d.Samples = int32_t(std::clamp<int64_t>(Reader.GetInteger(kTagSamplesPerPixel, 0, 1), 0, 64));
    // Every sample must have the same width.
    const std::vector<uint64_t> bits = Reader.ReadArrayIntegers(kTagBitsPerSample, uint64_t(d.Samples));
    d.Bits = bits.empty() ? 1 : int32_t(std::min<uint64_t>(bits[0], 65));
    for (uint64_t b : bits)
        if (b != bits[0]) return false;
    d.RowsPerStrip = Reader.GetInteger(kTagRowsPerStrip, 0, d.Height);
    if (d.RowsPerStrip <= 0 || d.RowsPerStrip > d.Height) d.RowsPerStrip = d.Height;
    d.SampleFormat = int32_t(Reader.GetInteger(kTagSampleFormat, 0, 1));
    // Unknown photometric codes read as 0.
    const int64_t photometric = Reader.GetInteger(kTagPhotometric, 0, kPhotometricRGB);
    d.Photometric = (photometric >= 0 && photometric <= 6) || photometric == 8 ? int32_t(photometric) : 0;
    d.Planar = int32_t(Reader.GetInteger(kTagPlanarConfig, 0, 1));
    d.Compression = int32_t(Reader.GetInteger(kTagCompression, 0, 1));
    d.Predictor = int32_t(Reader.GetInteger(kTagPredictor, 0, 1));
    d.T4Options = Reader.GetInteger(kTagT4Options, 0, 0);
    d.FillOrder = int32_t(Reader.GetInteger(kTagFillOrder, 0, 1));
    if (d.FillOrder != 1 && d.FillOrder != 2) d.FillOrder = 1;
    d.Software = Reader.ReadString(kTagSoftware);
    d.ExtraSamples = int32_t(std::min<uint64_t>(Reader.GetDataNum(kTagExtraSamples), uint64_t(d.Samples)));
    d.SubsamplingH = int32_t(Reader.GetInteger(kTagYCbCrSubSampling, 0, 2));
    d.SubsamplingV = int32_t(Reader.GetInteger(kTagYCbCrSubSampling, 1, 2));
    if (d.SubsamplingH == 0) d.SubsamplingH = 2;
    if (d.SubsamplingV == 0) d.SubsamplingV = 2;
    d.JpegTables = Reader.ReadRawData(kTagJPEGTables, 1u << 20);
    d.JpegProc = Reader.GetInteger(kTagJPEGProc, 0, 1);
    d.JpegInterchangeOffset = Reader.GetInteger(kTagJPEGIFOffset, 0, 0);
    d.JpegInterchangeBytes = Reader.GetInteger(kTagJPEGIFByteCount, 0, 0);

    // Bilevel pictures that call themselves RGB: the fax compressions mean white is
    // zero, anything else black.
    if (d.Samples == 1 && d.Bits == 1 && d.Photometric == kPhotometricRGB)
        d.Photometric =
            d.Compression >= 1 && d.Compression <= 4 ? kPhotometricWhiteIsZero : kPhotometricBlackIsZero;

    // No more blocks than the picture can have are read, however many the tags list.
    d.Tiled = d.TileWidth >= 1 && d.TileLength >= 1;
    const uint64_t planes = d.Planar == 2 ? uint64_t(d.Samples) : 1;
    uint64_t maxBlocks = 0;
    if (d.Tiled) {
        const uint64_t across = (uint64_t(std::max<int64_t>(d.Width, 0)) + d.TileWidth - 1) / d.TileWidth;
        const uint64_t down = (uint64_t(std::max<int64_t>(d.Height, 0)) + d.TileLength - 1) / d.TileLength;
        maxBlocks = std::min<uint64_t>(across * down, 1u << 24) * planes;
        d.Offsets = Reader.ReadArrayIntegers(kTagTileOffsets, maxBlocks);
        d.ByteCounts = Reader.ReadArrayIntegers(kTagTileByteCounts, maxBlocks);
    }
    if (d.Offsets.empty()) {
        if (!d.Tiled && d.RowsPerStrip > 0)
            maxBlocks = (uint64_t(d.Height) + d.RowsPerStrip - 1) / d.RowsPerStrip * planes;
        d.Offsets = Reader.ReadArrayIntegers(kTagStripOffsets, maxBlocks);
        d.ByteCounts = Reader.ReadArrayIntegers(kTagStripByteCounts, maxBlocks);
    }

    // The alpha sample: the first extra one where the file says what it is, or the
    // last where the sample count leaves no other reading.
    const int64_t extraKind = Reader.GetInteger(kTagExtraSamples, 0, 0);
    if (d.ExtraSamples > 0 && (extraKind == 1 || extraKind == 2)) d.AlphaIndex = d.Samples - d.ExtraSamples;
    const bool needsMask = (d.Samples >= 4 && d.AlphaIndex >= 0) || (d.Samples == 2 && d.Bits == 8) ||
                           (d.Samples >= 2 && d.AlphaIndex == 1) ||
                           (d.Samples == 4 && d.Photometric == kPhotometricRGB);
    if (!needsMask)
        d.AlphaIndex = -1;
    else if (d.AlphaIndex < 0)
        d.AlphaIndex = d.Samples - 1;

    if (const std::vector<double> luma = Reader.ReadArrayNumbers(kTagYCbCrCoefficients, 3);
        luma.size() == 3 && luma[1] > 0) {
        fLumaRed = luma[0];
        fLumaGreen = luma[1];
        fLumaBlue = luma[2];
    }
    if (d.Photometric == kPhotometricPalette && d.Bits <= 16) {
        // Three tables of 16-bit entries; the high byte is the colour.
        const uint64_t entries = uint64_t(1) << d.Bits;
        const std::vector<uint64_t> map = Reader.ReadArrayIntegers(kTagColorMap, entries * 3);
        if (map.size() == entries * 3)
            for (uint64_t i = 0; i < entries; ++i)
                fPalette.push_back(TRGB{uint8_t(map[2 * entries + i] >> 8), uint8_t(map[entries + i] >> 8),
                                        uint8_t(map[i] >> 8)});
    }
    return true;
}

void TTIFFReaderContext::FillParams(const TIETIFFIFDReader& Reader) {
    TIOParams& p = fParams;
    const TDirectory& d = fDir;
    p.Width = int32_t(std::clamp<int64_t>(d.Width, 0, INT32_MAX));
    p.Height = int32_t(std::clamp<int64_t>(d.Height, 0, INT32_MAX));
    p.OriginalWidth = p.Width;
    p.OriginalHeight = p.Height;
    p.BitsPerSample = d.Bits;
    p.SamplesPerPixel = d.Samples;
    p.TIFF_BigTIFF = fHeader.BigTIFF;
    p.TIFF_ByteOrder = fHeader.BigEndian ? ioBigEndian : ioLittleEndian;
    p.TIFF_Compression = CompressionOf(d.Compression, d.T4Options);
    p.TIFF_PhotometInterpret = PhotometricOf(d.Photometric);
    p.TIFF_PlanarConf = d.Planar;
    p.TIFF_FillOrder = d.FillOrder;
    p.TIFF_Orientation = int32_t(Reader.GetInteger(kTagOrientation, 0, 1));
    p.TIFF_NewSubfileType = int32_t(Reader.GetInteger(kTagNewSubfileType, 0, 0));
    p.TIFF_PageNumber = int32_t(Reader.GetInteger(kTagPageNumber, 0, -1));
    p.TIFF_PageCount = int32_t(Reader.GetInteger(kTagPageNumber, 1, -1));
    p.TIFF_DocumentName = Reader.ReadString(kTagDocumentName);
    p.TIFF_ImageDescription = Reader.ReadString(kTagImageDescription);
    p.TIFF_PageName = Reader.ReadString(kTagPageName);
    p.TIFF_PhotoshopImageResources = Reader.ReadRawData(kTagPhotoshopResources, 1u << 24);
    p.TIFF_PhotoshopImageSourceData = Reader.ReadRawData(kTagPhotoshopSourceData, 1u << 24);
    const TIEGlobalSettings& settings = IEGlobalSettings();
    const int64_t unit = Reader.GetInteger(kTagResolutionUnit, 0, 2);
    const double scale = unit == 3 ? 2.54 : 1;
    const double x = Reader.GetItem(kTagXResolution, 0, settings.DefaultDpiX()) * scale;
    const double y = Reader.GetItem(kTagYResolution, 0, settings.DefaultDpiY()) * scale;
    // A resolution no density can be is taken as absent.
    p.DpiX = IEIsValidDensity(x) ? int32_t(x) : settings.DefaultDpiX();
    p.DpiY = IEIsValidDensity(y) ? int32_t(y) : settings.DefaultDpiY();
    const double xPos = Reader.GetItem(kTagXPosition, 0, 0) * scale;
    const double yPos = Reader.GetItem(kTagYPosition, 0, 0) * scale;
    p.TIFF_XPos = xPos > INT32_MIN && xPos < INT32_MAX ? int32_t(xPos) : 0;
    p.TIFF_YPos = yPos > INT32_MIN && yPos < INT32_MAX ? int32_t(yPos) : 0;
    p.EXIF_HasEXIFData = Reader.FindTAG(kTagExifIFD) >= 0;
    if (!fPalette.empty()) p.ColorMap = fPalette;
    p.InputICCProfile = Reader.ReadRawData(kTagICCProfile, 1u << 24);
    if (p.GetMetaData) {
        const std::vector<uint8_t> xmp = Reader.ReadRawData(kTagXMP, 1u << 24);
        p.XMP_Info.assign(xmp.begin(), xmp.end());
    }
}

TIEPixelFormat TTIFFReaderContext::ChooseFormat() const {
    const TDirectory& d = fDir;
    const bool grey = d.Photometric == kPhotometricWhiteIsZero || d.Photometric == kPhotometricBlackIsZero;
    const bool floats = d.SampleFormat == 3;
    // JPEG decodes to colour or grey bytes whatever the tags say.
    if (d.Compression == kCompressionJpeg || d.Compression == kCompressionOldJpeg) return ie24RGB;
    if (d.Samples == 1 && d.Bits == 1 && d.Photometric != kPhotometricPalette) return ie1g;
    if (!fParams.NativePixelFormat) return floats && d.Bits == 32 && grey ? ie32f : ie24RGB;
    if (d.Bits == 8 && d.Samples == 1 && d.Photometric == kPhotometricPalette) return ie8p;
    if (grey) {
        if (d.Bits == 8 && d.Samples == 1) return ie8g;
        if (floats && d.Bits == 32) return ie32f;
        if (d.Bits == 16 || (d.Bits == 12 && d.Samples == 1)) return ie16g;
    }
    if (d.Photometric == kPhotometricSeparated &&
        ((d.Bits == 8 && d.Samples >= 4) || (d.Bits == 16 && d.Samples == 4)))
        return ieCMYK;
    if (d.Photometric == kPhotometricRGB && d.Samples == 3 && (d.Bits == 16 || (floats && d.Bits == 32)))
        return ie48RGB;
    return ie24RGB;
}

bool TTIFFReaderContext::WithinLimits() const {
    const TDirectory& d = fDir;
    if (d.Width <= 0 || d.Height <= 0 || d.Width > INT32_MAX || d.Height > INT32_MAX) return false;
    if (d.Width > fLimits.MaxPixels / d.Height) return false;
    const double limit = double(std::max<uint64_t>(fSource.Size(), 1)) * double(fLimits.MaxExpansion);
    const double sampleBytes = double(d.Samples) * d.Bits / 8;
    // A tile is decoded whole, so its claimed size counts too, however small the picture.
    if (d.Tiled && (d.TileWidth > INT32_MAX || d.TileLength > INT32_MAX ||
                    double(d.TileWidth) * double(d.TileLength) > double(fLimits.MaxPixels) ||
                    double(d.TileWidth) * double(d.TileLength) * sampleBytes > limit))
        return false;
    return double(d.Width) * double(d.Height) * sampleBytes <= limit;
}

// The bytes of a strip or tile as far as the file holds them; a count of 0 runs to the
// end of the file.
std::vector<uint8_t> TTIFFReaderContext::ReadBlock(size_t Index) {
    const uint64_t offset = fDir.Offsets[Index];
    const uint64_t size = fSource.Size();
    if (offset >= size) return {};
    uint64_t count = Index < fDir.ByteCounts.size() ? fDir.ByteCounts[Index] : 0;
    if (count == 0 || count > size - offset) count = size - offset;
    std::vector<uint8_t> data(static_cast<size_t>(count));
    if (!fSource.ReadAt(offset, data.data(), data.size())) return {};
    return data;
}

// Byte order and predictor of one decoded row of Samples samples.
void TTIFFReaderContext::PrepareRow(uint8_t* Row, size_t Samples, int32_t Stride) const {
    const TDirectory& d = fDir;
    const bool predicted = d.Compression == kTiffCompressionLZW || d.Compression == kTiffCompressionDeflate ||
                           d.Compression == kTiffCompressionAdobeDeflate;
    const bool floatPredictor = predicted && d.Predictor == 3 && d.SampleFormat == 3 && d.Bits % 8 == 0;
    if (fHeader.BigEndian && !floatPredictor && (d.Bits == 16 || d.Bits == 32 || d.Bits == 64)) {
        const size_t bytes = size_t(d.Bits / 8);
        for (size_t i = 0; i < Samples; ++i)
            std::reverse(Row + i * bytes, Row + (i + 1) * bytes);
    }
    if (predicted && d.Predictor == 2) IEUndoTiffPredictor2(Row, Samples, d.Bits, Stride);
    if (floatPredictor) IEUndoTiffPredictor3(Row, Samples, d.Bits / 8, Stride);
}

bool TTIFFReaderContext::DecodeBlock(size_t Index, int64_t X0, int64_t Y0, int64_t StoredWidth,
                                     int64_t StoredRows, TIEBitmap& Target, TIETiffRowConverter& Converter) {
    const TDirectory& d = fDir;
    const int64_t rows = std::min(StoredRows, d.Height - Y0);
    const int64_t columns = std::min(StoredWidth, d.Width - X0);
    if (d.Compression == kCompressionJpeg || d.Compression == kCompressionOldJpeg)
        return DecodeJpegBlock(ReadBlock(Index), X0, Y0, rows, Target);

    const bool planar = d.Planar == 2 && d.Samples > 1;
    const size_t planes = planar ? size_t(d.Samples) : 1;
    const size_t samplesPerRow = size_t(StoredWidth) * (planar ? 1 : size_t(d.Samples));
    const size_t rowBytes = (samplesPerRow * size_t(d.Bits) + 7) / 8;
    const bool fax = d.Compression >= kTiffCompressionCCITTRLE && d.Compression <= kTiffCompressionCCITTFax4;
    if (fax && (d.Bits != 1 || d.Samples != 1)) return Fail();
    const TIETiffBlockCoding coding{d.Compression, d.Bits, d.FillOrder, int32_t(StoredWidth), d.T4Options};
    // The planes of a planar strip lie in the strips of the same place in later planes.
    const size_t blocksPerPlane = d.Offsets.size() / planes;
    std::vector<std::unique_ptr<TIETiffRowDecoder>> decoders;
    for (size_t plane = 0; plane < planes; ++plane) {
        const size_t block = Index + plane * blocksPerPlane;
        if (block >= d.Offsets.size()) return Fail();
        decoders.push_back(IECreateTiffRowDecoder(coding, ReadBlock(block), rowBytes * size_t(StoredRows)));
        if (!decoders.back()) return Fail();
    }
    const bool subsampled = d.Photometric == kPhotometricYCbCr && (d.SubsamplingH > 1 || d.SubsamplingV > 1);
    if (subsampled) return DecodeSubsampledBlock(*decoders[0], X0, Y0, StoredWidth, StoredRows, Target);

    std::vector<uint8_t> row(rowBytes * planes + 8, 0);
    std::vector<uint8_t> planeRows(planar ? rowBytes * planes : 0);
    TIEBitmap* alpha = d.AlphaIndex >= 0 ? Target.AlphaChannelOpt() : nullptr;
    const int32_t bitsPerPixel = Target.BitCount();
    for (int64_t y = 0; y < rows; ++y) {
        bool complete = true;
        if (planar) {
            for (size_t plane = 0; plane < planes; ++plane) {
                uint8_t* planeRow = planeRows.data() + plane * rowBytes;
                // The first plane decides: the others may be short or missing.
                const bool full = decoders[plane]->NextRow(planeRow, rowBytes);
                if (plane == 0) complete = full;
                PrepareRow(planeRow, samplesPerRow, 1);
            }
            JoinPlanes(planeRows.data(), rowBytes, planes, samplesPerRow, d.Bits, row.data());
        } else {
            complete = decoders[0]->NextRow(row.data(), rowBytes);
            PrepareRow(row.data(), samplesPerRow, d.Samples);
        }
        auto* targetRow = static_cast<uint8_t*>(Target.GetScanline(int32_t(Y0 + y)));
        if (!targetRow) return Fail();
        uint8_t* alphaRow = nullptr;
        if (alpha) {
            alphaRow = static_cast<uint8_t*>(alpha->GetScanline(int32_t(Y0 + y)));
            if (!alphaRow) return Fail();
            alphaRow += X0;
        }
        Converter.Convert(row.data(), int32_t(columns), targetRow + X0 * bitsPerPixel / 8, alphaRow);
        // A block whose data end early keeps what there was.
        if (!complete) break;
    }
    return true;
}

// YCbCr with subsampling: each unit holds H x V luma samples and one Cb and one Cr.
bool TTIFFReaderContext::DecodeSubsampledBlock(TIETiffRowDecoder& Decoder, int64_t X0, int64_t Y0,
                                               int64_t StoredWidth, int64_t StoredRows, TIEBitmap& Target) {
    const TDirectory& d = fDir;
    if (d.Bits != 8 || d.Planar == 2 || Target.PixelFormat() != ie24RGB) return Fail();
    const int64_t h = d.SubsamplingH, v = d.SubsamplingV;
    if (h < 1 || v < 1 || h > 4 || v > 4) return Fail();
    const int64_t units = (StoredWidth + h - 1) / h;
    const size_t unitBytes = size_t(h * v + 2);
    std::vector<uint8_t> line(size_t(units) * unitBytes);
    for (int64_t top = 0; top < StoredRows && Y0 + top < d.Height; top += v) {
        const bool complete = Decoder.NextRow(line.data(), line.size());
        for (int64_t dy = 0; dy < v && top + dy < StoredRows && Y0 + top + dy < d.Height; ++dy) {
            auto* target = static_cast<TRGB*>(Target.GetScanline(int32_t(Y0 + top + dy)));
            if (!target) return Fail();
            for (int64_t x = 0; x < StoredWidth && X0 + x < d.Width; ++x) {
                const uint8_t* unit = line.data() + size_t(x / h) * unitBytes;
                const uint8_t luma = unit[dy * h + x % h];
                target[X0 + x] =
                    IEYCbCrToRGB(luma, unit[h * v], unit[h * v + 1], fLumaRed, fLumaGreen, fLumaBlue);
            }
        }
        if (!complete) break;
    }
    return true;
}

bool TTIFFReaderContext::DecodeJpegBlock(std::vector<uint8_t> Data, int64_t X0, int64_t Y0, int64_t Rows,
                                         TIEBitmap& Target) {
    if (!fOldJpegHead.empty()) {
        std::vector<uint8_t> stream = fOldJpegHead;
        // The last strip holds only the rows that are left.
        if (!fDir.Tiled) IEPatchJpegHeight(stream, int32_t(Rows));
        if (Data.size() < 2 || Data[0] != 0xFF || Data[1] != 0xDA)
            stream.insert(stream.end(), fOldJpegScanHead.begin(), fOldJpegScanHead.end());
        stream.insert(stream.end(), Data.begin(), Data.end());
        if (fOldJpegEndMarker) stream.insert(stream.end(), {0xFF, 0xD9});
        Data = std::move(stream);
    }
    TIEMemoryStream stream(std::move(Data));
    TIEMemoryStream tables(fDir.JpegTables);
    TIEBitmap block;
    TIOParams params;
    params.GetMetaData = false;
    const bool raw = fDir.Photometric == kPhotometricRGB;
    // New-style strips share their tables: one codec object serves them all. Old-style
    // streams may end without their end marker, after which a codec can't go on.
    const bool newStyle = fDir.Compression == kCompressionJpeg;
    // CMYK comes natively and is converted here: its inks are stored as amounts, and the
    // JPEG reader's inversion is for Adobe's files.
    ReadJpegStream(stream, fDir.JpegTables.empty() ? nullptr : &tables, block, params, fProgress, false, raw,
                   false, false, false, false, -1, true, newStyle ? &fJpegCodec : nullptr, newStyle);
    if (block.PixelFormat() == ieCMYK)
        for (int32_t y = 0; y < block.Height(); ++y)
            if (auto* row = static_cast<uint8_t*>(block.GetScanline(y)))
                for (int64_t i = 0; i < int64_t(block.Width()) * 4; ++i)
                    row[i] = uint8_t(255 - row[i]);
    if (block.PixelFormat() != ie24RGB) IEConvertPixelFormat(block, ie24RGB);
    const int64_t rows = std::min<int64_t>(block.Height(), fDir.Height - Y0);
    const int64_t columns = std::min<int64_t>(block.Width(), fDir.Width - X0);
    for (int64_t y = 0; y < rows; ++y) {
        const auto* source = static_cast<const TRGB*>(block.GetScanline(int32_t(y)));
        auto* target = static_cast<TRGB*>(Target.GetScanline(int32_t(Y0 + y)));
        if (!source || !target) return Fail();
        for (int64_t x = 0; x < columns; ++x) {
            const TRGB pixel = source[x];
            // Unconverted components arrive with red where the engine keeps blue.
            target[X0 + x] = raw ? TRGB{pixel.r, pixel.g, pixel.b} : pixel;
        }
    }
    return !IEIsAborting(fProgress);
}

// Old-style JPEG comes in four forms: a whole stream at the interchange offset; a head
// of tables there that each strip's scans follow; tables in tags only, from which a head
// is made; and strips that are whole streams, one of them without a byte count.
void TTIFFReaderContext::PrepareOldJpeg(const TIETIFFIFDReader& Reader) {
    TDirectory& d = fDir;
    auto wholeStreamAt = [&](uint64_t Offset, uint64_t Bytes) {
        d.Tiled = false;
        d.Offsets = {Offset};
        d.ByteCounts = {Bytes};
        d.RowsPerStrip = d.Height;
    };
    if (d.JpegInterchangeOffset > 0) {
        const uint64_t offset = uint64_t(d.JpegInterchangeOffset);
        const uint64_t bytes = uint64_t(std::max<int64_t>(d.JpegInterchangeBytes, 0));
        std::vector<uint8_t> head(size_t(std::min<uint64_t>(bytes, 1u << 16)));
        const bool read = fSource.ReadAt(offset, head.data(), head.size());
        if (!read || d.Offsets.empty() || d.Offsets[0] == offset || IEJpegHasScan(head))
            wholeStreamAt(offset, bytes);
        else
            fOldJpegHead = std::move(head);
        // Writers put the scan header in front of the first strip only; the others
        // get a copy of it.
        const std::vector<uint8_t> first = d.Offsets.empty() ? std::vector<uint8_t>{} : ReadBlock(0);
        if (!fOldJpegHead.empty() && first.size() > 4 && first[0] == 0xFF && first[1] == 0xDA) {
            const size_t length = size_t(first[2] << 8 | first[3]) + 2;
            if (length <= first.size())
                fOldJpegScanHead.assign(first.begin(), first.begin() + std::ptrdiff_t(length));
        }
    } else if (Reader.GetDataNum(519) > 0) {
        const int64_t width = d.Tiled ? d.TileWidth : d.Width;
        const int64_t height = d.Tiled ? d.TileLength : d.RowsPerStrip;
        fOldJpegHead = IEOldJpegHeaderFromTags(Reader, d.Samples, int32_t(width), int32_t(height),
                                               d.Photometric == kPhotometricYCbCr ? d.SubsamplingH : 1,
                                               d.Photometric == kPhotometricYCbCr ? d.SubsamplingV : 1);
        fOldJpegEndMarker = true;
    } else if (d.ByteCounts.empty() && !d.Offsets.empty()) {
        wholeStreamAt(d.Offsets[0], 0);
    }
}

bool TTIFFReaderContext::ReadBlocks(TIEBitmap& Target, TIETiffRowConverter& Converter) {
    const TDirectory& d = fDir;
    if (d.Offsets.empty()) return Fail();
    if (d.Tiled) {
        if (d.Planar == 2 && d.Samples > 1) return Fail();
        const int64_t across = (d.Width + d.TileWidth - 1) / d.TileWidth;
        const int64_t down = (d.Height + d.TileLength - 1) / d.TileLength;
        const int64_t total = across * down;
        for (int64_t tile = 0; tile < total && size_t(tile) < d.Offsets.size(); ++tile) {
            if (fParams.TIFF_GetTile >= 0 && tile != fParams.TIFF_GetTile) continue;
            const int64_t x0 = fParams.TIFF_GetTile >= 0 ? 0 : tile % across * d.TileWidth;
            const int64_t y0 = fParams.TIFF_GetTile >= 0 ? 0 : tile / across * d.TileLength;
            if (IEIsAborting(fProgress) ||
                !DecodeBlock(size_t(tile), x0, y0, d.TileWidth, d.TileLength, Target, Converter))
                return false;
            if (!IEReportProgress(fProgress, int32_t(100 * (tile + 1) / total))) return false;
        }
        return true;
    }
    const size_t planes = d.Planar == 2 ? size_t(d.Samples) : 1;
    const int64_t strips = (d.Height + d.RowsPerStrip - 1) / d.RowsPerStrip;
    for (int64_t strip = 0; strip < strips && size_t(strip) < d.Offsets.size() / planes; ++strip) {
        if (IEIsAborting(fProgress) || !DecodeBlock(size_t(strip), 0, strip * d.RowsPerStrip, d.Width,
                                                    d.RowsPerStrip, Target, Converter))
            return false;
        if (!IEReportProgress(fProgress, int32_t(100 * (strip + 1) / strips))) return false;
    }
    return true;
}

void TTIFFReaderContext::ReadStream(bool Preview, int32_t& PageCount) {
    PageCount = 0;
    const std::optional<TIETiffHeader> header = IEReadTiffHeader(fSource);
    if (!header) {
        Fail();
        return;
    }
    fHeader = *header;
    TIETIFFIFDReader reader(fSource, fHeader);
    if (!SelectDirectory(reader, PageCount) || !ReadTags(reader)) {
        Fail();
        return;
    }
    FillParams(reader);
    if (Preview) return;
    if (!WithinLimits()) {
        Fail();
        return;
    }

    TDirectory& d = fDir;
    // A single tile is the picture.
    if (fParams.TIFF_GetTile >= 0 && d.Tiled) {
        d.Width = std::min(d.Width, d.TileWidth);
        d.Height = std::min(d.Height, d.TileLength);
    }
    const bool jpeg = d.Compression == kCompressionJpeg || d.Compression == kCompressionOldJpeg;
    if (jpeg && d.JpegProc >= 2) {
        Fail();
        return;
    }
    if (d.Compression == kCompressionOldJpeg) PrepareOldJpeg(reader);
    TIETiffSampleLayout layout;
    layout.Samples = d.Samples;
    layout.Bits = d.Bits;
    layout.SampleFormat = d.SampleFormat;
    layout.Photometric = d.Photometric;
    layout.AlphaIndex = d.AlphaIndex;
    layout.Format = ChooseFormat();
    layout.Palette = fPalette;
    layout.LumaRed = fLumaRed;
    layout.LumaGreen = fLumaGreen;
    layout.LumaBlue = fLumaBlue;
    layout.TwelveBitGrey =
        d.Bits == 16 && d.Samples >= 1 && layout.Format != ie16g &&
        (d.Photometric == kPhotometricWhiteIsZero || d.Photometric == kPhotometricBlackIsZero) &&
        d.Software.compare(0, 15, "Look@Molli v1.1") == 0;
    TIETiffRowConverter converter(layout);
    if (!(jpeg || IEHasTiffRowDecoder(d.Compression)) || (!jpeg && !converter.Valid())) {
        Fail();
        return;
    }

    // Floating-point grey goes through a private bitmap that is stretched and
    // converted at the end.
    const bool privateFloat = layout.Format == ie32f && !fParams.NativePixelFormat;
    TIEBitmap privateBitmap;
    TIEBitmap& target = privateFloat ? privateBitmap : fBitmap;
    if (!target.Allocate(int32_t(d.Width), int32_t(d.Height), layout.Format, 0)) {
        Fail();
        return;
    }
    if (layout.Format == ie8p) {
        for (size_t i = 0; i < fPalette.size() && i < 256; ++i)
            target.SetPalette(int32_t(i), fPalette[i]);
        target.SetPaletteUsed(int32_t(std::min<size_t>(fPalette.size(), 256)));
    }
    if (d.AlphaIndex >= 0 && !jpeg) {
        TIEBitmap* alpha = target.AlphaChannel();
        if (alpha) alpha->SetFull(false);
    }
    ReadBlocks(target, converter);
    fJpegCodec.reset();

    if (layout.Format == ie32f && fParams.TIFF_Normalize32fImages) Normalize32f(target);
    if (privateFloat) {
        IEConvertPixelFormat(privateBitmap, ie24RGB);
        privateBitmap.SwitchTo(fBitmap);
    }
    if (fParams.TIFF_EnableAdjustOrientation && fParams.TIFF_Orientation >= 2 &&
        fParams.TIFF_Orientation <= 8) {
        if (!IEAdjustOrientation(fBitmap, fParams.TIFF_Orientation))
            Fail();
        else
            fParams.TIFF_Orientation = 1;
    }
    fBitmap.Changed();
}

} // namespace

TIETiffLimits IETiffLimits() {
    std::lock_guard<std::mutex> lock(gLimitsLock);
    return gLimits;
}

void IESetTiffLimits(const TIETiffLimits& Limits) {
    std::lock_guard<std::mutex> lock(gLimitsLock);
    gLimits = Limits;
}

void ReadTIFFStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                    bool Preview, int32_t& PageCount) {
    bool ownAborting = false;
    if (!Progress.Aborting) Progress.Aborting = &ownAborting;
    TTIFFReaderContext(Stream, Bitmap, IOParams, Progress).ReadStream(Preview, PageCount);
    if (Progress.Aborting == &ownAborting) Progress.Aborting = nullptr;
}

void IETiffReadStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                      bool Preview) {
    int32_t pages = 0;
    ReadTIFFStream(Stream, Bitmap, IOParams, Progress, Preview, pages);
}

int32_t IETiffPageCount(TIEStream& Stream) {
    TIEBitmap bitmap;
    TIOParams params;
    TProgressRec progress;
    int32_t pages = 0;
    const int64_t position = Stream.Position();
    ReadTIFFStream(Stream, bitmap, params, progress, true, pages);
    Stream.SetPosition(position);
    return pages;
}
