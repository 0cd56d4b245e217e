#include <gtest/gtest.h>

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

// Gives every metadata holder some content.
void Fill(TIOParams& p) {
    p.FileName = "/tmp/a.jpg";
    p.FileType = 3;
    p.JPEG_Quality = 55;
    p.JPEG_MarkerList.AddMarker(0xE1, "Exif\0\0", 6);
    p.JPEG_MarkerList.AddMarker(0xED, "Photoshop", 9);
    p.JPEG_MarkerList.AddMarker(0xFE, "comment", 7);
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

void ExpectEXIFEmpty(const TIOParams& p) {
    EXPECT_FALSE(p.EXIF_HasEXIFData);
    EXPECT_EQ(p.EXIF_Orientation, 0);
    EXPECT_EQ(p.EXIF_Make, "");
    EXPECT_EQ(p.EXIF_XResolution, 0);
    EXPECT_EQ(p.EXIF_ISOSpeedRatings[0], 0);
    EXPECT_EQ(p.EXIF_GPSLatitudeRef, "");
    EXPECT_TRUE(p.EXIF_Tags.empty());
    EXPECT_EQ(p.EXIF_Bitmap.Get(), nullptr);
    // The fields for which 0 is a legal value.
    EXPECT_EQ(p.EXIF_YCbCrPositioning, -1);
    EXPECT_EQ(p.EXIF_ExposureProgram, -1);
    EXPECT_EQ(p.EXIF_ColorSpace, -1);
    EXPECT_EQ(p.EXIF_FocalPlaneResolutionUnit, -1);
    EXPECT_EQ(p.EXIF_XPRating, -1);
    EXPECT_EQ(p.EXIF_ExposureMode, -1);
    EXPECT_EQ(p.EXIF_WhiteBalance, -1);
}

} // namespace

TEST(TIOParams, FreshObjectDefaults) {
    TIOParams p;
    EXPECT_EQ(p.FileName, "");
    EXPECT_EQ(p.FileType, 0);
    EXPECT_EQ(p.BitsPerSample, 8);
    EXPECT_EQ(p.SamplesPerPixel, 3);
    EXPECT_EQ(p.DpiX, 300);
    EXPECT_EQ(p.DpiY, 300);
    EXPECT_TRUE(p.GetMetaData);
    EXPECT_FALSE(p.GetThumbnail);
    EXPECT_EQ(p.JPEG_Quality, 80);
    EXPECT_EQ(p.JPEG_ColorSpace, ioJPEG_YCbCr);
    EXPECT_EQ(p.JPEG_DCTMethod, ioJPEG_ISLOW);
    EXPECT_EQ(p.JPEG_CromaSubsampling, ioJPEG_HIGH);
    EXPECT_EQ(p.JPEG_Scale, ioJPEG_FULLSIZE);
    EXPECT_EQ(p.JPEG_ScaleUsed, 1);
    EXPECT_EQ(p.JPEG_MarkerList.Count(), 0);
    EXPECT_EQ(p.IPTC_Info.Count(), 0);
    ExpectEXIFEmpty(p);
}

