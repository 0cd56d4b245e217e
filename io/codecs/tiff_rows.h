#pragma once

#include <cstdint>
#include <vector>

#include "image/ietypes.h"

// How the decoded samples of a TIFF row are laid out and what they become.
struct TIETiffSampleLayout {
    int32_t Samples = 1;
    int32_t Bits = 8;
    // 1 unsigned, 2 signed, 3 floating point. Signed samples are shown by their bits, as
    // other readers show them.
    int32_t SampleFormat = 1;
    // The file's photometric code after the bilevel rules.
    int32_t Photometric = 1;
    // The sample that holds alpha, -1 for none.
    int32_t AlphaIndex = -1;
    TIEPixelFormat Format = ie24RGB;
    // The colour map in the engine's order, one entry per index.
    std::vector<TRGB> Palette;
    // Luma weights of YCbCr.
    double LumaRed = 0.299, LumaGreen = 0.587, LumaBlue = 0.114;
    // 16-bit grey of that one program holds 12 significant bits.
    bool TwelveBitGrey = false;
};

// Turns rows of decoded samples (chunky, whole bytes of 16, 32 and 64 bits already in the
// machine's order) into rows of the bitmap's format.
class TIETiffRowConverter {
  public:
    explicit TIETiffRowConverter(TIETiffSampleLayout Layout);

    // False for a combination of samples and photometric it can't turn into Format.
    bool Valid() const { return fValid; }
    // Converts Count pixels. Target points at the first pixel's place in the bitmap's
    // row (for ie1g its byte: tiles start on whole bytes); Alpha, if given, at its
    // place in the alpha plane's row.
    void Convert(const uint8_t* Source, int32_t Count, uint8_t* Target, uint8_t* Alpha);
    const TIETiffSampleLayout& Layout() const { return fLayout; }

  private:
    bool ConvertBytes(const uint8_t* Source, size_t Count, uint8_t* Target, uint8_t* Alpha) const;
    void FetchRaw(const uint8_t* Source, size_t Count);
    uint16_t Scaled(size_t Index) const;
    TRGB ColourAt(size_t Pixel) const;

    TIETiffSampleLayout fLayout;
    bool fValid = true;
    // The samples of the row being converted, as stored (integers) or as read (floats).
    std::vector<uint64_t> fRaw;
    std::vector<double> fReal;
};

// The YCbCr conversion of full-range samples with the given luma weights.
TRGB IEYCbCrToRGB(int32_t Y, int32_t Cb, int32_t Cr, double LumaRed, double LumaGreen, double LumaBlue);
