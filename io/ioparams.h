#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "image/ietypes.h"
#include "image/settings.h"
#include "io/metadata.h"

class TIEBitmap;

// The integer code of a file format; 0 means unknown.
using TIOFileType = int32_t;

enum TIOJPEGColorspace : int32_t { ioJPEG_RGB, ioJPEG_GRAYLEV, ioJPEG_YCbCr, ioJPEG_CMYK, ioJPEG_YCbCrK };
enum TIOJPEGCromaSubsampling : int32_t { ioJPEG_MEDIUM, ioJPEG_HIGH, ioJPEG_NONE };

// An optional picture owned by the parameters; copying the parameters copies the
// picture, and copying from a holder without one frees this one's.
class TIEParamsBitmap {
  public:
    TIEParamsBitmap();
    ~TIEParamsBitmap();
    TIEParamsBitmap(const TIEParamsBitmap& Source);
    TIEParamsBitmap& operator=(const TIEParamsBitmap& Source);
    TIEParamsBitmap(TIEParamsBitmap&& Source) noexcept;
    TIEParamsBitmap& operator=(TIEParamsBitmap&& Source) noexcept;

    // Nullptr until Create.
    TIEBitmap* Get() const { return fBitmap.get(); }
    // Made on first use, an empty bitmap.
    TIEBitmap& Create();
    void Free();

  private:
    std::unique_ptr<TIEBitmap> fBitmap;
};

// General fields: what every codec reads or fills.
struct TIOParamsGeneral {
    std::string FileName;
    TIOFileType FileType = 0;
    int32_t BitsPerSample = 8;
    int32_t SamplesPerPixel = 3;
    int32_t Width = 0, Height = 0;
    // Size in the file, before scaled decoding.
    int32_t OriginalWidth = 0, OriginalHeight = 0;
    int32_t DpiX = 300, DpiY = 300;
    bool AutoScaleImport = false;
    int32_t LoadToWidth = 0, LoadToHeight = 0;
    int32_t ImageIndex = 0, ImageCount = 0;
    bool GetThumbnail = false;
    bool GetMetaData = true;
    bool IsResource = false;
    bool EnableAdjustOrientation = false;
    bool NativePixelFormat = false;
};

struct TIOParamsJPEG {
    TIOJPEGColorspace JPEG_ColorSpace = ioJPEG_YCbCr;
    // 1 to 100. No load writes it: it keeps the value of the defaults.
    int32_t JPEG_Quality = 80;
    TIOJPEGDctMethod JPEG_DCTMethod = ioJPEG_ISLOW;
    TIOJPEGCromaSubsampling JPEG_CromaSubsampling = ioJPEG_HIGH;
    bool JPEG_OptimalHuffman = false;
    int32_t JPEG_Smooth = 0;
    bool JPEG_Progressive = false;
    TIOJPEGScale JPEG_Scale = ioJPEG_FULLSIZE;
    TIEMarkerList JPEG_MarkerList;
    // Marker codes that ResetInfo keeps when asked to spare the listed ones (flag 32).
    std::vector<uint8_t> JPEG_KeptMarkers;
    // Divisor used by the last load.
    int32_t JPEG_ScaleUsed = 1;
    int32_t JPEG_WarningTot = 0, JPEG_WarningCode = 0;
    bool JPEG_EnableAdjustOrientation = false;
    bool JPEG_GetExifThumbnail = false;
};

