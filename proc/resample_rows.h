#pragma once

#include <cstdint>

#include "image/ietypes.h"

// The engines' view of an image: its size and its rows, row 0 at the top. Rows come
// either from a getter (a bitmap; one kept in a temporary file invalidates the last
// row it handed out, so no engine holds two rows of one image at once) or from one
// contiguous block, which is what tests and intermediates use.
class TIERowImage {
  public:
    using TRowGetter = uint8_t* (*)(void* Context, int32_t Row);

    TIERowImage() = default;
    TIERowImage(int32_t Width, int32_t Height, uint8_t* Base, int64_t Stride)
        : fWidth(Width), fHeight(Height), fBase(Base), fStride(Stride) {}
    TIERowImage(int32_t Width, int32_t Height, TRowGetter Getter, void* Context)
        : fWidth(Width), fHeight(Height), fGetter(Getter), fContext(Context) {}

    int32_t Width() const { return fWidth; }
    int32_t Height() const { return fHeight; }
    bool Empty() const { return fWidth <= 0 || fHeight <= 0 || (!fGetter && !fBase); }
    uint8_t* Row(int32_t Row) const { return fGetter ? fGetter(fContext, Row) : fBase + fStride * Row; }

  private:
    int32_t fWidth = 0;
    int32_t fHeight = 0;
    uint8_t* fBase = nullptr;
    int64_t fStride = 0;
    TRowGetter fGetter = nullptr;
    void* fContext = nullptr;
};

// Fires OnProgress only when the percentage differs from the last one fired; like the
// the workers' counters it starts at 0, so an initial 0 is not reported.
class TIEProgressReporter {
  public:
    TIEProgressReporter(const TIEProgressEvent& OnProgress, void* Sender)
        : fOnProgress(OnProgress), fSender(Sender) {}
    void Report(int32_t Percent) {
        if (Percent == fLast) return;
        fLast = Percent;
        if (fOnProgress) fOnProgress(fSender, Percent);
    }

  private:
    const TIEProgressEvent& fOnProgress;
    void* fSender;
    int32_t fLast = 0;
};

// Trunc: a double cut toward zero, whatever its sign.
inline int32_t IETrunc(double v) {
    return int32_t(v);
}
