#include "proc/resample.h"

#include <cstdlib>
#include <cstring>

#include "image/bitmap.h"
#include "image/settings.h"
#include "proc/resample_area.h"
#include "proc/resample_contrib.h"
#include "proc/resample_fastlinear.h"
#include "proc/resample_hq.h"
#include "proc/resample_nearest.h"
#include "proc/resample_onebit.h"

void IEResolveResampleSize(int32_t& NewWidth, int32_t& NewHeight, int32_t Width, int32_t Height,
                           bool MaintainAspectRatio) {
    const bool maintain = MaintainAspectRatio && NewWidth >= 1 && NewHeight >= 1;
    if (NewWidth < 0 && NewHeight < 0) return;
    // The free side follows in 32-bit integer arithmetic, cut toward zero, as the
    // worker's stepwise loop relies on (4000 x 3000 to 1200 wide ends at 899 high
    // after four steps, not 900).
    if (NewWidth == -1)
        NewWidth = Height != 0 ? int32_t(int64_t(Width) * NewHeight / Height) : 0;
    else if (NewWidth == 0)
        NewWidth = Width;
    else
        NewWidth = std::abs(NewWidth);
    if (NewWidth < 1) NewWidth = 1;
    if (NewHeight == -1)
        NewHeight = Width != 0 ? int32_t(int64_t(Height) * NewWidth / Width) : 0;
    else if (NewHeight == 0)
        NewHeight = Height;
    else
        NewHeight = std::abs(NewHeight);
    if (NewHeight < 1) NewHeight = 1;
    if (maintain) {
        double scale = double(Width) / NewWidth > double(Height) / NewHeight ? double(NewWidth) / Width
                                                                             : double(NewHeight) / Height;
        NewWidth = IERound(Width * scale);
        NewHeight = IERound(Height * scale);
        if (NewWidth < 1) NewWidth = 1;
        if (NewHeight < 1) NewHeight = 1;
    }
}

