#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "io/ioparams.h"
#include "io/progress.h"
#include "io/stream.h"

class TIEBitmap;

// Colour types and interlace methods at the codec interface are libpng's values.
enum : int32_t {
    iePNG_COLOR_TYPE_GRAY = 0,
    iePNG_COLOR_TYPE_RGB = 2,
    iePNG_COLOR_TYPE_PALETTE = 3,
    iePNG_COLOR_TYPE_GRAY_ALPHA = 4,
    iePNG_COLOR_TYPE_RGB_ALPHA = 6,
    iePNG_INTERLACE_NONE = 0,
    iePNG_INTERLACE_ADAM7 = 1,
};

// The message of libpng's for trailing data in the image stream; a read that ends on it
// counts as a success, so that the files of some broken encoders load.
inline constexpr char kPngExtraCompressedData[] = "Extra compressed data";

struct TIEPngHeader {
    uint32_t Width = 0;
    uint32_t Height = 0;
    int32_t BitDepth = 0;
    int32_t ColorType = 0;
    int32_t InterlaceType = 0;
};

// One PNG decoder object: each operation is one thin step of libpng's interface, so
// that another library can stand in. No operation raises: a library error ends the
// step, sets the flag given to Decomp_create (except for the "Extra compressed data"
// message), and from then on the operations that need the library do nothing and
// return a failure value.
class TIEGenericPngR {
  public:
    virtual ~TIEGenericPngR() = default;

    virtual void Decomp_destroy() = 0;
    // False when the library could not be set up.
    virtual bool Decomp_create(bool* Aborting) = 0;
    // Reads come from Stream; fewer bytes than asked end the read with a library error.
    virtual void Decomp_setReadFunction(TIEStream& Stream) = 0;
    virtual bool Decomp_readInfo() = 0;
    virtual bool Decomp_getIHDR(TIEPngHeader& Header) = 0;
    // The number of text chunks seen so far; getTextKey and getTextText walk them.
    virtual int32_t Decomp_getText() = 0;
    // False when the file has no bKGD chunk.
    virtual bool Decomp_getBackground(TRGB& Background) = 0;
    virtual void Decomp_setExpand() = 0;
    virtual void Decomp_setStrip16() = 0;
    virtual void Decomp_setPacking() = 0;
    virtual void Decomp_setGrayToRGB() = 0;
    virtual void Decomp_setBGR() = 0;
    virtual void Decomp_setSwap() = 0;
    virtual void Decomp_setTRNStoAlpha() = 0;
    // The number of passes: 1, or 7 for an interlaced file.
    virtual int32_t Decomp_setInterlaceHandling() = 0;
    virtual bool Decomp_readUpdateInfo() = 0;
    virtual uint32_t Decomp_getXPixelsPerMeter() = 0;
    virtual uint32_t Decomp_getYPixelsPerMeter() = 0;
    // The number of palette entries; getPalette and getPaletteNext walk them.
    virtual int32_t Decomp_getPalette() = 0;
    virtual TRGB getPalette() = 0;
    virtual void getPaletteNext() = 0;
    virtual int32_t Decomp_getInterlaceType() = 0;
    virtual int32_t Decomp_getChannels() = 0;
    // Bytes of one row as the transformations deliver it.
    virtual size_t Decomp_getRowBytes() = 0;
    // One row of the current pass; with interlace handling on, Row must hold what the
    // earlier passes put there.
    virtual bool Decomp_readRows(uint8_t* Row) = 0;
    virtual bool Decomp_readEnd() = 0;
    // The alpha of each palette index that has a tRNS entry; empty without tRNS.
    virtual std::vector<uint8_t> Decomp_getTRNS() = 0;
    // True when the eight bytes are the PNG signature.
    virtual bool sigCmp(const uint8_t* Bytes) = 0;
    virtual std::string getTextKey() = 0;
    virtual std::string getTextText() = 0;
    virtual void getTextNext() = 0;
    // The payload of an eXIf chunk that libpng kept; empty if none.
    virtual std::vector<uint8_t> Decomp_getExif() = 0;
};

