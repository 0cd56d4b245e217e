#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "proc/resample.h"

namespace {

// Resamples Plane to the given size in place; a plane already at size is left alone.
// False when that can't be done: the plane is then left as it was.
bool FitPlane(TIEBitmap& Plane, int32_t Width, int32_t Height, TResampleFilter Filter) {
    if (Plane.IsSize(Width, Height)) return true;
    TIEBitmap fitted;
    fitted.SetLocation(Plane.Location());
    fitted.SetOrigin(Plane.Origin());
    if (!fitted.Allocate(Width, Height, Plane.PixelFormat()) ||
        !IEResampleDispatch(Plane, fitted, Filter, nullptr, nullptr))
        return false;
    bool isFull = Plane.Full();
    fitted.SwitchTo(Plane);
    Plane.SetFull(isFull);
    return true;
}

} // namespace

TIEBitmap* TIEBitmap::AlphaChannel() {
    SetAlphaLocation(iaAlphaChannel);
    if (!fAlphaChannel && !fIsAlpha) {
        fAlphaChannel = CreateAsAlphaChannel(fWidth, fHeight, fLocation);
        fAlphaChannel->SetOrigin(fOrigin);
    }
    return fAlphaChannel.get();
}

bool TIEBitmap::HasAlphaChannel(bool Validate) {
    if (Validate && fAlphaChannel && fAlphaChannel->SyncFull()) fAlphaChannel.reset();
    return fAlphaChannel != nullptr;
}

bool TIEBitmap::SyncFull() {
    fFull = true;
    // Padding carries no meaning, so only the bytes that hold pixels are looked at.
    int64_t bytes = IEComputeRowLen(fWidth, fBitCount, 8);
    TIEDataAccess access = fAccess;
    fAccess = iedRead;
    for (int32_t row = 0; row < fHeight && fFull; ++row) {
        const auto* p = static_cast<const uint8_t*>(GetScanline(row));
        // What can't be read can't be known to be full.
        if (!p) fFull = false;
        for (int64_t i = 0; p && i < bytes; ++i)
            if (p[i] < 255) {
                fFull = false;
                break;
            }
    }
    fAccess = access;
    return fFull;
}

void TIEBitmap::RemoveAlphaChannel(bool Merge, TColor BackgroundColor) {
    if (fIsAlpha) return;
    if (Merge && fPixelFormat == ie24RGB && fAlphaChannel && !IsEmpty()) {
        TIEBitmap* alpha = fAlphaChannel->GetAtSize(fWidth, fHeight, ie8g, true, true);
        const int32_t bg[3] = {GetBValue(BackgroundColor), GetGValue(BackgroundColor),
                               GetRValue(BackgroundColor)};
        std::vector<uint8_t> alphaRow(static_cast<size_t>(fWidth));
        for (int32_t y = 0; y < fHeight && alpha->IsSize(fWidth, fHeight, ie8g); ++y) {
            const void* levels = alpha->GetScanline(y);
            if (!levels) break;
            std::memcpy(alphaRow.data(), levels, alphaRow.size());
            auto* p = static_cast<uint8_t*>(GetScanline(y));
            if (!p) break;
            for (int32_t x = 0; x < fWidth; ++x, p += 3) {
                // Weight a / 256 in 8.10 fixed point: a = 255 stops just short of the
                // colour. Kept so: pictures made with this blend have always looked so.
                int32_t a = int32_t(alphaRow[size_t(x)]) << 10;
                for (int c = 0; c < 3; ++c)
                    p[c] = uint8_t(bg[c] + ((a * (int32_t(p[c]) - bg[c])) >> 18));
            }
        }
    }
    fAlphaChannel.reset();
    Changed();
}

void TIEBitmap::ReplaceAlphaChannel(std::unique_ptr<TIEBitmap> Value) {
    if (Value.get() == fAlphaChannel.get()) {
        // The caller handed back our own plane; it must not be owned twice.
        (void)Value.release();
        return;
    }
    fAlphaChannel = std::move(Value);
    if (fAlphaChannel) fAlphaChannel->fIsAlpha = true;
    Changed();
}

std::unique_ptr<TIEBitmap> TIEBitmap::DetachAlphaChannel(bool CreateIfNotExists) {
    if (CreateIfNotExists) AlphaChannel();
    std::unique_ptr<TIEBitmap> plane = std::move(fAlphaChannel);
    // Once handed out it is an ordinary grey image of its new owner.
    if (plane) plane->fIsAlpha = false;
    Changed();
    return plane;
}