namespace {

uint8_t* BitmapRow(void* Context, int32_t Row) {
    return static_cast<uint8_t*>(static_cast<TIEBitmap*>(Context)->GetScanline(Row));
}

TIERowImage Rows(TIEBitmap& Bitmap) {
    return TIERowImage(Bitmap.Width(), Bitmap.Height(), BitmapRow, &Bitmap);
}

bool IsScalerFilter(TResampleFilter Filter) {
    return Filter >= rfWICNearestNeighbor && Filter <= rfWICCubicHQ;
}
bool IsProjection(TResampleFilter Filter) {
    return Filter == rfProjectBW || Filter == rfProjectWB;
}
bool IsAreaFilter(TResampleFilter Filter) {
    return Filter == rfBilinear || Filter == rfBicubic;
}

// Gives Dst the format without converting: its pixels are about to be overwritten.
bool EnsureFormat(TIEBitmap& Dst, TIEPixelFormat Format) {
    if (Dst.PixelFormat() == Format) return true;
    return Dst.Allocate(Dst.Width(), Dst.Height(), Format);
}

// Every target pixel a copy of the one source pixel. Source and target share the
// format, except for ie1g into ie24RGB, where the bit becomes a grey.
void FillFromSinglePixel(TIEBitmap& Src, TIEBitmap& Dst) {
    const uint8_t* s = static_cast<const uint8_t*>(Src.GetScanline(0));
    if (!s) return;
    uint8_t pixel[8] = {};
    int32_t bytes = Dst.BitCount() / 8;
    const bool bit = Src.PixelFormat() == ie1g && (s[0] & 0x80) != 0;
    if (Src.PixelFormat() == ie1g)
        std::memset(pixel, bit ? 255 : 0, sizeof(pixel));
    else
        std::memcpy(pixel, s, size_t(bytes));
    if (Src.PixelFormat() == ie8p) Src.CopyPaletteTo(Dst);
    for (int32_t y = 0; y < Dst.Height(); ++y) {
        uint8_t* d = static_cast<uint8_t*>(Dst.GetScanline(y));
        if (!d) return;
        if (Dst.PixelFormat() == ie1g) {
            std::memset(d, bit ? 0xFF : 0x00, size_t(Dst.RowLen()));
            continue;
        }
        for (int32_t x = 0; x < Dst.Width(); ++x)
            std::memcpy(d + size_t(x) * size_t(bytes), pixel, size_t(bytes));
    }
}

int32_t HorizontalThreads(TIEBitmap& Src) {
    TIEGlobalSettings& settings = IEGlobalSettings();
    return IEResampleThreadsCount(Src.Width(), Src.Height(), Src.Location() == ieFile,
                                  settings.ImageProcMaxThreads(), settings.ImageProcThreadsMinSize(),
                                  IEPhysicalCoreCount());
}

// The routes say whether they ran an engine; lost rows are the dispatch's to find.

// ie8g images and every alpha plane.
bool Route8(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter, const TIEProgressEvent& OnProgress,
            void* Sender) {
    if (Src.PixelFormat() != ie8g || Dst.PixelFormat() != ie8g) return false;
    if (IsAreaFilter(Filter))
        IEAreaResample8(Rows(Src), nullptr, Rows(Dst), 1, Filter, OnProgress, Sender);
    else if (Filter == rfFastLinear || IsProjection(Filter))
        IEFastLinearResample8(Rows(Src), Rows(Dst), OnProgress, Sender);
    else if (IsScalerFilter(Filter))
        return IESystemScalerResample(Src, Dst, Filter, OnProgress, Sender);
    else
        IEContributionResample8(Rows(Src), Rows(Dst), Filter, OnProgress, Sender);
    return true;
}

bool Route16(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter, const TIEProgressEvent& OnProgress,
             void* Sender) {
    if (IsAreaFilter(Filter))
        IEAreaResample16(Rows(Src), nullptr, Rows(Dst), 1, Filter, OnProgress, Sender);
    else if (Filter == rfFastLinear || IsProjection(Filter))
        IEFastLinearResample16(Rows(Src), Rows(Dst), OnProgress, Sender);
    else if (IsScalerFilter(Filter))
        return IESystemScalerResample(Src, Dst, Filter, OnProgress, Sender);
    else
        IEContributionResample16(Rows(Src), Rows(Dst), Filter, OnProgress, Sender);
    return true;
}

bool Route24(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter, const TIEProgressEvent& OnProgress,
             void* Sender) {
    if (IsProjection(Filter)) {
        if (!EnsureFormat(Dst, ie1g)) return false;
        IEProjectResample(Rows(Src), false, Rows(Dst), Filter);
        return true;
    }
    // Both engines write TRGB rows; any other destination would be written past its rows.
    if (Dst.PixelFormat() != ie24RGB) return false;
    if (Filter == rfFastLinear)
        IEFastLinearResample24(Rows(Src), Rows(Dst), OnProgress, Sender);
    else
        IEContributionResample24(Rows(Src), Rows(Dst), Filter, HorizontalThreads(Src), OnProgress, Sender);
    return true;
}

bool OneBitRoute(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter, const TIEProgressEvent& OnProgress,
                 void* Sender) {
    if (!EnsureFormat(Dst, IsProjection(Filter) ? ie1g : ie24RGB)) return false;
    if (Src.Width() == 1 && Src.Height() == 1) {
        FillFromSinglePixel(Src, Dst);
    } else if (IsProjection(Filter)) {
        IEProjectResample(Rows(Src), true, Rows(Dst), Filter);
    } else if (Filter == rfFastLinear || IsAreaFilter(Filter)) {
        IEOneBitLinearResample(Rows(Src), Rows(Dst));
    } else if (IsScalerFilter(Filter)) {
        return IESystemScalerResample(Src, Dst, Filter, OnProgress, Sender);
    } else {
        IEContributionResample1To24(Rows(Src), Rows(Dst), Filter, OnProgress, Sender);
    }
    return true;
}

bool EngineChoice(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter, TIEBitmap* SrcAlpha,
                  const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.IsEmpty() || Dst.IsEmpty()) return false;
    if (Src.Width() == 1 && Src.Height() == 1) {
        if (!EnsureFormat(Dst, Src.PixelFormat())) return false;
        FillFromSinglePixel(Src, Dst);
        return true;
    }
    if (IsScalerFilter(Filter)) return IESystemScalerResample(Src, Dst, Filter, OnProgress, Sender);
    const TIEPixelFormat format = Src.PixelFormat();
    const bool sameFormat = format == Dst.PixelFormat();
    if (IsAreaFilter(Filter)) {
        const TIERowImage alphaRows = SrcAlpha ? Rows(*SrcAlpha) : TIERowImage();
        const TIERowImage* alpha = SrcAlpha ? &alphaRows : nullptr;
        if (sameFormat && (format == ie8g || format == ie24RGB || format == ie32RGB)) {
            IEAreaResample8(Rows(Src), alpha, Rows(Dst),
                            format == ie8g      ? 1
                            : format == ie24RGB ? 3
                                                : 4,
                            Filter, OnProgress, Sender);
            return true;
        }
        if (sameFormat && (format == ie16g || format == ie48RGB)) {
            IEAreaResample16(Rows(Src), alpha, Rows(Dst), format == ie16g ? 1 : 3, Filter, OnProgress,
                             Sender);
            return true;
        }
        Filter = IEGlobalSettings().DefaultResampleFilter();
    }
    if (format == ie8g && sameFormat) return Route8(Src, Dst, Filter, OnProgress, Sender);
    if (format == ie16g && sameFormat) return Route16(Src, Dst, Filter, OnProgress, Sender);
    if (format == ie24RGB) return Route24(Src, Dst, Filter, OnProgress, Sender);
    TIEBitmap copy;
    copy.Assign(Src);
    copy.SetPixelFormat(ie24RGB);
    if (copy.PixelFormat() != ie24RGB || copy.IsEmpty() || !EnsureFormat(Dst, ie24RGB)) return false;
    return Route24(copy, Dst, Filter, OnProgress, Sender) && copy.FlushRows();
}

