#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <string>
#include <vector>

#include "io/exif.h"
#include "io/metadata.h"
#include "tests/io/jpegtestutil.h"

namespace {

// Gives every metadata holder some content; the comment marker is the one kept.
void Fill(TIOParams& p) {
    p.FileName = "/tmp/a.jpg";
    p.JPEG_Quality = 55;
    p.JPEG_MarkerList.AddMarker(0xE1, "Exif\0\0", 6);
    p.JPEG_MarkerList.AddMarker(0xED, "Photoshop", 9);
    p.JPEG_MarkerList.AddMarker(0xFE, "comment", 7);
    p.JPEG_KeptMarkers = {0xFE};
    p.IPTC_Info.AddStringItem(2, 120, "caption");
    p.XMP_Info = "<x:xmpmeta/>";
    p.EXIF_HasEXIFData = true;
    p.EXIF_Orientation = 6;
    p.EXIF_Make = "Camera";
    p.EXIF_ColorSpace = 1;
    p.EXIF_ExposureMode = 0;
    p.EXIF_Tags = {41986};
    p.EXIF_Bitmap.Create().Allocate(4, 3, ie24RGB);
}

// Empty EXIF fields; those for which 0 is a legal value are unset at -1.
bool EXIFEmpty(const TIOParams& p) {
    return !p.EXIF_HasEXIFData && p.EXIF_Orientation == 0 && p.EXIF_Make.empty() && p.EXIF_Tags.empty() &&
           p.EXIF_Bitmap.Get() == nullptr && p.EXIF_YCbCrPositioning == -1 && p.EXIF_ExposureProgram == -1 &&
           p.EXIF_ColorSpace == -1 && p.EXIF_FocalPlaneResolutionUnit == -1 && p.EXIF_XPRating == -1 &&
           p.EXIF_ExposureMode == -1 && p.EXIF_WhiteBalance == -1;
}

// The list as "type:payload" items.
std::vector<std::string> Items(const TIEMarkerList& List) {
    std::vector<std::string> items;
    for (int32_t i = 0; i < List.Count(); ++i) {
        const std::vector<uint8_t>& data = List.GetMarkerData(i);
        items.push_back(std::to_string(List.GetMarkerType(i)) + ":" + std::string(data.begin(), data.end()));
    }
    return items;
}

void Add(TIEMarkerList& List, uint8_t Type, const std::string& Text) {
    List.AddMarker(Type, Text.data(), uint16_t(Text.size()));
}

} // namespace

TEST(TIOParams, DefaultsAreReadWhenTheObjectIsMade) {
    TIOParamDefaults& defaults = IEGlobalSettings().IOParamDefaults();
    const TIOParamDefaults saved = defaults;
    const int32_t savedDpi = IEGlobalSettings().DefaultDpiX();
    TIOParams before;
    EXPECT_TRUE(EXIFEmpty(before));
    EXPECT_EQ(before.JPEG_Quality, 80);

    defaults.JPEG_Quality = 93;
    defaults.EnableAdjustOrientation = true;
    defaults.JPEG_Scale = ioJPEG_HALF;
    IEGlobalSettings().SetDefaultDpiX(96);
    TIOParams after;
    EXPECT_EQ(after.JPEG_Quality, 93);
    EXPECT_TRUE(after.EnableAdjustOrientation && after.JPEG_EnableAdjustOrientation);
    EXPECT_EQ(after.JPEG_Scale, ioJPEG_HALF);
    EXPECT_EQ(after.DpiX, 96);
    EXPECT_EQ(after.DpiY, 300);
    // An owner that starts over takes the defaults as they are then.
    before.SetDefaultParams();
    EXPECT_EQ(before.JPEG_Quality, 93);
    defaults = saved;
    IEGlobalSettings().SetDefaultDpiX(savedDpi);
}

