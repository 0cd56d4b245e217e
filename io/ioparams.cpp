#include "io/ioparams.h"

#include "image/bitmap.h"

namespace {

constexpr uint16_t kResetAll = 511;
constexpr uint16_t kResetEXIF = 4;
constexpr uint16_t kResetAllMarkers = 8;
constexpr uint16_t kResetIPTC = 16;
constexpr uint16_t kResetUnkeptMarkers = 32;
constexpr uint16_t kResetXMP = 64;
constexpr uint16_t kResetTextLists = 128;
constexpr uint16_t kResetHeavy = 256;
// Flag 1 (annotations), 2 (DICOM) and the PXM part of 128 name holders that join with
// their formats.

} // namespace

TIEParamsBitmap::TIEParamsBitmap() = default;
TIEParamsBitmap::~TIEParamsBitmap() = default;
TIEParamsBitmap::TIEParamsBitmap(TIEParamsBitmap&& Source) noexcept = default;
TIEParamsBitmap& TIEParamsBitmap::operator=(TIEParamsBitmap&& Source) noexcept = default;

TIEParamsBitmap::TIEParamsBitmap(const TIEParamsBitmap& Source) {
    *this = Source;
}

TIEParamsBitmap& TIEParamsBitmap::operator=(const TIEParamsBitmap& Source) {
    if (&Source == this) return *this;
    if (!Source.fBitmap) {
        fBitmap.reset();
        return *this;
    }
    Create().Assign(*Source.fBitmap);
    return *this;
}

TIEBitmap& TIEParamsBitmap::Create() {
    if (!fBitmap) fBitmap = std::make_unique<TIEBitmap>();
    return *fBitmap;
}

void TIEParamsBitmap::Free() {
    fBitmap.reset();
}

void TIOParams::SetDefaultParams() {
    // Defaults are read now: a later change of the process-wide defaults reaches only
    // objects made after it.
    TIEGlobalSettings& settings = IEGlobalSettings();
    const TIOParamDefaults& defaults = settings.IOParamDefaults();

    static_cast<TIOParamsGeneral&>(*this) = TIOParamsGeneral{};
    static_cast<TIOParamsJPEG&>(*this) = TIOParamsJPEG{};
    static_cast<TIOParamsEXIF&>(*this) = TIOParamsEXIF{};
    static_cast<TIOParamsMetadata&>(*this) = TIOParamsMetadata{};
    static_cast<TIOParamsTIFF&>(*this) = TIOParamsTIFF{};
    static_cast<TIOParamsPNG&>(*this) = TIOParamsPNG{};
    static_cast<TIOParamsRAW&>(*this) = TIOParamsRAW{};

    DpiX = settings.DefaultDpiX();
    DpiY = settings.DefaultDpiY();
    EnableAdjustOrientation = defaults.EnableAdjustOrientation;
    JPEG_Quality = defaults.JPEG_Quality;
    JPEG_DCTMethod = defaults.JPEG_DCTMethod;
    JPEG_Scale = defaults.JPEG_Scale;
    JPEG_EnableAdjustOrientation = defaults.EnableAdjustOrientation;
    TIFF_EnableAdjustOrientation = defaults.EnableAdjustOrientation;
    RAW_AutoAdjustColors = defaults.RAW_AutoAdjustColors;
    RAW_UseCameraWB = defaults.RAW_UseCameraWB;
}

void TIOParams::ResetInfo(uint16_t Flags) {
    if (Flags == 0) Flags = kResetAll;
    if (Flags & kResetEXIF) ResetEXIF();
    if (Flags & kResetAllMarkers)
        JPEG_MarkerList.Clear();
    else if (Flags & kResetUnkeptMarkers)
        JPEG_MarkerList.ClearExcept(JPEG_KeptMarkers);
    // A fresh list, not Clear: emptying for a new load is not a change by the user.
    if (Flags & kResetIPTC) IPTC_Info = TIEIPTCInfoList{};
    if (Flags & kResetXMP) XMP_Info.clear();
    if (Flags & kResetTextLists) {
        PNG_TextKeys.clear();
        PNG_TextValues.clear();
        PNG_Chunks.clear();
    }
    if (Flags & kResetHeavy) EXIF_Bitmap.Free();
}

void TIOParams::ResetEXIF() {
    static_cast<TIOParamsEXIF&>(*this) = TIOParamsEXIF{};
}

void TIOParams::Assign(const TIOParams& Source) {
    if (&Source == this) return;
    static_cast<TIOParamsGeneral&>(*this) = Source;
    static_cast<TIOParamsJPEG&>(*this) = Source;
    static_cast<TIOParamsEXIF&>(*this) = Source;
    static_cast<TIOParamsMetadata&>(*this) = Source;
    static_cast<TIOParamsTIFF&>(*this) = Source;
    static_cast<TIOParamsPNG&>(*this) = Source;
    static_cast<TIOParamsRAW&>(*this) = Source;
}

void TIOParams::AssignCompressionInfo(const TIOParams& Source) {
    BitsPerSample = Source.BitsPerSample;
    SamplesPerPixel = Source.SamplesPerPixel;
    JPEG_ColorSpace = Source.JPEG_ColorSpace;
    JPEG_Quality = Source.JPEG_Quality;
    JPEG_DCTMethod = Source.JPEG_DCTMethod;
    JPEG_CromaSubsampling = Source.JPEG_CromaSubsampling;
    JPEG_OptimalHuffman = Source.JPEG_OptimalHuffman;
    JPEG_Smooth = Source.JPEG_Smooth;
    JPEG_Progressive = Source.JPEG_Progressive;
}

void TIOParams::UpdateBitDepth(TIEPixelFormat PixelFormat) {
    switch (PixelFormat) {
    case ie1g:
        BitsPerSample = 1;
        SamplesPerPixel = 1;
        JPEG_ColorSpace = ioJPEG_GRAYLEV;
        break;
    case ie8g:
        BitsPerSample = 8;
        SamplesPerPixel = 1;
        JPEG_ColorSpace = ioJPEG_GRAYLEV;
        break;
    case ie16g:
        BitsPerSample = 16;
        SamplesPerPixel = 1;
        JPEG_ColorSpace = ioJPEG_GRAYLEV;
        break;
    case ie8p:
        // A palette picture is written as colour.
        BitsPerSample = 8;
        SamplesPerPixel = 1;
        JPEG_ColorSpace = ioJPEG_YCbCr;
        break;
    case ie24RGB:
        BitsPerSample = 8;
        SamplesPerPixel = 3;
        JPEG_ColorSpace = ioJPEG_YCbCr;
        break;
    case ie32RGB:
        BitsPerSample = 8;
        SamplesPerPixel = 4;
        JPEG_ColorSpace = ioJPEG_YCbCr;
        break;
    case ie48RGB:
        BitsPerSample = 16;
        SamplesPerPixel = 3;
        JPEG_ColorSpace = ioJPEG_YCbCr;
        break;
    case ieCMYK:
        BitsPerSample = 8;
        SamplesPerPixel = 4;
        JPEG_ColorSpace = ioJPEG_CMYK;
        break;
    case ieCIELab:
        BitsPerSample = 8;
        SamplesPerPixel = 3;
        break;
    case ie32f:
        BitsPerSample = 32;
        SamplesPerPixel = 1;
        JPEG_ColorSpace = ioJPEG_GRAYLEV;
        break;
    case ieNull:
        break;
    }
}

bool IEIsValidDensity(double Dpi) {
    // The comparisons are false for NaN as well.
    return Dpi >= 1 && Dpi < 65536;
}