TEST(TIOParams, DefaultsAreReadWhenTheObjectIsMade) {
    TSettingsGuard guard;
    TIOParams before;
    IEGlobalSettings().IOParamDefaults().JPEG_Quality = 93;
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = true;
    IEGlobalSettings().IOParamDefaults().JPEG_Scale = ioJPEG_HALF;
    IEGlobalSettings().IOParamDefaults().RAW_UseCameraWB = true;
    IEGlobalSettings().SetDefaultDpiX(96);
    IEGlobalSettings().SetDefaultDpiY(72);
    TIOParams after;

    EXPECT_EQ(before.JPEG_Quality, 80);
    EXPECT_FALSE(before.EnableAdjustOrientation);
    EXPECT_FALSE(before.JPEG_EnableAdjustOrientation);
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

TEST(TIOParams, SetDefaultParamsEmptiesEverything) {
    TIOParams p;
    Fill(p);
    p.JPEG_Progressive = true;
    p.RAW_AutoAdjustColors = true;
    p.SetDefaultParams();
    EXPECT_EQ(p.FileName, "");
    EXPECT_EQ(p.JPEG_Quality, 80);
    EXPECT_FALSE(p.JPEG_Progressive);
    EXPECT_FALSE(p.RAW_AutoAdjustColors);
    EXPECT_EQ(p.JPEG_MarkerList.Count(), 0);
    EXPECT_EQ(p.IPTC_Info.Count(), 0);
    EXPECT_EQ(p.XMP_Info, "");
    ExpectEXIFEmpty(p);
}

TEST(TIOParams, ResetEXIFLeavesOtherFamiliesAlone) {
    TIOParams p;
    Fill(p);
    p.ResetEXIF();
    ExpectEXIFEmpty(p);
    EXPECT_EQ(p.FileName, "/tmp/a.jpg");
    EXPECT_EQ(p.JPEG_Quality, 55);
    EXPECT_EQ(p.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(p.IPTC_Info.Count(), 1);
    EXPECT_EQ(p.XMP_Info, "<x:xmpmeta/>");
}

TEST(TIOParams, ResetInfoZeroMeansAll) {
    TIOParams zero, all;
    Fill(zero);
    Fill(all);
    zero.ResetInfo(0);
    all.ResetInfo(511);
    for (const TIOParams* p : {&zero, &all}) {
        ExpectEXIFEmpty(*p);
        EXPECT_EQ(p->JPEG_MarkerList.Count(), 0);
        EXPECT_EQ(p->IPTC_Info.Count(), 0);
        EXPECT_FALSE(p->IPTC_Info.UserChanged());
        EXPECT_EQ(p->XMP_Info, "");
        // Not metadata: what the load is about to fill in or was asked for.
        EXPECT_EQ(p->FileName, "/tmp/a.jpg");
        EXPECT_EQ(p->JPEG_Quality, 55);
    }
}

TEST(TIOParams, ResetInfoSingleFlags) {
    TIOParams exif;
    Fill(exif);
    exif.ResetInfo(4);
    ExpectEXIFEmpty(exif);
    EXPECT_EQ(exif.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(exif.IPTC_Info.Count(), 1);

    TIOParams markers;
    Fill(markers);
    markers.JPEG_KeptMarkers = {0xFE};
    markers.ResetInfo(8 | 32);
    EXPECT_EQ(markers.JPEG_MarkerList.Count(), 0);
    EXPECT_TRUE(markers.EXIF_HasEXIFData);

    TIOParams kept;
    Fill(kept);
    kept.JPEG_KeptMarkers = {0xFE};
    kept.ResetInfo(32);
    ASSERT_EQ(kept.JPEG_MarkerList.Count(), 1);
    EXPECT_EQ(kept.JPEG_MarkerList.GetMarkerType(0), 0xFE);

    TIOParams iptc;
    Fill(iptc);
    iptc.ResetInfo(16);
    EXPECT_EQ(iptc.IPTC_Info.Count(), 0);
    EXPECT_EQ(iptc.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(iptc.XMP_Info, "<x:xmpmeta/>");

    TIOParams xmp;
    Fill(xmp);
    xmp.ResetInfo(64);
    EXPECT_EQ(xmp.XMP_Info, "");
    EXPECT_EQ(xmp.IPTC_Info.Count(), 1);

    // The heavy blocks only: the thumbnail goes, the EXIF fields stay.
    TIOParams heavy;
    Fill(heavy);
    heavy.ResetInfo(256);
    EXPECT_EQ(heavy.EXIF_Bitmap.Get(), nullptr);
    EXPECT_EQ(heavy.EXIF_Make, "Camera");
    EXPECT_EQ(heavy.JPEG_MarkerList.Count(), 3);
}

TEST(TIOParams, AssignCopiesDeeply) {
    TIOParams source, target;
    Fill(source);
    target.Assign(source);
    EXPECT_EQ(target.FileName, "/tmp/a.jpg");
    EXPECT_EQ(target.JPEG_Quality, 55);
    EXPECT_EQ(target.EXIF_Make, "Camera");
    EXPECT_EQ(target.EXIF_ExposureMode, 0);
    EXPECT_EQ(target.EXIF_Tags, std::vector<int32_t>{41986});
    EXPECT_EQ(target.XMP_Info, "<x:xmpmeta/>");
    ASSERT_EQ(target.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(target.JPEG_MarkerList.GetMarkerData(2),
              std::vector<uint8_t>({'c', 'o', 'm', 'm', 'e', 'n', 't'}));
    ASSERT_EQ(target.IPTC_Info.Count(), 1);
    EXPECT_EQ(target.IPTC_Info.GetStringItem(0), "caption");

    // The thumbnail is a picture of its own.
    ASSERT_NE(target.EXIF_Bitmap.Get(), nullptr);
    EXPECT_NE(target.EXIF_Bitmap.Get(), source.EXIF_Bitmap.Get());
    EXPECT_EQ(target.EXIF_Bitmap.Get()->Width(), 4);
    EXPECT_EQ(target.EXIF_Bitmap.Get()->Height(), 3);
    EXPECT_EQ(target.EXIF_Bitmap.Get()->PixelFormat(), ie24RGB);

    // Later changes of the source don't reach the copy.
    source.JPEG_MarkerList.Clear();
    source.IPTC_Info.Clear();
    source.EXIF_Bitmap.Free();
    EXPECT_EQ(target.JPEG_MarkerList.Count(), 3);
    EXPECT_EQ(target.IPTC_Info.Count(), 1);
    EXPECT_NE(target.EXIF_Bitmap.Get(), nullptr);

    // A source without a thumbnail frees the target's.
    target.Assign(source);
    EXPECT_EQ(target.EXIF_Bitmap.Get(), nullptr);
    target.Assign(target);
    EXPECT_EQ(target.FileName, "/tmp/a.jpg");
}

TEST(TIOParams, UpdateBitDepthFromPixelFormat) {
    TIOParams p;
    p.UpdateBitDepth(ie1g);
    EXPECT_EQ(p.BitsPerSample, 1);
    EXPECT_EQ(p.SamplesPerPixel, 1);
    EXPECT_EQ(p.JPEG_ColorSpace, ioJPEG_GRAYLEV);
    p.UpdateBitDepth(ie24RGB);
    EXPECT_EQ(p.BitsPerSample, 8);
    EXPECT_EQ(p.SamplesPerPixel, 3);
    EXPECT_EQ(p.JPEG_ColorSpace, ioJPEG_YCbCr);
    p.UpdateBitDepth(ie8g);
    EXPECT_EQ(p.BitsPerSample, 8);
    EXPECT_EQ(p.SamplesPerPixel, 1);
    EXPECT_EQ(p.JPEG_ColorSpace, ioJPEG_GRAYLEV);
    p.UpdateBitDepth(ieCMYK);
    EXPECT_EQ(p.SamplesPerPixel, 4);
    EXPECT_EQ(p.JPEG_ColorSpace, ioJPEG_CMYK);
}
