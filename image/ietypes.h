#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>

// Pixel formats; the order is stored in files and tables, keep it.
enum TIEPixelFormat : int32_t {
    ieNull,
    ie1g,
    ie8p,
    ie8g,
    ie16g,
    ie24RGB,
    ie32f,
    ieCMYK,
    ie48RGB,
    ieCIELab,
    ie32RGB,
};

const char* IEPixelFormatName(TIEPixelFormat Format);

#pragma pack(push, 1)
struct TRGB {
    uint8_t b, g, r;
};
struct TRGBA {
    uint8_t b, g, r, a;
};
struct TRGB48 {
    uint16_t r, g, b;
};
// Stored inverted: 255 means no ink.
struct TCMYK {
    uint8_t c, m, y, k;
};
struct TCIELab {
    uint8_t l;
    int8_t a, b;
};
#pragma pack(pop)
static_assert(sizeof(TRGB) == 3 && sizeof(TRGB48) == 6 && sizeof(TCIELab) == 3);

// 0x00BBGGRR; negative values name system colours.
using TColor = int32_t;
constexpr TColor clNone = 0x1FFFFFFF;
constexpr TColor clBlack = 0x000000;
constexpr TColor clWhite = 0xFFFFFF;
// As a fill value, clNone means "transparent".
constexpr double IETransparentFill = 536870911.0;

inline uint8_t GetRValue(TColor c) {
    return uint8_t(c);
}
inline uint8_t GetGValue(TColor c) {
    return uint8_t(c >> 8);
}
inline uint8_t GetBValue(TColor c) {
    return uint8_t(c >> 16);
}
inline TRGB TColor2TRGB(TColor c) {
    return TRGB{GetBValue(c), GetGValue(c), GetRValue(c)};
}
inline TColor TRGB2TColor(TRGB c) {
    return TColor(c.r) | (TColor(c.g) << 8) | (TColor(c.b) << 16);
}

// The engine's failure for misuse; the texts are English and kept word for word.
class EIEException : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Filter values 0 to 18, in order of value.
enum TResampleFilter : int32_t {
    rfNone,
    rfTriangle,
    rfHermite,
    rfBell,
    rfBSpline,
    rfLanczos3,
    rfMitchell,
    rfNearest,
    rfLinear,
    rfFastLinear,
    rfBilinear,
    rfBicubic,
    rfProjectBW,
    rfProjectWB,
    rfWICNearestNeighbor,
    rfWICLinear,
    rfWICCubic,
    rfWICFant,
    rfWICCubicHQ,
};

const char* IEResampleFilterName(TResampleFilter Filter);

// Progress in percent, reported only when it changed; may come on a worker thread.
using TIEProgressEvent = std::function<void(void* Sender, int per)>;

// Round to nearest with ties to even, as the processor does; the default
// floating-point environment is never changed by the engine.
inline int32_t IERound(double v) {
    return int32_t(std::nearbyint(v));
}
inline int64_t IERound64(double v) {
    return int64_t(std::nearbyint(v));
}

inline uint8_t IEByteClamp(int64_t v) {
    return v < 0 ? 0 : v > 255 ? 255 : uint8_t(v);
}
