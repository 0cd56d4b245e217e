#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "image/convert.h"
#include "proc/resample.h"

namespace {

bool GetBit(const uint8_t* Row, int64_t x) {
    return (Row[x >> 3] & (0x80 >> (x & 7))) != 0;
}

void SetBit(uint8_t* Row, int64_t x, bool Value) {
    uint8_t mask = uint8_t(0x80 >> (x & 7));
    Row[x >> 3] = Value ? uint8_t(Row[x >> 3] | mask) : uint8_t(Row[x >> 3] & ~mask);
}

// Applies the rules of CopyToEx to a rectangle; false when nothing is left of it.
bool ClipCopyRect(int32_t SourceWidth, int32_t SourceHeight, int32_t DestWidth, int32_t DestHeight,
                  int32_t& SrcX, int32_t& SrcY, int32_t& DstX, int32_t& DstY, int32_t& RectWidth,
                  int32_t& RectHeight) {
    if (SourceWidth < 1 || SourceHeight < 1 || DestWidth < 1 || DestHeight < 1) return false;
    if (DstX < 0) {
        RectWidth += DstX;
        SrcX -= DstX;
        DstX = 0;
    }
    if (DstY < 0) {
        RectHeight += DstY;
        SrcY -= DstY;
        DstY = 0;
    }
    DstX = std::min(DstX, DestWidth - 1);
    DstY = std::min(DstY, DestHeight - 1);
    SrcX = std::clamp(SrcX, 0, SourceWidth - 1);
    SrcY = std::clamp(SrcY, 0, SourceHeight - 1);
    RectWidth = std::min({RectWidth, SourceWidth - SrcX, DestWidth - DstX});
    RectHeight = std::min({RectHeight, SourceHeight - SrcY, DestHeight - DstY});
    return RectWidth >= 1 && RectHeight >= 1;
}

// One pixel of a fill value, in the bytes of the format.
struct TFillPixel {
    uint8_t Bytes[8] = {};
    int32_t Size = 0;
    bool Bit = false;
    bool IsWhite = false;
};

TFillPixel EncodeFillValue(TIEPixelFormat Format, double Value) {
    TFillPixel pixel;
    double clipped = std::clamp(Value, -9.0e18, 9.0e18);
    int64_t level = int64_t(std::trunc(clipped));
    auto color = TColor(uint32_t(uint64_t(level)));
    TRGB rgb = TColor2TRGB(color);
    bool whiteColor = (color & 0xFFFFFF) == 0xFFFFFF;
    auto put = [&pixel](const auto& Cell) {
        std::memcpy(pixel.Bytes, &Cell, sizeof Cell);
        pixel.Size = int32_t(sizeof Cell);
    };
    switch (Format) {
    case ie1g:
        pixel.Bit = level != 0;
        pixel.IsWhite = pixel.Bit;
        break;
    case ie8p:
    case ie8g:
        put(uint8_t(std::clamp<int64_t>(level, 0, 255)));
        pixel.IsWhite = level >= 255;
        break;
    case ie16g:
        put(uint16_t(std::clamp<int64_t>(level, 0, 65535)));
        pixel.IsWhite = level >= 65535;
        break;
    case ie32f:
        put(float(Value));
        pixel.IsWhite = Value >= 1.0;
        break;
    case ie24RGB:
        put(rgb);
        pixel.IsWhite = whiteColor;
        break;
    case ie32RGB:
        put(TRGBA{rgb.b, rgb.g, rgb.r, 255});
        pixel.IsWhite = whiteColor;
        break;
    case ie48RGB:
        put(TRGB48{uint16_t(rgb.r * 257), uint16_t(rgb.g * 257), uint16_t(rgb.b * 257)});
        pixel.IsWhite = whiteColor;
        break;
    case ieCMYK:
        put(IERGB2CMYK(rgb));
        pixel.IsWhite = whiteColor;
        break;
    case ieCIELab:
        put(IERGB2CIELab(rgb));
        pixel.IsWhite = whiteColor;
        break;
    case ieNull:
        break;
    }
    return pixel;
}

// Pixels bytes of a row: the pattern repeated, doubling the copied run each step.
std::vector<uint8_t> PatternRun(const TFillPixel& Pixel, int64_t Pixels, int64_t MinimumBytes) {
    std::vector<uint8_t> run(static_cast<size_t>(std::max(Pixels * Pixel.Size, MinimumBytes)));
    int64_t filled = std::min<int64_t>(Pixel.Size, int64_t(run.size()));
    std::memcpy(run.data(), Pixel.Bytes, size_t(filled));
    while (filled < int64_t(run.size())) {
        int64_t chunk = std::min<int64_t>(filled, int64_t(run.size()) - filled);
        std::memcpy(run.data() + filled, run.data(), size_t(chunk));
        filled += chunk;
    }
    return run;
}

} // namespace

