#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "image/ietypes.h"

class TIEBitmap;
class TImagerView;

// "pixelwright-cli image ...": the engine's detection, loading and resampling for
// scripts and checks, and "process" (see imageprocess.h). Arguments are those after "image". Exit status 0 on
// success, 1 when a file can't be loaded or written, 2 on bad arguments. "resample" writes OUT as PNG, with
// the alpha channel, when its name ends in ".png", and as PNM otherwise.
int RunImageTool(const std::vector<std::string>& Arguments, std::ostream& Out, std::ostream& Err);

// A TResampleFilter by its name without "rf", in any case ("lanczos3", "WICCubicHQ").
bool ParseResampleFilter(const std::string& Name, TResampleFilter& Filter);

// Binary PNM: P5 for the grey formats, P6 for the others; 16-bit samples (big-endian)
// for ie16g and ie48RGB, 8-bit otherwise. The alpha plane is not written.
bool WritePNM(TIEBitmap& Bitmap, const std::string& FileName);

// Loads FileName into the holder as the batch does, by content first; false, with a
// message on Err, for a missing file or one that isn't a picture. Index: the page or frame.
bool LoadImageFile(TImagerView& Holder, const std::string& FileName, std::ostream& Err, int32_t Index = 0);

// Writes the holder's current bitmap to FileName: PNG, with the alpha channel, for a name
// ending in ".png" (any case), PNM otherwise. False when the file can't be written.
bool WriteImageFile(TImagerView& Holder, const std::string& FileName);
