#include "io/codecs/tiff_rows.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/convert.h"

namespace {

enum : int32_t {
    kWhiteIsZero = 0,
    kBlackIsZero = 1,
    kRGB = 2,
    kPalette = 3,
    kMask = 4,
    kSeparated = 5,
    kYCbCr = 6,
    kCIELab = 8,
};

template <typename T> T Load(const uint8_t* p) {
    T value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

double HalfToDouble(uint16_t Half) {
    const int32_t exponent = (Half >> 10) & 0x1F;
    const int32_t mantissa = Half & 0x3FF;
    double value;
    if (exponent == 0)
        value = std::ldexp(mantissa, -24);
    else if (exponent == 31)
        value = mantissa ? NAN : INFINITY;
    else
        value = std::ldexp(mantissa + 1024, exponent - 25);
    return (Half & 0x8000) ? -value : value;
}

bool IsGrey(int32_t Photometric, int32_t Samples) {
    // An RGB file with fewer than three samples can only be grey.
    return Photometric == kWhiteIsZero || Photometric == kBlackIsZero || Photometric == kMask ||
           (Photometric == kRGB && Samples < 3);
}

} // namespace

TRGB IEYCbCrToRGB(int32_t Y, int32_t Cb, int32_t Cr, double LumaRed, double LumaGreen, double LumaBlue) {
    const double cb = Cb - 128.0, cr = Cr - 128.0;
    const double r = Y + cr * (2 - 2 * LumaRed);
    const double b = Y + cb * (2 - 2 * LumaBlue);
    const double g = (Y - LumaBlue * b - LumaRed * r) / LumaGreen;
    return TRGB{IEByteClamp(IERound64(b)), IEByteClamp(IERound64(g)), IEByteClamp(IERound64(r))};
}

TIETiffRowConverter::TIETiffRowConverter(TIETiffSampleLayout Layout) : fLayout(std::move(Layout)) {
    const int32_t samples = fLayout.Samples;
    const int32_t bits = fLayout.Bits;
    const int32_t photometric = fLayout.Photometric;
    const bool floats = fLayout.SampleFormat == 3;
    if (samples < 1 || bits < 1 || bits > 64 || (floats && bits != 16 && bits != 32 && bits != 64)) {
        fValid = false;
        return;
    }
    switch (fLayout.Format) {
    case ie1g:
        fValid = samples == 1 && bits == 1;
        break;
    case ie8p:
        fValid = photometric == kPalette && bits <= 8;
        break;
    case ieCMYK:
        fValid = photometric == kSeparated && samples >= 4;
        break;
    case ie48RGB:
        fValid = photometric == kRGB && samples >= 3;
        break;
    case ie8g:
    case ie16g:
    case ie32f:
        fValid = IsGrey(photometric, samples);
        break;
    default:
        fValid = IsGrey(photometric, samples) || (photometric == kPalette && bits <= 16 && !floats) ||
                 (photometric == kRGB && samples >= 3) || (photometric == kSeparated && samples >= 4) ||
                 ((photometric == kYCbCr || photometric == kCIELab) && samples >= 3);
        break;
    }
}

void TIETiffRowConverter::FetchRaw(const uint8_t* Source, size_t Count) {
    const int32_t bits = fLayout.Bits;
    const size_t n = Count * size_t(fLayout.Samples);
    fRaw.resize(n);
    if (fLayout.SampleFormat == 3) {
        fReal.resize(n);
        for (size_t i = 0; i < n; ++i)
            fReal[i] = bits == 16   ? HalfToDouble(Load<uint16_t>(Source + 2 * i))
                       : bits == 32 ? double(Load<float>(Source + 4 * i))
                                    : Load<double>(Source + 8 * i);
        return;
    }
    switch (bits) {
    case 8:
        for (size_t i = 0; i < n; ++i)
            fRaw[i] = Source[i];
        break;
    case 16:
        for (size_t i = 0; i < n; ++i)
            fRaw[i] = Load<uint16_t>(Source + 2 * i);
        break;
    case 32:
        for (size_t i = 0; i < n; ++i)
            fRaw[i] = Load<uint32_t>(Source + 4 * i);
        break;
    case 64:
        for (size_t i = 0; i < n; ++i)
            fRaw[i] = Load<uint64_t>(Source + 8 * i);
        break;
    default: {
        // Other widths are packed most significant bit first, rows ending on a byte.
        uint64_t bitPos = 0;
        for (size_t i = 0; i < n; ++i) {
            uint64_t value = 0;
            for (int32_t b = 0; b < bits; ++b, ++bitPos)
                value = value << 1 | ((Source[bitPos >> 3] >> (7 - (bitPos & 7))) & 1);
            fRaw[i] = value;
        }
        break;
    }
    }
}

uint16_t TIETiffRowConverter::Scaled(size_t Index) const {
    const int32_t bits = fLayout.Bits;
    if (fLayout.SampleFormat == 3) {
        const double value = fReal[Index];
        return value > 0 ? uint16_t(IERound64(std::min(value, 1.0) * 65535)) : 0;
    }
    const uint64_t raw = fRaw[Index];
    if (fLayout.TwelveBitGrey) return raw > 4095 ? 65535 : uint16_t(raw << 4);
    if (bits < 8) return uint16_t(raw * 65535 / ((1u << bits) - 1));
    if (bits == 8) return uint16_t(raw * 257);
    // Wider samples keep their high bits, narrower ones repeat them below.
    if (bits < 16) return uint16_t(raw << (16 - bits) | raw >> (2 * bits - 16));
    return uint16_t(raw >> (bits - 16));
}

TRGB TIETiffRowConverter::ColourAt(size_t Pixel) const {
    const size_t at = Pixel * size_t(fLayout.Samples);
    const int32_t photometric = fLayout.Photometric;
    auto byte = [&](size_t Index) { return uint8_t(Scaled(Index) >> 8); };
    if (IsGrey(photometric, fLayout.Samples)) {
        const uint8_t g = photometric == kWhiteIsZero ? uint8_t(255 - byte(at)) : byte(at);
        return TRGB{g, g, g};
    }
    switch (photometric) {
    case kPalette: {
        const uint64_t index = fRaw[at];
        return index < fLayout.Palette.size() ? fLayout.Palette[size_t(index)] : TRGB{0, 0, 0};
    }
    case kSeparated:
        // The engine keeps inks inverted: 255 is no ink.
        return IECMYK2RGB(TCMYK{uint8_t(255 - byte(at)), uint8_t(255 - byte(at + 1)),
                                uint8_t(255 - byte(at + 2)), uint8_t(255 - byte(at + 3))});
    case kYCbCr:
        return IEYCbCrToRGB(byte(at), byte(at + 1), byte(at + 2), fLayout.LumaRed, fLayout.LumaGreen,
                            fLayout.LumaBlue);
    case kCIELab: {
        const int32_t shift = fLayout.Bits - 8;
        const auto l = uint8_t(fRaw[at] >> shift);
        const auto a = int8_t(uint8_t(fRaw[at + 1] >> shift));
        const auto b = int8_t(uint8_t(fRaw[at + 2] >> shift));
        return IECIELab2RGB(TCIELab{l, a, b});
    }
    default:
        return TRGB{byte(at + 2), byte(at + 1), byte(at)};
    }
}

// The common rows of whole bytes, without the general sample path.
bool TIETiffRowConverter::ConvertBytes(const uint8_t* Source, size_t Count, uint8_t* Target,
                                       uint8_t* Alpha) const {
    const TIETiffSampleLayout& l = fLayout;
    if (l.Bits != 8 || l.SampleFormat == 3) return false;
    const size_t samples = size_t(l.Samples);
    const bool grey = l.Photometric == kBlackIsZero || l.Photometric == kWhiteIsZero;
    const uint8_t invert = l.Photometric == kWhiteIsZero ? 255 : 0;
    if (l.Format == ie24RGB && l.Photometric == kRGB && samples >= 3) {
        for (size_t x = 0; x < Count; ++x, Source += samples, Target += 3) {
            Target[0] = Source[2];
            Target[1] = Source[1];
            Target[2] = Source[0];
        }
    } else if ((l.Format == ie24RGB || l.Format == ie8g) && grey) {
        const size_t step = l.Format == ie8g ? 1 : 3;
        for (size_t x = 0; x < Count; ++x, Source += samples, Target += step)
            std::memset(Target, Source[0] ^ invert, step);
    } else {
        return false;
    }
    if (Alpha && l.AlphaIndex >= 0 && size_t(l.AlphaIndex) < samples) {
        Source -= Count * samples;
        for (size_t x = 0; x < Count; ++x)
            Alpha[x] = Source[x * samples + size_t(l.AlphaIndex)];
    }
    return true;
}

void TIETiffRowConverter::Convert(const uint8_t* Source, int32_t Count, uint8_t* Target, uint8_t* Alpha) {
    if (!fValid || Count <= 0) return;
    const size_t count = size_t(Count);
    if (fLayout.Format == ie1g) {
        const size_t bytes = (count + 7) / 8;
        const bool invert = fLayout.Photometric == kWhiteIsZero;
        for (size_t i = 0; i < bytes; ++i)
            Target[i] = invert ? uint8_t(~Source[i]) : Source[i];
        return;
    }
    if (ConvertBytes(Source, count, Target, Alpha)) return;
    FetchRaw(Source, count);
    const size_t samples = size_t(fLayout.Samples);
    const bool whiteIsZero = fLayout.Photometric == kWhiteIsZero;
    for (size_t x = 0; x < count; ++x) {
        const size_t at = x * samples;
        switch (fLayout.Format) {
        case ie8p:
            Target[x] = uint8_t(std::min<uint64_t>(fRaw[at], 255));
            break;
        case ie8g:
            Target[x] = uint8_t(whiteIsZero ? 255 - (Scaled(at) >> 8) : Scaled(at) >> 8);
            break;
        case ie16g: {
            const uint16_t value = whiteIsZero ? uint16_t(65535 - Scaled(at)) : Scaled(at);
            std::memcpy(Target + 2 * x, &value, 2);
            break;
        }
        case ie32f: {
            float value = fLayout.SampleFormat == 3 ? float(fReal[at]) : float(Scaled(at) / 65535.0);
            if (whiteIsZero) value = 1 - value;
            std::memcpy(Target + 4 * x, &value, 4);
            break;
        }
        case ieCMYK:
            for (size_t i = 0; i < 4; ++i)
                Target[4 * x + i] = uint8_t(255 - (Scaled(at + i) >> 8));
            break;
        case ie48RGB: {
            const TRGB48 value{Scaled(at), Scaled(at + 1), Scaled(at + 2)};
            std::memcpy(Target + 6 * x, &value, 6);
            break;
        }
        default: {
            const TRGB value = ColourAt(x);
            std::memcpy(Target + 3 * x, &value, 3);
            break;
        }
        }
        if (Alpha && fLayout.AlphaIndex >= 0 && size_t(fLayout.AlphaIndex) < samples)
            Alpha[x] = uint8_t(Scaled(at + size_t(fLayout.AlphaIndex)) >> 8);
    }
}