const std::vector<TIEPixelFormat>& IEFormatSubstitutes(TIEPixelFormat Format) {
    // Per format, the substitutes that lose the least, in order: keep colour before
    // falling to grey, keep the sample depth before reducing it, and prefer the
    // formats every operation handles (ie24RGB, ie8g) among equals.
    static const std::vector<TIEPixelFormat> table[] = {
        /* ieNull   */ {},
        /* ie1g     */ {ie8g, ie8p, ie24RGB, ie16g, ie32RGB, ie48RGB, ie32f},
        /* ie8p     */ {ie24RGB, ie32RGB, ie48RGB, ie8g, ie16g, ieCMYK, ie1g},
        /* ie8g     */ {ie16g, ie24RGB, ie8p, ie32f, ie32RGB, ie48RGB, ie1g},
        /* ie16g    */ {ie8g, ie48RGB, ie32f, ie24RGB, ie32RGB, ie8p, ie1g},
        /* ie24RGB  */ {ie32RGB, ie48RGB, ie8p, ieCMYK, ieCIELab, ie8g, ie16g},
        /* ie32f    */ {ie16g, ie8g, ie48RGB, ie24RGB, ie32RGB, ie8p, ie1g},
        /* ieCMYK   */ {ie24RGB, ie32RGB, ie48RGB, ieCIELab, ie8p, ie8g, ie16g},
        /* ie48RGB  */ {ie24RGB, ie32RGB, ie16g, ieCIELab, ieCMYK, ie8p, ie8g},
        /* ieCIELab */ {ie24RGB, ie48RGB, ie32RGB, ieCMYK, ie8p, ie8g, ie16g},
        /* ie32RGB  */ {ie24RGB, ie48RGB, ie8p, ieCMYK, ieCIELab, ie8g, ie16g},
    };
    return table[Format >= ieNull && Format <= ie32RGB ? Format : ieNull];
}

void TIEBitmap::AssignEx(TIEBitmap& Source, [[maybe_unused]] bool AssignParams) {
    if (&Source == this) return;
    fFullReallocate = true;
    if (fLocation == ieTBitmap) {
        if (Source.IsEmpty()) return;
        // The platform bitmap object is kept and reshaped, so an encapsulated one
        // receives the picture.
        ReleaseMaps();
        fRGBPalette.clear();
        fTempIEBitmap.reset();
    } else {
        FreeImage(true);
    }
    fWidth = Source.fWidth;
    fHeight = Source.fHeight;
    fPixelFormat = Source.fPixelFormat;
    fBitAlignment = Source.fBitAlignment;
    fAlphaLocation = Source.fAlphaLocation;
    fOrigin = Source.fOrigin;
    if (AllocateImage()) {
        fFull = Source.fFull;
        TIEScopedAccess sourceAccess(&Source, iedRead), targetAccess(this, iedWrite);
        bool copied = true;
        if (fLocation == ieFile && Source.fLocation == ieFile && fRowLen == Source.fRowLen) {
            ReleaseMaps();
            Source.ReleaseMaps();
            copied = !Source.fMemMap->Failed() && Source.fMemMap->CopyTo(*fMemMap);
        } else {
            int64_t bytes = std::min(fRowLen, Source.fRowLen);
            for (int32_t row = 0; row < fHeight && copied; ++row) {
                void* target = GetScanline(row);
                const void* source = Source.GetScanline(row);
                copied = target && source;
                if (copied) std::memcpy(target, source, size_t(bytes));
            }
        }
        // A copy with holes is no copy: the target ends empty, as after a failed Allocate.
        if (!(copied & Source.FlushRows() & FlushRows())) FreeImage(false);
    } else {
        fWidth = fHeight = 0;
    }
    if (!fIsAlpha) {
        if (Source.fAlphaChannel) {
            if (!fAlphaChannel) {
                fAlphaChannel = std::make_unique<TIEBitmap>();
                fAlphaChannel->fIsAlpha = true;
                fAlphaChannel->fLocation = fLocation == ieTBitmap ? ieMemory : fLocation;
            }
            fAlphaChannel->AssignEx(*Source.fAlphaChannel, false);
        } else {
            fAlphaChannel.reset();
        }
    }
    Source.CopyPaletteTo(*this);
    fDefaultDitherMethod = Source.fDefaultDitherMethod;
    fBlackValue = Source.fBlackValue;
    fWhiteValue = Source.fWhiteValue;
    std::copy(std::begin(Source.fChannelOffset), std::end(Source.fChannelOffset), std::begin(fChannelOffset));
    fEnableChannelOffset = Source.fEnableChannelOffset;
    fContrast = Source.fContrast;
    fColorMap = Source.fColorMap;
    Changed();
}

