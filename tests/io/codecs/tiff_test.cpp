#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>
#include <zlib.h>

#include "image/bitmap.h"
#include "io/codecs/lzw.h"
#include "io/codecs/tiff.h"
#include "io/imagerio.h"
#include "tests/corpus.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/image/converttestutil.h"
#include "tests/testutil.h"

namespace {

struct TTag {
    uint16_t Tag;
    uint16_t Type; // 3 SHORT, 4 LONG, 5 RATIONAL (numerator and denominator pairs)
    std::vector<uint32_t> Values;
};

// A TIFF file of pages that share Tags and Strips; the strip offsets and byte counts are
// added unless Tags has them. Classic or BigTIFF, either byte order.
struct TTiffFile {
    std::vector<TTag> Tags;
    std::vector<std::vector<uint8_t>> Strips;
    bool BigEndian = false;
    bool BigTIFF = false;
    int Pages = 1;
    uint16_t Version = 42;

    std::vector<uint8_t> Build() const {
        std::vector<uint8_t> out;
        auto put = [&](uint64_t Value, int Bytes) {
            for (int i = 0; i < Bytes; ++i)
                out.push_back(uint8_t(Value >> (8 * (BigEndian ? Bytes - 1 - i : i))));
        };
        auto putAt = [&](size_t At, uint64_t Value, int Bytes) {
            for (int i = 0; i < Bytes; ++i)
                out[At + size_t(i)] = uint8_t(Value >> (8 * (BigEndian ? Bytes - 1 - i : i)));
        };
        const int field = BigTIFF ? 8 : 4;
        out = {uint8_t(BigEndian ? 'M' : 'I'), uint8_t(BigEndian ? 'M' : 'I')};
        put(BigTIFF ? 43 : Version, 2);
        if (BigTIFF) put(8, 2), put(0, 2);
        const size_t firstIFD = out.size();
        put(0, field);
        std::vector<TTag> tags = Tags;
        std::vector<uint32_t> offsets, counts;
        for (const auto& strip : Strips) {
            offsets.push_back(uint32_t(out.size()));
            counts.push_back(uint32_t(strip.size()));
            out.insert(out.end(), strip.begin(), strip.end());
        }
        auto has = [&](uint16_t Tag) {
            for (const TTag& t : tags)
                if (t.Tag == Tag) return true;
            return false;
        };
        if (!has(273)) tags.push_back({273, 4, offsets});
        if (!has(279)) tags.push_back({279, 4, counts});
        std::sort(tags.begin(), tags.end(), [](const TTag& a, const TTag& b) { return a.Tag < b.Tag; });
        size_t link = firstIFD;
        for (int page = 0; page < Pages; ++page) {
            // Values that don't fit in the entry go in front of the directory.
            std::vector<uint64_t> at(tags.size(), 0);
            for (size_t i = 0; i < tags.size(); ++i) {
                const int size = tags[i].Type == 3 ? 2 : 4;
                if (tags[i].Values.size() * size_t(size) <= size_t(field)) continue;
                if (out.size() % 2) out.push_back(0);
                at[i] = out.size();
                for (uint32_t v : tags[i].Values)
                    put(v, size);
            }
            if (out.size() % 2) out.push_back(0);
            putAt(link, out.size(), field);
            put(tags.size(), BigTIFF ? 8 : 2);
            for (size_t i = 0; i < tags.size(); ++i) {
                const TTag& t = tags[i];
                const int size = t.Type == 3 ? 2 : 4;
                const size_t count = t.Type == 5 ? t.Values.size() / 2 : t.Values.size();
                put(t.Tag, 2);
                put(t.Type, 2);
                put(count, field);
                if (at[i]) {
                    put(at[i], field);
                } else {
                    int used = 0;
                    for (uint32_t v : t.Values)
                        put(v, size), used += size;
                    put(0, field - used);
                }
            }
            link = out.size();
            put(0, field);
        }
        return out;
    }
};

std::vector<TTag> Picture(uint32_t Width, uint32_t Height, std::vector<uint32_t> Bits, uint32_t Photometric,
                          std::vector<TTag> More = {}) {
    std::vector<TTag> tags{{256, 4, {Width}},
                           {257, 4, {Height}},
                           {258, 3, Bits},
                           {262, 3, {Photometric}},
                           {277, 3, {uint32_t(Bits.size())}}};
    tags.insert(tags.end(), More.begin(), More.end());
    return tags;
}

struct TLoaded {
    TIEBitmap Bitmap;
    std::unique_ptr<TImagerIO> IO;
    bool Ok = false;
};

std::unique_ptr<TLoaded> Load(const std::vector<uint8_t>& Bytes, bool Native = false, int32_t Page = 0,
                              bool Orientation = false) {
    auto loaded = std::make_unique<TLoaded>();
    loaded->IO = std::make_unique<TImagerIO>(&loaded->Bitmap, false);
    loaded->IO->Params().NativePixelFormat = Native;
    loaded->IO->Params().TIFF_ImageIndex = Page;
    loaded->IO->Params().TIFF_EnableAdjustOrientation = Orientation;
    TIEMemoryStream stream(Bytes);
    loaded->Ok = loaded->IO->LoadFromStreamTIFF(stream);
    return loaded;
}

std::vector<uint8_t> Deflate(const std::vector<uint8_t>& Data) {
    uLongf size = compressBound(uLong(Data.size()));
    std::vector<uint8_t> out(size);
    compress(out.data(), &size, Data.data(), uLong(Data.size()));
    out.resize(size);
    return out;
}

// Codes of Bits bits, most significant bit first (TIFF's LZW) or least (the old form).
std::vector<uint8_t> PackCodes(const std::vector<int>& Codes, int Bits, bool LsbFirst) {
    std::vector<uint8_t> out;
    uint64_t buffer = 0;
    int count = 0;
    for (int code : Codes) {
        buffer = LsbFirst ? buffer | uint64_t(code) << count : buffer << Bits | uint64_t(code);
        count += Bits;
        while (count >= 8) {
            out.push_back(LsbFirst ? uint8_t(buffer) : uint8_t(buffer >> (count - 8)));
            if (LsbFirst) buffer >>= 8;
            count -= 8;
        }
    }
    if (count) out.push_back(LsbFirst ? uint8_t(buffer) : uint8_t(buffer << (8 - count)));
    return out;
}

} // namespace

