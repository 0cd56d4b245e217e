#include "io/registry.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "io/codecs/jpeg.h"
#include "io/codecs/png.h"
#include "io/codecs/tiff.h"
#include "io/detect.h"

namespace {

// The engine's own rows are loaded by per-format methods of the front end; these
// only mark what a format can do and must never be reached.
void BuiltInRead(TIEStream&, TIEBitmap&, TIOParams&, TProgressRec&, bool) {
    throw std::logic_error("built-in formats are read through TImagerIO");
}
void BuiltInWrite(TIEStream&, TIEBitmap&, TIOParams&, TProgressRec&) {
    throw std::logic_error("built-in formats are written through TImagerIO");
}
bool BuiltInTry(TIEStream&) {
    return false;
}

struct TBuiltInRow {
    TIOFileType FileType;
    const char* FullName;
    const char* Extensions;
    bool Writable;
    // The codec's stream functions once it is built; the placeholders until then.
    TIEReadImageStream Read = nullptr;
    TIEWriteImageStream Write = nullptr;
};

// Registration order is detection order for the try functions and lookup order for
// extensions, so it is fixed here. The system's imaging codecs (HD Photo, DDS, HEIF,
// "Other Windows Images") don't exist on this platform: WebP stands alone.
constexpr TBuiltInRow kBuiltInRows[] = {
    {1, "TIFF Image", "TIFF;TIF;FAX;G3F;G3N", true, IETiffReadStream},
    {2, "GIF Image", "GIF", false},
    {3, "JPEG Image", "JPEG;JPG;JPE;JIF;JFIF", true, IEJpegReadStream, IEJpegWriteStream},
    {4, "PaintBrush", "PCX", false},
    {5, "Windows Bitmap", "BMP;DIB;RLE", false},
    {21, "Raw Bitmap", "", false},
    {6, "Windows Icon", "ICO", false},
    {7, "Windows Cursor", "CUR", false},
    {8, "Portable Network Graphics", "PNG", true, ReadPngStream, WritePngStream},
    {28, "DICOM Medical Image", "DICOM;DCM;DIC;V2", false},
    {9, "Windows Metafile", "WMF", false},
    {10, "Enhanced Metafile", "EMF", false},
    {11, "Targa Image", "TARGA;TGA;VDA;ICB;VST", false},
    {12, "Portable Pixmap", "PXM;PBM;PGM;PPM", false},
    {16, "Wireless Bitmap", "WBMP", false},
    {13, "JPEG2000", "JP2", false},
    {14, "JPEG2000 Code Stream", "J2K;JPC;J2C", false},
    {17, "PostScript", "PS;EPS", false},
    {18, "Adobe PDF", "PDF;PDFA;EPDF", false},
    {19, "Multipage PCX", "DCX", false},
    {20, "Camera Raw Image",
     "CRW;CR2;CR3;DNG;NEF;RAW;RAF;X3F;ORF;SRF;MRW;DCR;BAY;PEF;SR2;ARW;KDC;MEF;3FR;K25;ERF;CAM;CS1;DC2;DCS;"
     "FFF;MDC;"
     "MOS;NRW;PTX;PXN;RDC;RW2;RWL;IIQ;SRW",
     false},
    {24, "Photoshop PSD", "PSD;PSB", false},
    {25, "Vector Objects File", "IEV", false},
    {27, "Vector Advanced File", "ALL", false},
    {26, "Layers File", "IEN;LYR", false},
    {31, "Scalable Vector Graphics", "SVG", false},
    {34, "WebP", "WEBP", false},
};

constexpr TIOFileType ioTIFF = 1, ioGIF = 2, ioJPEG = 3, ioPCX = 4, ioBMP = 5, ioICO = 6, ioCUR = 7,
                      ioPNG = 8, ioWMF = 9, ioEMF = 10, ioTGA = 11, ioPXM = 12, ioJP2 = 13, ioJ2K = 14,
                      ioAVI = 15, ioPDF = 18, ioDCX = 19, ioRAW = 20, ioPSD = 24, ioIEN = 26, ioDICOM = 28,
                      ioHDP = 29, ioSVG = 31, ioWEBP = 34, ioOtherWIC = 99, ioZIP = 8292;

std::string UpperAscii(std::string_view Text) {
    std::string result(Text);
    for (char& c : result)
        if (c >= 'a' && c <= 'z') c = char(c - 'a' + 'A');
    return result;
}

bool ExtensionListHas(std::string_view List, std::string_view Ext) {
    while (!List.empty()) {
        const size_t end = std::min(List.find(';'), List.size());
        if (List.substr(0, end) == Ext) return true;
        List.remove_prefix(std::min(end + 1, List.size()));
    }
    return false;
}

// The stream-header forms compare the first bytes as a zero-terminated text.
bool HeadTextIs(const TIEDetectSource& Source, size_t Count, std::string_view Text) {
    const std::vector<uint8_t>& head = Source.Head();
    size_t length = 0;
    while (length < Count && length < head.size() && head[length] != 0)
        ++length;
    return std::string_view(reinterpret_cast<const char*>(head.data()), length) == Text;
}

bool HeadContains(const TIEDetectSource& Source, size_t Limit, std::string_view Text) {
    const std::vector<uint8_t>& head = Source.Head();
    const std::string_view window(reinterpret_cast<const char*>(head.data()), std::min(Limit, head.size()));
    return window.find(Text) != std::string_view::npos;
}

class TPositionGuard {
  public:
    explicit TPositionGuard(TIEStream& Stream) : fStream(Stream), fPosition(Stream.Position()) {}
    ~TPositionGuard() { fStream.SetPosition(fPosition); }
    TPositionGuard(const TPositionGuard&) = delete;
    TPositionGuard& operator=(const TPositionGuard&) = delete;
    int64_t Position() const { return fPosition; }