void TIEBitmap::CopyRectTo(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY,
                           int32_t RectWidth, int32_t RectHeight, bool CopyAlpha) {
    CopyToEx(Dest, SrcX, SrcY, DstX, DstY, RectWidth, RectHeight, CopyAlpha, iemmReplaceWithSrc, false);
}

void TIEBitmap::CopyToEx(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY,
                         int32_t RectWidth, int32_t RectHeight, bool CopyAlpha, TIEMergeMethod AlphaMerge,
                         bool EllipticalCopy) {
    if (RectWidth < 1 || RectHeight < 1) return;
    if (CopyAlpha && fAlphaChannel && &Dest != this && !Dest.fIsAlpha) {
        TIEBitmap* sourceAlpha = fAlphaChannel->GetAtSize(fWidth, fHeight, ie8g);
        TIEBitmap* destAlpha = Dest.AlphaChannel();
        bool bothFull = sourceAlpha->fFull && destAlpha->fFull;
        if (AlphaMerge == iemmReplaceWithSrc)
            sourceAlpha->CopyToEx(*destAlpha, SrcX, SrcY, DstX, DstY, RectWidth, RectHeight, false,
                                  iemmReplaceWithSrc, EllipticalCopy);
        else
            sourceAlpha->MergeAlphaRect(*destAlpha, SrcX, SrcY, DstX, DstY, RectWidth, RectHeight,
                                        AlphaMerge);
        destAlpha->fFull = bothFull;
    }
    if (!ClipCopyRect(fWidth, fHeight, Dest.fWidth, Dest.fHeight, SrcX, SrcY, DstX, DstY, RectWidth,
                      RectHeight) ||
        IsEmpty() || Dest.IsEmpty()) {
        Dest.Changed();
        return;
    }
    bool bitToBit = fPixelFormat == ie1g && Dest.fPixelFormat == ie1g;
    bool bitToRGB = fPixelFormat == ie1g && Dest.fPixelFormat == ie24RGB;
    if (!bitToBit && !bitToRGB && fPixelFormat != Dest.fPixelFormat) {
        Dest.Changed();
        return;
    }
    TIEScopedAccess destAccess(&Dest, iedRead | iedWrite);
    int64_t bytesPerPixel = fBitCount / 8;
    std::vector<uint8_t> sourceRow(static_cast<size_t>(fRowLen));
    // Walking upwards when the rectangle moves down inside one image keeps the
    // rows still to be read from being overwritten first.
    bool upwards = &Dest == this && DstY > SrcY;
    for (int32_t i = 0; i < RectHeight; ++i) {
        int32_t j = upwards ? RectHeight - 1 - i : i;
        int32_t offset = 0, width = RectWidth;
        if (EllipticalCopy) {
            double radiusX = RectWidth / 2.0, radiusY = RectHeight / 2.0, dy = (j + 0.5 - radiusY) / radiusY;
            width = int32_t(std::lround(2.0 * radiusX * std::sqrt(std::max(0.0, 1.0 - dy * dy))));
            offset = (RectWidth - width) / 2;
            if (width < 1) continue;
        }
        // The source row is copied first: within one file-backed image the next
        // GetScanline releases it.
        const void* source = GetScanline(SrcY + j);
        if (!source) break;
        std::memcpy(sourceRow.data(), source, sourceRow.size());
        auto* target = static_cast<uint8_t*>(Dest.GetScanline(DstY + j));
        if (!target) break;
        int64_t sx = SrcX + offset, dx = DstX + offset;
        if (bitToBit) {
            for (int32_t x = 0; x < width; ++x)
                SetBit(target, dx + x, GetBit(sourceRow.data(), sx + x));
        } else if (bitToRGB) {
            for (int32_t x = 0; x < width; ++x)
                std::memset(target + (dx + x) * 3, GetBit(sourceRow.data(), sx + x) ? 255 : 0, 3);
        } else {
            std::memcpy(target + dx * bytesPerPixel, sourceRow.data() + sx * bytesPerPixel,
                        size_t(width * bytesPerPixel));
        }
    }
    if (fPixelFormat == ie8p && Dest.fPixelFormat == ie8p) {
        bool wholeDest = DstX == 0 && DstY == 0 && RectWidth == Dest.fWidth && RectHeight == Dest.fHeight;
        bool destBlack = std::all_of(Dest.fRGBPalette.begin(), Dest.fRGBPalette.end(),
                                     [](TRGB c) { return c.r == 0 && c.g == 0 && c.b == 0; });
        if (wholeDest || destBlack) CopyPaletteTo(Dest);
    }
    Dest.Changed();
}

