#include "cli/imagetool.h"

#include "cli/imageprocess.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <ostream>
#include <strings.h>
#include <vector>

#include "image/bitmap.h"
#include "io/fileerror.h"
#include "io/registry.h"
#include "mview/imagerview.h"
#include "proc/resample.h"

namespace {

const char* const kUsage = "Usage: pixelwright-cli image detect FILE\n"
                           "       pixelwright-cli image info FILE [--index N]\n"
                           "       pixelwright-cli image resample IN OUT --width W --height H --filter NAME "
                           "[--maintain] [--index N]\n"
                           "       pixelwright-cli image process IN OUT OP...\n";

const char* ColorSpaceName(TIOJPEGColorspace Space) {
    static const char* const names[] = {"ioJPEG_RGB", "ioJPEG_GRAYLEV", "ioJPEG_YCbCr", "ioJPEG_CMYK",
                                        "ioJPEG_YCbCrK"};
    return Space >= ioJPEG_RGB && Space <= ioJPEG_YCbCrK ? names[Space] : "";
}

bool ParseInteger(const std::string& Text, int32_t& Value) {
    const char* end = Text.data() + Text.size();
    auto [at, error] = std::from_chars(Text.data(), end, Value);
    return error == std::errc() && at == end;
}

int Detect(const std::vector<std::string>& Arguments, std::ostream& Out, std::ostream& Err) {
    if (Arguments.size() != 2) {
        Err << kUsage;
        return 2;
    }
    Out << FindFileFormat(Arguments[1], 2) << "\n";
    return 0;
}

int Info(const std::vector<std::string>& Arguments, std::ostream& Out, std::ostream& Err) {
    int32_t index = 0;
    const bool indexed =
        Arguments.size() == 4 && Arguments[2] == "--index" && ParseInteger(Arguments[3], index);
    if (Arguments.size() != 2 && !indexed) {
        Err << kUsage;
        return 2;
    }
    TImagerView holder;
    if (!LoadImageFile(holder, Arguments[1], Err, index)) return 1;
    TIEBitmap& bitmap = holder.IEBitmap();
    const TIOParams& params = holder.IO().Params();
    Out << bitmap.Width() << " " << bitmap.Height() << " " << IEPixelFormatName(bitmap.PixelFormat()) << "\n";
    Out << "PageCount=" << params.ImageCount << "\n";
    Out << "FileType=" << params.FileType << "\n";
    Out << "DpiX=" << params.DpiX << "\n";
    Out << "DpiY=" << params.DpiY << "\n";
    Out << "BitsPerSample=" << params.BitsPerSample << "\n";
    Out << "SamplesPerPixel=" << params.SamplesPerPixel << "\n";
    Out << "OriginalWidth=" << params.OriginalWidth << "\n";
    Out << "OriginalHeight=" << params.OriginalHeight << "\n";
    Out << "JPEG_Quality=" << params.JPEG_Quality << "\n";
    Out << "JPEG_ColorSpace=" << ColorSpaceName(params.JPEG_ColorSpace) << "\n";
    Out << "JPEG_Progressive=" << (params.JPEG_Progressive ? 1 : 0) << "\n";
    Out << "JPEG_ScaleUsed=" << params.JPEG_ScaleUsed << "\n";
    Out << "JPEG_MarkerCount=" << params.JPEG_MarkerList.Count() << "\n";
    Out << "EXIF_HasEXIFData=" << (params.EXIF_HasEXIFData ? 1 : 0) << "\n";
    Out << "EXIF_Orientation=" << params.EXIF_Orientation << "\n";
    Out << "JPEG_WarningTot=" << params.JPEG_WarningTot << "\n";
    Out << "JPEG_WarningCode=" << params.JPEG_WarningCode << "\n";
    return 0;
}

int Resample(const std::vector<std::string>& Arguments, std::ostream& Err) {
    if (Arguments.size() < 3) {
        Err << kUsage;
        return 2;
    }
    int32_t width = 0, height = 0, index = 0;
    bool haveWidth = false, haveHeight = false, haveFilter = false, maintain = false;
    TResampleFilter filter = rfNone;
    for (size_t i = 3; i < Arguments.size(); ++i) {
        const std::string& option = Arguments[i];
        const bool hasValue = i + 1 < Arguments.size();
        if (option == "--maintain") {
            maintain = true;
        } else if (option == "--width" && hasValue && ParseInteger(Arguments[i + 1], width)) {
            haveWidth = true;
            ++i;
        } else if (option == "--height" && hasValue && ParseInteger(Arguments[i + 1], height)) {
            haveHeight = true;
            ++i;
        } else if (option == "--index" && hasValue && ParseInteger(Arguments[i + 1], index)) {
            ++i;
        } else if (option == "--filter" && hasValue && ParseResampleFilter(Arguments[i + 1], filter)) {
            haveFilter = true;
            ++i;
        } else {
            Err << "pixelwright-cli: bad argument \"" << option << "\"\n" << kUsage;
            return 2;
        }
    }
    if (!haveWidth || !haveHeight || !haveFilter) {
        Err << "pixelwright-cli: resample needs --width, --height and --filter\n" << kUsage;
        return 2;
    }
    TImagerView holder;
    if (!LoadImageFile(holder, Arguments[1], Err, index)) return 1;
    TIEBitmap& bitmap = holder.IEBitmap();
    int32_t resolvedWidth = width, resolvedHeight = height;
    IEResolveResampleSize(resolvedWidth, resolvedHeight, bitmap.Width(), bitmap.Height(), maintain);
    try {
        holder.Proc().Resample(width, height, filter, maintain);
    } catch (const std::exception& error) {
        Err << "pixelwright-cli: " << error.what() << "\n";
        return 1;
    }
    // The engine keeps the picture when the size can't be resolved or had; it is
    // written all the same, and the status says the resample did not happen.
    const bool resampled = bitmap.Width() == resolvedWidth && bitmap.Height() == resolvedHeight;
    if (!resampled)
        Err << "pixelwright-cli: cannot resample to " << width << " x " << height
            << "; the picture keeps its size " << bitmap.Width() << " x " << bitmap.Height() << "\n";
    if (!WriteImageFile(holder, Arguments[2])) {
        Err << "pixelwright-cli: cannot write \"" << Arguments[2] << "\"\n";
        return 1;
    }
    return resampled ? 0 : 1;
}

void PutSample(std::vector<uint8_t>& Row, uint32_t Value, bool Wide) {
    if (Wide) Row.push_back(uint8_t(Value >> 8));
    Row.push_back(uint8_t(Value));
}

} // namespace

