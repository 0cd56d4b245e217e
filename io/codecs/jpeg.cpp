#include "io/codecs/jpeg.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "image/bitmap.h"
#include "image/convert.h"
#include "io/exif.h"
#include "io/orientation.h"

namespace {

constexpr int32_t kAPP0 = 0xE0;
constexpr int32_t kAPP1 = 0xE1;
constexpr int32_t kAPP14 = 0xEE;
constexpr int32_t kCOM = 0xFE;
constexpr uint32_t kMaxMarkerLength = 0xFFFF;
// The largest payload a marker segment can carry beside its two length bytes.
constexpr size_t kMaxMarkerPayload = 65533;
constexpr int32_t kSOISearchLength = 150;
constexpr int32_t kDensityPerCentimetre = 2;
constexpr char kXMPHeader[] = "http://ns.adobe.com/xap/1.0/";
constexpr size_t kXMPHeaderLength = 29;

TIEJpegLimits gLimits;

// The fixed codec steps that end every use of a decoder the reader made itself.
void DestroyDecompressor(TIEGenericJPEG& Codec) {
    Codec.Decomp_DestroyDecompress();
    Codec.Decomp_CleanupReadStream();
    Codec.FreeErrorManager();
    Codec.Decomp_FreeDecompStruct();
}

void CopyMarkers(TIEGenericJPEG& Codec, TIEMarkerList& Markers) {
    Markers.Clear();
    bool firstAPP0 = true;
    Codec.Decomp_GetMarkerList();
    for (; Codec.HasMarkers(); Codec.GetMarkerNext()) {
        const int32_t id = Codec.GetMarkerID();
        // The writer makes a new JFIF header, so the first APP0 is not kept; later
        // ones (JFXX thumbnails and the like) are.
        if (id == kAPP0 && firstAPP0) {
            firstAPP0 = false;
            continue;
        }
        Markers.AddMarker(uint8_t(id), Codec.GetMarkerData(), uint16_t(Codec.GetMarkerLength()));
    }
}

bool IsXMPBlock(const std::vector<uint8_t>& Payload) {
    return Payload.size() > kXMPHeaderLength && std::memcmp(Payload.data(), kXMPHeader, 24) == 0;
}

// The metadata passes: each takes the first block it accepts. Returns whether an EXIF
// block was accepted.
bool ReadMetadata(TIOParams& IOParams) {
    const TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    bool exif = false;
    for (int32_t i = 0; i < markers.Count() && !exif; ++i)
        if (markers.GetMarkerType(i) == kAPP1) exif = IEReadEXIFBlock(markers.GetMarkerData(i), IOParams);
    for (int32_t i = 0; i < markers.Count(); ++i) {
        const std::vector<uint8_t>& data = markers.GetMarkerData(i);
        if (markers.GetMarkerType(i) != kAPP1 || !IsXMPBlock(data)) continue;
        const auto zero = std::find(data.begin(), data.end(), uint8_t(0));
        IOParams.XMP_Info.assign(zero == data.end() ? data.end() : zero + 1, data.end());
        break;
    }
    return exif;
}

int32_t ScaleDivisor(const TIOParams& IOParams) {
    switch (IOParams.JPEG_Scale) {
    case ioJPEG_HALF:
        return 2;
    case ioJPEG_QUARTER:
        return 4;
    case ioJPEG_EIGHTH:
        return 8;
    case ioJPEG_AUTOCALC:
        return IECalcJpegScale(IOParams.Width, IOParams.Height, IOParams.LoadToWidth, IOParams.LoadToHeight);
    case ioJPEG_FULLSIZE:
        break;
    }
    return 1;
}

enum class TRowKind { Straight, GreyToRGB, CMYKToRGB, Unsupported };

// How the rows of the output space reach a bitmap of Format; Unsupported when the
// library would deliver more bytes per row than the bitmap has.
TRowKind RowKind(int32_t OutSpace, int32_t Components, TIEPixelFormat Format, bool Raw) {
    switch (OutSpace) {
    case ieJCS_GRAYSCALE:
        if (Components != 1) break;
        return Format == ie8g ? TRowKind::Straight : TRowKind::GreyToRGB;
    case ieJCS_RGB:
        if (Components != 3 || Format != ie24RGB) break;
        return TRowKind::Straight;
    case ieJCS_YCbCr:
        if (!Raw || Components != 3 || Format != ie24RGB) break;
        return TRowKind::Straight;
    case ieJCS_CMYK:
        if (Components != 4) break;
        return Format == ieCMYK ? TRowKind::Straight : TRowKind::CMYKToRGB;
    default:
        break;
    }
    return TRowKind::Unsupported;
}

void SwapRedBlue(uint8_t* Row, int32_t Width) {
    for (int32_t x = 0; x < Width; ++x, Row += 3)
        std::swap(Row[0], Row[2]);
}

} // namespace