// One PNG encoder object, under the same rules as the decoder: a library error sets the
// flag given to Comp_create and makes the later operations do nothing.
class TIEGenericPngW {
  public:
    virtual ~TIEGenericPngW() = default;

    virtual void Comp_destroy() = 0;
    virtual bool Comp_create(bool* Aborting) = 0;
    // Write failures of the stream end the encode with a library error.
    virtual void Comp_setWriteFunction(TIEStream& Stream) = 0;
    virtual void setPalette(const std::vector<TRGB>& Palette) = 0;
    virtual void setTRNS(const std::vector<uint8_t>& Alpha) = 0;
    virtual void setIHDR(uint32_t Width, uint32_t Height, int32_t BitDepth, int32_t ColorType,
                         int32_t InterlaceType) = 0;
    virtual void setPHYS(uint32_t XPixelsPerMeter, uint32_t YPixelsPerMeter) = 0;
    // libpng's filter mask (PNG_FILTER_NONE and so on).
    virtual void setFilter(int32_t Filters) = 0;
    virtual void setBackground(TRGB Colour, int32_t PaletteIndex) = 0;
    virtual void setCompressionLevel(int32_t Level) = 0;
    virtual void setBGR() = 0;
    // 16-bit samples are handed over in the machine's little-endian order.
    virtual void setSwap() = 0;
    virtual bool Comp_writeInfo() = 0;
    virtual int32_t Comp_setInterlaceHandling() = 0;
    virtual bool Comp_writeRows(const uint8_t* Row) = 0;
    virtual bool Comp_writeEnd() = 0;
    // Sets the text list made by createTextList and filled by textListSet.
    virtual void Comp_setText() = 0;
    virtual void createTextList(int32_t Count) = 0;
    virtual void textListSet(int32_t Index, const std::string& Key, const std::string& Text,
                             int32_t Compression) = 0;
    virtual void destroyTextList() = 0;
    virtual void setExif(const std::vector<uint8_t>& Payload) = 0;
};

// The codec objects of this engine, on libpng (io/codecs/png_libpng.cpp).
std::unique_ptr<TIEGenericPngR> IECreateLibPngR();
std::unique_ptr<TIEGenericPngW> IECreateLibPngW();

// Limits against hostile files: the sides libpng accepts, the picture's pixel count
// before anything is allocated for it, and the largest ancillary chunk or inflated
// metadata block.
struct TIEPngLimits {
    uint32_t MaxSide = 1u << 18;
    int64_t MaxPixels = int64_t(1) << 28;
    uint32_t MaxChunkBytes = 1u << 24;
};
TIEPngLimits IEPngLimits();
void IESetPngLimits(const TIEPngLimits& Limits);

// The content test: the eight-byte signature at the stream's position. The position is
// put back.
bool IEIsPngStream(TIEStream& Stream);

// The metadata walk over the raw chunks, wherever they lie: eXIf and the text chunks
// (with EXIF and XMP in their raw profile form) and iCCP. A stream without the signature
// is left alone. The position is put back.
void IEScanPngMetadata(TIEStream& Stream, TIOParams& IOParams);

// The hexadecimal "raw profile" text of the image tools: a line with the profile's
// name, a decimal length, then the bytes in hexadecimal. Empty when the form is broken.
std::vector<uint8_t> IEDecodeRawProfile(const std::string& Text);

// zlib inflate of Data, at most MaxBytes of output; false on bad data or overflow.
bool IEInflate(const uint8_t* Data, size_t Size, size_t MaxBytes, std::vector<uint8_t>& Out);

// Decodes one PNG picture into Bitmap. Failure sets *Progress.Aborting; the rows decoded
// until then stay in the bitmap. Preview fills the parameters only.
void ReadPngStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                   bool Preview);

// Encodes Bitmap as a PNG file. A bitmap without size raises EIEException "Invalid
// bitmap"; a library failure sets *Progress.Aborting, and the stream stays as far as it
// got.
void WritePngStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress);
