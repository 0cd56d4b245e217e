#include "io/codecs/jpeg.h"

#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <tuple>

#include "io/exif.h"
#include "tests/corpus.h"
#include "tests/io/jpegtestutil.h"

namespace {

using TSetup = std::function<void(TIOParams&)>;
constexpr TRGB kOrange{50, 100, 200}; // b, g, r

// Bitmap, or a picture of one colour (busy without), saved at quality 100 after Setup's changes.
std::vector<uint8_t> Jpeg(TIEBitmap& Bitmap, const TSetup& Setup = nullptr) {
    TIOParams params;
    params.JPEG_Quality = 100;
    if (Setup) Setup(params);
    return EncodeJpeg(Bitmap, params);
}

std::vector<uint8_t> Jpeg(int32_t Width, int32_t Height, const TSetup& Setup = nullptr,
                          const TRGB* Colour = &kOrange) {
    TIEBitmap bitmap(Width, Height, ie24RGB);
    if (Colour)
        FillRGB(bitmap, Width, Height, *Colour);
    else
        Scramble(bitmap);
    return Jpeg(bitmap, Setup);
}

// A load, after Setup's changes to the parameters.
struct TRead {
    TIEBitmap Bitmap;
    TIOParams Params;
    bool Ok;
    explicit TRead(const std::vector<uint8_t>& File, const TSetup& Setup = nullptr, bool Native = false) {
        if (Setup) Setup(Params);
        Ok = DecodeJpeg(File, Bitmap, Params, Native);
    }
    std::pair<int32_t, int32_t> Size() const { return {Bitmap.Width(), Bitmap.Height()}; }
    int Distance(int32_t X, int32_t Y, TRGB Colour) {
        return ColourDistance(Bitmap.GetPixels_ie24RGB(X, Y), Colour);
    }
};

void Orient(TIOParams& Params) {
    Params.JPEG_EnableAdjustOrientation = true;
}

// The reader with the switches the plain load leaves at their defaults; the rows read.
int32_t ReadJpeg(const std::vector<uint8_t>& File, TIEBitmap& Bitmap, TIOParams& Params,
                 TProgressRec& Progress, bool Preview, bool InvertCMYK) {
    TIEMemoryStream stream(File);
    return ReadJpegStream(stream, nullptr, Bitmap, Params, Progress, Preview, false, true, InvertCMYK, true,
                          true, -1, false, nullptr, false);
}

// The codes of the APPn and COM segments, in file order.
std::vector<uint8_t> MarkerCodes(const std::vector<uint8_t>& File) {
    std::vector<uint8_t> codes;
    for (const TJpegSegment& segment : JpegSegments(File))
        if (segment.Marker >= 0xE0) codes.push_back(segment.Marker);
    return codes;
}

} // namespace

TEST(JpegScale, TheTargetIsFittedToTheAspectThenTheLargestDivisorThatCoversIt) {
    // clang-format off
    const struct { int32_t Width, Height, TargetWidth, TargetHeight, Scale; } cases[] = {
        {1000, 800, 120, 96, 8},    // 125 x 100 covers it
        {1000, 800, 130, 104, 4},   // 125 x 100 would not
        {1000, 800, 0, 96, 1}, {1000, 800, 120, -1, 1}, {1000, 800, 2000, 1600, 1}, {1000, 800, 500, 400, 2},
        {1000, 800, 501, 400, 2},   // fitted to 500 x 400
        {1000, 800, 501, 401, 1},
        {1000, 800, 120, 1000, 8},  // fitted to 120 x 96
        {1000, 10, 1, 1, 8},        // a tiny fitted target stays at least 1 by 1
        // 799 / 4 = 199.75 is rounded to 200, which a quarter (199 high) no longer covers.
        {1000, 799, 250, 1000, 2},
    };
    // clang-format on
    for (const auto& t : cases)
        EXPECT_EQ(IECalcJpegScale(t.Width, t.Height, t.TargetWidth, t.TargetHeight), t.Scale)
            << t.Width << "x" << t.Height << " to " << t.TargetWidth << "x" << t.TargetHeight;
    // On decoding: a fixed scale, or the automatic one for the target; none means full size.
    const std::vector<uint8_t> file = Jpeg(64, 48);
    for (auto [scale, target, divisor] :
         {std::tuple(ioJPEG_FULLSIZE, 0, 1), std::tuple(ioJPEG_HALF, 0, 2), std::tuple(ioJPEG_QUARTER, 0, 4),
          std::tuple(ioJPEG_EIGHTH, 0, 8), std::tuple(ioJPEG_AUTOCALC, 0, 1),
          std::tuple(ioJPEG_AUTOCALC, 16, 4)}) {
        TRead read(file, [s = scale, t = target](TIOParams& p) {
            p.JPEG_Scale = s;
            p.LoadToWidth = t;
            p.LoadToHeight = t * 3 / 4;
        });
        EXPECT_EQ(read.Size(), std::pair(64 / divisor, 48 / divisor)) << scale << " " << target;
        EXPECT_EQ(read.Params.JPEG_ScaleUsed, divisor) << scale << " " << target;
        EXPECT_EQ(std::pair(read.Params.OriginalWidth, read.Params.OriginalHeight), std::pair(64, 48));
    }
}

