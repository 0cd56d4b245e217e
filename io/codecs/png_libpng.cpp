#include <png.h>

#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "io/codecs/png.h"

// Every call into libpng that can fail goes through one of the Guarded functions below.
// libpng reports an error by calling the error function, which must not return; ours
// longjmps back into the Guarded function that made the call. These functions hold no
// object with a destructor, and the only frames the jump crosses are libpng's and the
// plain callbacks of this file, so nothing is skipped that needed to run.

namespace {

struct TPngState {
    jmp_buf Jump;
    png_structp Png = nullptr;
    png_infop Info = nullptr;
    bool* Aborting = nullptr;
    bool Failed = false;
    TIEStream* Stream = nullptr;
    // libpng allocates a chunk's declared length before reading it; a lying length in a
    // tiny file must not become gigabytes.
    size_t MaxAllocation = 0;
};

size_t MaxLibraryAllocation() {
    const TIEPngLimits limits = IEPngLimits();
    // The largest chunk kept, or a row of the widest picture at 8 bytes a pixel, plus
    // room for libpng's own tables.
    return size_t(limits.MaxChunkBytes) + size_t(limits.MaxSide) * 8 + 65536;
}

png_voidp LimitedMalloc(png_structp Png, png_alloc_size_t Size) {
    const TPngState* state = static_cast<const TPngState*>(png_get_mem_ptr(Png));
    if (state && Size > state->MaxAllocation) return nullptr;
    return std::malloc(Size);
}

void FreeMemory(png_structp, png_voidp Memory) {
    std::free(Memory);
}

[[noreturn]] void ErrorFunction(png_structp Png, png_const_charp Message) {
    TPngState* state = static_cast<TPngState*>(png_get_error_ptr(Png));
    state->Failed = true;
    // Trailing data after the picture ends the read like any error, but the rows are
    // all there, so it doesn't count as a failure.
    if (std::strcmp(Message, kPngExtraCompressedData) != 0 && state->Aborting) *state->Aborting = true;
    std::longjmp(state->Jump, 1);
}

// Warnings (CRC of ancillary chunks, benign errors) are not reported.
void WarningFunction(png_structp, png_const_charp) {}

size_t ReadFromStream(TIEStream& Stream, void* Buffer, size_t Count) {
    try {
        return Stream.Read(Buffer, Count);
    } catch (const std::exception&) {
        // A stream that fails to read has simply ended: the decoder sees a truncated file.
        return 0;
    }
}

bool WriteToStream(TIEStream& Stream, const void* Buffer, size_t Count) {
    try {
        return Stream.Write(Buffer, Count) == Count;
    } catch (const std::exception&) {
        return false;
    }
}

void ReadData(png_structp Png, png_bytep Data, size_t Length) {
    TPngState* state = static_cast<TPngState*>(png_get_io_ptr(Png));
    const bool stopped = state->Aborting && *state->Aborting;
    if (stopped || ReadFromStream(*state->Stream, Data, Length) != Length) png_error(Png, "Read Error");
}

void WriteData(png_structp Png, png_bytep Data, size_t Length) {
    TPngState* state = static_cast<TPngState*>(png_get_io_ptr(Png));
    if (!WriteToStream(*state->Stream, Data, Length)) png_error(Png, "Write Error");
}

void FlushData(png_structp) {}

// ---- Guarded calls: plain data only between setjmp and return ----

bool GuardedReadInfo(TPngState* State) {
    if (setjmp(State->Jump)) return false;
    png_read_info(State->Png, State->Info);
    return true;
}

bool GuardedReadUpdateInfo(TPngState* State) {
    if (setjmp(State->Jump)) return false;
    png_read_update_info(State->Png, State->Info);
    return true;
}

bool GuardedReadRow(TPngState* State, png_bytep Row) {
    if (setjmp(State->Jump)) return false;
    png_read_row(State->Png, Row, nullptr);
    return true;
}

bool GuardedReadEnd(TPngState* State) {
    if (setjmp(State->Jump)) return false;
    png_read_end(State->Png, State->Info);
    return true;
}

// Transformations only record flags, but libpng may still call png_error on misuse.
bool GuardedTransform(TPngState* State, void (*Transform)(png_structp)) {
    if (setjmp(State->Jump)) return false;
    Transform(State->Png);
    return true;
}

bool GuardedInterlaceHandling(TPngState* State, int* Passes) {
    if (setjmp(State->Jump)) return false;
    *Passes = png_set_interlace_handling(State->Png);
    return true;
}

bool GuardedWriteInfo(TPngState* State) {
    if (setjmp(State->Jump)) return false;
    png_write_info(State->Png, State->Info);
    return true;
}

bool GuardedWriteRow(TPngState* State, png_const_bytep Row) {
    if (setjmp(State->Jump)) return false;
    png_write_row(State->Png, Row);
    return true;
}

bool GuardedWriteEnd(TPngState* State) {
    if (setjmp(State->Jump)) return false;
    png_write_end(State->Png, State->Info);
    return true;
}

bool GuardedSetIHDR(TPngState* State, png_uint_32 Width, png_uint_32 Height, int BitDepth, int ColorType,
                    int Interlace) {
    if (setjmp(State->Jump)) return false;
    png_set_IHDR(State->Png, State->Info, Width, Height, BitDepth, ColorType, Interlace,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    return true;
}

bool GuardedSetPLTE(TPngState* State, png_const_colorp Palette, int Count) {
    if (setjmp(State->Jump)) return false;
    png_set_PLTE(State->Png, State->Info, Palette, Count);
    return true;
}

bool GuardedSetTRNS(TPngState* State, png_const_bytep Alpha, int Count) {
    if (setjmp(State->Jump)) return false;
    png_set_tRNS(State->Png, State->Info, Alpha, Count, nullptr);
    return true;
}

bool GuardedSetText(TPngState* State, png_const_textp Text, int Count) {
    if (setjmp(State->Jump)) return false;
    png_set_text(State->Png, State->Info, Text, Count);
    return true;
}

bool GuardedSetFilter(TPngState* State, int Filters) {
    if (setjmp(State->Jump)) return false;
    png_set_filter(State->Png, PNG_FILTER_TYPE_BASE, Filters);
    return true;
}

bool GuardedSetExif(TPngState* State, png_uint_32 Size, png_bytep Payload) {
    if (setjmp(State->Jump)) return false;
    png_set_eXIf_1(State->Png, State->Info, Size, Payload);
    return true;
}

// ---- Reader ----

class TIELibPngR final : public TIEGenericPngR {
  public:
    ~TIELibPngR() override { Decomp_destroy(); }

    void Decomp_destroy() override {
        if (fState.Png) png_destroy_read_struct(&fState.Png, fState.Info ? &fState.Info : nullptr, nullptr);
        fState.Png = nullptr;
        fState.Info = nullptr;
    }

    bool Decomp_create(bool* Aborting) override {
        Decomp_destroy();
        fState.Aborting = Aborting;
        fState.Failed = false;
        fState.MaxAllocation = MaxLibraryAllocation();
        fState.Png = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, &fState, ErrorFunction, WarningFunction,
                                              &fState, LimitedMalloc, FreeMemory);
        if (fState.Png) fState.Info = png_create_info_struct(fState.Png);
        if (!fState.Png || !fState.Info) {
            fState.Failed = true;
            if (Aborting) *Aborting = true;
            return false;
        }
        const TIEPngLimits limits = IEPngLimits();
        png_set_user_limits(fState.Png, limits.MaxSide, limits.MaxSide);
        png_set_chunk_malloc_max(fState.Png, limits.MaxChunkBytes);
        // Ancillary chunks kept in memory (text, sPLT, unknown) are counted as well.
        png_set_chunk_cache_max(fState.Png, 1000);
        return true;
    }

    void Decomp_setReadFunction(TIEStream& Stream) override {
        fState.Stream = &Stream;
        if (Ready()) png_set_read_fn(fState.Png, &fState, ReadData);
    }

    bool Decomp_readInfo() override { return Ready() && GuardedReadInfo(&fState); }

    bool Decomp_getIHDR(TIEPngHeader& Header) override {
        if (!Ready()) return false;
        png_uint_32 width = 0, height = 0;
        int depth = 0, colorType = 0, interlace = 0;
        if (!png_get_IHDR(fState.Png, fState.Info, &width, &height, &depth, &colorType, &interlace, nullptr,
                          nullptr))
            return false;
        Header = {width, height, depth, colorType, interlace};
        return true;
    }

    int32_t Decomp_getText() override {
        fText = nullptr;
        fTextCount = 0;
        fTextIndex = 0;
        if (!Ready()) return 0;
        png_get_text(fState.Png, fState.Info, &fText, &fTextCount);
        return fTextCount;
    }

    std::string getTextKey() override {
        return fTextIndex < fTextCount && fText[fTextIndex].key ? fText[fTextIndex].key : "";
    }
    std::string getTextText() override {
        if (fTextIndex >= fTextCount || !fText[fTextIndex].text) return "";
        const png_text& text = fText[fTextIndex];
        // iTXt carries its length in itxt_length, the others in text_length.
        const size_t length = text.compression > 0 ? text.itxt_length : text.text_length;
        return std::string(text.text, length);
    }
    void getTextNext() override { ++fTextIndex; }

    bool Decomp_getBackground(TRGB& Background) override {
        png_color_16p colour = nullptr;
        if (!Ready() || !png_get_bKGD(fState.Png, fState.Info, &colour) || !colour) return false;
        const int depth = png_get_bit_depth(fState.Png, fState.Info);
        const int colorType = png_get_color_type(fState.Png, fState.Info);
        auto to8 = [depth](unsigned v) -> uint8_t {
            if (depth == 16) return uint8_t(v >> 8);
            if (depth == 8) return uint8_t(v);
            // Grey of 1, 2 or 4 bits scaled to the full byte range.
            const unsigned maximum = (1u << depth) - 1;
            return uint8_t((v & maximum) * 255 / maximum);
        };
        if (colorType == PNG_COLOR_TYPE_PALETTE) {
            png_colorp palette = nullptr;
            int count = 0;
            if (!png_get_PLTE(fState.Png, fState.Info, &palette, &count) || colour->index >= count)
                return false;
            Background =
                TRGB{palette[colour->index].blue, palette[colour->index].green, palette[colour->index].red};
        } else if (colorType & PNG_COLOR_MASK_COLOR) {
            Background = TRGB{to8(colour->blue), to8(colour->green), to8(colour->red)};
        } else {
            const uint8_t grey = to8(colour->gray);
            Background = TRGB{grey, grey, grey};
        }
        return true;
    }

    void Decomp_setExpand() override { Transform(png_set_expand); }
    void Decomp_setStrip16() override { Transform(png_set_strip_16); }
    void Decomp_setPacking() override { Transform(png_set_packing); }
    void Decomp_setGrayToRGB() override { Transform(png_set_gray_to_rgb); }
    void Decomp_setBGR() override { Transform(png_set_bgr); }
    void Decomp_setSwap() override { Transform(png_set_swap); }
    void Decomp_setTRNStoAlpha() override { Transform(png_set_tRNS_to_alpha); }

    int32_t Decomp_setInterlaceHandling() override {
        int passes = 1;
        if (!Ready() || !GuardedInterlaceHandling(&fState, &passes)) return 1;
        return passes;
    }

    bool Decomp_readUpdateInfo() override { return Ready() && GuardedReadUpdateInfo(&fState); }

    uint32_t Decomp_getXPixelsPerMeter() override {
        return Ready() ? png_get_x_pixels_per_meter(fState.Png, fState.Info) : 0;
    }
    uint32_t Decomp_getYPixelsPerMeter() override {
        return Ready() ? png_get_y_pixels_per_meter(fState.Png, fState.Info) : 0;
    }

    int32_t Decomp_getPalette() override {
        fPalette = nullptr;
        fPaletteCount = 0;
        fPaletteIndex = 0;
        if (!Ready()) return 0;
        png_get_PLTE(fState.Png, fState.Info, &fPalette, &fPaletteCount);
        return fPaletteCount;
    }
    TRGB getPalette() override {
        if (fPaletteIndex >= fPaletteCount) return TRGB{0, 0, 0};
        const png_color& c = fPalette[fPaletteIndex];
        return TRGB{c.blue, c.green, c.red};
    }
    void getPaletteNext() override { ++fPaletteIndex; }

    int32_t Decomp_getInterlaceType() override {
        return Ready() ? png_get_interlace_type(fState.Png, fState.Info) : 0;
    }
    int32_t Decomp_getChannels() override { return Ready() ? png_get_channels(fState.Png, fState.Info) : 0; }
    size_t Decomp_getRowBytes() override { return Ready() ? png_get_rowbytes(fState.Png, fState.Info) : 0; }

    bool Decomp_readRows(uint8_t* Row) override { return Ready() && GuardedReadRow(&fState, Row); }
    bool Decomp_readEnd() override { return Ready() && GuardedReadEnd(&fState); }

    std::vector<uint8_t> Decomp_getTRNS() override {
        png_bytep alpha = nullptr;
        int count = 0;
        if (!Ready() || !png_get_tRNS(fState.Png, fState.Info, &alpha, &count, nullptr) || !alpha) return {};
        return std::vector<uint8_t>(alpha, alpha + count);
    }

    bool sigCmp(const uint8_t* Bytes) override { return png_sig_cmp(Bytes, 0, 8) == 0; }

    std::vector<uint8_t> Decomp_getExif() override {
        png_uint_32 size = 0;
        png_bytep payload = nullptr;
        if (!Ready() || !png_get_eXIf_1(fState.Png, fState.Info, &size, &payload) || !payload) return {};
        return std::vector<uint8_t>(payload, payload + size);
    }

  private:
    bool Ready() const { return fState.Png && fState.Info && !fState.Failed; }
    void Transform(void (*Function)(png_structp)) {
        if (Ready()) GuardedTransform(&fState, Function);
    }

    TPngState fState;
    png_textp fText = nullptr;
    int fTextCount = 0;
    int fTextIndex = 0;
    png_colorp fPalette = nullptr;
    int fPaletteCount = 0;
    int fPaletteIndex = 0;
};

// ---- Writer ----

class TIELibPngW final : public TIEGenericPngW {
  public:
    ~TIELibPngW() override { Comp_destroy(); }

