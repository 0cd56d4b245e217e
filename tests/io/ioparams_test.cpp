#include <gtest/gtest.h>

#include <functional>

#include "image/bitmap.h"
#include "io/ioparams.h"

namespace {

// Restores the process-wide defaults a test changes.
class TSettingsGuard {
  public:
    TSettingsGuard()
        : fDefaults(IEGlobalSettings().IOParamDefaults()), fDpiX(IEGlobalSettings().DefaultDpiX()),
          fDpiY(IEGlobalSettings().DefaultDpiY()) {}
    ~TSettingsGuard() {
        IEGlobalSettings().IOParamDefaults() = fDefaults;
        IEGlobalSettings().SetDefaultDpiX(fDpiX);
        IEGlobalSettings().SetDefaultDpiY(fDpiY);
    }

  private:
    TIOParamDefaults fDefaults;
    int32_t fDpiX, fDpiY;
};

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
    p.EXIF_XResolution = 72;
    p.EXIF_ColorSpace = 1;
    p.EXIF_ExposureMode = 0;
    p.EXIF_ISOSpeedRatings = {100, 0};
    p.EXIF_GPSLatitudeRef = "N";
    p.EXIF_Tags = {41986};
    p.EXIF_Bitmap.Create().Allocate(4, 3, ie24RGB);
}

void ExpectEXIFEmpty(const TIOParams& p, const std::string& Name) {
    EXPECT_FALSE(p.EXIF_HasEXIFData) << Name;
    EXPECT_EQ(p.EXIF_Orientation, 0) << Name;
    EXPECT_EQ(p.EXIF_Make, "") << Name;
    EXPECT_EQ(p.EXIF_XResolution, 0) << Name;
    EXPECT_EQ(p.EXIF_ISOSpeedRatings[0], 0) << Name;
    EXPECT_EQ(p.EXIF_GPSLatitudeRef, "") << Name;
    EXPECT_TRUE(p.EXIF_Tags.empty()) << Name;
    EXPECT_EQ(p.EXIF_Bitmap.Get(), nullptr) << Name;
    // The fields for which 0 is a legal value are unset at -1.
    for (int32_t field :
         {p.EXIF_YCbCrPositioning, p.EXIF_ExposureProgram, p.EXIF_ColorSpace, p.EXIF_FocalPlaneResolutionUnit,
          p.EXIF_XPRating, p.EXIF_ExposureMode, p.EXIF_WhiteBalance})
        EXPECT_EQ(field, -1) << Name;
}

} // namespace

TEST(TIOParams, DefaultsAreReadWhenTheObjectIsMade) {
    TSettingsGuard guard;
    TIOParams before;
    ExpectEXIFEmpty(before, "fresh");
    EXPECT_EQ(before.JPEG_MarkerList.Count() + before.IPTC_Info.Count(), 0);
    IEGlobalSettings().IOParamDefaults().JPEG_Quality = 93;
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = true;
    IEGlobalSettings().IOParamDefaults().JPEG_Scale = ioJPEG_HALF;
    IEGlobalSettings().IOParamDefaults().RAW_UseCameraWB = true;
    IEGlobalSettings().SetDefaultDpiX(96);
    IEGlobalSettings().SetDefaultDpiY(72);
    TIOParams after;

    EXPECT_EQ(before.JPEG_Quality, 80);
    EXPECT_FALSE(before.JPEG_EnableAdjustOrientation);
    EXPECT_EQ(before.JPEG_Scale, ioJPEG_FULLSIZE);
    EXPECT_EQ(before.DpiX, 300);

    EXPECT_EQ(after.JPEG_Quality, 93);
    EXPECT_TRUE(after.EnableAdjustOrientation);
    EXPECT_TRUE(after.JPEG_EnableAdjustOrientation);
    EXPECT_EQ(after.JPEG_Scale, ioJPEG_HALF);
    EXPECT_TRUE(after.RAW_UseCameraWB);
    EXPECT_FALSE(after.RAW_AutoAdjustColors);
    EXPECT_EQ(after.DpiX, 96);
    EXPECT_EQ(after.DpiY, 72);

    // An owner that starts over takes the defaults as they are then.
    before.SetDefaultParams();
    EXPECT_EQ(before.JPEG_Quality, 93);
}

TEST(TIOParams, EachResetEmptiesItsFamiliesOnly) {
    struct TCase {
        const char* Name;
        std::function<void(TIOParams&)> Reset;
        bool ExifKept, ThumbnailKept;
        int32_t MarkersKept;
        bool IptcKept, XmpKept, FileKept;
    };
    const TCase cases[] = {
        {"SetDefaultParams", [](TIOParams& p) { p.SetDefaultParams(); }, false, false, 0, false, false,
         false},
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
    for (const TCase& test : cases) {
        TIOParams p;
        Fill(p);
        test.Reset(p);
        if (test.ExifKept) {
            EXPECT_EQ(p.EXIF_Make, "Camera") << test.Name;
            EXPECT_EQ(p.EXIF_ExposureMode, 0) << test.Name;
        } else {
            ExpectEXIFEmpty(p, test.Name);
        }
        EXPECT_EQ(p.EXIF_Bitmap.Get() != nullptr, test.ThumbnailKept) << test.Name;
        EXPECT_EQ(p.JPEG_MarkerList.Count(), test.MarkersKept) << test.Name;
        if (test.MarkersKept == 1) {
            EXPECT_EQ(p.JPEG_MarkerList.GetMarkerType(0), 0xFE);
        }
        EXPECT_EQ(p.IPTC_Info.Count(), test.IptcKept ? 1 : 0) << test.Name;
        if (!test.IptcKept) {
            EXPECT_FALSE(p.IPTC_Info.UserChanged()) << test.Name;
        }
        EXPECT_EQ(p.XMP_Info, test.XmpKept ? "<x:xmpmeta/>" : "") << test.Name;
        // Not metadata: what the load is about to fill in or was asked for.
        EXPECT_EQ(p.FileName, test.FileKept ? "/tmp/a.jpg" : "") << test.Name;
        EXPECT_EQ(p.JPEG_Quality, test.FileKept ? 55 : 80) << test.Name;
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
    ASSERT_EQ(target.IPTC_Info.Count(), 1);
    EXPECT_EQ(target.IPTC_Info.GetStringItem(0), "caption");
    // A source without a thumbnail frees the target's; assigning to itself changes nothing.
    target.Assign(source);
    EXPECT_EQ(target.EXIF_Bitmap.Get(), nullptr);
    target.Assign(target);
    EXPECT_EQ(target.FileName, "/tmp/a.jpg");
}

TEST(TIOParams, UpdateBitDepthFromPixelFormat) {
    const struct {
        TIEPixelFormat Format;
        int32_t Bits, Samples;
        TIOJPEGColorspace Space;
    } cases[] = {
        {ie1g, 1, 1, ioJPEG_GRAYLEV},
        {ie24RGB, 8, 3, ioJPEG_YCbCr},
        {ie8g, 8, 1, ioJPEG_GRAYLEV},
        {ieCMYK, 8, 4, ioJPEG_CMYK},
    };
    TIOParams p;
    for (const auto& test : cases) {
        p.UpdateBitDepth(test.Format);
        EXPECT_EQ(p.BitsPerSample, test.Bits) << test.Format;
        EXPECT_EQ(p.SamplesPerPixel, test.Samples) << test.Format;
        EXPECT_EQ(p.JPEG_ColorSpace, test.Space) << test.Format;
    }
}
