#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include "image/ietypes.h"

class TIEBitmap;

// Reduces an ie24RGB image to a palette of at most ColorCount colours, written to
// Palette (room for 256 entries). An image with no more colours than that keeps
// them exactly, in order of first appearance from the top row; a richer one is
// reduced by median cut, each box becoming the pixel-weighted mean of its colours.
class TIEQuantizer {
  public:
    TIEQuantizer(TIEBitmap& Source, TRGB* Palette, int32_t ColorCount);
    // Entries actually used in Palette.
    int32_t UsedColors() const { return int32_t(fPalette.size()); }
    // The palette index of Colour: exact for a kept colour, otherwise the nearest
    // entry (squared distance, the first one on a tie).
    int32_t GetRGBIndex(TRGB Colour);

  private:
    void MedianCut(std::vector<std::pair<uint32_t, uint32_t>>& Colours, int32_t ColorCount);

    std::vector<TRGB> fPalette;
    std::unordered_map<uint32_t, int32_t> fIndex;
};