void TIEBitmap::SyncAlphaChannel(bool AntiAlias, bool ClearHiddenContent) {
    if (!fAlphaChannel) {
        if (!ClearHiddenContent) AlphaChannel();
        return;
    }
    fAlphaChannel->SetPixelFormat(ie8g);
    if (!FitPlane(*fAlphaChannel, fWidth, fHeight, AntiAlias ? rfBicubic : rfNone) ||
        fAlphaChannel->PixelFormat() != ie8g)
        return;
    fAlphaChannel->SyncFull();
    if (ClearHiddenContent && !IsEmpty()) {
        int32_t bytesPerPixel = fBitCount / 8;
        std::vector<uint8_t> alphaRow(static_cast<size_t>(fWidth));
        for (int32_t y = 0; y < fHeight; ++y) {
            const void* levels = fAlphaChannel->GetScanline(y);
            auto* p = levels ? static_cast<uint8_t*>(GetScanline(y)) : nullptr;
            if (!p) break;
            std::memcpy(alphaRow.data(), levels, alphaRow.size());
            for (int32_t x = 0; x < fWidth; ++x) {
                if (alphaRow[size_t(x)] != 0) continue;
                // All-zero bytes are black in every format, CMYK included (full ink).
                if (fPixelFormat == ie1g)
                    p[x >> 3] &= uint8_t(~(0x80 >> (x & 7)));
                else
                    std::memset(p + int64_t(x) * bytesPerPixel, 0, size_t(bytesPerPixel));
            }
        }
    }
    Changed();
}

void TIEBitmap::SynchronizeRGBA(bool RGBAtoAlpha, bool UpdatePixelFormat) {
    if (fIsAlpha || IsEmpty()) return;
    if (RGBAtoAlpha) {
        if (fPixelFormat != ie32RGB) return;
        if (!fAlphaChannel) {
            fAlphaChannel = CreateAsAlphaChannel(fWidth, fHeight, fLocation);
            fAlphaChannel->SetOrigin(fOrigin);
        }
        // Without a plane to take them, the fourth bytes must stay where they are.
        if (!FitPlane(*fAlphaChannel, fWidth, fHeight, rfNone) ||
            !fAlphaChannel->IsSize(fWidth, fHeight, ie8g))
            return;
        bool isFull = true;
        std::vector<uint8_t> row(static_cast<size_t>(fRowLen));
        for (int32_t y = 0; y < fHeight; ++y) {
            const void* source = GetScanline(y);
            auto* alpha = static_cast<uint8_t*>(fAlphaChannel->GetScanline(y));
            if (!source || !alpha) return;
            std::memcpy(row.data(), source, row.size());
            const auto* pixel = reinterpret_cast<const TRGBA*>(row.data());
            for (int32_t x = 0; x < fWidth; ++x) {
                alpha[x] = pixel[x].a;
                isFull = isFull && pixel[x].a == 255;
            }
        }
        fAlphaChannel->fFull = isFull;
        if (UpdatePixelFormat) {
            // Already synchronised; leaving ie32RGB must not copy the bytes again.
            fAlphaLocation = iaAlphaChannel;
            SetPixelFormat(ie24RGB);
        }
    } else {
        if (UpdatePixelFormat) SetPixelFormat(ie32RGB);
        if (fPixelFormat != ie32RGB || !fAlphaChannel) return;
        TIEBitmap* alpha = fAlphaChannel->GetAtSize(fWidth, fHeight, ie8g, true, true);
        std::vector<uint8_t> alphaRow(static_cast<size_t>(fWidth));
        for (int32_t y = 0; y < fHeight && alpha->IsSize(fWidth, fHeight, ie8g); ++y) {
            const void* levels = alpha->GetScanline(y);
            auto* pixel = static_cast<TRGBA*>(GetScanline(y));
            if (!levels || !pixel) break;
            std::memcpy(alphaRow.data(), levels, alphaRow.size());
            for (int32_t x = 0; x < fWidth; ++x)
                pixel[x].a = alphaRow[size_t(x)];
        }
    }
    Changed();
}

TIEAlphaLocation TIEBitmap::AlphaLocation() const {
    return fAlphaLocation == iaRGBA && fPixelFormat != ie32RGB ? iaAlphaChannel : fAlphaLocation;
}

void TIEBitmap::SetAlphaLocation(TIEAlphaLocation Value) {
    // Without this guard every AlphaChannel call on an ie32RGB image would copy the
    // fourth bytes over the plane again.
    if (fIsAlpha || Value == fAlphaLocation) return;
    if (Value == iaAlphaChannel) {
        if (fPixelFormat == ie32RGB) {
            fAlphaLocation = iaAlphaChannel;
            SynchronizeRGBA(true, false);
        }
        fAlphaLocation = iaAlphaChannel;
        return;
    }
    if (IsEmpty()) return;
    SetPixelFormat(ie32RGB);
    if (fAlphaChannel && !fAlphaChannel->fFull) SynchronizeRGBA(false, true);
    fAlphaLocation = iaRGBA;
}

// Like the typed pixel access, a row that can't be had reads as 0 and ignores writes.
uint8_t TIEBitmap::GetAlpha(int32_t x, int32_t y) {
    if (AlphaLocation() == iaRGBA) return ReadCell<TRGBA>(x, y).a;
    if (!fAlphaChannel) return 255;
    return fAlphaChannel->GetPixels_ie8(x, y);
}

void TIEBitmap::SetAlpha(int32_t x, int32_t y, uint8_t Value) {
    if (AlphaLocation() == iaRGBA) {
        if (TRGBA* pixel = CellPointer<TRGBA>(x, y)) pixel->a = Value;
        return;
    }
    TIEBitmap* plane = AlphaChannel();
    if (!plane) return;
    plane->SetPixels_ie8(x, y, Value);
    if (Value < 255) plane->fFull = false;
}
