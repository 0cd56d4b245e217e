#include "app/resizeres.h"

namespace {

struct TMethodRow {
    const char* Caption;
    TResampleFilter Filter;
};

constexpr TMethodRow MethodTable[] = {
    {"Mitchell", rfMitchell}, {"Bilinear", rfBilinear},
    {"Bicubic", rfBicubic},   {"Lanczos", rfLanczos3},
    {"Hermite", rfHermite},   {"Bell", rfBell},
    {"BSpline", rfBSpline},   {"High Quality Bicubic", rfWICCubicHQ},
};

bool InTable(TResizeMethode Methode) {
    return Methode >= Mitchell && Methode <= WICNearestNeighbor;
}

} // namespace

const char* ResizeMethodeCaption(TResizeMethode Methode) {
    return InTable(Methode) ? MethodTable[Methode].Caption : "";
}

std::optional<TResampleFilter> ResizeMethodeFilter(TResizeMethode Methode) {
    if (!InTable(Methode)) return std::nullopt;
    return MethodTable[Methode].Filter;
}
