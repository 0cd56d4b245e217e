#pragma once

#include <cstdint>
#include <string>

#include "image/ietypes.h"

enum TMsgLanguage : int32_t { msSystem, msEnglish, msGerman };
enum TIERAWEmbeddedJpegLoading : int32_t { iejNever, iejAlways, iejIfSufficient };
enum TIERAWInterpolation : int32_t { ierBilinear, ierVNG, ierPPG, ierAHD };
enum TIOJPEGDctMethod : int32_t { ioJPEG_ISLOW, ioJPEG_IFAST, ioJPEG_FLOAT };
enum TIOJPEGScale : int32_t { ioJPEG_AUTOCALC, ioJPEG_FULLSIZE, ioJPEG_HALF, ioJPEG_QUARTER, ioJPEG_EIGHTH };
enum TIEDicomRange : int32_t { iedrAdjust, iedrSetBlackWhite };

// Defaults that every new TIOParams starts from.
struct TIOParamDefaults {
    bool EnableAdjustOrientation = false;
    bool RAW_AutoAdjustColors = false;
    bool RAW_HalfSize = false;
    bool RAW_GetEmbeddedJpeg = false;
    int32_t RAW_EmbeddedJpegMinWidth = 800;
    int32_t RAW_EmbeddedJpegMinHeight = 800;
    TIERAWEmbeddedJpegLoading RAW_EmbeddedJpegLoading = iejNever;
    TIERAWInterpolation RAW_Interpolation = ierBilinear;
    bool RAW_QuickInterpolate = true;
    bool RAW_UseAutoWB = false;
    bool RAW_UseCameraWB = false;
    TIOJPEGDctMethod JPEG_DCTMethod = ioJPEG_ISLOW;
    int32_t JPEG_Quality = 80;
    TIOJPEGScale JPEG_Scale = ioJPEG_FULLSIZE;
    bool PSD_LoadLayers = false;
    TIEDicomRange DICOM_Range = iedrAdjust;
};

// Process-wide engine settings. Several instances may exist; the first one made is
// authoritative and every accessor of another instance forwards to it, so that code
// holding any instance reads the one set of values.
class TIEGlobalSettings {
  public:
    TIEGlobalSettings();
    ~TIEGlobalSettings();
    TIEGlobalSettings(const TIEGlobalSettings&) = delete;
    TIEGlobalSettings& operator=(const TIEGlobalSettings&) = delete;

    bool Authoritative() const { return fAuthoritative; }

    bool EnableCMS() const;
    void SetEnableCMS(bool v);
    bool ApplyColorProfileOnRendering() const;
    void SetApplyColorProfileOnRendering(bool v);
    bool UseGDIPlus() const;
    void SetUseGDIPlus(bool v);
    TMsgLanguage MsgLanguage() const;
    void SetMsgLanguage(TMsgLanguage v);
    TIOParamDefaults& IOParamDefaults();
    int32_t DefaultDpiX() const;
    void SetDefaultDpiX(int32_t v);
    int32_t DefaultDpiY() const;
    void SetDefaultDpiY(int32_t v);
    TResampleFilter DefaultResampleFilter() const;
    void SetDefaultResampleFilter(TResampleFilter v);
    int32_t ImageProcMaxThreads() const;
    void SetImageProcMaxThreads(int32_t v);
    int64_t ImageProcThreadsMinSize() const;
    void SetImageProcThreadsMinSize(int64_t v);
    int32_t RedToGrayCoef() const;
    void SetRedToGrayCoef(int32_t v);
    int32_t GreenToGrayCoef() const;
    void SetGreenToGrayCoef(int32_t v);
    int32_t BlueToGrayCoef() const;
    void SetBlueToGrayCoef(int32_t v);
    bool AutoAdjustDPI() const;
    void SetAutoAdjustDPI(bool v);
    bool AutoSetBitDepth() const;
    void SetAutoSetBitDepth(bool v);
    bool AutoOptimizeOnSave() const;
    void SetAutoOptimizeOnSave(bool v);

  private:
    TIEGlobalSettings* Authority() const;

    // Kept in one struct so that a surviving instance can take the values over.
    struct TValues {
        bool EnableCMS = false;
        bool ApplyColorProfileOnRendering = true;
        bool UseGDIPlus = true;
        TMsgLanguage MsgLanguage = msSystem;
        TIOParamDefaults IOParamDefaults;
        int32_t DefaultDpiX = 300;
        int32_t DefaultDpiY = 300;
        TResampleFilter DefaultResampleFilter = rfFastLinear;
        int32_t ImageProcMaxThreads = 4;
        int64_t ImageProcThreadsMinSize = 65536;
        int32_t RedToGrayCoef = 21;
        int32_t GreenToGrayCoef = 71;
        int32_t BlueToGrayCoef = 8;
        bool AutoAdjustDPI = false;
        bool AutoSetBitDepth = false;
        bool AutoOptimizeOnSave = false;
    };

    bool fAuthoritative;
    TValues fValues;
};

// The current instance; made on first use if the program made none.
TIEGlobalSettings& IEGlobalSettings();

// Storage globals of the pixel buffer. DefMinFileSize below zero means: derive the
// memory/file threshold from the machine's physical memory.
extern int64_t DefMinFileSize;
extern bool AutoFragmentBitmap;
extern bool AutoLocateOnDisk;
extern std::string TempPath;

// Total physical memory in bytes, 0 if it cannot be read.
uint64_t IETotalPhysicalMemory();
// Physical cores of the machine, read once per process; 1 if unknown.
int IEPhysicalCoreCount();
// Makes IEPhysicalCoreCount answer Count, so that tests get several bands on any
// machine; 0 goes back to the machine's count.
void IESetPhysicalCoreCount(int Count);