  private:
    TIEStream& fStream;
    int64_t fPosition;
};

TIOFileType DetectFormat(TIEStream& Stream, int64_t Start) {
    TIEDetectSource source(Stream);
    const uint64_t size = source.Size();
    const std::vector<uint8_t>& head = source.Head();

    // Several tests ask for it and it walks directories, so it runs once.
    std::optional<bool> camera;
    auto isCameraRaw = [&] {
        if (!camera) camera = IEIsCameraRaw(source);
        return *camera;
    };

    // The engine's stream headers first; files of 12 bytes or less can't carry one.
    if (size > 12 && HeadTextIs(source, 5, "JFIF")) return ioJPEG;
    if (size > 13 && source.HeadMatches(0, "GIF", 3)) return ioGIF;
    if (size > 12 && HeadTextIs(source, 5, "PCX2")) return ioPCX;
    if (size > 4 && HeadTextIs(source, 4, "PCX")) return ioPCX;
    if (size > 128 && head[0] == 10 && head[1] <= 5) return ioPCX;
    if (size > 12 && HeadTextIs(source, 5, "TIFF")) return ioTIFF;

    if (IEIsHDPhoto(source)) return ioHDP;
    const bool dicom = source.HeadMatches(128, "DICM", 4);
    if (IEClassifyTiff(source) == TIETiffKind::Tiff && !dicom) return isCameraRaw() ? ioRAW : ioTIFF;
    if (size > 8 && source.HeadMatches(0, "\x89PNG\r\n\x1A\n", 8)) return ioPNG;
    if (dicom) return ioDICOM;
    if (IEIsIconDirectory(source, 1)) return ioICO;
    if (IEIsIconDirectory(source, 2)) return ioCUR;
    if (IEIsTarga(source)) return ioTGA;
    if (head.size() >= 2 && head[0] == 'P' && head[1] >= '1' && head[1] <= '6') return ioPXM;
    if (source.HeadMatches(0, "\0\0\0\x0CjP  \r\n\x87\n", 12)) return ioJP2;
    if (source.HeadMatches(0, "\xFF\x4F\xFF\x51", 4)) return ioJ2K;
    if (source.HeadMatches(0, "RIFF", 4) && source.HeadMatches(8, "AVI ", 4)) return ioAVI;
    if (IEIsDCX(source)) return ioDCX;
    if (IEIsWindowsMetafile(source)) return ioWMF;
    if (IEIsEnhancedMetafile(source)) return ioEMF;
    if (source.HeadMatches(0, "8BPS", 4)) return ioPSD;
    // The legacy vector objects format is not enabled in this engine, so of the
    // layer and vector files only the stand-alone layer file is recognised.
    if (source.HeadMatches(0, "IMAGERLAYERS", 12)) return ioIEN;

    // Junk of up to 149 bytes before the SOI is tolerated; raw files that embed a
    // preview JPEG early must not be taken for it.
    if (!isCameraRaw())
        for (size_t i = 0; i < 150 && i + 3 <= head.size(); ++i)
            if (head[i] == 0xFF && head[i + 1] == 0xD8 && head[i + 2] == 0xFF) return ioJPEG;

    if (size > 14 && head[0] == 'B' && head[1] == 'M') return ioBMP;

    const TIEFileFormatList& formats = IEFileFormats();
    for (int32_t i = 0; i < formats.Count(); ++i) {
        const TIEFileFormatInfo* format = formats.GetFileFormat(i);
        if (!format->TryFunction) continue;
        Stream.SetPosition(Start);
        bool hit = false;
        try {
            hit = format->TryFunction(Stream);
        } catch (const std::exception&) {
            // Detection never raises: a test that breaks off answers no.
        }
        if (hit) return format->FileType;
    }

    if (isCameraRaw()) return ioRAW;
    if (source.HeadMatches(0, "%PDF-", 5)) return ioPDF;
    if (HeadContains(source, 500, "<svg")) return ioSVG;
    if (source.HeadMatches(0, "RIFF", 4) && source.HeadMatches(8, "WEBP", 4)) return ioWEBP;
    if (source.HeadMatches(0, "PK", 2)) return ioZIP;
    return 0;
}

} // namespace

