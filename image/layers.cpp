#include "image/layers.h"

#include <algorithm>
#include <cstring>
#include <vector>

// ---- TIELayer ----

TIELayer::TIELayer(TIELayerKind Kind, TIELayerOwner* Owner) : fKind(Kind), fOwner(Owner) {}

void TIELayer::SetDefaults() {
    fIsMask = false;
    fMaskInverted = false;
    fRotate = 0;
    fFlip = fdNone;
    fPosX = 0;
    fPosY = 0;
    fVisible = true;
    fVisibleBox = true;
    fTransparency = 255;
    fOpacity = 1.0;
    fCropped = false;
    fLocked = false;
    fSelectable = true;
    fOperation = ielNormal;
    fResizedWidth = 0;
    fResizedHeight = 0;
}

void TIELayer::Assign(const TIELayer& Source) {
    fIsMask = Source.fIsMask;
    fMaskInverted = Source.fMaskInverted;
    fRotate = Source.fRotate;
    fFlip = Source.fFlip;
    fPosX = Source.fPosX;
    fPosY = Source.fPosY;
    fVisible = Source.fVisible;
    fVisibleBox = Source.fVisibleBox;
    fTransparency = Source.fTransparency;
    fOpacity = Source.fOpacity;
    fCropped = Source.fCropped;
    fLocked = Source.fLocked;
    fSelectable = Source.fSelectable;
    fOperation = Source.fOperation;
    fResizedWidth = Source.fResizedWidth;
    fResizedHeight = Source.fResizedHeight;
}

void TIELayer::Swap(TIELayer& OtherLayer) {
    std::swap(fIsMask, OtherLayer.fIsMask);
    std::swap(fMaskInverted, OtherLayer.fMaskInverted);
    std::swap(fRotate, OtherLayer.fRotate);
    std::swap(fFlip, OtherLayer.fFlip);
    std::swap(fPosX, OtherLayer.fPosX);
    std::swap(fPosY, OtherLayer.fPosY);
    std::swap(fVisible, OtherLayer.fVisible);
    std::swap(fVisibleBox, OtherLayer.fVisibleBox);
    std::swap(fTransparency, OtherLayer.fTransparency);
    std::swap(fOpacity, OtherLayer.fOpacity);
    std::swap(fCropped, OtherLayer.fCropped);
    std::swap(fLocked, OtherLayer.fLocked);
    std::swap(fSelectable, OtherLayer.fSelectable);
    std::swap(fOperation, OtherLayer.fOperation);
    std::swap(fResizedWidth, OtherLayer.fResizedWidth);
    std::swap(fResizedHeight, OtherLayer.fResizedHeight);
}

void TIELayer::SetPosX(int32_t Value) {
    if (Value < IELayerPosAlignLeft) {
        fPosX = Value;
        return;
    }
    const int32_t background = fOwner ? fOwner->LayerBackgroundWidth() : 0;
    if (Value == IELayerPosAlignLeft)
        fPosX = 0;
    else if (Value == IELayerPosAlignCenter)
        fPosX = (background - Width()) / 2;
    else
        fPosX = background - Width();
}

void TIELayer::SetPosY(int32_t Value) {
    if (Value < IELayerPosAlignTop) {
        fPosY = Value;
        return;
    }
    const int32_t background = fOwner ? fOwner->LayerBackgroundHeight() : 0;
    if (Value == IELayerPosAlignTop)
        fPosY = 0;
    else if (Value == IELayerPosAlignMiddle)
        fPosY = (background - Height()) / 2;
    else
        fPosY = background - Height();
}

int32_t TIELayer::Width() const {
    const double displayed = fResizedWidth > 0 ? fResizedWidth : double(NaturalWidth());
    return std::max(1, IERound(displayed));
}

int32_t TIELayer::Height() const {
    const double displayed = fResizedHeight > 0 ? fResizedHeight : double(NaturalHeight());
    return std::max(1, IERound(displayed));
}

// ---- TIEImageLayer ----

TIEImageLayer::TIEImageLayer(TIELayerOwner* Owner)
    : TIELayer(ielkImage, Owner), fBitmap(new TIEBitmap()), fFreeBitmapOnDestroy(true) {}

TIEImageLayer::TIEImageLayer(TIELayerOwner* Owner, TIEBitmap* Bitmap, bool FreeBitmapOnDestroy)
    : TIELayer(ielkImage, Owner), fBitmap(Bitmap), fFreeBitmapOnDestroy(FreeBitmapOnDestroy) {}

TIEImageLayer::~TIEImageLayer() {
    if (fFreeBitmapOnDestroy) delete fBitmap;
}

