#include <gtest/gtest.h>

#include <functional>

#include "image/bitmap.h"
#include "io/ioparams.h"

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

} // namespace

TEST(TIOParams, DefaultsAreReadWhenTheObjectIsMade) {
    TIOParamDefaults& defaults = IEGlobalSettings().IOParamDefaults();
    const TIOParamDefaults saved = defaults;
    const int32_t savedDpi = IEGlobalSettings().DefaultDpiX();
    TIOParams before;
    EXPECT_TRUE(EXIFEmpty(before));
    EXPECT_EQ(before.JPEG_MarkerList.Count() + before.IPTC_Info.Count(), 0);
    EXPECT_EQ(before.JPEG_Quality, 80);
    EXPECT_FALSE(before.JPEG_EnableAdjustOrientation);
    EXPECT_EQ(before.JPEG_Scale, ioJPEG_FULLSIZE);
    EXPECT_EQ(before.DpiX, 300);

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
        {"ResetEXIF", [](TIOParams& p) { p.ResetEXIF(); }, false, false, 3, true, true, true},
        // 0 means all; markers named by JPEG_KeptMarkers survive only flag 32 alone.
        {"0", [](TIOParams& p) { p.ResetInfo(0); }, false, false, 0, false, false, true},
        {"511", [](TIOParams& p) { p.ResetInfo(511); }, false, false, 0, false, false, true},
        {"4", [](TIOParams& p) { p.ResetInfo(4); }, false, false, 3, true, true, true},
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