// The per-byte merges of two alpha planes; the general merge of pictures is the
// layer code's business.
void TIEBitmap::MergeAlphaRect(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY,
                               int32_t RectWidth, int32_t RectHeight, TIEMergeMethod Method) {
    if (fPixelFormat != ie8g || Dest.fPixelFormat != ie8g ||
        !ClipCopyRect(fWidth, fHeight, Dest.fWidth, Dest.fHeight, SrcX, SrcY, DstX, DstY, RectWidth,
                      RectHeight))
        return;
    std::vector<uint8_t> sourceRow(static_cast<size_t>(fRowLen));
    for (int32_t j = 0; j < RectHeight; ++j) {
        const void* sourceLevels = GetScanline(SrcY + j);
        if (!sourceLevels) break;
        std::memcpy(sourceRow.data(), sourceLevels, sourceRow.size());
        auto* target = static_cast<uint8_t*>(Dest.GetScanline(DstY + j));
        if (!target) break;
        target += DstX;
        const uint8_t* source = sourceRow.data() + SrcX;
        for (int32_t x = 0; x < RectWidth; ++x) {
            int s = source[x], d = target[x];
            switch (Method) {
            case iemmMax:
                d = std::max(s, d);
                break;
            case iemmMin:
                d = std::min(s, d);
                break;
            case iemmAdd:
                d = std::min(255, s + d);
                break;
            case iemmSubtract:
                d = std::max(0, d - s);
                break;
            case iemmReplaceWithSrc:
                d = s;
                break;
            }
            target[x] = uint8_t(d);
        }
    }
    Dest.Changed();
}

void TIEBitmap::Fill(double Value) {
    if (IsEmpty()) return;
    TFillPixel pixel = EncodeFillValue(fPixelFormat, Value);
    std::vector<uint8_t> row;
    if (fPixelFormat == ie1g)
        row.assign(size_t(fRowLen), pixel.Bit ? 0xFF : 0x00);
    else
        row = PatternRun(pixel, fWidth, fRowLen);
    TIEScopedAccess access(this, iedWrite);
    for (int32_t y = 0; y < fHeight; ++y) {
        void* target = GetScanline(y);
        if (!target) break;
        std::memcpy(target, row.data(), size_t(fRowLen));
    }
    fFull = pixel.IsWhite;
    Changed();
}

