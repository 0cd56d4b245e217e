#include "proc/resample_nearest.h"

#include <algorithm>
#include <cstring>
#include <vector>

void IENearestResample(const TIERowImage& Src, const TIERowImage& Dst, int32_t BitCount,
                       const TIEProgressEvent& OnProgress, void* Sender) {
    if (Src.Empty() || Dst.Empty() || BitCount <= 0) return;
    const int32_t srcWidth = Src.Width(), srcHeight = Src.Height();
    const int32_t dstWidth = Dst.Width(), dstHeight = Dst.Height();
    std::vector<int32_t> columns(static_cast<size_t>(dstWidth));
    // The ratio is taken first and then multiplied, as the rule has it; for some
    // sizes that picks a different column than x * width / target width would.
    const double ratio = double(srcWidth) / dstWidth;
    for (int32_t x = 0; x < dstWidth; ++x)
        columns[size_t(x)] = std::min(srcWidth - 1, IETrunc(ratio * x));
    const double rowRatio = double(srcHeight) / dstHeight;
    const double per = 100.0 / (dstHeight + 0.5);
    TIEProgressReporter progress(OnProgress, Sender);
    const size_t pixelBytes = size_t(BitCount / 8);
    for (int32_t y = 0; y < dstHeight; ++y) {
        const uint8_t* s = Src.Row(std::min(srcHeight - 1, IETrunc(y * rowRatio)));
        uint8_t* d = s ? Dst.Row(y) : nullptr;
        if (!d) return;
        if (BitCount == 1) {
            std::memset(d, 0, size_t(dstWidth + 7) / 8);
            for (int32_t x = 0; x < dstWidth; ++x) {
                const int32_t c = columns[size_t(x)];
                if (s[c >> 3] & (0x80 >> (c & 7))) d[x >> 3] |= uint8_t(0x80 >> (x & 7));
            }
        } else {
            for (int32_t x = 0; x < dstWidth; ++x)
                std::memcpy(d + size_t(x) * pixelBytes, s + size_t(columns[size_t(x)]) * pixelBytes,
                            pixelBytes);
        }
        progress.Report(IETrunc(per * y));
    }
}