    void Comp_destroy() override {
        if (fState.Png) png_destroy_write_struct(&fState.Png, fState.Info ? &fState.Info : nullptr);
        fState.Png = nullptr;
        fState.Info = nullptr;
    }

    bool Comp_create(bool* Aborting) override {
        Comp_destroy();
        fState.Aborting = Aborting;
        fState.Failed = false;
        // The writer's input is the engine's own bitmap, not a hostile file.
        fState.MaxAllocation = SIZE_MAX;
        fState.Png = png_create_write_struct_2(PNG_LIBPNG_VER_STRING, &fState, ErrorFunction, WarningFunction,
                                               &fState, LimitedMalloc, FreeMemory);
        if (fState.Png) fState.Info = png_create_info_struct(fState.Png);
        if (!fState.Png || !fState.Info) {
            Comp_destroy();
            return false;
        }
        return true;
    }

    void Comp_setWriteFunction(TIEStream& Stream) override {
        fState.Stream = &Stream;
        if (Ready()) png_set_write_fn(fState.Png, &fState, WriteData, FlushData);
    }

    void setPalette(const std::vector<TRGB>& Palette) override {
        if (!Ready()) return;
        // libpng copies the entries, so the local array may go after the call.
        png_color colours[256];
        const int count = int(Palette.size() < 256 ? Palette.size() : 256);
        for (int i = 0; i < count; ++i)
            colours[i] = png_color{Palette[size_t(i)].r, Palette[size_t(i)].g, Palette[size_t(i)].b};
        GuardedSetPLTE(&fState, colours, count);
    }