void TIEBitmap::FillRect(int32_t x1, int32_t y1, int32_t x2, int32_t y2, double Value) {
    x1 = std::max(x1, 0);
    y1 = std::max(y1, 0);
    x2 = std::min(x2, fWidth - 1);
    y2 = std::min(y2, fHeight - 1);
    if (IsEmpty() || x1 > x2 || y1 > y2) return;
    TFillPixel pixel = EncodeFillValue(fPixelFormat, Value);
    std::vector<uint8_t> run;
    if (fPixelFormat != ie1g) run = PatternRun(pixel, x2 - x1 + 1, 0);
    TIEScopedAccess access(this, iedRead | iedWrite);
    for (int32_t y = y1; y <= y2; ++y) {
        auto* row = static_cast<uint8_t*>(GetScanline(y));
        if (!row) break;
        if (fPixelFormat == ie1g)
            for (int32_t x = x1; x <= x2; ++x)
                SetBit(row, x, pixel.Bit);
        else
            std::memcpy(row + int64_t(x1) * pixel.Size, run.data(), run.size());
    }
    if (!pixel.IsWhite) fFull = false;
    Changed();
}

void TIEBitmap::Resize(int32_t NewWidth, int32_t NewHeight, double BackgroundValue, int32_t FillAlpha,
                       TIEHAlign HorizAlign, TIEVAlign VertAlign) {
    if (NewWidth < 0 || NewHeight < 0) throw EIEException("Invalid size");
    if (BackgroundValue == IETransparentFill) FillAlpha = 0;
    bool grows = NewWidth > fWidth || NewHeight > fHeight;
    if (grows && FillAlpha < 255 && !IsEmpty()) AlphaChannel();
    if (NewWidth == fWidth && NewHeight == fHeight) return;
    int32_t offsetX = HorizAlign == iehLeft     ? 0
                      : HorizAlign == iehCenter ? (NewWidth - fWidth) / 2
                                                : NewWidth - fWidth;
    int32_t offsetY = VertAlign == ievTop      ? 0
                      : VertAlign == ievCenter ? (NewHeight - fHeight) / 2
                                               : NewHeight - fHeight;

    TIEBitmap resized;
    resized.fLocation = fLocation;
    resized.fOrigin = fOrigin;
    resized.fBitAlignment = fBitAlignment;
    resized.fMemoryAllocator = fMemoryAllocator;
    resized.fAlphaLocation = fAlphaLocation;
    resized.fIsAlpha = fIsAlpha;
    // Transparent margins are white under alpha 0, as Allocate makes them.
    double background = BackgroundValue == IETransparentFill ? 16777215.0 : BackgroundValue;
    if (!resized.Allocate(NewWidth, NewHeight, fPixelFormat, background)) {
        FreeImage(true);
        Changed();
        return;
    }
    CopyRectTo(resized, std::max(0, -offsetX), std::max(0, -offsetY), std::max(0, offsetX),
               std::max(0, offsetY), fWidth, fHeight, false);
    // Rows lost on the way leave the picture as it was.
    if (!(FlushRows() & resized.FlushRows())) return;
    CopyPaletteTo(resized);
    if (fAlphaChannel) {
        bool wasFull = fAlphaChannel->fFull;
        fAlphaChannel->Resize(NewWidth, NewHeight, std::clamp(FillAlpha, 0, 255), 255, HorizAlign, VertAlign);
        fAlphaChannel->fFull = wasFull && (!grows || FillAlpha >= 255);
        resized.fAlphaChannel = std::move(fAlphaChannel);
    }
    resized.fFull = fFull && !grows;
    resized.SwitchTo(*this);
    Changed();
}

void TIEBitmap::Resize(int32_t AddLeft, int32_t AddTop, int32_t AddRight, int32_t AddBottom,
                       double BackgroundValue, int32_t FillAlpha) {
    int64_t newWidth = int64_t(fWidth) + AddLeft + AddRight,
            newHeight = int64_t(fHeight) + AddTop + AddBottom;
    bool nothingLeft = -int64_t(AddLeft) >= fWidth || -int64_t(AddRight) >= fWidth ||
                       -int64_t(AddTop) >= fHeight || -int64_t(AddBottom) >= fHeight || newWidth <= 0 ||
                       newHeight <= 0;
    if (nothingLeft) {
        // Nothing of the picture survives: the new size is made from scratch, with
        // the background the margins would have had.
        TIEPixelFormat format = fPixelFormat;
        FreeImage(true);
        if (newWidth > 0 && newHeight > 0 && newWidth <= INT32_MAX && newHeight <= INT32_MAX)
            Allocate(int32_t(newWidth), int32_t(newHeight), format, BackgroundValue,
                     BackgroundValue == IETransparentFill ? 0 : FillAlpha);
        Changed();
        return;
    }
    Resize(fWidth + AddRight, fHeight + AddBottom, BackgroundValue, FillAlpha, iehLeft, ievTop);
    Resize(fWidth + AddLeft, fHeight + AddTop, BackgroundValue, FillAlpha, iehRight, ievBottom);
}

