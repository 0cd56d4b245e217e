#include "io/imagerio.h"

#include <strings.h>

#include "image/bitmap.h"
#include "io/registry.h"

namespace {
constexpr TIOFileType ioJPEG = 3;
constexpr TIOFileType ioAVI = 15;

bool IESameText(const std::string& a, const char* b) { return strcasecmp(a.c_str(), b) == 0; }
} // namespace

TImagerIO::TImagerIO(TIEBitmap* Bitmap, bool AttachedToView)
    : fIEBitmap(Bitmap), fAttachedToView(AttachedToView), fAutoAdjustDPI(IEGlobalSettings().AutoAdjustDPI()) {}

void TImagerIO::CheckBitmapValid(bool MustNotBeEmpty) const {
    if (fAttachedToView) {
        if (!fIEBitmap) throw EIEException("Active layer does not contain a bitmap");
        return;
    }
    if (!fIEBitmap || (MustNotBeEmpty && fIEBitmap->IsEmpty())) throw EIEException("Bitmap is not valid");
}

bool TImagerIO::LoadFromFileAuto(const std::string& FileName) {
    return LoadFromFile(FileName, FindFileFormat(FileName, 2));
}

bool TImagerIO::LoadFromFile(const std::string& FileName, TIOFileType FileFormat) {
    if (!fIEBitmap) return false;
    if (FileName.empty()) {
        fAborting = true;
        return false;
    }
    if (FileFormat == 0) {
        // A file that is gone raises here, as opening it for reading would.
        TIEFileStream(FileName, TIEFileMode::Read);
        FileFormat = FindFileFormat(FileName, 0);
    }
    if (FileFormat == 0) {
        fAborting = true;
        return false;
    }
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
    if (!loaded && bCheckUnknown) {
        TIOFileType found = FindFileFormat(FileName, 0);
        if (found != 0 && found != format) loaded = LoadFromFile(FileName, found);
    }
    return loaded;
}

bool TImagerIO::LoadByFormat(const std::string& FileName, TIOFileType FileFormat) {
    (void)FileName;
    (void)FileFormat;
    // Readers register here as their codecs are built; a format without one fails
    // like an unknown format.
    fAborting = true;
    if (OnUpdate) OnUpdate();
    return false;
}

void TImagerIO::SaveToFileJpeg(const std::string& FileName) {
    CheckBitmapValid(true);
    // The target exists and is empty from here on, also if the encoder fails.
    TIEFileStream stream(FileName, TIEFileMode::Create);
    const bool headers = fStreamHeaders;
    fStreamHeaders = false;
    WriteJpeg(stream);
    fStreamHeaders = headers;
    fParams.FileName = FileName;
    fParams.FileType = ioJPEG;
}

void TImagerIO::SaveToStreamJpeg(TIEStream& Stream) {
    CheckBitmapValid(true);
    WriteJpeg(Stream);
}

void TImagerIO::WriteJpeg(TIEStream& Stream) {
    (void)Stream;
    fAborting = false;
    CheckBitmapValid(true);
    // The JPEG encoder is not part of the engine yet: nothing is written.
    fAborting = true;
}
