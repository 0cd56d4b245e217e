#include "image/ietypes.h"

const char* IEPixelFormatName(TIEPixelFormat Format) {
    static const char* const names[] = {"ieNull", "ie1g",   "ie8p",    "ie8g",     "ie16g",  "ie24RGB",
                                        "ie32f",  "ieCMYK", "ie48RGB", "ieCIELab", "ie32RGB"};
    return Format >= ieNull && Format <= ie32RGB ? names[Format] : "";
}

const char* IEResampleFilterName(TResampleFilter Filter) {
    static const char* const names[] = {
        "rfNone",      "rfTriangle", "rfHermite",   "rfBell",      "rfBSpline",
        "rfLanczos3",  "rfMitchell", "rfNearest",   "rfLinear",    "rfFastLinear",
        "rfBilinear",  "rfBicubic",  "rfProjectBW", "rfProjectWB", "rfWICNearestNeighbor",
        "rfWICLinear", "rfWICCubic", "rfWICFant",   "rfWICCubicHQ"};
    return Filter >= rfNone && Filter <= rfWICCubicHQ ? names[Filter] : "";
}
