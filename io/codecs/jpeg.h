#pragma once

#include <cstdint>
#include <memory>

#include "io/ioparams.h"
#include "io/progress.h"
#include "io/stream.h"

class TIEBitmap;

// Colour space codes at the codec interface are libjpeg's J_COLOR_SPACE values.
enum : int32_t {
    ieJCS_UNKNOWN = 0,
    ieJCS_GRAYSCALE = 1,
    ieJCS_RGB = 2,
    ieJCS_YCbCr = 3,
    ieJCS_CMYK = 4,
    ieJCS_YCCK = 5,
};

// One JPEG codec object: each operation is one thin step of libjpeg's interface, so
// that another codec can stand in. No operation raises: a fatal library error sets the
// flag given to CreateErrorManager, and from then on the operations that would need the
// library do nothing and return a failure value.
class TIEGenericJPEG {
  public:
    virtual ~TIEGenericJPEG() = default;

    virtual void Decomp_AllocDecompStruct() = 0;
    virtual void Decomp_FreeDecompStruct() = 0;
    virtual void CreateErrorManager(bool* Aborting) = 0;
    virtual void FreeErrorManager() = 0;
    virtual void Decomp_SetErrorManager() = 0;
    // Later fatal errors no longer set the flag (the finish of a decode that stopped early).
    virtual void DisableAbortings() = 0;
    virtual int32_t GetNumWarnings() = 0;
    virtual int32_t GetErrMsgCode() = 0;
    virtual void Decomp_CreateDecompress() = 0;
    virtual void Decomp_DestroyDecompress() = 0;
    // Aborting, once set by a progress handler, makes the source report the end of data.
    virtual void Decomp_SetupReadStream(TIEStream& Stream, bool* Aborting) = 0;
    virtual void Decomp_CleanupReadStream() = 0;
    // The library's result code, -1 after a fatal error.
    virtual int32_t Decomp_ReadHeader(bool RequireImage) = 0;
    virtual void Decomp_SaveMarkers(int32_t Marker, uint32_t MaxLength) = 0;
    virtual bool Decomp_StartDecompress() = 0;
    virtual int32_t Decomp_GetOutputWidth() = 0;
    virtual int32_t Decomp_GetOutputHeight() = 0;
    virtual int32_t Decomp_GetOutputComponents() = 0;
    virtual int32_t Decomp_GetOutputScanline() = 0;
    // Rows read, 0 after a fatal error.
    virtual int32_t Decomp_ReadScanlines(uint8_t** Rows, int32_t Count) = 0;
    virtual bool Decomp_FinishDecompress() = 0;
    virtual void Decomp_SetOutColorSpace(int32_t ColorSpace) = 0;
    virtual int32_t Decomp_GetOutColorSpace() = 0;
    virtual int32_t Decomp_GetJpegColorSpace() = 0;
    virtual void Decomp_SetDCTMethod(int32_t Method) = 0;
    virtual int32_t Decomp_GetDensityUnit() = 0;
    virtual int32_t Decomp_GetXDensity() = 0;
    virtual int32_t Decomp_GetYDensity() = 0;
    virtual bool Decomp_GetProgressiveMode() = 0;
    virtual int32_t Decomp_GetImageWidth() = 0;
    virtual int32_t Decomp_GetImageHeight() = 0;
    virtual void Decomp_SetScale(int32_t Numerator, int32_t Denominator) = 0;
    // The saved markers in file order, walked with a cursor.
    virtual void Decomp_GetMarkerList() = 0;
    virtual int32_t GetMarkerID() = 0;
    virtual const uint8_t* GetMarkerData() = 0;
    virtual int32_t GetMarkerLength() = 0;
    virtual void GetMarkerNext() = 0;
    virtual bool HasMarkers() = 0;