// The row "ABABABA" of 7 grey pixels in every byte compression: the LZW codes use a
// string that is still being defined (260), PackBits a literal and a run.
TEST(TiffReader, EveryByteCompressionGivesTheSameRow) {
    const std::vector<uint8_t> row{65, 66, 65, 66, 65, 66, 65};
    const struct {
        uint32_t Compression;
        std::vector<uint8_t> Data;
    } cases[] = {
        {1, row},
        {5, PackCodes({256, 65, 66, 258, 260, 257}, 9, false)},
        {5, PackCodes({256, 65, 66, 258, 260, 257}, 9, true)},
        {8, Deflate(row)},
        {32946, Deflate(row)},
        // -128 is no code at all.
        {32773, {0x80, 4, 65, 66, 65, 66, 65, 1, 66, 65}},
    };
    for (const auto& c : cases) {
        TTiffFile file{Picture(7, 1, {8}, 1, {{259, 3, {c.Compression}}}), {c.Data}};
        auto loaded = Load(file.Build(), true);
        ASSERT_TRUE(loaded->Ok) << c.Compression;
        ASSERT_EQ(loaded->Bitmap.PixelFormat(), ie8g);
        std::vector<uint8_t> got;
        for (int x = 0; x < 7; ++x)
            got.push_back(loaded->Bitmap.GetPixels_ie8(x, 0));
        EXPECT_EQ(got, row) << c.Compression;
    }
}

// Long enough to fill the table twice over, so that widths grow and clear codes come.
TEST(TiffLzw, EncodedDataDecodesToItself) {
    std::vector<uint8_t> data(200000);
    uint32_t seed = 7;
    for (size_t i = 0; i < data.size(); ++i) {
        seed = seed * 1664525u + 1013904223u;
        data[i] = uint8_t(i % 300 < 150 ? i / 7 : seed >> 29);
    }
    for (size_t size : {size_t(0), size_t(1), size_t(253), size_t(254), size_t(255), data.size()}) {
        const std::vector<uint8_t> packed = IELzwEncodeTiff(data.data(), size);
        // Room for more: the end code must stop it.
        const std::vector<uint8_t> back =
            IELzwDecode(packed.data(), packed.size(), TIELzwBitOrder::MsbFirst, 8, true, size + 10);
        EXPECT_TRUE(std::equal(data.begin(), data.begin() + std::ptrdiff_t(size), back.begin(), back.end()))
            << size;
    }
}