TEST(JpegReader, JunkBrokenHeadersTruncatedFilesAndThePixelLimit) {
    const std::vector<uint8_t> file = Jpeg(64, 64);
    for (size_t junk : {size_t(0), size_t(149), size_t(150)}) {
        std::vector<uint8_t> data(junk, 0x55);
        data.insert(data.end(), file.begin(), file.end());
        TIEBitmap bitmap(3, 2, ie8g);
        TIOParams params;
        EXPECT_EQ(DecodeJpeg(data, bitmap, params), junk < 150) << junk;
        // The bitmap isn't touched when there's no SOI.
        EXPECT_EQ(bitmap.Width(), junk < 150 ? 64 : 3) << junk;
    }
    for (size_t length : {size_t(0), size_t(3), size_t(20), size_t(150)}) {
        TRead read(std::vector<uint8_t>(file.begin(), file.begin() + long(length)));
        EXPECT_FALSE(read.Ok || !read.Bitmap.IsEmpty()) << length;
    }
    const TIEJpegLimits saved = IEJpegLimits();
    IESetJpegLimits({64 * 64 - 1, saved.MaxLibraryMemory});
    TRead full(file);
    EXPECT_FALSE(full.Ok || !full.Bitmap.IsEmpty());
    // Half size fits the same limit.
    EXPECT_TRUE(TRead(file, [](TIOParams& p) { p.JPEG_Scale = ioJPEG_HALF; }).Ok);
    IESetJpegLimits(saved);

    // Cut in the middle of the scan (busy pixels make up most of the file): it loads with
    // warnings, the rows never read grey.
    std::vector<uint8_t> cut = Jpeg(
        64, 64, [](TIOParams& p) { p.JPEG_CromaSubsampling = ioJPEG_NONE; }, nullptr);
    cut.resize(cut.size() / 2);
    TRead read(cut);
    ASSERT_TRUE(read.Ok);
    EXPECT_EQ(read.Bitmap.Height(), 64);
    EXPECT_GT(read.Params.JPEG_WarningTot, 0);
    EXPECT_NE(read.Params.JPEG_WarningCode, 0);
    TIEBitmap busy(64, 64, ie24RGB);
    Scramble(busy);
    EXPECT_LE(read.Distance(0, 0, busy.GetPixels_ie24RGB(0, 0)), 8);
    for (int32_t x = 0; x < 64; ++x)
        EXPECT_LE(read.Distance(x, 63, TRGB{128, 128, 128}), 1) << x;
}