    void setTRNS(const std::vector<uint8_t>& Alpha) override {
        if (Ready() && !Alpha.empty()) GuardedSetTRNS(&fState, Alpha.data(), int(Alpha.size()));
    }

    void setIHDR(uint32_t Width, uint32_t Height, int32_t BitDepth, int32_t ColorType,
                 int32_t InterlaceType) override {
        fColorType = ColorType;
        fBitDepth = BitDepth;
        if (Ready()) GuardedSetIHDR(&fState, Width, Height, BitDepth, ColorType, InterlaceType);
    }

    void setPHYS(uint32_t XPixelsPerMeter, uint32_t YPixelsPerMeter) override {
        if (Ready())
            png_set_pHYs(fState.Png, fState.Info, XPixelsPerMeter, YPixelsPerMeter, PNG_RESOLUTION_METER);
    }

    void setFilter(int32_t Filters) override {
        if (Ready()) GuardedSetFilter(&fState, Filters);
    }

    void setBackground(TRGB Colour, int32_t PaletteIndex) override {
        if (!Ready()) return;
        png_color_16 background{};
        if (fColorType == PNG_COLOR_TYPE_PALETTE) {
            background.index = png_byte(PaletteIndex);
        } else if (fColorType & PNG_COLOR_MASK_COLOR) {
            background.red = Colour.r;
            background.green = Colour.g;
            background.blue = Colour.b;
        } else {
            // A grey background is stored at the picture's depth.
            const unsigned maximum = (1u << fBitDepth) - 1;
            background.gray = png_uint_16((Colour.g * maximum + 127) / 255);
        }
        png_set_bKGD(fState.Png, fState.Info, &background);
    }

