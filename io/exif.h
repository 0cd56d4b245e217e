#pragma once

#include <cstdint>
#include <vector>

#include "io/ioparams.h"

// The EXIF block of a JPEG APP1 marker: "Exif", two zero bytes, then a small TIFF file.
// This reader takes the tags the JPEG reader acts on (orientation and resolution);
// the full tag table comes with the TIFF reader, which this grows into.

// An APP1 payload counts as EXIF if it has at least four bytes and begins with "Exif".
bool IEIsEXIFBlock(const std::vector<uint8_t>& Payload);

// False unless the payload begins with the zero-terminated "Exif". Any such block is
// accepted, also one whose directory can't be read: EXIF_HasEXIFData is then true and
// the fields keep their defaults. EXIF_Orientation and TIFF_Orientation come from tag
// 274 (default 1); EXIF_XResolution and EXIF_YResolution from 282 and 283 (default the
// engine's default DPI), in dots per inch: a unit of 3 (centimetres) multiplies them by
// 2.54, and EXIF_ResolutionUnit keeps the unit as stored (default 2). Tags are read by
// their stored type; a resolution that isn't a valid density gets the default.
bool IEReadEXIFBlock(const std::vector<uint8_t>& Payload, TIOParams& Params);

// Writes Orientation into the block's tag 274 in place. False, with the block unchanged,
// if the block has no such tag stored as a single SHORT.
bool IESetEXIFOrientation(std::vector<uint8_t>& Payload, int32_t Orientation);