TEST(TiffReader, PackBitsRunsStopAtTheRowEnd) {
    // A run of 4 for a row of 3 loses its last byte; the next row starts afresh.
    TTiffFile file{Picture(3, 2, {8}, 1, {{259, 3, {32773}}}), {{0xFD, 9, 0x02, 1, 2, 3}}};
    auto loaded = Load(file.Build());
    ASSERT_TRUE(loaded->Ok);
    EXPECT_EQ(Text(loaded->Bitmap), "ie24RGB 9 9 9 / 1 2 3");
}

TEST(TiffReader, PredictorTwoOnlyForLzwAndDeflate) {
    // Differences 10, +5, +250 (wrapping) per channel of RGB.
    const std::vector<uint8_t> row{10, 20, 30, 5, 5, 5, 250, 250, 250};
    const std::vector<TTag> predictor{{317, 3, {2}}};
    auto tags = [&](uint32_t Compression) {
        std::vector<TTag> more = predictor;
        more.push_back({259, 3, {Compression}});
        return Picture(3, 1, {8, 8, 8}, 2, more);
    };
    auto deflated = Load(TTiffFile{tags(8), {Deflate(row)}}.Build());
    ASSERT_TRUE(deflated->Ok);
    EXPECT_EQ(Text(deflated->Bitmap), "ie24RGB rgb(10,20,30) rgb(15,25,35) rgb(9,19,29)");
    auto plain = Load(TTiffFile{tags(1), {row}}.Build());
    EXPECT_EQ(Text(plain->Bitmap), "ie24RGB rgb(10,20,30) 5 250");

    // 16-bit samples in a big-endian file: 0x0102 then +0x0101.
    TTiffFile wide{Picture(2, 1, {16}, 1, {{259, 3, {8}}, {317, 3, {2}}}), {Deflate({1, 2, 1, 1})}, true};
    auto loaded = Load(wide.Build(), true);
    ASSERT_EQ(loaded->Bitmap.PixelFormat(), ie16g);
    EXPECT_EQ(loaded->Bitmap.GetPixels_ie16g(0, 0), 0x0102);
    EXPECT_EQ(loaded->Bitmap.GetPixels_ie16g(1, 0), 0x0203);
}

TEST(TiffReader, SampleDepthsAndPhotometrics) {
    const struct {
        const char* Name;
        std::vector<TTag> Tags;
        std::vector<uint8_t> Data;
        const char* Pixels;
    } cases[] = {
        // The high byte of 16-bit grey, big-endian: 0x12 of 0x12FF.
        {"grey16 MM", Picture(1, 1, {16}, 1), {0x12, 0xFF}, "ie24RGB 18"},
        {"grey4", Picture(2, 1, {4}, 1), {0x1F}, "ie24RGB 17 255"},
        {"white is zero", Picture(2, 1, {8}, 0), {0, 200}, "ie24RGB 255 55"},
        // A 2-bit palette: the high byte of each 16-bit colour map entry.
        {"palette",
         Picture(2, 1, {2}, 3,
                 {{320,
                   3,
                   {0x1000, 0x2000, 0x3000, 0x4000, 0x5000, 0x6000, 0x7000, 0x8000, 0x9000, 0xA000, 0xB000,
                    0xC000}}}),
         {0x30},
         "ie24RGB rgb(16,80,144) rgb(64,128,192)"},
        // Inks 0, 0, 0, 0 are white; 255 of cyan alone gives 0 red.
        {"cmyk", Picture(2, 1, {8, 8, 8, 8}, 5), {0, 0, 0, 0, 255, 0, 0, 0}, "ie24RGB 255 rgb(0,255,255)"},
        {"ycbcr", Picture(1, 1, {8, 8, 8}, 6, {{530, 3, {1, 1}}}), {100, 128, 128}, "ie24RGB 100"},
        // Signed samples are shown by their bits.
        {"int8", Picture(1, 1, {8}, 1, {{339, 3, {2}}}), {0x80}, "ie24RGB 128"},
        // A 12-bit sample repeats its high bits below: 0xABC gives 0xABCA, high byte 0xAB.
        {"grey12", Picture(1, 1, {12}, 1), {0xAB, 0xC0}, "ie24RGB 171"},
    };
    for (const auto& c : cases) {
        TTiffFile file{c.Tags, {c.Data}, std::string(c.Name).find("MM") != std::string::npos};
        auto loaded = Load(file.Build());
        ASSERT_TRUE(loaded->Ok) << c.Name;
        EXPECT_EQ(Text(loaded->Bitmap), c.Pixels) << c.Name;
    }
}

