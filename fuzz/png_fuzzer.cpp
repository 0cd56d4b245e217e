// libFuzzer target for the PNG route: the metadata walk and the decoder on whatever the
// bytes are, then the writer on what was loaded, in both the converted and the native
// pixel layouts.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/png.h"
#include "io/stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    // Pictures of a few megapixels are enough to reach every path and keep each run
    // short; the limits themselves are tested elsewhere.
    static const bool limited = [] {
        TIEPngLimits limits;
        limits.MaxSide = 1u << 14;
        limits.MaxPixels = int64_t(1) << 22;
        limits.MaxChunkBytes = 1u << 22;
        IESetPngLimits(limits);
        return true;
    }();
    (void)limited;

    for (bool native : {false, true}) {
        TIEMemoryStream stream(std::vector<uint8_t>(Data, Data + Size));
        TIEBitmap bitmap;
        TIOParams params;
        params.NativePixelFormat = native;
        bool aborting = false;
        TProgressRec progress;
        progress.Aborting = &aborting;
        // Neither call may raise on content: an exception here is a finding.
        ReadPngStream(stream, bitmap, params, progress, false);
        if (!bitmap.IsEmpty()) {
            TIEMemoryStream saved;
            bool failed = false;
            TProgressRec writing;
            writing.Aborting = &failed;
            WritePngStream(saved, bitmap, params, writing);
        }
    }
    return 0;
}
