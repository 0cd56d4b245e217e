#pragma once

// Helpers shared by the conversion files; not part of the engine's interface.

#include <cstdint>

#include "image/ietypes.h"

namespace ieconvert {

// Trunc(v * Scale) limited to 0..Max. A float image may hold anything, NaN and
// infinities included, and a cast of an out-of-range double is undefined, so the
// limits are applied before the cast; NaN reads as black.
inline int32_t TruncScaled(float v, double Scale, int32_t Max) {
    double scaled = double(v) * Scale;
    if (!(scaled > 0)) return 0;
    if (scaled >= Max) return Max;
    return int32_t(scaled);
}

// The 16-bit grey weights: 0.2126, 0.7152 and 0.0722 scaled so that white gives
// 65535 exactly (255 * 257000 / 1000).
inline uint16_t Grey16(int32_t r, int32_t g, int32_t b) {
    return uint16_t((r * 54484 + g * 183241 + b * 19275) / 1000);
}

inline float GreyFloat(int32_t r, int32_t g, int32_t b) {
    return float((r * 0.2126 + g * 0.7152 + b * 0.0722) / 255.0);
}

inline TRGB Replicated(uint8_t v) {
    return TRGB{v, v, v};
}

// The 32-bit forms are opaque: the fourth byte of ie32RGB may be the alpha.
inline TRGBA Opaque(TRGB c) {
    return TRGBA{c.b, c.g, c.r, 255};
}
inline TRGBA ReplicatedOpaque(uint8_t v) {
    return TRGBA{v, v, v, 255};
}
inline TRGB48 Replicated48(uint16_t v) {
    return TRGB48{v, v, v};
}

} // namespace ieconvert

class TIEBitmap;

namespace ieconvert {

// The table of pairs without the alpha plane: fills Target, allocated in its
// format, from Source of the same size. Pairs without a direct rule convert Source
// to ie24RGB in place first.
void ConvertRows(TIEBitmap& Source, TIEBitmap& Target);

} // namespace ieconvert