TEST(TiffReader, NativeFormatsKeepTheirSamples) {
    auto cmyk = Load(TTiffFile{Picture(1, 1, {8, 8, 8, 8}, 5), {{10, 20, 30, 40}}}.Build(), true);
    ASSERT_EQ(cmyk->Bitmap.PixelFormat(), ieCMYK);
    const TCMYK ink = cmyk->Bitmap.GetPixels_ieCMYK(0, 0);
    // The engine keeps inks inverted.
    EXPECT_EQ(std::vector<int>({ink.c, ink.m, ink.y, ink.k}), std::vector<int>({245, 235, 225, 215}));

    auto rgb48 = Load(TTiffFile{Picture(1, 1, {16, 16, 16}, 2), {{1, 2, 3, 4, 5, 6}}}.Build(), true);
    ASSERT_EQ(rgb48->Bitmap.PixelFormat(), ie48RGB);
    const TRGB48 wide = rgb48->Bitmap.GetPixels_ie48RGB(0, 0);
    EXPECT_EQ(std::vector<int>({wide.r, wide.g, wide.b}), std::vector<int>({0x0201, 0x0403, 0x0605}));

    auto palette =
        Load(TTiffFile{Picture(1, 1, {8}, 3, {{320, 3, std::vector<uint32_t>(768, 0xFF00)}}), {{7}}}.Build(),
             true);
    ASSERT_EQ(palette->Bitmap.PixelFormat(), ie8p);
    EXPECT_EQ(palette->Bitmap.GetPixels_ie8(0, 0), 7);
}

TEST(TiffReader, AlphaSamplesBecomeTheAlphaPlane) {
    // RGBA with unassociated alpha, and grey with an unspecified second sample of 8 bits.
    auto rgba = Load(TTiffFile{Picture(1, 1, {8, 8, 8, 8}, 2, {{338, 3, {2}}}), {{1, 2, 3, 77}}}.Build());
    ASSERT_TRUE(rgba->Bitmap.HasAlphaChannel());
    EXPECT_EQ(Text(rgba->Bitmap), "ie24RGB rgb(1,2,3) alpha 77");
    auto grey = Load(TTiffFile{Picture(1, 1, {8, 8}, 1), {{50, 60}}}.Build());
    EXPECT_EQ(grey->Bitmap.GetAlpha(0, 0), 60);
}

TEST(TiffReader, BilevelPictures) {
    // Photometric 0 inverts: bits 1010 are black, white, black, white.
    auto whiteIsZero = Load(TTiffFile{Picture(4, 1, {1}, 0), {{0xA0}}}.Build());
    ASSERT_EQ(whiteIsZero->Bitmap.PixelFormat(), ie1g);
    EXPECT_EQ(Text(whiteIsZero->Bitmap), "ie1g 0 1 0 1");
    EXPECT_EQ(whiteIsZero->IO->Params().TIFF_PhotometInterpret, ioTIFF_WHITEISZERO);
    // A bilevel "RGB" picture without compression is taken as white is zero.
    auto rgb = Load(TTiffFile{Picture(4, 1, {1}, 2), {{0xA0}}}.Build());
    EXPECT_EQ(Text(rgb->Bitmap), "ie1g 0 1 0 1");
}

TEST(TiffReader, FaxRows) {
    // Rows "...##..." of 8 pixels. Modified Huffman: white 3 (1000), black 2 (11),
    // white 3 (1000), each row on its own byte. Group 4: horizontal (001) with the same
    // runs and V0 (1) to the end, then three V0 on the row above.
    const std::vector<uint8_t> mh{0x8E, 0x00, 0x8E, 0x00};
    const std::vector<uint8_t> g4{0x31, 0xF8};
    for (const auto& [compression, data] : {std::pair{2u, mh}, {4u, g4}}) {
        auto loaded = Load(TTiffFile{Picture(8, 2, {1}, 0, {{259, 3, {compression}}}), {data}}.Build());
        ASSERT_TRUE(loaded->Ok) << compression;
        const std::string row = "1 1 1 0 0 1 1 1";
        EXPECT_EQ(Text(loaded->Bitmap), "ie1g " + row + " / " + row) << compression;
    }
}