void TIEImageLayer::Assign(const TIELayer& Source) {
    TIELayer::Assign(Source);
    if (const auto* image = dynamic_cast<const TIEImageLayer*>(&Source)) {
        fResampleFilter = image->fResampleFilter;
        fUseResampleFilter = image->fUseResampleFilter;
        fApplySmoothing = image->fApplySmoothing;
        fBitmap->Assign(*image->fBitmap);
    }
}

void TIEImageLayer::ReplaceBitmap(std::unique_ptr<TIEBitmap> Bitmap) {
    if (fFreeBitmapOnDestroy) delete fBitmap;
    fBitmap = Bitmap.release();
    fFreeBitmapOnDestroy = true;
}

void TIEImageLayer::Update() {
    fBitmap->Changed();
}

// ---- Composition ----

namespace {

// One layer as the canvas sees it: its pixels at the displayed size, its rectangle on
// the canvas, and the alpha rule's constants.
struct TPlacedLayer {
    TIEBitmap* Pixels = nullptr;
    std::unique_ptr<TIEBitmap> Resampled;
    TIEBitmap* Alpha = nullptr;
    int32_t X = 0, Y = 0, W = 0, H = 0;
    int32_t Ceiling = 255;
    double Opacity = 1.0;
    bool Visible = true;
    // Alpha(layer) for each alpha byte: the ceiling applied, then the factor.
    double AlphaOf[256];
    // Trunc(smaller of (byte, ceiling) * opacity), for pixels only this layer covers.
    uint8_t AlphaByteOf[256];
    std::vector<TRGB> RowBuffer;

    bool CoversRow(int32_t y) const { return y >= Y && y < Y + H; }
};

// IERound for the non-negative values of the blend: adding and taking away 2^52 leaves
// the value rounded to an integer by the processor's rounding, which is to nearest with
// ties to even, without a library call per channel.
inline int32_t RoundNonNegative(double Value) {
    constexpr double kShift = 4503599627370496.0;
    return int32_t((Value + kShift) - kShift);
}

bool IsComposableFormat(TIEPixelFormat Format) {
    return Format == ie1g || Format == ie8p || Format == ie8g || Format == ie16g || Format == ie24RGB;
}

void PlaceLayer(TIELayer& Layer, TResampleFilter MergeFilter, TPlacedLayer& Placed) {
    TIEBitmap* bitmap = Layer.GetBitmap();
    if (!bitmap) throw EIEException("Layer insertion error - Invalid Type: " + std::to_string(Layer.Kind()));
    if (!IsComposableFormat(bitmap->PixelFormat())) bitmap->SetPixelFormat(ie24RGB);
    Placed.Pixels = bitmap;
    if (Layer.Width() != bitmap->Width() || Layer.Height() != bitmap->Height()) {
        // The displayed state; the layer's own bitmap stays as it is.
        Placed.Resampled = std::make_unique<TIEBitmap>();
        Placed.Resampled->Assign(*bitmap);
        TResampleFilter filter = MergeFilter;
        if (auto* image = dynamic_cast<TIEImageLayer*>(&Layer); image && image->UseResampleFilter())
            filter = image->ResampleFilter();
        Placed.Resampled->Resample(Layer.Width(), Layer.Height(), filter);
        Placed.Pixels = Placed.Resampled.get();
    }
    Placed.Alpha = Placed.Pixels->HasAlphaChannel() ? Placed.Pixels->AlphaChannelOpt() : nullptr;
    Placed.X = Layer.PosX();
    Placed.Y = Layer.PosY();
    Placed.W = Placed.Pixels->Width();
    Placed.H = Placed.Pixels->Height();
    Placed.Ceiling = Layer.Transparency();
    Placed.Opacity = Layer.Opacity();
    Placed.Visible = Layer.Visible();
    for (int32_t byte = 0; byte < 256; ++byte) {
        const int32_t limited = !Placed.Visible ? 0 : std::min(byte, Placed.Ceiling);
        Placed.AlphaOf[byte] = limited / 255.0 * Placed.Opacity;
        Placed.AlphaByteOf[byte] = uint8_t(int32_t(limited * Placed.Opacity));
    }
    Placed.RowBuffer.resize(size_t(std::max(Placed.W, 0)));
}

// Row y of the layer as 24-bit colour; null if the row can't be had.
const TRGB* ColourRow(TPlacedLayer& Layer, int32_t y) {
    TIEBitmap& pixels = *Layer.Pixels;
    if (pixels.PixelFormat() == ie24RGB) return static_cast<const TRGB*>(pixels.GetScanline(y));
    // Pixel by pixel a lost row would read as black; asking for the row once tells.
    if (!pixels.GetScanline(y)) return nullptr;
    for (int32_t x = 0; x < Layer.W; ++x)
        Layer.RowBuffer[size_t(x)] = pixels.GetPixels(x, y);
    return Layer.RowBuffer.data();
}

// The mask's grey levels, ie8g at its displayed size.
std::unique_ptr<TIEBitmap> MaskPlane(TIELayer& Mask, TResampleFilter MergeFilter) {
    TPlacedLayer placed;
    PlaceLayer(Mask, MergeFilter, placed);
    auto plane = std::make_unique<TIEBitmap>();
    plane->Assign(*placed.Pixels);
    plane->SetPixelFormat(ie8g);
    return plane;
}

} // namespace