TEST(JpegReader, PreviewReadsTheHeaderOnlyAndProgressCanStopTheDecode) {
    TIEBitmap bitmap;
    TIOParams params;
    TStopProgress preview, progress;
    ReadJpeg(Jpeg(40, 30), bitmap, params, preview, true, false);
    EXPECT_FALSE(preview.Stopped);
    EXPECT_TRUE(bitmap.IsEmpty());
    EXPECT_EQ(std::pair(params.Width, params.Height), std::pair(40, 30));

    std::vector<int> seen;
    progress.OnProgress = [&](void*, int Percent) {
        seen.push_back(Percent);
        if (Percent >= 50) progress.Stopped = true;
    };
    const int32_t rows = ReadJpeg(Jpeg(16, 200), bitmap, params, progress, false, false);
    EXPECT_TRUE(progress.Stopped);
    EXPECT_EQ(rows, 100);
    // Reported once per change; rows read before the stop stay in the bitmap.
    EXPECT_TRUE(!seen.empty() && std::is_sorted(seen.begin(), seen.end()) &&
                std::adjacent_find(seen.begin(), seen.end()) == seen.end());
    EXPECT_LE(ColourDistance(bitmap.GetPixels_ie24RGB(0, 99), kOrange), 2);
}

TEST(JpegColourSpaces, EachWriterSpaceComesBackAsItselfAndAlphaIsBlendedOnWhite) {
    const TRGB red{0, 0, 255}, black{0, 0, 0}, white{255, 255, 255};
    // CMYK of r200 g100 b50: K 200, C 255, M 127, Y 63 (cut, not rounded); read back
    // r200 g99 b49. Grey gets blue, green, red in the codec's red, green, blue places: for
    // a red pixel Y = (7471 * 255 + 32768) >> 16 = 29 instead of 76.
    // clang-format off
    const struct { TIOJPEGColorspace Space; TRGB Colour; bool Transparent; int32_t Samples; TRGB Expected; } cases[] = {
        {ioJPEG_RGB, kOrange, false, 3, kOrange}, {ioJPEG_YCbCr, kOrange, false, 3, kOrange},
        {ioJPEG_CMYK, kOrange, false, 4, TRGB{49, 99, 200}}, {ioJPEG_YCbCrK, kOrange, false, 4, TRGB{49, 99, 200}},
        {ioJPEG_GRAYLEV, red, false, 1, TRGB{29, 29, 29}}, {ioJPEG_YCbCr, black, true, 3, white},
    };
    // clang-format on
    for (const auto& test : cases) {
        TIEBitmap bitmap;
        FillRGB(bitmap, 16, 16, test.Colour);
        if (test.Transparent) bitmap.AlphaChannel()->Fill(0);
        TRead read(Jpeg(bitmap, [&](TIOParams& p) { p.JPEG_ColorSpace = test.Space; }));
        ASSERT_TRUE(read.Ok) << test.Space;
        // The saved picture itself stays as it was.
        EXPECT_EQ(ColourDistance(bitmap.GetPixels_ie24RGB(3, 3), test.Colour), 0);
        EXPECT_EQ(bitmap.GetAlpha(3, 3), test.Transparent ? 0 : 255);
        EXPECT_EQ(read.Bitmap.PixelFormat(), ie24RGB);
        EXPECT_EQ(read.Params.JPEG_ColorSpace, test.Space);
        EXPECT_EQ(std::pair(read.Params.SamplesPerPixel, read.Params.BitsPerSample),
                  std::pair(test.Samples, 8));
        for (int32_t i = 0; i < 16; ++i)
            EXPECT_LE(read.Distance(i, 15 - i, test.Expected), 2) << test.Space;
        // Saved again as loaded, the file keeps its space.
        EXPECT_EQ(TRead(EncodeJpeg(read.Bitmap, read.Params)).Params.JPEG_ColorSpace, test.Space);
    }
    TRead grey(Jpeg(
                   16, 16, [](TIOParams& p) { p.JPEG_ColorSpace = ioJPEG_GRAYLEV; }, &red),
               nullptr, true);
    ASSERT_EQ(grey.Bitmap.PixelFormat(), ie8g);
    EXPECT_NEAR(grey.Bitmap.GetPixels_ie8(5, 5), 29, 1);
}

