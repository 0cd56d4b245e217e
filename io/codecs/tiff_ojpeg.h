#pragma once

#include <cstdint>
#include <vector>

#include "io/codecs/tiff_ifd.h"

// Old-style JPEG inside TIFF keeps its tables in tags, or in a JPEG header of its own
// that lacks the scans. These make a JPEG stream's head that a strip's scan data can
// follow.

// From the table tags (quantisation 519, DC 520 and AC 521 Huffman tables, restart
// interval 515) for a block of Width x Height with luma sampled SubH x SubV; ends with
// the start of scan. Empty when the tags are missing or point outside the file.
std::vector<uint8_t> IEOldJpegHeaderFromTags(const TIETIFFIFDReader& Reader, int32_t Samples, int32_t Width,
                                             int32_t Height, int32_t SubH, int32_t SubV);

// Sets the height in the frame header of a JPEG head; false if it has none.
bool IEPatchJpegHeight(std::vector<uint8_t>& Head, int32_t Height);

// True when the bytes hold a start of scan marker, so a whole stream rather than tables.
bool IEJpegHasScan(const std::vector<uint8_t>& Data);
