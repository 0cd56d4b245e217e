#include "io/imagerio.h"

#include <cstring>
#include <strings.h>

#include "image/bitmap.h"
#include "io/codecs/jpeg.h"
#include "io/codecs/png.h"
#include "io/codecs/tiff.h"
#include "io/progress.h"
#include "io/registry.h"

namespace {
constexpr TIOFileType ioTIFF = 1;
constexpr TIOFileType ioJPEG = 3;
constexpr TIOFileType ioPNG = 8;
constexpr TIOFileType ioAVI = 15;
constexpr int64_t kStreamHeaderSize = 12;
constexpr char kJpegStreamMagic[] = "JFIF";

bool IESameText(const std::string& a, const char* b) {
    return strcasecmp(a.c_str(), b) == 0;
}

void PutLittleEndian32(uint8_t* At, uint32_t Value) {
    for (int i = 0; i < 4; ++i, Value >>= 8)
        At[i] = uint8_t(Value);
}

// Places the stream behind an engine header written by a save with stream headers on.
void SkipJpegStreamHeader(TIEStream& Stream) {
    const int64_t start = Stream.Position();
    uint8_t header[kStreamHeaderSize];
    if (Stream.Read(header, sizeof header) == sizeof header && std::memcmp(header, kJpegStreamMagic, 5) == 0)
        return;
    Stream.SetPosition(start);
}
} // namespace

TImagerIO::TImagerIO(TIEBitmap* Bitmap, bool AttachedToView)
    : fIEBitmap(Bitmap), fAttachedToView(AttachedToView), fAutoAdjustDPI(IEGlobalSettings().AutoAdjustDPI()) {
}

void TImagerIO::CheckBitmapValid(bool MustNotBeEmpty) const {
    if (fAttachedToView) {
        if (!fIEBitmap) throw EIEException("Active layer does not contain a bitmap");
        return;
    }
    if (!fIEBitmap || (MustNotBeEmpty && fIEBitmap->IsEmpty())) throw EIEException("Bitmap is not valid");
}

void TImagerIO::DoNotify(int32_t Code) {
    if (OnNotify) OnNotify(Code);
}

void TImagerIO::DoFinishWork() {
    if (OnFinishWork) OnFinishWork();
}

TProgressRec TImagerIO::MakeProgress() {
    TProgressRec progress;
    progress.OnProgress = OnProgress;
    progress.Sender = this;
    progress.Aborting = &fAborting;
    return progress;
}

bool TImagerIO::LoadFromFileAuto(const std::string& FileName) {
    return LoadFromFile(FileName, FindFileFormat(FileName, 2));
}

bool TImagerIO::LoadFromFile(const std::string& FileName, TIOFileType FileFormat) {
    if (!fIEBitmap) return false;
    if (FileName.empty()) {
        fAborting = true;
        DoNotify(NotifyFailure);
        return false;
    }
    if (FileFormat == 0) {
        // A file that is gone raises here, as opening it for reading would.
        TIEFileStream(FileName, TIEFileMode::Read);
        FileFormat = FindFileFormat(FileName, 0);
    }
    if (FileFormat == 0) return FailUnknownFormat();
    CheckBitmapValid(false);
    return LoadByFormat(FileName, FileFormat);
}

bool TImagerIO::LoadFromFile(const std::string& FileName, bool bCheckUnknown) {
    fAborting = true;
    // The extension is trusted first here, the reverse of LoadFromFileAuto.
    const std::string extension = IEExtractFileExt(FileName);
    TIOFileType format = 0;
    if (IESameText(extension, ".avi")) {
        format = ioAVI;
    } else if (const TIEFileFormatInfo* row = FindFileFormatByExt(extension)) {
        format = row->FileType;
    }
    bool loaded = format != 0 && LoadFromFile(FileName, format);
    TIOFileType found = 0;
    if (!loaded && bCheckUnknown) {
        found = FindFileFormat(FileName, 0);
        if (found != 0 && found != format) loaded = LoadFromFile(FileName, found);
    }
    if (format == 0 && found == 0) DoNotify(NotifyFailure);
    return loaded;
}