TEST(JpegColourSpaces, CMYKNativeAndInvertedSamples) {
    // White: K 255 and C, M, Y 255 (no ink), which the reader turns into white again.
    const TRGB white{255, 255, 255};
    const std::vector<uint8_t> file = Jpeg(
        16, 16, [](TIOParams& p) { p.JPEG_ColorSpace = ioJPEG_CMYK; }, &white);
    TRead read(file, nullptr, true);
    ASSERT_EQ(read.Bitmap.PixelFormat(), ieCMYK);
    const TCMYK ink = read.Bitmap.GetPixels_ieCMYK(3, 3);
    EXPECT_GE(std::min({ink.c, ink.m, ink.y, ink.k}), 254);
    // Inverting CMYK leaves the last pixel's last three samples as stored: C inverted to
    // 0, M, Y and K left at 255 give r 0, g 255, b 255.
    TStopProgress progress;
    ReadJpeg(file, read.Bitmap, read.Params, progress, false, true);
    ASSERT_FALSE(progress.Stopped);
    EXPECT_LE(read.Distance(0, 0, TRGB{0, 0, 0}), 1);
    EXPECT_LE(read.Distance(15, 0, TRGB{255, 255, 0}), 1);
}

TEST(JpegMarkers, KeptInFileOrderWithoutTheFirstAPP0AndNotDoubled) {
    const std::string jfxx("JFXX\0\x10", 6), comment("made by hand"), other("OtherApp1");
    const std::vector<uint8_t> file = Jpeg(16, 16, [&](TIOParams& p) {
        p.JPEG_MarkerList.AddMarker(0xFE, comment.data(), uint16_t(comment.size()));
        p.JPEG_MarkerList.AddMarker(0xE1, other.data(), uint16_t(other.size()));
        p.JPEG_MarkerList.AddMarker(0xE0, jfxx.data(), uint16_t(jfxx.size()));
    });
    // Sorted by code, after the library's JFIF header, before the frame.
    EXPECT_EQ(MarkerCodes(file), (std::vector<uint8_t>{0xE0, 0xE0, 0xE1, 0xFE}));
    const std::vector<uint8_t> first = JpegSegments(file)[0].Payload;
    EXPECT_EQ(std::string(first.begin(), first.begin() + 5), std::string("JFIF\0", 5));

    TRead read(file);
    const TIEMarkerList& markers = read.Params.JPEG_MarkerList;
    ASSERT_EQ(markers.Count(), 3);
    EXPECT_EQ(std::string(markers.GetMarkerData(0).begin(), markers.GetMarkerData(0).end()), jfxx);
    EXPECT_EQ((std::vector{markers.GetMarkerType(0), markers.GetMarkerType(1), markers.GetMarkerType(2)}),
              (std::vector<uint8_t>{0xE0, 0xE1, 0xFE}));
    // Load and save again: one JFIF header, each kept marker once.
    EXPECT_EQ(MarkerCodes(EncodeJpeg(read.Bitmap, read.Params)), MarkerCodes(file));

    // The Adobe marker of a CMYK file is the library's: listed on reading, never doubled.
    const std::vector<uint8_t> cmyk = Jpeg(16, 16, [](TIOParams& p) { p.JPEG_ColorSpace = ioJPEG_CMYK; });
    EXPECT_EQ(CountSegments(JpegSegments(cmyk), 0xEE), 1);
    TRead adobe(cmyk);
    EXPECT_EQ(adobe.Params.JPEG_MarkerList.IndexOf(0xEE), 0);
    EXPECT_EQ(MarkerCodes(EncodeJpeg(adobe.Bitmap, adobe.Params)), MarkerCodes(cmyk));
}