bool ParseResampleFilter(const std::string& Name, TResampleFilter& Filter) {
    for (int32_t value = rfNone; value <= rfWICCubicHQ; ++value) {
        // Every name begins with "rf".
        const char* name = IEResampleFilterName(TResampleFilter(value)) + 2;
        if (strcasecmp(name, Name.c_str()) == 0) {
            Filter = TResampleFilter(value);
            return true;
        }
    }
    return false;
}

bool WritePNM(TIEBitmap& Bitmap, const std::string& FileName) {
    const TIEPixelFormat format = Bitmap.PixelFormat();
    const bool grey = format == ie1g || format == ie8g || format == ie16g || format == ie32f;
    const bool wide = format == ie16g || format == ie48RGB;
    std::ofstream file(FileName, std::ios::binary);
    if (!file) return false;
    file << (grey ? "P5\n" : "P6\n") << Bitmap.Width() << " " << Bitmap.Height() << "\n"
         << (wide ? 65535 : 255) << "\n";
    std::vector<uint8_t> row;
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        row.clear();
        for (int32_t x = 0; x < Bitmap.Width(); ++x) {
            switch (format) {
            case ie1g:
                PutSample(row, Bitmap.GetPixels_ie1g(x, y) ? 255 : 0, false);
                break;
            case ie8g:
                PutSample(row, Bitmap.GetPixels_ie8(x, y), false);
                break;
            case ie16g:
                PutSample(row, Bitmap.GetPixels_ie16g(x, y), true);
                break;
            case ie32f:
                PutSample(row, IEByteClamp(IERound64(double(Bitmap.GetPixels_ie32f(x, y)) * 255.0)), false);
                break;
            case ie48RGB: {
                const TRGB48 p = Bitmap.GetPixels_ie48RGB(x, y);
                PutSample(row, p.r, true);
                PutSample(row, p.g, true);
                PutSample(row, p.b, true);
                break;
            }
            default: {
                const TRGB p = format == ie24RGB ? Bitmap.GetPixels_ie24RGB(x, y) : Bitmap.GetPixels(x, y);
                PutSample(row, p.r, false);
                PutSample(row, p.g, false);
                PutSample(row, p.b, false);
                break;
            }
            }
        }
        file.write(reinterpret_cast<const char*>(row.data()), std::streamsize(row.size()));
    }
    // Rows that could not be read came out as zeros: the file is then no true picture.
    return Bitmap.FlushRows() && bool(file);
}

// The PNG goes through the engine's save path, at the depth of the bitmap's format.
bool WriteImageFile(TImagerView& Holder, const std::string& FileName) {
    const size_t point = FileName.rfind('.');
    const bool png = point != std::string::npos && strcasecmp(FileName.c_str() + point, ".png") == 0;
    if (!png) return WritePNM(Holder.IEBitmap(), FileName);
    try {
        TImagerIO& io = Holder.IO();
        io.Params().UpdateBitDepth(Holder.IEBitmap().PixelFormat());
        io.SaveToFilePNG(FileName);
        return !io.Aborting();
    } catch (const std::exception&) {
        return false;
    }
}

// Loads as the batch does, by content first; a missing file and a file that isn't a
// picture both end in a message.
bool LoadImageFile(TImagerView& Holder, const std::string& FileName, std::ostream& Err, int32_t Index) {
    // The index reaches every family that has pages or frames.
    TIOParams& params = Holder.IO().Params();
    params.ImageIndex = Index;
    params.TIFF_ImageIndex = Index;
    try {
        // Single-picture readers don't look at the index: past their one picture is
        // past the last all the same.
        if (Holder.IO().LoadFromFileAuto(FileName) && Index < std::max(params.ImageCount, 1)) return true;
    } catch (const std::exception& error) {
        Err << "pixelwright-cli: " << error.what() << "\n";
        return false;
    }
    Err << "pixelwright-cli: cannot load \"" << FileName << "\"\n";
    return false;
}

int RunImageTool(const std::vector<std::string>& Arguments, std::ostream& Out, std::ostream& Err) {
    const std::string command = Arguments.empty() ? std::string() : Arguments[0];
    if (command == "detect") return Detect(Arguments, Out, Err);
    if (command == "info") return Info(Arguments, Out, Err);
    if (command == "resample") return Resample(Arguments, Err);
    if (command == "process") return RunImageProcess(Arguments, Err);
    Err << kUsage;
    return 2;
}