TIEJpegLimits IEJpegLimits() {
    return gLimits;
}
void IESetJpegLimits(const TIEJpegLimits& Limits) {
    gLimits = Limits;
}

int32_t IECalcJpegScale(int32_t Width, int32_t Height, int32_t TargetWidth, int32_t TargetHeight) {
    if (TargetWidth < 1 || TargetHeight < 1 || Width < 1 || Height < 1) return 1;
    const double ratio = std::min(double(TargetWidth) / Width, double(TargetHeight) / Height);
    TargetWidth = std::min(TargetWidth, std::max(1, IERound(Width * ratio)));
    TargetHeight = std::min(TargetHeight, std::max(1, IERound(Height * ratio)));
    for (int32_t scale : {8, 4, 2, 1})
        if (Width / scale >= TargetWidth && Height / scale >= TargetHeight) return scale;
    return 1;
}

bool IEFindJpegSOI(TIEStream& Stream) {
    const int64_t start = Stream.Position();
    uint8_t head[kSOISearchLength + 2];
    const size_t count = Stream.Read(head, sizeof head);
    for (size_t i = 0; i < size_t(kSOISearchLength) && i + 2 < count; ++i)
        if (head[i] == 0xFF && head[i + 1] == 0xD8 && head[i + 2] == 0xFF) {
            Stream.SetPosition(start + int64_t(i));
            return true;
        }
    Stream.SetPosition(start);
    return false;
}