TEST(JpegDensity, JFIFWinsEXIFFillsInForOneByOneAndTheWriterWritesOnlyWhatTheHeaderCanHold) {
    // clang-format off
    const struct { uint8_t Unit; uint16_t Jfif; std::vector<uint8_t> Exif; int32_t Expected; } cases[] = {
        {1, 300, ExifBlock(1, 72, 2), 300},  // a real JFIF density wins
        {1, 1, ExifBlock(1, 72, 2), 72},     // 1 by 1 says nothing
        {1, 1, ExifBlock(1, 37, 3), 93},     // 37 per centimetre are 93.98 per inch, cut
        {1, 1, ExifBlock(1), 300},           // EXIF without resolution: the default
        {1, 1, {}, 0},                       // neither: 0, which the writer turns into 300
        {1, 96, {}, 96},
        {2, 118, {}, 299},                   // 299.72, cut
        // A JFIF density no header can hold (0, or 76200 dots per inch) is no density.
        {1, 0, ExifBlock(1, 72, 2), 72}, {2, 30000, ExifBlock(1, 72, 2), 72},
        // Neither is such an EXIF resolution: the default stands in as for a missing tag.
        {1, 1, ExifBlock(1, 4294967295u, 2), 300}, {1, 1, ExifBlock(1, uint32_t(-72), 2, 10), 300},
        {1, 1, ExifBlock(1, 30000, 3), 300},
        // Resolutions stored as integers are read as such.
        {1, 1, ExifBlock(1, 72, 2, 3), 72}, {1, 1, ExifBlock(1, 96, 2, 9), 96},
    };
    // clang-format on
    for (const auto& test : cases) {
        const std::string name = std::to_string(&test - cases);
        std::vector<uint8_t> file = Jpeg(8, 8, [&](TIOParams& p) {
            if (!test.Exif.empty())
                p.JPEG_MarkerList.AddMarker(0xE1, test.Exif.data(), uint16_t(test.Exif.size()));
        });
        // JFIF: units at byte 13, X density at 14, Y density at 16.
        file[13] = test.Unit;
        file[14] = file[16] = uint8_t(test.Jfif >> 8);
        file[15] = file[17] = uint8_t(test.Jfif);
        TRead read(file);
        ASSERT_TRUE(read.Ok) << name;
        EXPECT_EQ(std::pair(read.Params.DpiX, read.Params.DpiY), std::pair(test.Expected, test.Expected))
            << name;
        const std::vector<uint8_t> saved = EncodeJpeg(read.Bitmap, read.Params);
        EXPECT_EQ(saved[14] << 8 | saved[15], test.Expected ? test.Expected : 300) << name;
    }

    // The writer, in the JFIF unit and densities: beyond them the default stands in (for 0
    // above); with one default they can't hold either: no unit and the aspect ratio 1 by 1.
    const auto header = [](int32_t Dpi) {
        const std::vector<uint8_t> file = Jpeg(8, 8, [&](TIOParams& p) { p.DpiX = p.DpiY = Dpi; });
        return std::vector<int>{file[13], file[14] << 8 | file[15], file[16] << 8 | file[17]};
    };
    EXPECT_EQ(header(65535), (std::vector<int>{1, 65535, 65535}));
    EXPECT_EQ(header(65536), (std::vector<int>{1, 300, 300}));
    const int32_t saved = IEGlobalSettings().DefaultDpiX();
    IEGlobalSettings().SetDefaultDpiX(0);
    EXPECT_EQ(header(0), (std::vector<int>{0, 1, 1}));
    IEGlobalSettings().SetDefaultDpiX(saved);
}

// Every orientation's pixels are pinned in orientation_test; here the reader's part.
TEST(JpegOrientation, TheReaderTurnsThePictureUprightOnlyWhenAskedAndTheSavedFileSaysSo) {
    // Stored 3 x 2:  10  50  90    turned clockwise by orientation 6, 130 comes first;
    //               130 170 210    the other turns put 10, 90 or 210 there.
    TIEBitmap stored(3, 2, ie24RGB);
    for (int32_t i = 0; i < 6; ++i) {
        const uint8_t v = uint8_t(10 + 40 * i);
        stored.SetPixels_ie24RGB(i % 3, i / 3, TRGB{v, v, v});
    }
    const std::vector<uint8_t> exif = ExifBlock(6),
                               file = Jpeg(stored, [&](TIOParams&p) {
                                   p.JPEG_MarkerList.AddMarker(0xE1, exif.data(), uint16_t(exif.size()));
                               });
    TRead plain(file);
    EXPECT_EQ(plain.Size(), std::pair(3, 2)) << "off by default";
    EXPECT_EQ(plain.Params.EXIF_Orientation, 6);

    TRead upright(file, Orient);
    ASSERT_EQ(upright.Size(), std::pair(2, 3));
    EXPECT_EQ(upright.Params.TIFF_Orientation, 1);
    EXPECT_LE(upright.Distance(0, 0, TRGB{130, 130, 130}), 3);
    IEUpdateJpegMarkers(upright.Params);
    EXPECT_EQ(TRead(EncodeJpeg(upright.Bitmap, upright.Params)).Params.EXIF_Orientation, 1);
}