void IEComposeLayers(const TIELayerComposition& Composition, TIEBitmap& Destination) {
    // One bitmap can't be read at two rows through GetScanline.
    TIEBitmap* lowerBitmap = Composition.Lower->GetBitmap();
    if (Composition.Lower == Composition.Upper ||
        (lowerBitmap && lowerBitmap == Composition.Upper->GetBitmap()))
        throw EIEException("Cannot merge a layer with itself");
    TPlacedLayer lower, upper;
    PlaceLayer(*Composition.Lower, Composition.MergeFilter, lower);
    PlaceLayer(*Composition.Upper, Composition.MergeFilter, upper);
    std::unique_ptr<TIEBitmap> mask;
    int32_t maskX = 0, maskY = 0;
    if (Composition.Mask) {
        mask = MaskPlane(*Composition.Mask, Composition.MergeFilter);
        maskX = Composition.Mask->PosX();
        maskY = Composition.Mask->PosY();
    }
    const bool maskInverted = Composition.Mask && Composition.Mask->MaskInverted();

    // All positions move so that the lower layer starts at 0 or beyond, and, unless the
    // upper layer is cut to the lower one, the upper layer as well.
    auto shift = [&](int32_t dx, int32_t dy) {
        lower.X += dx, upper.X += dx, maskX += dx;
        lower.Y += dy, upper.Y += dy, maskY += dy;
    };
    shift(lower.X < 0 ? -lower.X : 0, lower.Y < 0 ? -lower.Y : 0);
    const bool crop = Composition.Upper->Cropped() && !Composition.LowerIsNotBackground;
    if (!crop) shift(upper.X < 0 ? -upper.X : 0, upper.Y < 0 ? -upper.Y : 0);

    int32_t x0 = lower.X, y0 = lower.Y, x1 = lower.X + lower.W, y1 = lower.Y + lower.H;
    if (!crop) {
        x0 = std::min(x0, upper.X);
        y0 = std::min(y0, upper.Y);
        x1 = std::max(x1, upper.X + upper.W);
        y1 = std::max(y1, upper.Y + upper.H);
    }
    const int32_t width = x1 - x0, height = y1 - y0;
    if (!Destination.IsSize(width, height, ie24RGB) && !Destination.Allocate(width, height, ie24RGB))
        throw EIEException("Not enough memory");
    TIEBitmap* destinationAlpha = Destination.AlphaChannel();
    destinationAlpha->SetFull(false);

    const TRGB background = TColor2TRGB(Composition.Background);
    const std::vector<uint8_t> opaqueRow(size_t(std::max(lower.W, upper.W)), 255);
    std::vector<uint8_t> maskedAlpha(size_t(upper.W));
    // Columns of each layer on the canvas.
    const int32_t lowerFrom = lower.X - x0, lowerTo = lowerFrom + lower.W;
    const int32_t upperFrom = upper.X - x0, upperTo = upperFrom + upper.W;

    bool rowsLost = false;
    for (int32_t cy = 0; cy < height && !rowsLost; ++cy) {
        const int32_t y = y0 + cy;
        const bool inLowerRow = lower.CoversRow(y);
        const bool inUpperRow = upper.CoversRow(y);
        const TRGB* cl = inLowerRow ? ColourRow(lower, y - lower.Y) : nullptr;
        const TRGB* cu = inUpperRow ? ColourRow(upper, y - upper.Y) : nullptr;
        const uint8_t* alphaL = nullptr;
        const uint8_t* alphaU = nullptr;
        if (inLowerRow)
            alphaL = lower.Alpha ? static_cast<const uint8_t*>(lower.Alpha->GetRow(y - lower.Y))
                                 : opaqueRow.data();
        if (inUpperRow) {
            alphaU = upper.Alpha ? static_cast<const uint8_t*>(upper.Alpha->GetRow(y - upper.Y))
                                 : opaqueRow.data();
            if (mask && alphaU) {
                // The mask's level joins the minimum; outside the mask nothing shows.
                const int32_t my = y - maskY;
                const auto* levels =
                    my >= 0 && my < mask->Height() ? static_cast<const uint8_t*>(mask->GetRow(my)) : nullptr;
                for (int32_t ux = 0; ux < upper.W; ++ux) {
                    const int32_t mx = upper.X + ux - maskX;
                    uint8_t level = 0;
                    if (levels && mx >= 0 && mx < mask->Width())
                        level = maskInverted ? uint8_t(255 - levels[mx]) : levels[mx];
                    maskedAlpha[size_t(ux)] = std::min(alphaU[ux], level);
                }
                if (levels) mask->FreeRow(my);
                alphaU = maskedAlpha.data();
            }
        }
        auto* out = static_cast<TRGB*>(Destination.GetRow(cy));
        auto* outAlpha = static_cast<uint8_t*>(destinationAlpha->GetRow(cy));
        rowsLost = (inLowerRow && (!cl || !alphaL)) || (inUpperRow && (!cu || !alphaU)) || !out || !outAlpha;
        // The row falls into spans covered by both layers, by one, or by neither; each
        // span runs a loop of its own.
        auto blend = [&](int32_t From, int32_t To) {
            for (int32_t cx = From; cx < To; ++cx) {
                const TRGB l = cl[cx - lowerFrom];
                const TRGB u = cu[cx - upperFrom];
                const double al = lower.AlphaOf[alphaL[cx - lowerFrom]];
                const double au = upper.AlphaOf[alphaU[cx - upperFrom]];
                const double w = (1 - au) * al;
                const double a = au + w;
                if (a == 0) {
                    out[cx] = u;
                    outAlpha[cx] = 0;
                } else {
                    out[cx].r = IEByteClamp(RoundNonNegative((au * u.r + w * l.r) / a));
                    out[cx].g = IEByteClamp(RoundNonNegative((au * u.g + w * l.g) / a));
                    out[cx].b = IEByteClamp(RoundNonNegative((au * u.b + w * l.b) / a));
                    outAlpha[cx] = IEByteClamp(RoundNonNegative(a * 255));
                }
            }
        };
        auto single = [&](int32_t From, int32_t To, const TRGB* Colour, const uint8_t* Alpha, int32_t Offset,
                          const uint8_t* AlphaByteOf) {
            if (From >= To) return;
            std::memcpy(out + From, Colour + (From - Offset), size_t(To - From) * sizeof(TRGB));
            for (int32_t cx = From; cx < To; ++cx)
                outAlpha[cx] = AlphaByteOf[Alpha[cx - Offset]];
        };
        auto empty = [&](int32_t From, int32_t To) {
            for (int32_t cx = From; cx < To; ++cx)
                out[cx] = background;
            if (From < To) std::memset(outAlpha + From, 0, size_t(To - From));
        };
        // Column boundaries of this row, in order; between two of them the cover is constant.
        int32_t cuts[6] = {0, width, width, width, width, width};
        int32_t count = 1;
        for (int32_t edge : {inLowerRow ? lowerFrom : width, inLowerRow ? lowerTo : width,
                             inUpperRow ? upperFrom : width, inUpperRow ? upperTo : width})
            cuts[count++] = std::clamp(edge, 0, width);
        std::sort(cuts, cuts + 5);
        cuts[5] = width;
        for (int32_t i = 0; i < 5 && !rowsLost; ++i) {
            const int32_t from = cuts[i], to = cuts[i + 1];
            if (from >= to) continue;
            const bool inLower = inLowerRow && from >= lowerFrom && from < lowerTo;
            const bool inUpper = inUpperRow && from >= upperFrom && from < upperTo;
            if (inLower && inUpper)
                blend(from, to);
            else if (inLower)
                single(from, to, cl, alphaL, lowerFrom, lower.AlphaByteOf);
            else if (inUpper)
                single(from, to, cu, alphaU, upperFrom, upper.AlphaByteOf);
            else
                empty(from, to);
        }
        destinationAlpha->FreeRow(cy);
        Destination.FreeRow(cy);
        if (inLowerRow && lower.Alpha) lower.Alpha->FreeRow(y - lower.Y);
        if (inUpperRow && upper.Alpha) upper.Alpha->FreeRow(y - upper.Y);
    }
    for (TIEBitmap* used : {lower.Pixels, upper.Pixels, lower.Alpha, upper.Alpha, mask.get()})
        rowsLost = (used && !used->FlushRows()) || rowsLost;
    if (rowsLost | !Destination.FlushRows() | !destinationAlpha->FlushRows())
        throw EIEException("Not enough memory");
    Destination.Changed();
}