// EXIF fields in their empty state: numbers 0, strings empty, and -1 for the fields
// where 0 is a legal value. Rationals are held as doubles, text as UTF-8. The reader
// applies its own per-tag defaults where a tag is missing.
struct TIOParamsEXIF {
    // Optional-number tags that hold a value; the writer consults it.
    std::vector<int32_t> EXIF_Tags;
    bool EXIF_HasEXIFData = false;
    int32_t EXIF_Orientation = 0;
    // The thumbnail.
    TIEParamsBitmap EXIF_Bitmap;
    std::string EXIF_ImageDescription;
    std::string EXIF_Make;
    std::string EXIF_Model;
    double EXIF_XResolution = 0;
    double EXIF_YResolution = 0;
    int32_t EXIF_ResolutionUnit = 0;
    std::string EXIF_Software;
    std::string EXIF_Artist;
    std::string EXIF_DateTime;
    std::array<double, 2> EXIF_WhitePoint{};
    std::array<double, 6> EXIF_PrimaryChromaticities{};
    std::array<double, 3> EXIF_YCbCrCoefficients{};
    int32_t EXIF_YCbCrPositioning = -1;
    std::array<double, 6> EXIF_ReferenceBlackWhite{};
    std::string EXIF_Copyright;
    double EXIF_ExposureTime = 0;
    double EXIF_FNumber = 0;
    int32_t EXIF_ExposureProgram = -1;
    std::array<int32_t, 2> EXIF_ISOSpeedRatings{};
    std::string EXIF_ExifVersion;
    std::string EXIF_DateTimeOriginal;
    std::string EXIF_DateTimeDigitized;
    double EXIF_CompressedBitsPerPixel = 0;
    double EXIF_ShutterSpeedValue = 0;
    double EXIF_ApertureValue = 0;
    double EXIF_BrightnessValue = 0;
    double EXIF_ExposureBiasValue = 0;
    double EXIF_MaxApertureValue = 0;
    double EXIF_SubjectDistance = 0;
    int32_t EXIF_MeteringMode = 0;
    int32_t EXIF_LightSource = 0;
    int32_t EXIF_Flash = 0;
    double EXIF_FocalLength = 0;
    std::string EXIF_SubsecTime;
    std::string EXIF_SubsecTimeOriginal;
    std::string EXIF_SubsecTimeDigitized;
    std::string EXIF_FlashPixVersion;
    int32_t EXIF_ColorSpace = -1;
    int32_t EXIF_ExifImageWidth = 0;
    int32_t EXIF_ExifImageHeight = 0;
    std::string EXIF_RelatedSoundFile;
    double EXIF_FocalPlaneXResolution = 0;
    double EXIF_FocalPlaneYResolution = 0;
    int32_t EXIF_FocalPlaneResolutionUnit = -1;
    double EXIF_ExposureIndex = 0;
    int32_t EXIF_SensingMethod = 0;
    int32_t EXIF_FileSource = 0;
    int32_t EXIF_SceneType = 0;
    std::string EXIF_UserComment;
    // The eight bytes of the character code.
    std::string EXIF_UserCommentCode;
    // Raw bytes of the maker note, written back as read.
    std::vector<uint8_t> EXIF_MakerNote;
    int32_t EXIF_XPRating = -1;
    std::string EXIF_XPTitle;
    std::string EXIF_XPComment;
    std::string EXIF_XPAuthor;
    std::string EXIF_XPKeywords;
    std::string EXIF_XPSubject;
    int32_t EXIF_ExposureMode = -1;
    int32_t EXIF_WhiteBalance = -1;
    double EXIF_DigitalZoomRatio = 0;
    int32_t EXIF_FocalLengthIn35mmFilm = 0;
    int32_t EXIF_SceneCaptureType = 0;
    int32_t EXIF_GainControl = 0;
    int32_t EXIF_Contrast = 0;
    int32_t EXIF_Saturation = 0;
    int32_t EXIF_Sharpness = 0;
    int32_t EXIF_SubjectDistanceRange = 0;
    std::string EXIF_ImageUniqueID;