// Stream: positioned at or up to 149 bytes before the SOI. TableStream: an abbreviated
// stream of tables only (JPEG inside TIFF), or nullptr. Preview: stop after the header.
// Raw: no YCbCr to RGB conversion. ReadMetaTags: with GetMetaData, read the metadata.
// InvertCMYK: invert CMYK samples. LoadICC: keep the embedded profile in
// InputICCProfile. ApplyICC: colour management, which this engine doesn't have yet, so
// it changes nothing. MaxRows: stop after so many rows,
// negative for all. NativePixelFormat: keep grey and CMYK as ie8g and ieCMYK.
// Decompressor, KeepDecompressor: reuse a codec object across calls (TIFF strips).
int32_t ReadJpegStream(TIEStream& Stream, TIEStream* TableStream, TIEBitmap& Bitmap, TIOParams& IOParams,
                       TProgressRec& Progress, bool Preview, bool Raw, bool ReadMetaTags, bool InvertCMYK,
                       bool ApplyICC, bool LoadICC, int32_t MaxRows, bool NativePixelFormat,
                       std::unique_ptr<TIEGenericJPEG>* Decompressor, bool KeepDecompressor) {
    (void)ApplyICC;
    bool ownAborting = false;
    if (!Progress.Aborting) Progress.Aborting = &ownAborting;

    IOParams.JPEG_WarningTot = 0;
    IOParams.JPEG_WarningCode = 0;
    if (!IEFindJpegSOI(Stream)) {
        IESetAborting(Progress);
        return 0;
    }

    std::unique_ptr<TIEGenericJPEG> codecHolder;
    if (Decompressor && *Decompressor) codecHolder = std::move(*Decompressor);
    if (!codecHolder) {
        codecHolder = IECreateLibJPEG();
        codecHolder->Decomp_AllocDecompStruct();
        codecHolder->CreateErrorManager(Progress.Aborting);
        codecHolder->Decomp_SetErrorManager();
        codecHolder->Decomp_CreateDecompress();
    }
    TIEGenericJPEG& codec = *codecHolder;
    int32_t rows = 0;
    bool orientationArmed = false;

    // Every way out of the reader ends here: the codec object never survives a failed
    // header, and is handed back only when asked for.
    auto finish = [&](int32_t Result) {
        if (KeepDecompressor && Decompressor && !IEIsAborting(Progress))
            *Decompressor = std::move(codecHolder);
        else
            DestroyDecompressor(codec);
        if (Progress.Aborting == &ownAborting) Progress.Aborting = nullptr;
        return Result;
    };
    if (IEIsAborting(Progress)) return finish(0);

    if (TableStream && TableStream != &Stream && !Preview) {
        codec.Decomp_SetupReadStream(*TableStream, Progress.Aborting);
        if (IEIsAborting(Progress)) return finish(0);
        codec.Decomp_ReadHeader(false);
    }
    codec.Decomp_SetupReadStream(Stream, Progress.Aborting);
    if (IEIsAborting(Progress)) return finish(0);
    codec.Decomp_SaveMarkers(kCOM, kMaxMarkerLength);
    for (int32_t marker = kAPP0; marker <= kAPP0 + 15; ++marker)
        codec.Decomp_SaveMarkers(marker, kMaxMarkerLength);
    codec.Decomp_ReadHeader(true);
    if (IEIsAborting(Progress)) return finish(0);

    const int32_t densityUnit = codec.Decomp_GetDensityUnit();
    if (densityUnit == 0 || densityUnit == 1 || densityUnit == kDensityPerCentimetre) {
        const double scale = densityUnit == kDensityPerCentimetre ? 2.54 : 1;
        const int32_t x = int32_t(codec.Decomp_GetXDensity() * scale);
        const int32_t y = int32_t(codec.Decomp_GetYDensity() * scale);
        // A density no header could hold (0, or beyond 65535 once in inches) is taken
        // as no JFIF density at all: 1 by 1, as a file without one reads, which leaves
        // the resolution to EXIF.
        const bool valid = IEIsValidDensity(x) && IEIsValidDensity(y);
        IOParams.DpiX = valid ? x : 1;
        IOParams.DpiY = valid ? y : 1;
    }

    CopyMarkers(codec, IOParams.JPEG_MarkerList);
    // Kept to be written again; applying it is colour management's part.
    IOParams.InputICCProfile = LoadICC ? IEJoinICCChunks(IOParams.JPEG_MarkerList) : std::vector<uint8_t>{};

    if (ReadMetaTags && IOParams.GetMetaData) {
        const bool exif = ReadMetadata(IOParams);
        // A JFIF density of 1 by 1 is the stored default and says nothing. The EXIF
        // resolution is already in dots per inch (the block reader converts a
        // centimetre unit), so it is only cut to whole dots here. Without an EXIF
        // block it may hold anything; what isn't a density becomes 0, which the
        // writer replaces by its default.
        if (IOParams.DpiX == 1 && IOParams.DpiY == 1) {
            const auto density = [](double Dpi) { return IEIsValidDensity(Dpi) ? int32_t(Dpi) : 0; };
            IOParams.DpiX = density(IOParams.EXIF_XResolution);
            IOParams.DpiY = density(IOParams.EXIF_YResolution);
        }
        orientationArmed = exif && IOParams.JPEG_EnableAdjustOrientation && !Preview;
    }

    IOParams.ImageCount = 1;
    IOParams.BitsPerSample = 8;
    const int32_t storedSpace = codec.Decomp_GetJpegColorSpace();
    codec.Decomp_SetOutColorSpace(storedSpace);
    switch (storedSpace) {
    case ieJCS_YCbCr:
        IOParams.JPEG_ColorSpace = ioJPEG_YCbCr;
        IOParams.SamplesPerPixel = 3;
        if (!Raw) codec.Decomp_SetOutColorSpace(ieJCS_RGB);
        break;
    case ieJCS_GRAYSCALE:
        IOParams.JPEG_ColorSpace = ioJPEG_GRAYLEV;
        IOParams.SamplesPerPixel = 1;
        break;
    case ieJCS_RGB:
        IOParams.JPEG_ColorSpace = ioJPEG_RGB;
        IOParams.SamplesPerPixel = 3;
        break;
    case ieJCS_CMYK:
        IOParams.JPEG_ColorSpace = ioJPEG_CMYK;
        IOParams.SamplesPerPixel = 4;
        break;
    case ieJCS_YCCK:
        IOParams.JPEG_ColorSpace = ioJPEG_YCbCrK;
        IOParams.SamplesPerPixel = 4;
        codec.Decomp_SetOutColorSpace(ieJCS_CMYK);
        break;
    default:
        break;
    }
    codec.Decomp_SetDCTMethod(IOParams.JPEG_DCTMethod);
    IOParams.JPEG_Progressive = codec.Decomp_GetProgressiveMode();
    IOParams.OriginalWidth = codec.Decomp_GetImageWidth();
    IOParams.OriginalHeight = codec.Decomp_GetImageHeight();
    // The automatic scale is computed from the full size.
    IOParams.Width = IOParams.OriginalWidth;
    IOParams.Height = IOParams.OriginalHeight;

    const int32_t scale = ScaleDivisor(IOParams);
    codec.Decomp_SetScale(1, scale);
    IOParams.JPEG_ScaleUsed = scale;

    if (Preview) return finish(0);

    // A header can claim up to 65500 x 65500 in a few bytes; nothing is allocated or
    // decoded for a picture beyond the limit.
    const int64_t scaledWidth = (int64_t(IOParams.OriginalWidth) + scale - 1) / scale;
    const int64_t scaledHeight = (int64_t(IOParams.OriginalHeight) + scale - 1) / scale;
    if (scaledWidth * scaledHeight > gLimits.MaxPixels) {
        IESetAborting(Progress);
        return finish(0);
    }

    codec.Decomp_StartDecompress();
    if (IEIsAborting(Progress)) return finish(0);
    const int32_t width = codec.Decomp_GetOutputWidth();
    const int32_t height = codec.Decomp_GetOutputHeight();
    IOParams.Width = width;
    IOParams.Height = height;
    std::vector<uint8_t> buffer(size_t(width) * 4);

    const int32_t outSpace = codec.Decomp_GetOutColorSpace();
    TIEPixelFormat format = ie24RGB;
    if (NativePixelFormat) {
        if (outSpace == ieJCS_GRAYSCALE) format = ie8g;
        if (outSpace == ieJCS_CMYK) format = ieCMYK;
    }
    if (!Bitmap.Allocate(width, height, format)) {
        IESetAborting(Progress);
        return finish(0);
    }
    if (MaxRows < 0) MaxRows = Bitmap.Height();
    Progress.per1 = 100.0 / height;
    Progress.val = 0;

    const TRowKind kind = RowKind(outSpace, codec.Decomp_GetOutputComponents(), format, Raw);
    const bool swapStoredRGB = storedSpace == ieJCS_RGB && Raw;
    if (kind == TRowKind::Unsupported) IESetAborting(Progress);
    while (kind != TRowKind::Unsupported && codec.Decomp_GetOutputScanline() < height && rows < MaxRows) {
        uint8_t* scanline = static_cast<uint8_t*>(Bitmap.GetScanline(rows));
        if (!scanline) break;
        uint8_t* target = kind == TRowKind::Straight ? scanline : buffer.data();
        const int32_t read = codec.Decomp_ReadScanlines(&target, 1);
        if (read <= 0) break;
        switch (kind) {
        case TRowKind::Straight:
            if (swapStoredRGB && outSpace != ieJCS_GRAYSCALE && outSpace != ieJCS_CMYK)
                SwapRedBlue(scanline, width);
            break;
        case TRowKind::GreyToRGB:
            for (int32_t x = 0; x < width; ++x)
                std::memset(scanline + size_t(x) * 3, buffer[size_t(x)], 3);
            break;
        case TRowKind::CMYKToRGB: {
            if (InvertCMYK) {
                // Only the first (width - 1) * 4 + 1 bytes are inverted, so the last
                // pixel keeps three samples as stored. Kept as the engine always did it.
                const size_t count = size_t(width - 1) * 4 + 1;
                for (size_t i = 0; i < count; ++i)
                    buffer[i] = uint8_t(255 - buffer[i]);
            }
            TRGB* out = reinterpret_cast<TRGB*>(scanline);
            for (int32_t x = 0; x < width; ++x) {
                const uint8_t* p = buffer.data() + size_t(x) * 4;
                out[x] = IECMYK2RGB(TCMYK{p[0], p[1], p[2], p[3]});
            }
            break;
        }
        case TRowKind::Unsupported:
            break;
        }
        rows += read;
        Progress.val += read;
        // Also where a fatal error inside the row read has set the flag.
        if (!IEReportProgress(Progress, int32_t(Progress.per1 * Progress.val))) break;
    }
    if (rows < MaxRows) IESetAborting(Progress);

    if (!IEIsAborting(Progress)) {
        codec.DisableAbortings();
        codec.Decomp_FinishDecompress();
        const int32_t warnings = codec.GetNumWarnings();
        if (warnings != 0) {
            IOParams.JPEG_WarningTot = warnings;
            IOParams.JPEG_WarningCode = codec.GetErrMsgCode();
        }
        if (orientationArmed && !IEAdjustOrientation(Bitmap, IOParams.EXIF_Orientation)) {
            IESetAborting(Progress);
        } else if (orientationArmed) {
            IOParams.Width = Bitmap.Width();
            IOParams.Height = Bitmap.Height();
            IOParams.EXIF_Orientation = 1;
            IOParams.TIFF_Orientation = 1;
        }
    }
    return finish(rows);
}

void WriteJpegStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress) {
    bool ownAborting = false;
    if (!Progress.Aborting) Progress.Aborting = &ownAborting;
    struct TRestore {
        TProgressRec& Progress;
        bool* Own;
        ~TRestore() {
            if (Progress.Aborting == Own) Progress.Aborting = nullptr;
        }
    } restore{Progress, &ownAborting};

    if (Bitmap.Width() == 0 || Bitmap.Height() == 0) {
        IESetAborting(Progress);
        return;
    }
    std::unique_ptr<TIEGenericJPEG> codecHolder = IECreateLibJPEG();
    TIEGenericJPEG& codec = *codecHolder;
    codec.Comp_AllocCompStruct();
    codec.CreateErrorManager(Progress.Aborting);
    codec.Comp_SetErrorManager();
    codec.Comp_CreateCompress();
    codec.Comp_SetupWriteStream(Stream, Progress.Aborting);

    // Alpha is blended on white and the format brought to ie24RGB on a private copy, so
    // the caller's bitmap keeps its alpha and its format.
    TIEBitmap* image = &Bitmap;
    std::unique_ptr<TIEBitmap> copy;
    if (Bitmap.HasAlphaChannel()) {
        copy = std::make_unique<TIEBitmap>();
        copy->Assign(Bitmap);
        copy->RemoveAlphaChannel(true, clWhite);
        image = copy.get();
    }
    if (image->PixelFormat() != ie24RGB) {
        if (!copy) {
            copy = std::make_unique<TIEBitmap>();
            copy->Assign(Bitmap);
        }
        copy->SetPixelFormat(ie24RGB);
        image = copy.get();
    }
    const int32_t width = image->Width(), height = image->Height();

    int32_t inputComponents = 3, inSpace = ieJCS_RGB, jpegSpace = ieJCS_RGB;
    switch (IOParams.JPEG_ColorSpace) {
    case ioJPEG_RGB:
        break;
    case ioJPEG_GRAYLEV:
        jpegSpace = ieJCS_GRAYSCALE;
        break;
    case ioJPEG_YCbCr:
        jpegSpace = ieJCS_YCbCr;
        break;
    case ioJPEG_CMYK:
        inputComponents = 4;
        inSpace = jpegSpace = ieJCS_CMYK;
        break;
    case ioJPEG_YCbCrK:
        inputComponents = 4;
        inSpace = ieJCS_CMYK;
        jpegSpace = ieJCS_YCCK;
        break;
    }
    codec.Comp_SetImageWidth(width);
    codec.Comp_SetImageHeight(height);
    codec.Comp_SetInColorSpace(inSpace);
    codec.Comp_SetInputComponents(inputComponents);
    codec.Comp_SetDefaults();
    codec.Comp_SetColorSpace(jpegSpace);

    // Dots per inch always. A density the header can't hold is never written: the
    // default takes its place, and without a valid default the header gives only the
    // aspect ratio, 1 by 1 with no unit.
    TIEGlobalSettings& settings = IEGlobalSettings();
    const auto density = [](int32_t Dpi, int32_t Default) {
        return IEIsValidDensity(Dpi) ? Dpi : IEIsValidDensity(Default) ? Default : 0;
    };
    const int32_t xDensity = density(IOParams.DpiX, settings.DefaultDpiX());
    const int32_t yDensity = density(IOParams.DpiY, settings.DefaultDpiY());
    const bool known = xDensity != 0 && yDensity != 0;
    codec.Comp_SetDensityUnit(known ? 1 : 0);
    codec.Comp_SetXDensity(known ? xDensity : 1);
    codec.Comp_SetYDensity(known ? yDensity : 1);
    codec.Comp_SetDCTMethod(IOParams.JPEG_DCTMethod);
    codec.Comp_SetOptimizeCoding(IOParams.JPEG_OptimalHuffman);
    codec.Comp_SetSmoothingFactor(IOParams.JPEG_Smooth);
    codec.Comp_SetQuality(IOParams.JPEG_Quality, true);
    if (IOParams.JPEG_ColorSpace == ioJPEG_YCbCr) {
        switch (IOParams.JPEG_CromaSubsampling) {
        case ioJPEG_MEDIUM:
            codec.Comp_SetSampleFactor(0, 2, 1);
            break;
        case ioJPEG_HIGH:
            codec.Comp_SetSampleFactor(0, 2, 2);
            break;
        case ioJPEG_NONE:
            codec.Comp_SetSampleFactor(0, 1, 1);
            break;
        }
        codec.Comp_SetSampleFactor(1, 1, 1);
        codec.Comp_SetSampleFactor(2, 1, 1);
    }
    // The library leaves JFIF off for CMYK; readers that want it find it.
    if (IOParams.JPEG_ColorSpace == ioJPEG_CMYK) codec.Comp_SetWriteJFIFHeader(true);
    if (IOParams.JPEG_Progressive) codec.Comp_SimpleProgression();
    codec.Comp_StartCompress(true);

    // After the JFIF header and before the frame: the kept markers in sorted order. The
    // Adobe marker is the library's to write.
    TIEMarkerList& markers = IOParams.JPEG_MarkerList;
    markers.Sort();
    for (int32_t i = 0; i < markers.Count(); ++i) {
        const std::vector<uint8_t>& data = markers.GetMarkerData(i);
        if (markers.GetMarkerType(i) == kAPP14 || data.size() > kMaxMarkerPayload) continue;
        codec.Comp_WriteMarker(markers.GetMarkerType(i), data.data(), uint32_t(data.size()));
    }

    Progress.per1 = 100.0 / height;
    Progress.val = 0;
    std::vector<uint8_t> buffer(size_t(width) * 4);
    // The library takes red first. Grey is the exception that is kept: it gets the
    // scanline as it stands, blue in red's place, and so weights the channels the
    // wrong way round.
    const bool swap = jpegSpace != ieJCS_GRAYSCALE;
    int32_t written = 0;
    for (int32_t y = 0; y < height && !IEIsAborting(Progress); ++y) {
        uint8_t* scanline = static_cast<uint8_t*>(image->GetScanline(y));
        if (!scanline) break;
        uint8_t* row = scanline;
        if (inputComponents == 4) {
            const TRGB* in = reinterpret_cast<const TRGB*>(scanline);
            for (int32_t x = 0; x < width; ++x) {
                const TCMYK ink = IERGB2CMYK(in[x]);
                uint8_t* out = buffer.data() + size_t(x) * 4;
                out[0] = ink.c;
                out[1] = ink.m;
                out[2] = ink.y;
                out[3] = ink.k;
            }
            row = buffer.data();
        } else if (swap) {
            for (int32_t x = 0; x < width; ++x) {
                buffer[size_t(x) * 3] = scanline[size_t(x) * 3 + 2];
                buffer[size_t(x) * 3 + 1] = scanline[size_t(x) * 3 + 1];
                buffer[size_t(x) * 3 + 2] = scanline[size_t(x) * 3];
            }
            row = buffer.data();
        }
        if (codec.Comp_WriteScanlines(&row, 1) != 1) break;
        ++written;
        Progress.val += 1;
        if (!IEReportProgress(Progress, int32_t(Progress.per1 * Progress.val))) break;
    }
    if (written < height) IESetAborting(Progress);
    if (!IEIsAborting(Progress)) codec.Comp_FinishCompress();
    codec.Comp_DestroyCompress();
    copy.reset();
    codec.Comp_CleanupWriteStream();
    codec.FreeErrorManager();
    codec.Comp_FreeCompStruct();
}

void IEJpegReadStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                      bool Preview) {
    ReadJpegStream(Stream, nullptr, Bitmap, IOParams, Progress, Preview, false, true, false, true, true, -1,
                   IOParams.NativePixelFormat, nullptr, false);
}

void IEJpegWriteStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress) {
    WriteJpegStream(Stream, Bitmap, IOParams, Progress);
}