bool TImagerIO::LoadFromStream(TIEStream& Stream, TIOFileType FileFormat) {
    if (!fIEBitmap) return false;
    if (FileFormat == 0) FileFormat = FindStreamFormat(Stream);
    if (FileFormat == 0) return FailUnknownFormat();
    CheckBitmapValid(false);
    return LoadStreamByFormat(Stream, FileFormat);
}

bool TImagerIO::FailUnknownFormat() {
    fAborting = true;
    DoNotify(NotifyFailure);
    return false;
}

bool TImagerIO::LoadByFormat(const std::string& FileName, TIOFileType FileFormat) {
    switch (FileFormat) {
    case ioJPEG:
        return LoadFromFileJpeg(FileName);
    case ioPNG:
        return LoadFromFilePNG(FileName);
    case ioTIFF:
        return LoadFromFileTIFF(FileName);
    default:
        // Formats whose reader isn't built yet fail as an unknown format does.
        return FailUnknownFormat();
    }
}

bool TImagerIO::LoadStreamByFormat(TIEStream& Stream, TIOFileType FileFormat) {
    switch (FileFormat) {
    case ioJPEG:
        return LoadFromStreamJpeg(Stream);
    case ioPNG:
        return LoadFromStreamPNG(Stream);
    case ioTIFF:
        return LoadFromStreamTIFF(Stream);
    default:
        return FailUnknownFormat();
    }
}

bool TImagerIO::LoadFromFileJpeg(const std::string& FileName) {
    CheckBitmapValid(false);
    // Set before the file is opened, so that a failure there leaves it set.
    fAborting = true;
    TIEFileStream stream(FileName, TIEFileMode::Read);
    return LoadJpeg(stream, FileName);
}

bool TImagerIO::LoadFromStreamJpeg(TIEStream& Stream) {
    CheckBitmapValid(false);
    fAborting = true;
    return LoadJpeg(Stream, std::string());
}

bool TImagerIO::LoadJpeg(TIEStream& Stream, const std::string& FileName) {
    if (fStreamHeaders) SkipJpegStreamHeader(Stream);
    fParams.ResetInfo();
    fParams.FileName = FileName;
    fParams.FileType = ioJPEG;
    fIEBitmap->RemoveAlphaChannel(false);
    fAborting = false;
    TProgressRec progress = MakeProgress();
    ReadJpegStream(Stream, nullptr, *fIEBitmap, fParams, progress, false, false, true, false, true, true, -1,
                   fParams.NativePixelFormat, nullptr, false);
    // AutoAdjustDPI would scale the pixels for unequal resolutions here; no holder of
    // this program sets it.
    if (OnUpdate) OnUpdate();
    DoNotify(fAborting ? NotifyFailure : NotifySuccess);
    return !fAborting;
}

void TImagerIO::SaveToFileJpeg(const std::string& FileName) {
    CheckBitmapValid(true);
    TIEFileStream stream(FileName, TIEFileMode::Replace);
    const bool headers = fStreamHeaders;
    fStreamHeaders = false;
    WriteJpeg(stream);
    fStreamHeaders = headers;
    CommitUnlessBroken(stream);
    fParams.FileName = FileName;
    fParams.FileType = ioJPEG;
}

void TImagerIO::CommitUnlessBroken(TIEFileStream& Stream) {
    // An empty picture writes nothing and still leaves an empty target; a file that the
    // encoder gave up on half way never takes the place of the target.
    if (!fAborting || Stream.Size() == 0) Stream.Commit();
}

void TImagerIO::SaveToStreamJpeg(TIEStream& Stream) {
    CheckBitmapValid(true);
    WriteJpeg(Stream);
}