    void setCompressionLevel(int32_t Level) override {
        if (Ready()) png_set_compression_level(fState.Png, Level < 0 ? 0 : Level > 9 ? 9 : Level);
    }

    void setBGR() override {
        if (Ready()) png_set_bgr(fState.Png);
    }
    void setSwap() override {
        if (Ready()) png_set_swap(fState.Png);
    }

    bool Comp_writeInfo() override { return Ready() && GuardedWriteInfo(&fState); }

    int32_t Comp_setInterlaceHandling() override {
        int passes = 1;
        if (!Ready() || !GuardedInterlaceHandling(&fState, &passes)) return 1;
        return passes;
    }

    bool Comp_writeRows(const uint8_t* Row) override { return Ready() && GuardedWriteRow(&fState, Row); }
    bool Comp_writeEnd() override { return Ready() && GuardedWriteEnd(&fState); }

    void createTextList(int32_t Count) override {
        fTextKeys.assign(size_t(Count > 0 ? Count : 0), std::string());
        fTextValues.assign(fTextKeys.size(), std::string());
        fTextCompression.assign(fTextKeys.size(), PNG_TEXT_COMPRESSION_NONE);
    }
    void textListSet(int32_t Index, const std::string& Key, const std::string& Text,
                     int32_t Compression) override {
        if (Index < 0 || size_t(Index) >= fTextKeys.size()) return;
        fTextKeys[size_t(Index)] = Key;
        fTextValues[size_t(Index)] = Text;
        fTextCompression[size_t(Index)] = Compression;
    }
    void Comp_setText() override {
        if (!Ready() || fTextKeys.empty()) return;
        std::vector<png_text> texts(fTextKeys.size());
        for (size_t i = 0; i < texts.size(); ++i) {
            texts[i] = png_text{};
            texts[i].compression = fTextCompression[i];
            texts[i].key = fTextKeys[i].data();
            texts[i].text = fTextValues[i].data();
            texts[i].text_length = fTextValues[i].size();
        }
        GuardedSetText(&fState, texts.data(), int(texts.size()));
    }
    void destroyTextList() override {
        fTextKeys.clear();
        fTextValues.clear();
        fTextCompression.clear();
    }

    void setExif(const std::vector<uint8_t>& Payload) override {
        if (!Ready() || Payload.empty()) return;
        fExif = Payload;
        GuardedSetExif(&fState, png_uint_32(fExif.size()), fExif.data());
    }

  private:
    bool Ready() const { return fState.Png && fState.Info && !fState.Failed; }

    TPngState fState;
    int32_t fColorType = 0;
    int32_t fBitDepth = 8;
    std::vector<std::string> fTextKeys;
    std::vector<std::string> fTextValues;
    std::vector<int> fTextCompression;
    std::vector<uint8_t> fExif;
};

} // namespace

std::unique_ptr<TIEGenericPngR> IECreateLibPngR() {
    return std::make_unique<TIELibPngR>();
}

std::unique_ptr<TIEGenericPngW> IECreateLibPngW() {
    return std::make_unique<TIELibPngW>();
}
