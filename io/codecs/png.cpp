#include "io/codecs/png.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <mutex>

#include "image/bitmap.h"
#include "image/quantizer.h"

namespace {

std::mutex gLimitsLock;
TIEPngLimits gLimits;

// libpng's filter masks, in the order of TIOPNGFilter.
constexpr int32_t kFilterMasks[] = {0x08, 0x10, 0x80, 0x20, 0x40, 0xF8};

int32_t SamplesOfColorType(int32_t ColorType) {
    switch (ColorType) {
    case iePNG_COLOR_TYPE_RGB:
        return 3;
    case iePNG_COLOR_TYPE_GRAY_ALPHA:
        return 2;
    case iePNG_COLOR_TYPE_RGB_ALPHA:
        return 4;
    default:
        return 1;
    }
}

// Everything the row loop needs, decided once from the header.
struct TReadPlan {
    TIEPngHeader Header;
    bool Native = false;
    int32_t Passes = 1;
    int32_t Channels = 0;
    TIEPixelFormat Format = ieNull;
    // A 1-bit palette picture is read packed and looked up per pixel.
    bool PackedPalette = false;
    std::vector<TRGB> Palette;
};

void SetTransformations(TIEGenericPngR& Reader, const TIEPngHeader& Header, bool Native) {
    const int32_t depth = Header.BitDepth;
    const int32_t type = Header.ColorType;
    if (Native) {
        // The samples stay as they are; only 16-bit words come in the machine's order.
        if (depth == 16) Reader.Decomp_setSwap();
        return;
    }
    if ((type == iePNG_COLOR_TYPE_PALETTE && depth >= 2 && depth <= 8) ||
        (type == iePNG_COLOR_TYPE_GRAY && depth >= 2 && depth <= 7))
        Reader.Decomp_setExpand();
    if (depth == 16) Reader.Decomp_setStrip16();
    if (depth >= 2 && depth <= 7) Reader.Decomp_setPacking();
    if ((type == iePNG_COLOR_TYPE_GRAY || type == iePNG_COLOR_TYPE_GRAY_ALPHA) && depth > 1)
        Reader.Decomp_setGrayToRGB();
    if (depth > 1) Reader.Decomp_setBGR();
    // Palette and key-colour transparency become an alpha channel.
    Reader.Decomp_setTRNStoAlpha();
}

void FillParams(TIEGenericPngR& Reader, const TIEPngHeader& Header, TIOParams& IOParams, TReadPlan& Plan) {
    IOParams.ImageCount = 1;
    IOParams.Width = int32_t(Header.Width);
    IOParams.Height = int32_t(Header.Height);
    IOParams.OriginalWidth = IOParams.Width;
    IOParams.OriginalHeight = IOParams.Height;
    IOParams.BitsPerSample = Header.ColorType == iePNG_COLOR_TYPE_PALETTE ? 8 : Header.BitDepth;
    IOParams.SamplesPerPixel = SamplesOfColorType(Header.ColorType);
    // Without a pHYs chunk the resolution keeps its default rather than becoming 0.
    if (const uint32_t x = Reader.Decomp_getXPixelsPerMeter()) IOParams.DpiX = IERound(x / 100.0 * 2.54);
    if (const uint32_t y = Reader.Decomp_getYPixelsPerMeter()) IOParams.DpiY = IERound(y / 100.0 * 2.54);
    const int32_t count = Reader.Decomp_getPalette();
    Plan.Palette.clear();
    for (int32_t i = 0; i < count; ++i, Reader.getPaletteNext())
        Plan.Palette.push_back(Reader.getPalette());
    IOParams.ColorMap = Plan.Palette;
    IOParams.PNG_Interlaced = Reader.Decomp_getInterlaceType() != iePNG_INTERLACE_NONE;
}

TIEPixelFormat ChooseFormat(const TReadPlan& Plan) {
    const TIEPngHeader& header = Plan.Header;
    if (header.BitDepth == 1 && header.ColorType != iePNG_COLOR_TYPE_PALETTE) return ie1g;
    if (!Plan.Native || Plan.Channels != 1) return ie24RGB;
    if (header.ColorType == iePNG_COLOR_TYPE_PALETTE) return ie8p;
    return header.BitDepth == 16 ? ie16g : ie8g;
}

// Bytes of one decoded row as the bitmap format expects them.
size_t ExpectedRowBytes(const TReadPlan& Plan) {
    const size_t width = Plan.Header.Width;
    if (Plan.PackedPalette) return width / 8 + (width % 8 ? 1 : 0);
    if (Plan.Channels == 4) return width * 4;
    switch (Plan.Format) {
    case ie1g:
        return width / 8 + (width % 8 ? 1 : 0);
    case ie8p:
    case ie8g:
        return width;
    case ie16g:
        return width * 2;
    default:
        return width * 3;
    }
}

void SplitAlphaRow(const uint8_t* Source, int32_t Width, uint8_t* Colour, uint8_t* Alpha) {
    for (int32_t x = 0; x < Width; ++x, Source += 4) {
        Colour[0] = Source[0];
        Colour[1] = Source[1];
        Colour[2] = Source[2];
        Colour += 3;
        Alpha[x] = Source[3];
    }
}

void ExpandPackedPalette(const uint8_t* Source, int32_t Width, const std::vector<TRGB>& Palette,
                         TRGB* Target) {
    const TRGB entry0 = Palette.size() > 0 ? Palette[0] : TRGB{0, 0, 0};
    const TRGB entry1 = Palette.size() > 1 ? Palette[1] : TRGB{0, 0, 0};
    for (int32_t x = 0; x < Width; ++x)
        Target[x] = (Source[x >> 3] & (0x80 >> (x & 7))) ? entry1 : entry0;
}

// The row loop. False when reading stopped early (failure or a progress handler).
bool ReadRows(TIEGenericPngR& Reader, const TReadPlan& Plan, TIEBitmap& Bitmap, TProgressRec& Progress) {
    const int32_t width = int32_t(Plan.Header.Width);
    const int32_t height = int32_t(Plan.Header.Height);
    const size_t rowBytes = ExpectedRowBytes(Plan);
    const bool buffered = Plan.Channels == 4 || Plan.PackedPalette;
    // Each pass of an interlaced picture adds pixels to the rows the earlier passes
    // left, so a buffered row must survive until the last pass: one buffer row per
    // picture row then.
    const size_t bufferRows = buffered ? (Plan.Passes > 1 ? size_t(height) : 1) : 0;
    std::vector<uint8_t> buffer(bufferRows * rowBytes);
    TIEBitmap* alpha = nullptr;
    if (Plan.Channels == 4) {
        alpha = Bitmap.AlphaChannel();
        if (!alpha) throw EIEException("Cannot load PNG into alpha channel");
        alpha->SetFull(false);
    }
    if (Plan.Format == ie1g && width % 8 != 0) {
        // libpng leaves the bits behind the last pixel as it found them; the bitmap's
        // memory is not cleared on allocation.
        for (int32_t y = 0; y < height; ++y) {
            auto* target = static_cast<uint8_t*>(Bitmap.GetScanline(y));
            if (!target) {
                IESetAborting(Progress);
                return false;
            }
            target[rowBytes - 1] = 0;
        }
    }
    const double per1 = 100.0 / (double(height) * Plan.Passes);
    Progress.per1 = per1;
    Progress.val = 0;
    for (int32_t pass = 0; pass < Plan.Passes; ++pass) {
        for (int32_t y = 0; y < height; ++y) {
            if (IEIsAborting(Progress)) return false;
            auto* target = static_cast<uint8_t*>(Bitmap.GetScanline(y));
            auto* alphaRow = alpha ? static_cast<uint8_t*>(alpha->GetScanline(y)) : nullptr;
            if (!target || (alpha && !alphaRow)) {
                IESetAborting(Progress);
                return false;
            }
            uint8_t* row = buffered ? buffer.data() + (bufferRows > 1 ? size_t(y) * rowBytes : 0) : target;
            if (!Reader.Decomp_readRows(row)) return false;
            if (Plan.Channels == 4)
                SplitAlphaRow(row, width, target, alphaRow);
            else if (Plan.PackedPalette)
                ExpandPackedPalette(row, width, Plan.Palette, reinterpret_cast<TRGB*>(target));
            ++Progress.val;
            if (!IEReportProgress(Progress, int32_t(per1 * Progress.val))) return false;
        }
    }
    return true;
}

// A native palette picture keeps its indexes; tRNS becomes the alpha of each pixel.
// False when a row can't be had.
bool ApplyPaletteTransparency(const std::vector<uint8_t>& Transparency, TIEBitmap& Bitmap) {
    TIEBitmap* alpha = Bitmap.AlphaChannel();
    if (!alpha) return true;
    alpha->SetFull(false);
    for (int32_t y = 0; y < Bitmap.Height(); ++y) {
        const auto* indexes = static_cast<const uint8_t*>(Bitmap.GetRow(y));
        auto* target = static_cast<uint8_t*>(alpha->GetScanline(y));
        if (indexes && target)
            for (int32_t x = 0; x < Bitmap.Width(); ++x)
                target[x] = indexes[x] < Transparency.size() ? Transparency[indexes[x]] : 255;
        Bitmap.FreeRow(y);
        if (!indexes || !target) return false;
    }
    return true;
}

void DecodeWith(TIEGenericPngR& Reader, TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams,
                TProgressRec& Progress, bool Preview) {
    if (!Reader.Decomp_create(Progress.Aborting)) return;
    Reader.Decomp_setReadFunction(Stream);
    TReadPlan plan;
    if (!Reader.Decomp_readInfo() || !Reader.Decomp_getIHDR(plan.Header)) {
        IESetAborting(Progress);
        return;
    }
    const TIEPngHeader& header = plan.Header;
    // libpng refuses sides above its user limits already; the product is checked here.
    if (int64_t(header.Width) * int64_t(header.Height) > IEPngLimits().MaxPixels) {
        IESetAborting(Progress);
        return;
    }

    IOParams.PNG_TextKeys.clear();
    IOParams.PNG_TextValues.clear();
    const int32_t texts = Reader.Decomp_getText();
    for (int32_t i = 0; i < texts; ++i, Reader.getTextNext()) {
        IOParams.PNG_TextKeys.push_back(Reader.getTextKey());
        IOParams.PNG_TextValues.push_back(Reader.getTextText());
    }
    TRGB background{0, 0, 0};
    Reader.Decomp_getBackground(background);
    IOParams.PNG_Background = background;

    plan.Native = IOParams.NativePixelFormat && (header.BitDepth == 8 || header.BitDepth == 16) &&
                  (header.ColorType == iePNG_COLOR_TYPE_GRAY || header.ColorType == iePNG_COLOR_TYPE_PALETTE);
    if (plan.Native || header.BitDepth > 1) SetTransformations(Reader, header, plan.Native);
    plan.Passes = Reader.Decomp_setInterlaceHandling();
    if (!Reader.Decomp_readUpdateInfo()) {
        IESetAborting(Progress);
        return;
    }
    FillParams(Reader, header, IOParams, plan);
    if (Preview) return;

    plan.Channels = Reader.Decomp_getChannels();
    plan.Format = ChooseFormat(plan);
    plan.PackedPalette = plan.Format == ie24RGB && header.BitDepth == 1;
    // What libpng delivers must be what the row loop expects, or rows would overrun.
    if (Reader.Decomp_getRowBytes() != ExpectedRowBytes(plan) ||
        (plan.Channels != 4 && plan.Format == ie24RGB && !plan.PackedPalette && plan.Channels != 3)) {
        IESetAborting(Progress);
        return;
    }
    if (!Bitmap.Allocate(int32_t(header.Width), int32_t(header.Height), plan.Format)) {
        IESetAborting(Progress);
        return;
    }
    if (plan.Format == ie8p) {
        const int32_t colours = 1 << header.BitDepth;
        for (int32_t i = 0; i < colours && i < 256; ++i)
            Bitmap.SetPalette(i, size_t(i) < plan.Palette.size() ? plan.Palette[size_t(i)] : TRGB{0, 0, 0});
        Bitmap.SetPaletteUsed(std::min(colours, 256));
    }

    const bool complete = ReadRows(Reader, plan, Bitmap, Progress);
    if (complete && !IEIsAborting(Progress)) Reader.Decomp_readEnd();
    if (plan.Native && header.ColorType == iePNG_COLOR_TYPE_PALETTE) {
        const std::vector<uint8_t> transparency = Reader.Decomp_getTRNS();
        if (!transparency.empty() && !ApplyPaletteTransparency(transparency, Bitmap)) IESetAborting(Progress);
    }
    Bitmap.Changed();
}

// ---- Writer ----

bool IsGrey(TIEBitmap& Source) {
    for (int32_t y = 0; y < Source.Height(); ++y) {
        const auto* row = static_cast<const TRGB*>(Source.GetScanline(y));
        // A row that can't be had decides nothing; the row loop fails on it, and no
        // palette is made from the picture meanwhile.
        if (!row) return true;
        for (int32_t x = 0; x < Source.Width(); ++x)
            if (row[x].r != row[x].g || row[x].g != row[x].b) return false;
    }
    return true;
}

// The layout the writer settled on.
struct TWritePlan {
    int32_t ColorType = iePNG_COLOR_TYPE_RGB;
    int32_t BitDepth = 8;
    bool WithAlpha = false;
    // Palette pictures: entry 0 stands for the transparent pixels when WithAlpha.
    std::vector<TRGB> Palette;
    std::unique_ptr<TIEQuantizer> Quantizer;
    int32_t BackgroundIndex = 0;
};

// False when a row can't be had.
bool ConvertRow(TIEBitmap& Source, TIEBitmap* Grey16, TIEBitmap* Alpha, int32_t y, TWritePlan& Plan,
                std::vector<uint8_t>& Out) {
    const int32_t width = Source.Width();
    const auto* alpha = Alpha ? static_cast<const uint8_t*>(Alpha->GetScanline(y)) : nullptr;
    const void* pixels = Grey16 ? Grey16->GetScanline(y) : Source.GetScanline(y);
    if (!pixels || (Alpha && !alpha)) return false;
    const auto* rgb = static_cast<const TRGB*>(pixels);
    if (Plan.ColorType == iePNG_COLOR_TYPE_GRAY && Plan.BitDepth == 16) {
        // 16-bit grey goes out big-endian: the engine's words, or a byte shifted up.
        const auto* words = static_cast<const uint16_t*>(pixels);
        for (int32_t x = 0; x < width; ++x) {
            Out[size_t(x) * 2] = Grey16 ? uint8_t(words[x] >> 8) : rgb[x].g;
            Out[size_t(x) * 2 + 1] = Grey16 ? uint8_t(words[x]) : 0;
        }
        return true;
    }
    switch (Plan.ColorType) {
    case iePNG_COLOR_TYPE_GRAY:
        for (int32_t x = 0; x < width; ++x)
            Out[size_t(x)] = rgb[x].g;
        break;
    case iePNG_COLOR_TYPE_PALETTE:
        for (int32_t x = 0; x < width; ++x) {
            // Pixels more than half transparent take the transparent entry 0.
            if (Plan.WithAlpha)
                Out[size_t(x)] = alpha[x] < 128 ? 0 : uint8_t(1 + Plan.Quantizer->GetRGBIndex(rgb[x]));
            else
                Out[size_t(x)] = uint8_t(Plan.Quantizer->GetRGBIndex(rgb[x]));
        }
        break;
    case iePNG_COLOR_TYPE_RGB_ALPHA:
        for (int32_t x = 0; x < width; ++x) {
            uint8_t* target = Out.data() + size_t(x) * 4;
            target[0] = rgb[x].b;
            target[1] = rgb[x].g;
            target[2] = rgb[x].r;
            target[3] = alpha[x];
        }
        break;
    default:
        std::memcpy(Out.data(), rgb, size_t(width) * 3);
        break;
    }
    return true;
}

void EncodeWith(TIEGenericPngW& Writer, TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams,
                TProgressRec& Progress) {
    if (!Writer.Comp_create(Progress.Aborting)) throw EIEException("Error on creating PNG");
    Writer.Comp_setWriteFunction(Stream);

    int32_t depth = IOParams.BitsPerSample;
    if (depth > 8) depth = 16;
    const bool oneSample = IOParams.SamplesPerPixel == 1;
    if (oneSample && depth != 1 && depth != 8 && depth != 16) depth = 8;

    TIEBitmap* alphaPlane = Bitmap.HasAlphaChannel() ? Bitmap.AlphaChannelOpt() : nullptr;
    const bool alphaUsed = alphaPlane && !alphaPlane->Full();
    std::unique_ptr<TIEBitmap> copy;
    TIEBitmap* source = &Bitmap;
    TWritePlan plan;
    TIEBitmap* grey16 = nullptr;
    if (depth == 1) {
        if (Bitmap.PixelFormat() != ie1g) {
            copy = std::make_unique<TIEBitmap>();
            copy->AssignImage(Bitmap);
            copy->SetPixelFormat(ie1g);
            source = copy.get();
        }
        plan.ColorType = iePNG_COLOR_TYPE_GRAY;
        plan.BitDepth = 1;
    } else {
        if (oneSample && depth == 16 && Bitmap.PixelFormat() == ie16g) grey16 = &Bitmap;
        if (Bitmap.PixelFormat() != ie24RGB) {
            copy = std::make_unique<TIEBitmap>();
            copy->AssignImage(Bitmap);
            copy->SetPixelFormat(ie24RGB);
            source = copy.get();
        }
        if (oneSample) {
            if (grey16 || IsGrey(*source)) {
                plan.ColorType = iePNG_COLOR_TYPE_GRAY;
                plan.BitDepth = depth;
            } else {
                plan.ColorType = iePNG_COLOR_TYPE_PALETTE;
                plan.BitDepth = 8;
                plan.WithAlpha = alphaUsed;
                std::vector<TRGB> palette(256);
                plan.Quantizer =
                    std::make_unique<TIEQuantizer>(*source, palette.data(), alphaUsed ? 255 : 256);
                palette.resize(size_t(plan.Quantizer->UsedColors()));
                if (alphaUsed) {
                    palette.insert(palette.begin(), IOParams.PNG_Background);
                    plan.BackgroundIndex = 0;
                } else {
                    plan.BackgroundIndex = plan.Quantizer->GetRGBIndex(IOParams.PNG_Background);
                }
                plan.Palette = std::move(palette);
            }
        } else {
            plan.ColorType = alphaUsed ? iePNG_COLOR_TYPE_RGB_ALPHA : iePNG_COLOR_TYPE_RGB;
            plan.BitDepth = 8;
            plan.WithAlpha = alphaUsed;
        }
    }

    const uint32_t width = uint32_t(source->Width());
    const uint32_t height = uint32_t(source->Height());
    Writer.setIHDR(width, height, plan.BitDepth, plan.ColorType,
                   IOParams.PNG_Interlaced ? iePNG_INTERLACE_ADAM7 : iePNG_INTERLACE_NONE);
    if (plan.ColorType == iePNG_COLOR_TYPE_PALETTE) {
        Writer.setPalette(plan.Palette);
        if (plan.WithAlpha) Writer.setTRNS({0});
    }
    // Pixels per metre, in floating point: a large resolution times 100 overflows an
    // integer. A pHYs value holds at most 2^31 - 1.
    const auto perMetre = [](int32_t Dpi) {
        return uint32_t(std::clamp(std::nearbyint(Dpi * 100.0 / 2.54), 0.0, 2147483647.0));
    };
    Writer.setPHYS(perMetre(IOParams.DpiX), perMetre(IOParams.DpiY));
    const int32_t filter = IOParams.PNG_Filter;
    Writer.setFilter(kFilterMasks[filter >= 0 && filter <= ioPNG_FILTER_ALL ? filter : 0]);
    Writer.setBackground(IOParams.PNG_Background, plan.BackgroundIndex);
    Writer.setCompressionLevel(IOParams.PNG_Compression);
    Writer.setBGR();

    const size_t texts = std::min(IOParams.PNG_TextKeys.size(), IOParams.PNG_TextValues.size());
    if (texts > 0) {
        Writer.createTextList(int32_t(texts));
        for (size_t i = 0; i < texts; ++i)
            Writer.textListSet(int32_t(i), IOParams.PNG_TextKeys[i], IOParams.PNG_TextValues[i], -1);
        Writer.Comp_setText();
        Writer.destroyTextList();
    }

    if (!Writer.Comp_writeInfo()) return;
    const int32_t passes = Writer.Comp_setInterlaceHandling();
    size_t rowBytes = 0;
    switch (plan.ColorType) {
    case iePNG_COLOR_TYPE_GRAY:
        rowBytes = plan.BitDepth == 1 ? (width + 7) / 8 : width * size_t(plan.BitDepth / 8);
        break;
    case iePNG_COLOR_TYPE_PALETTE:
        rowBytes = width;
        break;
    case iePNG_COLOR_TYPE_RGB_ALPHA:
        rowBytes = size_t(width) * 4;
        break;
    default:
        rowBytes = size_t(width) * 3;
        break;
    }
    std::vector<uint8_t> row(rowBytes);
    TIEBitmap* alpha = plan.WithAlpha ? alphaPlane : nullptr;
    const double per1 = 100.0 / (double(height) * passes);
    Progress.val = 0;
    for (int32_t pass = 0; pass < passes; ++pass) {
        for (uint32_t y = 0; y < height; ++y) {
            if (IEIsAborting(Progress)) return;
            const uint8_t* data = nullptr;
            if (plan.BitDepth == 1 || plan.ColorType == iePNG_COLOR_TYPE_RGB)
                data = static_cast<const uint8_t*>(source->GetScanline(int32_t(y)));
            else if (ConvertRow(*source, grey16, alpha, int32_t(y), plan, row))
                data = row.data();
            if (!data) {
                IESetAborting(Progress);
                return;
            }
            if (!Writer.Comp_writeRows(data)) return;
            ++Progress.val;
            if (!IEReportProgress(Progress, int32_t(per1 * Progress.val))) return;
        }
    }
    Writer.Comp_writeEnd();
}

} // namespace