std::string TIEFileFormatInfo::SuitableExtension() const {
    return Extensions.substr(0, std::min(Extensions.find(';'), Extensions.size()));
}

TIEFileFormatList::TIEFileFormatList() {
    for (const TBuiltInRow& row : kBuiltInRows) {
        TIEFileFormatInfo format;
        format.FileType = row.FileType;
        format.FullName = row.FullName;
        format.Extensions = row.Extensions;
        format.InternalFormat = true;
        format.ReadFunction = row.Read ? row.Read : BuiltInRead;
        format.WriteFunction = row.Writable ? (row.Write ? row.Write : BuiltInWrite) : nullptr;
        format.TryFunction = BuiltInTry;
        RegisterFormat(format);
    }
}

const TIEFileFormatInfo* TIEFileFormatList::GetFileFormat(int32_t Index) const {
    if (Index < 0 || Index >= Count()) return nullptr;
    return fFormats[size_t(Index)].get();
}

bool TIEFileFormatList::RegisterFormat(const TIEFileFormatInfo& Format) {
    if (!Format.ReadFunction && !Format.WriteFunction) return false;
    fFormats.push_back(std::make_unique<TIEFileFormatInfo>(Format));
    return true;
}

TIEFileFormatList& IEFileFormats() {
    static TIEFileFormatList formats;
    return formats;
}

const TIEFileFormatInfo* FindFileFormat(TIOFileType FileType) {
    const TIEFileFormatList& formats = IEFileFormats();
    for (int32_t i = 0; i < formats.Count(); ++i)
        if (formats.GetFileFormat(i)->FileType == FileType) return formats.GetFileFormat(i);
    return nullptr;
}

const TIEFileFormatInfo* FindFileFormatByExt(const std::string& Ext) {
    std::string_view name(Ext);
    if (!name.empty() && name.front() == '.') name.remove_prefix(1);
    if (name.empty()) return nullptr;
    const std::string upper = UpperAscii(name);
    const TIEFileFormatList& formats = IEFileFormats();
    for (int32_t i = 0; i < formats.Count(); ++i)
        if (ExtensionListHas(formats.GetFileFormat(i)->Extensions, upper)) return formats.GetFileFormat(i);
    // Without the system's imaging codecs there is no row 99 to fall back to.
    return nullptr;
}

std::string IEExtractFileExt(const std::string& FileName) {
    const size_t dot = FileName.find_last_of("./");
    if (dot == std::string::npos || FileName[dot] != '.') return std::string();
    return FileName.substr(dot);
}

TIOFileType FindStreamFormat(TIEStream& Stream) {
    TPositionGuard guard(Stream);
    return DetectFormat(Stream, guard.Position());
}

TIOFileType FindFileFormat(const std::string& FileName, int VerifyMode) {
    std::error_code error;
    if (FileName.empty() || !std::filesystem::is_regular_file(FileName, error)) return 0;
    TIOFileType found;
    try {
        TIEFileStream stream(FileName, TIEFileMode::Read);
        found = FindStreamFormat(stream);
    } catch (const EIEFileError&) {
        // Detection doesn't raise; a file that can't be opened has no format.
        return 0;
    }
    const std::string ext = IEExtractFileExt(FileName);
    const TIEFileFormatInfo* row = FindFileFormatByExt(ext);

    // Camera raw wins over TIFF: most raw formats are TIFF inside.
    if (row && row->FileType == ioRAW) {
        if (found == ioTIFF) return ioRAW;
        if (found == ioOtherWIC && VerifyMode != 0) return ioRAW;
    }
    if (row && !row->InternalFormat) return row->FileType;

    switch (VerifyMode) {
    case 1:
        if (found == 0) return 0;
        if (row) {
            if (found == ioICO || found == ioCUR) return row->FileType;
            return found == row->FileType ? found : 0;
        }
        return found == ioAVI && UpperAscii(ext) != ".AVI" ? found : 0;
    case 2:
        if (found == 0 && row) return row->FileType;
        return found;
    default:
        return found;
    }
}
