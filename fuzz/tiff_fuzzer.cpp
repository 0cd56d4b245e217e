// libFuzzer target for the TIFF reader: the tags-only pass that EXIF reading uses, then
// the pixels in the converted and the native layouts, of the first and the second page.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/tiff.h"
#include "io/stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    // A few megapixels reach every path and keep each run short.
    static const bool limited = [] {
        TIETiffLimits limits;
        limits.MaxPixels = int64_t(1) << 22;
        limits.MaxPages = 64;
        IESetTiffLimits(limits);
        return true;
    }();
    (void)limited;

    for (int pass = 0; pass < 4; ++pass) {
        TIEMemoryStream stream(std::vector<uint8_t>(Data, Data + Size));
        TIEBitmap bitmap;
        TIOParams params;
        params.NativePixelFormat = pass == 2;
        params.TIFF_ImageIndex = pass == 3 ? 1 : 0;
        params.TIFF_EnableAdjustOrientation = true;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        int32_t pages = 0;
        // No content may raise: an exception here is a finding.
        ReadTIFFStream(stream, bitmap, params, progress, pass == 0, pages);
    }
    return 0;
}