TEST(TiffReader, PagesHeadersAndOrientation) {
    TTiffFile pages{Picture(1, 1, {8}, 1), {{42}}};
    pages.Pages = 5;
    auto first = Load(pages.Build());
    EXPECT_TRUE(first->Ok);
    EXPECT_EQ(first->IO->Params().ImageCount, 5);
    auto beyond = Load(pages.Build(), false, 5);
    EXPECT_FALSE(beyond->Ok);
    EXPECT_EQ(beyond->IO->Params().ImageCount, 5);

    // Any version word but 43 is classic; BigTIFF in both byte orders.
    for (TTiffFile file : {TTiffFile{Picture(1, 1, {8}, 1), {{42}}, false, false, 1, 41},
                           TTiffFile{Picture(1, 1, {8}, 1), {{42}}, false, true},
                           TTiffFile{Picture(1, 1, {8}, 1), {{42}}, true, true}})
        EXPECT_EQ(Text(Load(file.Build())->Bitmap), "ie24RGB 42") << file.Version << file.BigTIFF;

    // Orientation 6: the stored row 1 2 stands upright as a column 1 over 2.
    TTiffFile turned{Picture(2, 1, {8}, 1, {{274, 3, {6}}}), {{1, 2}}};
    auto upright = Load(turned.Build(), false, 0, true);
    EXPECT_EQ(Text(upright->Bitmap), "ie24RGB 1 / 2");
    EXPECT_EQ(upright->IO->Params().TIFF_Orientation, 1);
    EXPECT_EQ(Text(Load(turned.Build())->Bitmap), "ie24RGB 1 2");
}

TEST(TiffReader, MissingByteCountsRunToTheEndAndShortStripsKeepWhatTheyHave) {
    // Two strips of one row each without byte counts: each reads on to the end.
    TTiffFile file{Picture(2, 2, {8}, 1, {{278, 3, {1}}, {279, 4, {0, 0}}}), {{1, 2}, {3, 4}}};
    EXPECT_EQ(Text(Load(file.Build())->Bitmap), "ie24RGB 1 2 / 3 4");
    // A strip that ends in its second row keeps its first row and the rest stays black.
    TTiffFile shortStrip{Picture(2, 2, {8}, 1), {{5, 6, 7}}};
    auto loaded = Load(shortStrip.Build());
    EXPECT_EQ(Text(loaded->Bitmap), "ie24RGB 5 6 / 7 0");
}

TEST(TiffReader, HostileFilesFailWithoutAllocating) {
    const std::vector<uint8_t> loopTo8 = [] {
        TTiffFile file{Picture(1, 1, {8}, 1), {{1}}};
        std::vector<uint8_t> bytes = file.Build();
        // The directory's next pointer points back at the directory.
        const uint32_t ifd = bytes[4] | bytes[5] << 8;
        const size_t next = ifd + 2 + 12 * size_t(bytes[ifd]);
        for (int i = 0; i < 4; ++i)
            bytes[next + size_t(i)] = uint8_t(ifd >> (8 * i));
        return bytes;
    }();
    const struct {
        const char* Name;
        std::vector<uint8_t> Bytes;
        bool Loads;
    } cases[] = {
        {"no byte order", {'I', 'M', 42, 0, 8, 0, 0, 0}, false},
        {"directory past the end", {'I', 'I', 42, 0, 200, 0, 0, 0}, false},
        {"gigapixels in a small file", TTiffFile{Picture(100000, 100000, {8}, 1), {{1}}}.Build(), false},
        {"a giant tile for a small picture",
         TTiffFile{
             Picture(
                 2, 2, {8}, 1,
                 {{259, 3, {8}}, {322, 4, {1u << 20}}, {323, 4, {1u << 20}}, {324, 4, {8}}, {325, 4, {4}}}),
             {{1, 2, 3, 4}}}
             .Build(),
         false},
        {"mixed bits per sample", TTiffFile{Picture(1, 1, {8, 16, 8}, 2), {{1, 2, 3, 4}}}.Build(), false},
        {"compression not read", TTiffFile{Picture(1, 1, {8}, 1, {{259, 3, {50000}}}), {{1}}}.Build(), false},
        {"directory loop", loopTo8, true},
    };
    for (const auto& c : cases) {
        auto loaded = Load(c.Bytes);
        EXPECT_EQ(loaded->Ok, c.Loads) << c.Name;
        if (!c.Loads) {
            EXPECT_LT(int64_t(loaded->Bitmap.Width()) * loaded->Bitmap.Height(), 2) << c.Name;
        }
    }
    EXPECT_EQ(Load(loopTo8)->IO->Params().ImageCount, 1);
}