TIEPngLimits IEPngLimits() {
    std::lock_guard<std::mutex> guard(gLimitsLock);
    return gLimits;
}

void IESetPngLimits(const TIEPngLimits& Limits) {
    std::lock_guard<std::mutex> guard(gLimitsLock);
    gLimits = Limits;
}

void ReadPngStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress,
                   bool Preview) {
    // A caller without a failure flag still gets a decoder that stops on errors.
    bool localAborting = false;
    TProgressRec progress = Progress;
    if (!progress.Aborting) progress.Aborting = &localAborting;

    // A profile of an earlier load must not stay with a picture that has none.
    IOParams.InputICCProfile.clear();
    IEScanPngMetadata(Stream, IOParams);
    std::unique_ptr<TIEGenericPngR> reader = IECreateLibPngR();
    DecodeWith(*reader, Stream, Bitmap, IOParams, progress, Preview);
    reader->Decomp_destroy();
    Progress.val = progress.val;
    Progress.per1 = progress.per1;
    Progress.LastPercent = progress.LastPercent;
}

void WritePngStream(TIEStream& Stream, TIEBitmap& Bitmap, TIOParams& IOParams, TProgressRec& Progress) {
    if (Bitmap.Width() < 1 || Bitmap.Height() < 1) throw EIEException("Invalid bitmap");
    bool localAborting = false;
    TProgressRec progress = Progress;
    if (!progress.Aborting) progress.Aborting = &localAborting;

    std::unique_ptr<TIEGenericPngW> writer = IECreateLibPngW();
    EncodeWith(*writer, Stream, Bitmap, IOParams, progress);
    writer->Comp_destroy();
    Progress.val = progress.val;
    Progress.LastPercent = progress.LastPercent;
}
