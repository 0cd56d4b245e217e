#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "image/ietypes.h"

class TIEBitmap;

// "pixelwright-cli image ...": the engine's detection, loading and resampling for
// scripts and checks. Arguments are those after "image". Exit status 0 on success, 1
// when a file can't be loaded or written, 2 on bad arguments.
int RunImageTool(const std::vector<std::string>& Arguments, std::ostream& Out, std::ostream& Err);

// A TResampleFilter by its name without "rf", in any case ("lanczos3", "WICCubicHQ").
bool ParseResampleFilter(const std::string& Name, TResampleFilter& Filter);

// Binary PNM: P5 for the grey formats, P6 for the others; 16-bit samples (big-endian)
// for ie16g and ie48RGB, 8-bit otherwise. The alpha plane is not written.
bool WritePNM(TIEBitmap& Bitmap, const std::string& FileName);