bool TIEBitmap::CheckFormat(TIEPixelFormatSet AllowedFormats, bool AutoConvert) {
    if (AllowedFormats.Empty() || AllowedFormats.Contains(fPixelFormat)) return true;
    if (!AutoConvert) return false;
    for (TIEPixelFormat substitute : IEFormatSubstitutes(fPixelFormat))
        if (AllowedFormats.Contains(substitute)) {
            SetPixelFormat(substitute);
            return true;
        }
    for (int32_t format = ie32RGB; format >= ieNull; --format)
        if (AllowedFormats.Contains(TIEPixelFormat(format))) {
            SetPixelFormat(TIEPixelFormat(format));
            return true;
        }
    return false;
}

bool TIEBitmap::IsSize(int32_t aWidth, int32_t aHeight, TIEPixelFormat aPixelFormat) const {
    return fWidth == aWidth && fHeight == aHeight && (aPixelFormat == ieNull || aPixelFormat == fPixelFormat);
}

TIEBitmap* TIEBitmap::GetAtSize(int32_t aWidth, int32_t aHeight, TIEPixelFormat aPixelFormat, bool Recreate,
                                bool ApplyFilter) {
    if (IsSize(aWidth, aHeight, aPixelFormat)) return this;
    if (!Recreate && fTempIEBitmap && fTempIEBitmap->IsSize(aWidth, aHeight, aPixelFormat))
        return fTempIEBitmap.get();
    fTempIEBitmap.reset();
    auto copy = std::make_unique<TIEBitmap>();
    copy->AssignImage(*this);
    if (aPixelFormat != ieNull) copy->SetPixelFormat(aPixelFormat);
    if (!copy->IsSize(aWidth, aHeight)) {
        TResampleFilter filter = !ApplyFilter                 ? rfNone
                                 : copy->fPixelFormat == ie8g ? rfBicubic
                                                              : rfFastLinear;
        auto sized = std::make_unique<TIEBitmap>();
        sized->fOrigin = copy->fOrigin;
        // A copy that can't be made comes back empty, so callers that check the size
        // see it.
        bool made = sized->Allocate(aWidth, aHeight, copy->fPixelFormat);
        if (made) copy->CopyPaletteTo(*sized);
        if (made && !IEResampleDispatch(*copy, *sized, filter, nullptr, nullptr)) sized->FreeImage(true);
        copy = std::move(sized);
    }
    fTempIEBitmap = std::move(copy);
    return fTempIEBitmap.get();
}

void TIEBitmap::Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter FilterType,
                         bool MaintainAspectRatio, bool ShrinkOnly) {
    IEResolveResampleSize(NewWidth, NewHeight, fWidth, fHeight, MaintainAspectRatio);
    if (IsEmpty()) return;
    if (ShrinkOnly && (NewWidth >= fWidth || NewHeight >= fHeight)) {
        Changed();
        return;
    }
    if (NewWidth < 1 || NewHeight < 1 || (NewWidth == fWidth && NewHeight == fHeight)) return;
    TIEBitmap target;
    target.fLocation = fLocation;
    target.fOrigin = fOrigin;
    target.fBitAlignment = fBitAlignment;
    target.fMemoryAllocator = fMemoryAllocator;
    if (!target.Allocate(NewWidth, NewHeight, fPixelFormat)) return;
    CopyPaletteTo(target);
    // The picture stays as it is when the target can't be filled.
    if (!IEResampleDispatch(*this, target, FilterType, fOnProgress, this)) return;
    target.fAlphaLocation = fAlphaLocation;
    target.SwitchTo(*this);
    Changed();
}

void TIEBitmap::Resample(double ScaleBy, TResampleFilter FilterType) {
    if (ScaleBy == 0) return;
    Resample(IERound(fWidth * ScaleBy), IERound(fHeight * ScaleBy), FilterType, false, false);
}
