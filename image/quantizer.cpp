#include "image/quantizer.h"

#include <algorithm>
#include <cstring>

#include "image/bitmap.h"

namespace {

uint32_t Key(TRGB c) {
    return uint32_t(c.r) << 16 | uint32_t(c.g) << 8 | c.b;
}
int32_t Channel(uint32_t Key, int32_t Shift) {
    return int32_t(Key >> Shift) & 255;
}

} // namespace

TIEQuantizer::TIEQuantizer(TIEBitmap& Source, TRGB* Palette, int32_t ColorCount) {
    ColorCount = std::clamp(ColorCount, 1, 256);
    // Distinct colours with their pixel counts, in order of first appearance.
    std::vector<std::pair<uint32_t, uint32_t>> colours;
    std::unordered_map<uint32_t, uint32_t> position;
    if (Source.PixelFormat() == ie24RGB) {
        for (int32_t y = 0; y < Source.Height(); ++y) {
            const auto* row = static_cast<const TRGB*>(Source.GetScanline(y));
            if (!row) break;
            for (int32_t x = 0; x < Source.Width(); ++x) {
                auto [it, added] = position.try_emplace(Key(row[x]), uint32_t(colours.size()));
                if (added) colours.emplace_back(it->first, 0);
                ++colours[it->second].second;
            }
        }
    }
    if (int32_t(colours.size()) <= ColorCount) {
        for (size_t i = 0; i < colours.size(); ++i) {
            uint32_t key = colours[i].first;
            fPalette.push_back(
                TRGB{uint8_t(Channel(key, 0)), uint8_t(Channel(key, 8)), uint8_t(Channel(key, 16))});
            fIndex.emplace(key, int32_t(i));
        }
    } else {
        MedianCut(colours, ColorCount);
    }
    std::memset(static_cast<void*>(Palette), 0, 256 * sizeof(TRGB));
    std::copy(fPalette.begin(), fPalette.end(), Palette);
}

void TIEQuantizer::MedianCut(std::vector<std::pair<uint32_t, uint32_t>>& Colours, int32_t ColorCount) {
    struct TBox {
        size_t Begin, End;
    };
    std::vector<TBox> boxes{{0, Colours.size()}};
    auto widest = [&Colours](const TBox& Box, int32_t& Shift) {
        int32_t bestRange = -1;
        for (int32_t shift : {16, 8, 0}) {
            int32_t low = 255, high = 0;
            for (size_t i = Box.Begin; i < Box.End; ++i) {
                low = std::min(low, Channel(Colours[i].first, shift));
                high = std::max(high, Channel(Colours[i].first, shift));
            }
            if (high - low > bestRange) {
                bestRange = high - low;
                Shift = shift;
            }
        }
        return bestRange;
    };
    while (int32_t(boxes.size()) < ColorCount) {
        size_t chosen = boxes.size();
        int32_t chosenRange = 0, chosenShift = 16;
        for (size_t b = 0; b < boxes.size(); ++b) {
            int32_t shift = 16;
            int32_t range = widest(boxes[b], shift);
            if (range > chosenRange) {
                chosen = b;
                chosenRange = range;
                chosenShift = shift;
            }
        }
        if (chosen == boxes.size()) break;
        TBox box = boxes[chosen];
        std::stable_sort(Colours.begin() + std::ptrdiff_t(box.Begin),
                         Colours.begin() + std::ptrdiff_t(box.End),
                         [chosenShift](const auto& A, const auto& B) {
                             return Channel(A.first, chosenShift) < Channel(B.first, chosenShift);
                         });
        uint64_t total = 0;
        for (size_t i = box.Begin; i < box.End; ++i)
            total += Colours[i].second;
        // Split where half the pixels are reached, leaving both halves non-empty.
        uint64_t running = 0;
        size_t split = box.Begin + 1;
        for (size_t i = box.Begin; i + 1 < box.End; ++i) {
            running += Colours[i].second;
            split = i + 1;
            if (running * 2 >= total) break;
        }
        boxes[chosen] = TBox{box.Begin, split};
        boxes.push_back(TBox{split, box.End});
    }
    for (const TBox& box : boxes) {
        uint64_t sum[3] = {0, 0, 0}, count = 0;
        for (size_t i = box.Begin; i < box.End; ++i) {
            uint32_t key = Colours[i].first, weight = Colours[i].second;
            sum[0] += uint64_t(Channel(key, 16)) * weight;
            sum[1] += uint64_t(Channel(key, 8)) * weight;
            sum[2] += uint64_t(Channel(key, 0)) * weight;
            count += weight;
        }
        auto mean = [count](uint64_t s) { return uint8_t((s + count / 2) / count); };
        fPalette.push_back(TRGB{mean(sum[2]), mean(sum[1]), mean(sum[0])});
    }
}

int32_t TIEQuantizer::GetRGBIndex(TRGB Colour) {
    uint32_t key = Key(Colour);
    if (auto it = fIndex.find(key); it != fIndex.end()) return it->second;
    int32_t best = 0, bestDistance = INT32_MAX;
    for (size_t i = 0; i < fPalette.size(); ++i) {
        int32_t dr = fPalette[i].r - Colour.r, dg = fPalette[i].g - Colour.g, db = fPalette[i].b - Colour.b;
        int32_t distance = dr * dr + dg * dg + db * db;
        if (distance < bestDistance) {
            best = int32_t(i);
            bestDistance = distance;
        }
    }
    // Remembered, so that each distinct colour is searched for once.
    fIndex.emplace(key, best);
    return best;
}