void TImagerIO::WriteJpeg(TIEStream& Stream) {
    fAborting = false;
    CheckBitmapValid(true);
    fIEBitmap->CheckFormat(TIEPixelFormatSet{}, false);
    const TIEPixelFormat format = fIEBitmap->PixelFormat();
    if (!fIEBitmap->IsEmpty() && format != ie1g && format != ie24RGB) fIEBitmap->SetPixelFormat(ie24RGB);
    if (IEGlobalSettings().AutoSetBitDepth()) fParams.UpdateBitDepth(fIEBitmap->PixelFormat());

    const int64_t headerAt = Stream.Position();
    if (fStreamHeaders) {
        const uint8_t reserved[kStreamHeaderSize] = {};
        Stream.Write(reserved, sizeof reserved);
    }
    IEUpdateJpegMarkers(fParams);
    TProgressRec progress = MakeProgress();
    WriteJpegStream(Stream, *fIEBitmap, fParams, progress);

    if (fStreamHeaders) {
        const int64_t end = Stream.Position();
        uint8_t header[kStreamHeaderSize] = {};
        std::memcpy(header, kJpegStreamMagic, 4);
        PutLittleEndian32(header + 8, uint32_t(end - headerAt - kStreamHeaderSize));
        Stream.SetPosition(headerAt);
        Stream.Write(header, sizeof header);
        Stream.SetPosition(end);
    }
    DoFinishWork();
}

bool TImagerIO::LoadFromFilePNG(const std::string& FileName) {
    CheckBitmapValid(false);
    // Set before the file is opened, so that a failure there leaves it set.
    fAborting = true;
    TIEFileStream stream(FileName, TIEFileMode::Read);
    return LoadPng(stream, FileName);
}

bool TImagerIO::LoadFromStreamPNG(TIEStream& Stream) {
    CheckBitmapValid(false);
    fAborting = true;
    return LoadPng(Stream, std::string());
}

bool TImagerIO::LoadPng(TIEStream& Stream, const std::string& FileName) {
    return LoadWith(FileName, ioPNG, [&](TProgressRec& Progress) {
        ReadPngStream(Stream, *fIEBitmap, fParams, Progress, false);
    });
}

bool TImagerIO::LoadWith(const std::string& FileName, TIOFileType FileType,
                         const std::function<void(TProgressRec&)>& Read) {
    fParams.ResetInfo();
    fParams.FileName = FileName;
    fParams.FileType = FileType;
    fIEBitmap->RemoveAlphaChannel(false);
    fAborting = false;
    TProgressRec progress = MakeProgress();
    Read(progress);
    if (OnUpdate) OnUpdate();
    DoNotify(fAborting ? NotifyFailure : NotifySuccess);
    return !fAborting;
}

bool TImagerIO::LoadFromFileTIFF(const std::string& FileName) {
    CheckBitmapValid(false);
    fAborting = true;
    TIEFileStream stream(FileName, TIEFileMode::Read);
    return LoadTiff(stream, FileName);
}

bool TImagerIO::LoadFromStreamTIFF(TIEStream& Stream) {
    CheckBitmapValid(false);
    fAborting = true;
    return LoadTiff(Stream, std::string());
}

bool TImagerIO::LoadTiff(TIEStream& Stream, const std::string& FileName) {
    return LoadWith(FileName, ioTIFF, [&](TProgressRec& Progress) {
        int32_t pages = 0;
        ReadTIFFStream(Stream, *fIEBitmap, fParams, Progress, false, pages);
    });
}

void TImagerIO::SaveToFilePNG(const std::string& FileName) {
    CheckBitmapValid(true);
    TIEFileStream stream(FileName, TIEFileMode::Replace);
    WritePng(stream);
    CommitUnlessBroken(stream);
    fParams.FileName = FileName;
    fParams.FileType = ioPNG;
}

void TImagerIO::SaveToStreamPNG(TIEStream& Stream) {
    CheckBitmapValid(true);
    WritePng(Stream);
}

void TImagerIO::WritePng(TIEStream& Stream) {
    fAborting = false;
    if (IEGlobalSettings().AutoSetBitDepth()) fParams.UpdateBitDepth(fIEBitmap->PixelFormat());
    TProgressRec progress = MakeProgress();
    WritePngStream(Stream, *fIEBitmap, fParams, progress);
    DoFinishWork();
}