    virtual void Comp_AllocCompStruct() = 0;
    virtual void Comp_FreeCompStruct() = 0;
    virtual void Comp_SetErrorManager() = 0;
    virtual void Comp_CreateCompress() = 0;
    virtual void Comp_DestroyCompress() = 0;
    virtual void Comp_SetupWriteStream(TIEStream& Stream, bool* Aborting) = 0;
    virtual void Comp_CleanupWriteStream() = 0;
    virtual void Comp_SetImageWidth(int32_t Width) = 0;
    virtual void Comp_SetImageHeight(int32_t Height) = 0;
    virtual void Comp_SetInputComponents(int32_t Components) = 0;
    virtual void Comp_SetInColorSpace(int32_t ColorSpace) = 0;
    virtual void Comp_SetColorSpace(int32_t ColorSpace) = 0;
    virtual void Comp_SetDefaults() = 0;
    virtual void Comp_SetDensityUnit(int32_t Unit) = 0;
    virtual void Comp_SetXDensity(int32_t Density) = 0;
    virtual void Comp_SetYDensity(int32_t Density) = 0;
    virtual void Comp_SetDCTMethod(int32_t Method) = 0;
    virtual void Comp_SetOptimizeCoding(bool Optimize) = 0;
    virtual void Comp_SetSmoothingFactor(int32_t Factor) = 0;
    virtual void Comp_SetQuality(int32_t Quality, bool ForceBaseline) = 0;
    virtual void Comp_SetSampleFactor(int32_t Component, int32_t H, int32_t V) = 0;
    virtual void Comp_SetWriteJFIFHeader(bool Write) = 0;
    virtual void Comp_SimpleProgression() = 0;
    virtual void Comp_StartCompress(bool WriteAllTables) = 0;
    virtual void Comp_WriteMarker(int32_t Marker, const uint8_t* Data, uint32_t Length) = 0;
    virtual int32_t Comp_GetNextScanlineIndex() = 0;
    virtual int32_t Comp_WriteScanlines(uint8_t** Rows, int32_t Count) = 0;
    virtual void Comp_FinishCompress() = 0;
};

// The codec object of this engine, on libjpeg (io/codecs/jpeg_libjpeg.cpp).
std::unique_ptr<TIEGenericJPEG> IECreateLibJPEG();

// Limits against hostile headers: a picture of more pixels than MaxPixels is refused
// before anything is allocated for it, and the library's own working memory (the
// coefficient buffers of a progressive file) stays below MaxLibraryMemory bytes.
struct TIEJpegLimits {
    int64_t MaxPixels = int64_t(1) << 28;
    int64_t MaxLibraryMemory = int64_t(1) << 30;
};
TIEJpegLimits IEJpegLimits();
void IESetJpegLimits(const TIEJpegLimits& Limits);

// The scale divisor (1, 2, 4 or 8) for decoding a Width x Height picture to cover
// TargetWidth x TargetHeight: the largest that still covers the target fitted to the
// picture's aspect. 1 if either target side is below 1.
int32_t IECalcJpegScale(int32_t Width, int32_t Height, int32_t TargetWidth, int32_t TargetHeight);

// Looks for FF D8 FF at the stream's position and up to 149 bytes behind it. Found, the
// stream is left on the FF D8 and the result is true; not found, the position is restored.
bool IEFindJpegSOI(TIEStream& Stream);

// Decodes one JPEG picture into Bitmap and returns the number of rows delivered. See
// the arguments' meaning at the definition. Failure sets *Progress.Aborting.
int32_t ReadJpegStream(TIEStream& Stream, TIEStream* TableStream, TIEBitmap& Bitmap, TIOParams& IOParams,
                       TProgressRec& Progress, bool Preview, bool Raw, bool ReadMetaTags, bool InvertCMYK,
                       bool ApplyICC, bool LoadICC, int32_t MaxRows, bool NativePixelFormat,
                       std::unique_ptr<TIEGenericJPEG>* Decompressor, bool KeepDecompressor);

// Encodes Bitmap as one complete JPEG file. Failure sets *Progress.Aborting; the stream
// is then left as far as it got.
void WriteJpegStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress);

// The registry's read and write functions: the plain load and the writer.
void IEJpegReadStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                      bool Preview);
void IEJpegWriteStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress);

// Brings JPEG_MarkerList up to date with the parameters before a save: the resolution
// of a Photoshop APP13 block, the EXIF block's orientation, the XMP packet, and the ICC
// profile in APP2 chunks of 32,000 bytes.
void IEUpdateJpegMarkers(TIOParams& IOParams);

// The ICC profile that the APP2 chunks of Markers make when joined by their numbers;
// empty where there is none, or where chunks are missing, doubled or numbered wrongly.
std::vector<uint8_t> IEJoinICCChunks(const TIEMarkerList& Markers);
// Whether Profile has an ICC header and fits the chunks of a JPEG file.
bool IEIsICCProfile(const std::vector<uint8_t>& Profile);