TEST(JpegWriter, QualityProgressionHuffmanAndSubsampling) {
    const auto size = [](const TSetup& Setup) { return Jpeg(96, 64, Setup, nullptr).size(); };
    const size_t high = size([](TIOParams& p) { p.JPEG_Quality = 95; });
    EXPECT_LT(size([](TIOParams& p) { p.JPEG_Quality = 20; }), high);
    EXPECT_LT(size([](TIOParams& p) {
                  p.JPEG_Quality = 95;
                  p.JPEG_OptimalHuffman = true;
              }),
              high);

    const std::vector<uint8_t> progressive = Jpeg(
        96, 64, [](TIOParams& p) { p.JPEG_Progressive = true; }, nullptr);
    EXPECT_EQ(CountSegments(JpegSegments(progressive), 0xC2), 1);
    EXPECT_TRUE(TRead(progressive).Params.JPEG_Progressive);

    // The luma sampling byte of the frame header: 2x2, 2x1, 1x1; chroma always 1x1.
    for (auto [chroma, factor] :
         {std::pair(ioJPEG_HIGH, 0x22), std::pair(ioJPEG_MEDIUM, 0x21), std::pair(ioJPEG_NONE, 0x11)}) {
        const auto segments =
            JpegSegments(Jpeg(96, 64, [c = chroma](TIOParams& p) { p.JPEG_CromaSubsampling = c; }));
        const auto frame =
            std::find_if(segments.begin(), segments.end(), [](auto& s) { return s.Marker == 0xC0; });
        ASSERT_NE(frame, segments.end());
        EXPECT_EQ(std::pair(frame->Payload[7], frame->Payload[10]),
                  std::pair(uint8_t(factor), uint8_t(0x11)));
    }
}

TEST(JpegCorpus, DecodeIsCloseToTheOriginalPictureAndTwelveBitSamplesFail) {
    PW_REQUIRE_CORPUS();
    // Only a file from another encoder pins the channel order: testorig.ppm is the picture
    // testorig.jpg was made from, r, g, b behind a text header. Red and blue swapped would
    // give a mean far above the bound.
    const std::vector<uint8_t> ppm = ReadCorpusFile("libjpeg-turbo/testorig.ppm");
    TRead read(ReadCorpusFile("libjpeg-turbo/testorig.jpg"));
    ASSERT_EQ(read.Size(), std::pair(227, 149));
    ASSERT_GT(ppm.size(), size_t(227) * 149 * 3);
    const uint8_t* p = ppm.data() + ppm.size() - size_t(227) * 149 * 3;
    int64_t total = 0;
    for (int32_t y = 0; y < 149; ++y)
        for (int32_t x = 0; x < 227; ++x, p += 3)
            total += read.Distance(x, y, TRGB{p[2], p[1], p[0]});
    EXPECT_LT(double(total) / (227 * 149), 8.0);
    // Not in this build of the library: a clean failure.
    EXPECT_FALSE(TRead(ReadCorpusFile("libjpeg-turbo/monkey12.jpg")).Ok);
}

// Either outcome is fine for each of these; none may crash.
TEST(JpegCorpus, BadFilesNeverCrash) {
    PW_REQUIRE_CORPUS();
    int files = 0;
    for (const char* folder :
         {"jpeg-decoder/crashtest-bad", "exif-samples/jpg/invalid-bad", "pillow/jpeg-bad"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusFile(folder)))
            if (entry.is_regular_file()) {
                TRead(ReadBytes(entry.path().string()), Orient);
                ++files;
            }
    EXPECT_GT(files, 40);
}
