// libFuzzer target: content detection and the stream load of whatever the bytes are,
// then a save of what was loaded, so that the writer meets the markers and sizes a
// hostile file brings in.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "image/bitmap.h"
#include "io/codecs/jpeg.h"
#include "io/imagerio.h"
#include "io/stream.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* Data, size_t Size) {
    // Pictures of a few megapixels are enough to reach every path and keep each run
    // short; the limits themselves are tested elsewhere.
    static const bool limited = [] {
        IESetJpegLimits({int64_t(1) << 22, int64_t(1) << 28});
        return true;
    }();
    (void)limited;

    TIEMemoryStream stream(std::vector<uint8_t>(Data, Data + Size));
    TIEBitmap bitmap;
    TImagerIO io(&bitmap, true);
    io.Params().JPEG_EnableAdjustOrientation = true;
    // Neither call may raise on content: an exception here is a finding.
    if (io.LoadFromStream(stream) && !bitmap.IsEmpty()) {
        TIEMemoryStream saved;
        io.SaveToStreamJpeg(saved);
    }
    return 0;
}