// The alpha plane follows with the same filter and no progress.
bool ResampleAlpha(TIEBitmap& SrcAlpha, TIEBitmap& DstAlpha, TResampleFilter Filter) {
    const TIEProgressEvent silent;
    if (SrcAlpha.PixelFormat() != ie8g || DstAlpha.PixelFormat() != ie8g) return false;
    if (Filter == rfNone)
        IENearestResample(Rows(SrcAlpha), Rows(DstAlpha), 8, silent, nullptr);
    else if (SrcAlpha.Width() == 1 && SrcAlpha.Height() == 1)
        FillFromSinglePixel(SrcAlpha, DstAlpha);
    else if (!Route8(SrcAlpha, DstAlpha, Filter, silent, nullptr))
        return false;
    DstAlpha.SetFull(SrcAlpha.Full());
    return SrcAlpha.FlushRows() & DstAlpha.FlushRows();
}

} // namespace

bool IEResampleDispatch(TIEBitmap& Src, TIEBitmap& Dst, TResampleFilter Filter,
                        const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.Width() == Dst.Width() && Src.Height() == Dst.Height()) {
        Dst.Assign(Src);
        return !Dst.IsEmpty();
    }
    if (Src.IsEmpty() || Dst.IsEmpty()) return false;
    TIEBitmap* srcAlpha = Src.AlphaChannelOpt();
    if (srcAlpha && srcAlpha->IsEmpty()) srcAlpha = nullptr;
    // Source rows are only read; on ieFile that spares writing each one back.
    TIEScopedAccess readOnly(&Src, iedRead), readOnlyAlpha(srcAlpha, iedRead);
    bool done;
    if (Filter == rfNone) {
        done = EnsureFormat(Dst, Src.PixelFormat());
        if (done && Src.PixelFormat() == ie8p) Src.CopyPaletteTo(Dst);
        if (done) IENearestResample(Rows(Src), Rows(Dst), Src.BitCount(), OnProgress, Sender);
    } else if (Src.PixelFormat() == ie1g) {
        done = OneBitRoute(Src, Dst, Filter, OnProgress, Sender);
    } else {
        done = EngineChoice(Src, Dst, Filter, srcAlpha, OnProgress, Sender);
    }
    done = done & Src.FlushRows() & Dst.FlushRows();
    if (!done || !srcAlpha) return done;
    TIEBitmap* dstAlpha = Dst.AlphaChannel();
    // A destination that is itself a plane has none to carry.
    if (!dstAlpha) return true;
    return dstAlpha->IsSize(Dst.Width(), Dst.Height()) && ResampleAlpha(*srcAlpha, *dstAlpha, Filter);
}
