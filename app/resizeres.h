#pragma once

#include <optional>

#include "image/ietypes.h"

// The user's eight methods, in this order. The eighth keeps its name although the
// user sees it as "High Quality Bicubic".
enum TResizeMethode : int32_t {
    Mitchell,
    Bilinear,
    Bicubic,
    Lanczos3,
    Hermite,
    Bell,
    BSpline,
    WICNearestNeighbor,
};

// Caption the user sees for a method, and the filter that performs it. A value
// outside the enumeration has no filter: the worker then skips resampling.
const char* ResizeMethodeCaption(TResizeMethode Methode);
std::optional<TResampleFilter> ResizeMethodeFilter(TResizeMethode Methode);