// Every TIFF of the corpus's readable sets loads, or fails where the file uses what no
// reader here takes; where libtiff's tiff2rgba is installed, 8-bit pictures equal its.
TEST(TiffReaderCorpus, ValidFilesLoadAndMatchAnIndependentDecoder) {
    if (!CorpusPresent()) GTEST_SKIP() << "no image corpus at " << CorpusRoot();
    // SGILog, ThunderScan, zstd, LZMA and WebP have no reader; tiled planar and
    // bit-per-pixel planar pictures are refused.
    const std::vector<std::string> refused{"logluv", "off_l16", "off_luv", "text.tif",
                                           "zstd",   "lzma",    "webp",    "tiled_planar"};
    const bool reference = std::system("command -v tiff2rgba >/dev/null 2>&1") == 0;
    TTempDir temp;
    int loaded = 0, compared = 0;
    for (const char* folder : {"image-tiff/images", "image-tiff/images/seq", "image-tiff/images/bigtiff",
                               "image-tiff/libtiffpic", "libtiff/images", "pillow/tiff"}) {
        for (const auto& entry : std::filesystem::directory_iterator(CorpusFile(folder))) {
            const std::string path = entry.path().string();
            const std::string name = entry.path().filename().string();
            if (!entry.is_regular_file() || (name.find(".tif") == std::string::npos)) continue;
            TIEBitmap bitmap;
            TImagerIO io(&bitmap, false);
            const bool ok = io.LoadFromFileTIFF(path);
            bool expectedToFail = false;
            for (const std::string& part : refused)
                expectedToFail = expectedToFail || name.find(part) != std::string::npos;
            EXPECT_EQ(ok, !expectedToFail) << path;
            if (!ok) continue;
            ++loaded;
            const TIOParams& p = io.Params();
            const bool exact =
                p.BitsPerSample == 8 && p.TIFF_Compression != ioTIFF_JPEG &&
                p.TIFF_Compression != ioTIFF_OLDJPEG && p.TIFF_PhotometInterpret != ioTIFF_CIELAB &&
                p.TIFF_PhotometInterpret != ioTIFF_YCBCR && p.SamplesPerPixel <= 3 && p.TIFF_Orientation == 1;
            const std::string out = temp / "ref.tif";
            if (!reference || !exact ||
                std::system(("tiff2rgba -c none '" + path + "' '" + out + "' 2>/dev/null").c_str()) != 0)
                continue;
            TIEBitmap expected;
            TImagerIO refIO(&expected, false);
            ASSERT_TRUE(refIO.LoadFromFileTIFF(out)) << path;
            ASSERT_EQ(bitmap.Width(), expected.Width()) << path;
            ASSERT_EQ(bitmap.Height(), expected.Height()) << path;
            ++compared;
            EXPECT_EQ(FirstDifference(bitmap, expected), "") << path;
        }
    }
    EXPECT_GT(loaded, 150);
    if (reference) {
        EXPECT_GT(compared, 30);
    }
}

TEST(TiffReaderCorpus, BrokenFilesEndCleanly) {
    if (!CorpusPresent()) GTEST_SKIP() << "no image corpus at " << CorpusRoot();
    for (const char* folder : {"image-tiff/fuzz-bad", "libtiff/images-bad", "pillow/tiff-bad"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(CorpusFile(folder))) {
            if (!entry.is_regular_file()) continue;
            TIEBitmap bitmap;
            TImagerIO io(&bitmap, false);
            io.LoadFromFileTIFF(entry.path().string());
            // Whatever loads is no larger than its pixels: nothing holds more than the cap.
            EXPECT_LE(int64_t(bitmap.Width()) * bitmap.Height(), TIETiffLimits().MaxPixels) << entry.path();
        }
}