    std::string EXIF_GPSVersionID;
    std::string EXIF_GPSLatitudeRef;
    double EXIF_GPSLatitudeDegrees = 0;
    double EXIF_GPSLatitudeMinutes = 0;
    double EXIF_GPSLatitudeSeconds = 0;
    std::string EXIF_GPSLongitudeRef;
    double EXIF_GPSLongitudeDegrees = 0;
    double EXIF_GPSLongitudeMinutes = 0;
    double EXIF_GPSLongitudeSeconds = 0;
    // An integer, held as text.
    std::string EXIF_GPSAltitudeRef;
    double EXIF_GPSAltitude = 0;
    double EXIF_GPSTimeStampHour = 0;
    double EXIF_GPSTimeStampMinute = 0;
    double EXIF_GPSTimeStampSecond = 0;
    std::string EXIF_GPSSatellites;
    std::string EXIF_GPSStatus;
    std::string EXIF_GPSMeasureMode;
    double EXIF_GPSDOP = 0;
    std::string EXIF_GPSSpeedRef;
    double EXIF_GPSSpeed = 0;
    std::string EXIF_GPSTrackRef;
    double EXIF_GPSTrack = 0;
    std::string EXIF_GPSImgDirectionRef;
    double EXIF_GPSImgDirection = 0;
    std::string EXIF_GPSMapDatum;
    std::string EXIF_GPSDestLatitudeRef;
    double EXIF_GPSDestLatitudeDegrees = 0;
    double EXIF_GPSDestLatitudeMinutes = 0;
    double EXIF_GPSDestLatitudeSeconds = 0;
    std::string EXIF_GPSDestLongitudeRef;
    double EXIF_GPSDestLongitudeDegrees = 0;
    double EXIF_GPSDestLongitudeMinutes = 0;
    double EXIF_GPSDestLongitudeSeconds = 0;
    std::string EXIF_GPSDestBearingRef;
    double EXIF_GPSDestBearing = 0;
    std::string EXIF_GPSDestDistanceRef;
    double EXIF_GPSDestDistance = 0;
    std::string EXIF_GPSDateStamp;

    std::string EXIF_InteropIndex;
    std::string EXIF_InteropVersion;
    std::string EXIF_CameraOwnerName;
    std::string EXIF_BodySerialNumber;
    std::string EXIF_LensMake;
    std::string EXIF_LensModel;
    std::string EXIF_LensSerialNumber;
    double EXIF_Gamma = 0;
    std::array<int32_t, 4> EXIF_SubjectArea{};
    int32_t EXIF_SubjectLocationX = 0;
    int32_t EXIF_SubjectLocationY = 0;
};

// Metadata blocks that travel with the picture besides EXIF.
struct TIOParamsMetadata {
    TIEIPTCInfoList IPTC_Info;
    // The XMP packet as found, not parsed.
    std::string XMP_Info;
};

enum TIOTIFFCompression : int32_t {
    ioTIFF_UNCOMPRESSED,
    ioTIFF_CCITT1D,
    ioTIFF_G3FAX1D,
    ioTIFF_G3FAX2D,
    ioTIFF_G4FAX,
    ioTIFF_LZW,
    ioTIFF_OLDJPEG,
    ioTIFF_JPEG,
    ioTIFF_DEFLATE,
    ioTIFF_PACKBITS,
    ioTIFF_ZIP,
    ioTIFF_UNKNOWN,
};

enum TIOTIFFPhotometInterpret : int32_t {
    ioTIFF_WHITEISZERO,
    ioTIFF_BLACKISZERO,
    ioTIFF_RGB,
    ioTIFF_RGBPALETTE,
    ioTIFF_TRANSPMASK,
    ioTIFF_CMYK,
    ioTIFF_YCBCR,
    ioTIFF_CIELAB,
};

enum TIOByteOrder : int32_t { ioBigEndian, ioLittleEndian };