TEST(TIOParams, EachResetEmptiesItsFamiliesOnly) {
    // clang-format off
    const struct { const char* Name; std::function<void(TIOParams&)> Reset; bool Exif, Thumbnail; int32_t Markers;
                   bool Iptc, Xmp, File; } cases[] = {
        {"SetDefaultParams", [](TIOParams& p) { p.SetDefaultParams(); }, false, false, 0, false, false, false},
        // 0 means all; markers named by JPEG_KeptMarkers survive only flag 32 alone.
        {"0", [](TIOParams& p) { p.ResetInfo(0); }, false, false, 0, false, false, true},
        {"4: ResetEXIF", [](TIOParams& p) { p.ResetInfo(4); }, false, false, 3, true, true, true},
        {"8|32", [](TIOParams& p) { p.ResetInfo(8 | 32); }, true, true, 0, true, true, true},
        {"32", [](TIOParams& p) { p.ResetInfo(32); }, true, true, 1, true, true, true},
        {"16", [](TIOParams& p) { p.ResetInfo(16); }, true, true, 3, false, true, true},
        {"64", [](TIOParams& p) { p.ResetInfo(64); }, true, true, 3, true, false, true},
        // The heavy blocks only: the thumbnail goes, the EXIF fields stay.
        {"256", [](TIOParams& p) { p.ResetInfo(256); }, true, false, 3, true, true, true},
    };
    // clang-format on
    for (const auto& test : cases) {
        TIOParams p;
        Fill(p);
        test.Reset(p);
        EXPECT_EQ(EXIFEmpty(p), !test.Exif) << test.Name;
        EXPECT_EQ(p.EXIF_Make == "Camera" && p.EXIF_ExposureMode == 0, test.Exif) << test.Name;
        EXPECT_EQ(p.EXIF_Bitmap.Get() != nullptr, test.Thumbnail) << test.Name;
        EXPECT_EQ(p.JPEG_MarkerList.Count(), test.Markers) << test.Name;
        EXPECT_EQ(test.Markers == 1 ? p.JPEG_MarkerList.GetMarkerType(0) : 0xFE, 0xFE) << test.Name;
        EXPECT_EQ(p.IPTC_Info.Count(), test.Iptc ? 1 : 0) << test.Name;
        // Emptied for a new load, which is no change by the user.
        EXPECT_EQ(p.IPTC_Info.UserChanged(), test.Iptc) << test.Name;
        EXPECT_EQ(p.XMP_Info, test.Xmp ? "<x:xmpmeta/>" : "") << test.Name;
        // Not metadata: what the load is about to fill in or was asked for.
        EXPECT_EQ(p.FileName, test.File ? "/tmp/a.jpg" : "") << test.Name;
        EXPECT_EQ(p.JPEG_Quality, test.File ? 55 : 80) << test.Name;
    }
}

TEST(TIOParams, AssignCopiesDeeply) {
    TIOParams source, target;
    Fill(source);
    target.Assign(source);
    EXPECT_EQ(target.EXIF_Make, "Camera");
    EXPECT_EQ(target.JPEG_Quality, 55);
    // The thumbnail is a picture of its own; later changes of the source don't reach the copy.
    ASSERT_NE(target.EXIF_Bitmap.Get(), nullptr);
    EXPECT_NE(target.EXIF_Bitmap.Get(), source.EXIF_Bitmap.Get());
    EXPECT_EQ(target.EXIF_Bitmap.Get()->Width(), 4);
    source.JPEG_MarkerList.Clear();
    source.IPTC_Info.Clear();
    source.EXIF_Bitmap.Free();
    ASSERT_EQ(target.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(target.JPEG_MarkerList.GetMarkerData(2),
              std::vector<uint8_t>({'c', 'o', 'm', 'm', 'e', 'n', 't'}));
    EXPECT_EQ(target.IPTC_Info.GetStringItem(0), "caption");
    // A source without a thumbnail frees the target's; assigning to itself changes nothing.
    target.Assign(source);
    EXPECT_EQ(target.EXIF_Bitmap.Get(), nullptr);
    target.Assign(target);
    EXPECT_EQ(target.FileName, "/tmp/a.jpg");
}

TEST(TIEMarkerList, EditingOperationsAndSorting) {
    TIEMarkerList list;
    Add(list, 0xE0, "JFIF");
    Add(list, 0xFE, "first");
    Add(list, 0xFE, "second");
    list.InsertMarker(0, 0xED, "ps", 2);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"237:ps", "224:JFIF", "254:first", "254:second"}));
    EXPECT_EQ(list.IndexOf(0xFE), 2);
    EXPECT_EQ(list.IndexOf(0xE2), -1);
    EXPECT_EQ(list.GetMarkerLength(3), 6);
    list.SetMarker(1, 0xE1, "Exif", 4);
    list.DeleteMarkerInstances(0xFE);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"237:ps", "225:Exif"}));
    list.DeleteMarker(0);
    EXPECT_THROW(list.DeleteMarker(5), std::out_of_range);
    EXPECT_THROW(list.GetMarkerData(1), std::out_of_range);
    Add(list, 0xFE, "c");
    Add(list, 0xEE, "Adobe");
    const uint8_t kept[] = {0xFE, 0xEE};
    list.ClearExcept(kept);
    EXPECT_EQ(Items(list), (std::vector<std::string>{"254:c", "238:Adobe"}));

    // By code, ICC_PROFILE chunks by their number (after the 12-byte name, then the total).
    const auto icc = [](char Number) { return std::string("ICC_PROFILE\0", 12) + Number + "\3abc"; };
    list.Clear();
    Add(list, 0xFE, "comment");
    Add(list, 0xE2, icc(3));
    Add(list, 0xE1, "http://ns.adobe.com/xap/1.0/");
    Add(list, 0xE2, icc(1));
    Add(list, 0xED, "Photoshop 3.0");
    Add(list, 0xE2, icc(2));
    Add(list, 0xE1, "Exif");
    list.Sort();
    // The EXIF block is swapped ahead of the XMP block.
    EXPECT_EQ(Items(list), (std::vector<std::string>{"225:Exif", "225:http://ns.adobe.com/xap/1.0/",
                                                     "226:" + icc(1), "226:" + icc(2), "226:" + icc(3),
                                                     "237:Photoshop 3.0", "254:comment"}));
}

TEST(TIEIPTCInfoList, ItemsAndTheUserChangedFlag) {
    TIEIPTCInfoList list;
    EXPECT_FALSE(list.UserChanged());
    list.AddStringItem(2, 120, "caption");
    list.AddStringItem(2, 25, "keyword");
    EXPECT_TRUE(list.UserChanged());
    EXPECT_EQ(list.IndexOf(2, 25), 1);
    EXPECT_EQ(list.IndexOf(1, 25), -1);
    EXPECT_EQ(list.GetItemLength(0), 7);
    list.InsertStringItem(0, 2, 5, "title");
    EXPECT_EQ(list.GetStringItem(0), "title");
    EXPECT_EQ(list.GetDataSet(1), 120);
    // Every change counts as one by the user.
    for (const auto& change : std::vector<std::function<void()>>{
             [&] { list.SetDataSet(0, 105); }, [&] { list.DeleteItem(2); }, [&] { list.Clear(); }}) {
        list.SetUserChanged(false);
        change();
        EXPECT_TRUE(list.UserChanged());
    }
    EXPECT_EQ(list.Count(), 0);
}

TEST(ExifBlock, RecognisingReadingTheDefaultsOfAnEmptyBlockAndTheOrientationRewrittenInPlace) {
    EXPECT_TRUE(IEIsEXIFBlock({'E', 'x', 'i', 'f'}));
    EXPECT_FALSE(IEIsEXIFBlock({'E', 'x', 'i'}));
    TIOParams params;
    // "Exif" without its zero isn't read, though it counts as an EXIF block on saving.
    EXPECT_FALSE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 'X', 0}, params) || params.EXIF_HasEXIFData);
    // The header with nothing readable behind it is accepted with defaults.
    EXPECT_TRUE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 0, 0, 'x'}, params) && params.EXIF_HasEXIFData);
    EXPECT_EQ(params.EXIF_Orientation, 1);
    EXPECT_EQ(params.EXIF_XResolution, 300);
    EXPECT_EQ(params.EXIF_ResolutionUnit, 2);

    ASSERT_TRUE(IEReadEXIFBlock(ExifBlock(8), params));
    EXPECT_EQ(std::pair(params.EXIF_Orientation, params.TIFF_Orientation), std::pair(8, 8));
    // Per centimetre: turned into per inch, the unit kept.
    ASSERT_TRUE(IEReadEXIFBlock(ExifBlock(3, 100, 3), params));
    EXPECT_NEAR(params.EXIF_XResolution, 254, 1e-9);
    EXPECT_EQ(params.EXIF_ResolutionUnit, 3);
    // Big-endian, written by hand: orientation 6.
    ASSERT_TRUE(IEReadEXIFBlock({'E', 'x', 'i', 'f', 0, 0, 'M', 'M', 0, 42, 0, 0, 0, 8, 0, 1,
                                 1,   18,  0,   3,   0, 0, 0,   1,   0, 6,  0, 0, 0, 0, 0, 0},
                                params));
    EXPECT_EQ(params.EXIF_Orientation, 6);

    std::vector<uint8_t> block = ExifBlock(6, 72, 2);
    const std::vector<uint8_t> before = block;
    ASSERT_TRUE(IESetEXIFOrientation(block, 1) && block.size() == before.size());
    ASSERT_TRUE(IEReadEXIFBlock(block, params));
    EXPECT_EQ(params.EXIF_Orientation, 1);
    EXPECT_EQ(std::inner_product(block.begin(), block.end(), before.begin(), 0, std::plus<>(),
                                 std::not_equal_to<>()),
              1);
    std::vector<uint8_t> broken = {'E', 'x', 'i', 'f', 0, 0, 'I', 'I', 42, 0, 200, 0, 0, 0};
    EXPECT_FALSE(IESetEXIFOrientation(broken, 1));
}