// The TIFF family; an EXIF block is a small TIFF, so its orientation travels here too.
struct TIOParamsTIFF {
    TIOTIFFCompression TIFF_Compression = ioTIFF_UNCOMPRESSED;
    TIOTIFFPhotometInterpret TIFF_PhotometInterpret = ioTIFF_RGB;
    int32_t TIFF_PlanarConf = 1;
    // The page to load, and the entry of its SubIFDs to load instead (-1: the page).
    int32_t TIFF_ImageIndex = 0;
    int32_t TIFF_SubIndex = -1;
    // A single tile to load, -1 for the whole picture.
    int32_t TIFF_GetTile = -1;
    int32_t TIFF_Orientation = 1;
    bool TIFF_EnableAdjustOrientation = false;
    bool TIFF_BigTIFF = false;
    TIOByteOrder TIFF_ByteOrder = ioLittleEndian;
    int32_t TIFF_FillOrder = 1;
    // Floating-point grey is stretched into 0 to 1 after loading.
    bool TIFF_Normalize32fImages = true;
    int32_t TIFF_PageNumber = -1;
    int32_t TIFF_PageCount = -1;
    int32_t TIFF_NewSubfileType = 0;
    std::string TIFF_DocumentName;
    std::string TIFF_ImageDescription;
    std::string TIFF_PageName;
    int32_t TIFF_XPos = 0;
    int32_t TIFF_YPos = 0;
    std::vector<uint8_t> TIFF_PhotoshopImageResources;
    std::vector<uint8_t> TIFF_PhotoshopImageSourceData;
};

enum TIOPNGFilter : int32_t {
    ioPNG_FILTER_NONE,
    ioPNG_FILTER_SUB,
    ioPNG_FILTER_PAETH,
    ioPNG_FILTER_UP,
    ioPNG_FILTER_AVG,
    ioPNG_FILTER_ALL,
};

struct TIOParamsPNG {
    bool PNG_Interlaced = false;
    // The bKGD colour, black when the file has none.
    TRGB PNG_Background{0, 0, 0};
    TIOPNGFilter PNG_Filter = ioPNG_FILTER_NONE;
    // zlib level 0 to 9.
    int32_t PNG_Compression = 5;
    // Parallel lists of the text chunks that libpng hands over.
    std::vector<std::string> PNG_TextKeys;
    std::vector<std::string> PNG_TextValues;
    // "key=value" lines of the text chunks that the metadata scan found and did not
    // take as EXIF or XMP.
    std::vector<std::string> PNG_Chunks;
    // The palette of the last palette picture loaded, in the engine's order.
    std::vector<TRGB> ColorMap;
    // The raw bytes of an embedded ICC profile; colour management interprets them.
    std::vector<uint8_t> InputICCProfile;
};

struct TIOParamsRAW {
    bool RAW_AutoAdjustColors = false;
    bool RAW_UseCameraWB = false;
};

// Everything about a picture that isn't pixels: what a loader found and what a saver
// is to write. Fields are grouped by a prefix per format family; a codec touches its
// family and the general fields only. Plain public data, like the record it is.
class TIOParams : public TIOParamsGeneral,
                  public TIOParamsJPEG,
                  public TIOParamsEXIF,
                  public TIOParamsMetadata,
                  public TIOParamsTIFF,
                  public TIOParamsPNG,
                  public TIOParamsRAW {
  public:
    TIOParams() { SetDefaultParams(); }
    TIOParams(const TIOParams&) = delete;
    TIOParams& operator=(const TIOParams&) = delete;

    // Every field to its default; the ones the defaults table marks come from the
    // process-wide settings as they are now.
    void SetDefaultParams();

    // Empties metadata selectively; 0 means all (511). Bits: 1 annotations, 2 DICOM,
    // 4 EXIF, 8 all JPEG markers, 16 IPTC, 32 (without 8) the markers not listed in
    // JPEG_KeptMarkers, 64 the XMP packet, 128 the text lists, 256 the heavy blocks
    // (the EXIF thumbnail).
    void ResetInfo(uint16_t Flags = 0);
    void ResetEXIF();

    // Copies all that Source holds; owned objects are copied deeply.
    void Assign(const TIOParams& Source);
    // Only the fields that describe how the picture is compressed.
    void AssignCompressionInfo(const TIOParams& Source);

    // Bit depth, channel count and colour space as a bitmap of that format is written.
    void UpdateBitDepth(TIEPixelFormat PixelFormat);
};

// Whether a resolution in dots per inch, cut to whole dots, fits the 16-bit density of a
// JFIF header: 1 to 65535. Anything else (0, negative, larger, not a number) is no
// density at all; readers take it as absent and writers never write it.
bool IEIsValidDensity(double Dpi);
