#include <csetjmp>
#include <cstdio>
#include <exception>
#include <memory>

// jpeglib.h expects size_t and FILE to be declared first.
#include <jerror.h>
#include <jpeglib.h>

#include "io/codecs/jpeg.h"

// Every call into libjpeg goes through one of the Guarded functions below. libjpeg
// reports a fatal error by calling error_exit, which must not return; ours longjmps back
// into the Guarded function that made the call. These functions hold no object with a
// destructor, and the only frames the jump crosses are libjpeg's and the plain callbacks
// of this file, so nothing is skipped that needed to run.

namespace {

constexpr size_t kBufferSize = 65536;
// Each scan of a progressive file is a pass over the whole coefficient buffer; real
// files have about ten, a hostile one can have thousands.
constexpr int kMaxScans = 500;

struct TErrorManager {
    jpeg_error_mgr pub; // first: libjpeg sees only this part
    jmp_buf Jump;
    bool* Aborting = nullptr;
    bool AbortingsEnabled = true;
    bool Failed = false;
};

TErrorManager* Manager(j_common_ptr cinfo) {
    return reinterpret_cast<TErrorManager*>(cinfo->err);
}

[[noreturn]] void ErrorExit(j_common_ptr cinfo) {
    TErrorManager* manager = Manager(cinfo);
    manager->Failed = true;
    if (manager->AbortingsEnabled && manager->Aborting) *manager->Aborting = true;
    std::longjmp(manager->Jump, 1);
}

// Warnings are counted by the library; nothing is printed.
void OutputMessage(j_common_ptr) {}

void MonitorProgress(j_common_ptr cinfo) {
    if (cinfo->is_decompressor && reinterpret_cast<j_decompress_ptr>(cinfo)->input_scan_number > kMaxScans)
        ERREXIT(cinfo, JERR_BAD_SCAN_SCRIPT);
}

struct TSourceManager {
    jpeg_source_mgr pub;
    TIEStream* Stream;
    bool* Aborting;
    JOCTET* Buffer;
    bool StartOfFile;
};

size_t ReadFromStream(TIEStream& Stream, void* Buffer, size_t Count) {
    try {
        return Stream.Read(Buffer, Count);
    } catch (const std::exception&) {
        // A stream that fails to read has simply ended: the decoder sees a truncated file.
        return 0;
    }
}

void InitSource(j_decompress_ptr cinfo) {
    reinterpret_cast<TSourceManager*>(cinfo->src)->StartOfFile = true;
}

boolean FillInputBuffer(j_decompress_ptr cinfo) {
    TSourceManager* source = reinterpret_cast<TSourceManager*>(cinfo->src);
    size_t count = 0;
    if (!(source->Aborting && *source->Aborting))
        count = ReadFromStream(*source->Stream, source->Buffer, kBufferSize);
    if (count == 0) {
        if (source->StartOfFile) ERREXIT(cinfo, JERR_INPUT_EMPTY);
        // A truncated file: the library goes on with an end of image, so the rest of
        // the picture comes out grey, and a warning is counted.
        WARNMS(cinfo, JWRN_JPEG_EOF);
        source->Buffer[0] = 0xFF;
        source->Buffer[1] = JPEG_EOI;
        count = 2;
    }
    source->pub.next_input_byte = source->Buffer;
    source->pub.bytes_in_buffer = count;
    source->StartOfFile = false;
    return TRUE;
}

void SkipInputData(j_decompress_ptr cinfo, long Count) {
    jpeg_source_mgr* source = cinfo->src;
    if (Count <= 0) return;
    while (Count > long(source->bytes_in_buffer)) {
        Count -= long(source->bytes_in_buffer);
        source->fill_input_buffer(cinfo);
    }
    source->next_input_byte += size_t(Count);
    source->bytes_in_buffer -= size_t(Count);
}

void TermSource(j_decompress_ptr) {}

struct TDestinationManager {
    jpeg_destination_mgr pub;
    TIEStream* Stream;
    JOCTET* Buffer;
};

bool WriteToStream(TIEStream& Stream, const void* Buffer, size_t Count) {
    try {
        return Stream.Write(Buffer, Count) == Count;
    } catch (const std::exception&) {
        return false;
    }
}

void InitDestination(j_compress_ptr cinfo) {
    TDestinationManager* destination = reinterpret_cast<TDestinationManager*>(cinfo->dest);
    destination->pub.next_output_byte = destination->Buffer;
    destination->pub.free_in_buffer = kBufferSize;
}

boolean EmptyOutputBuffer(j_compress_ptr cinfo) {
    TDestinationManager* destination = reinterpret_cast<TDestinationManager*>(cinfo->dest);
    if (!WriteToStream(*destination->Stream, destination->Buffer, kBufferSize))
        ERREXIT(cinfo, JERR_FILE_WRITE);
    destination->pub.next_output_byte = destination->Buffer;
    destination->pub.free_in_buffer = kBufferSize;
    return TRUE;
}

void TermDestination(j_compress_ptr cinfo) {
    TDestinationManager* destination = reinterpret_cast<TDestinationManager*>(cinfo->dest);
    const size_t count = kBufferSize - destination->pub.free_in_buffer;
    if (count > 0 && !WriteToStream(*destination->Stream, destination->Buffer, count))
        ERREXIT(cinfo, JERR_FILE_WRITE);
}

// The guarded calls. Each returns a failure value when error_exit jumped back.

bool GuardedCreateDecompress(j_decompress_ptr cinfo, long MaxMemory, jpeg_progress_mgr* Monitor) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_create_decompress(cinfo);
    cinfo->mem->max_memory_to_use = MaxMemory;
    cinfo->progress = Monitor;
    return true;
}

bool GuardedSetupSource(j_decompress_ptr cinfo, TIEStream* Stream, bool* Aborting) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    j_common_ptr common = reinterpret_cast<j_common_ptr>(cinfo);
    TSourceManager* source = static_cast<TSourceManager*>(
        cinfo->mem->alloc_small(common, JPOOL_PERMANENT, sizeof(TSourceManager)));
    source->Buffer = static_cast<JOCTET*>(cinfo->mem->alloc_small(common, JPOOL_PERMANENT, kBufferSize));
    source->Stream = Stream;
    source->Aborting = Aborting;
    source->StartOfFile = true;
    source->pub.init_source = InitSource;
    source->pub.fill_input_buffer = FillInputBuffer;
    source->pub.skip_input_data = SkipInputData;
    source->pub.resync_to_restart = jpeg_resync_to_restart;
    source->pub.term_source = TermSource;
    source->pub.bytes_in_buffer = 0;
    source->pub.next_input_byte = nullptr;
    cinfo->src = &source->pub;
    return true;
}

int GuardedReadHeader(j_decompress_ptr cinfo, boolean RequireImage) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return -1;
    return jpeg_read_header(cinfo, RequireImage);
}

bool GuardedSaveMarkers(j_decompress_ptr cinfo, int Marker, unsigned int MaxLength) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_save_markers(cinfo, Marker, MaxLength);
    return true;
}

bool GuardedStartDecompress(j_decompress_ptr cinfo) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    return jpeg_start_decompress(cinfo);
}

int GuardedReadScanlines(j_decompress_ptr cinfo, JSAMPARRAY Rows, JDIMENSION Count) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return 0;
    return int(jpeg_read_scanlines(cinfo, Rows, Count));
}

bool GuardedFinishDecompress(j_decompress_ptr cinfo) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    return jpeg_finish_decompress(cinfo);
}

void GuardedDestroy(j_common_ptr cinfo) {
    if (setjmp(Manager(cinfo)->Jump)) return;
    jpeg_destroy(cinfo);
}

bool GuardedCreateCompress(j_compress_ptr cinfo, long MaxMemory) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_create_compress(cinfo);
    cinfo->mem->max_memory_to_use = MaxMemory;
    return true;
}

bool GuardedSetupDestination(j_compress_ptr cinfo, TIEStream* Stream) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    j_common_ptr common = reinterpret_cast<j_common_ptr>(cinfo);
    TDestinationManager* destination = static_cast<TDestinationManager*>(
        cinfo->mem->alloc_small(common, JPOOL_PERMANENT, sizeof(TDestinationManager)));
    destination->Buffer = static_cast<JOCTET*>(cinfo->mem->alloc_small(common, JPOOL_PERMANENT, kBufferSize));
    destination->Stream = Stream;
    destination->pub.init_destination = InitDestination;
    destination->pub.empty_output_buffer = EmptyOutputBuffer;
    destination->pub.term_destination = TermDestination;
    cinfo->dest = &destination->pub;
    return true;
}

bool GuardedSetDefaults(j_compress_ptr cinfo) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_set_defaults(cinfo);
    return true;
}

bool GuardedSetColorSpace(j_compress_ptr cinfo, J_COLOR_SPACE ColorSpace) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_set_colorspace(cinfo, ColorSpace);
    return true;
}

bool GuardedSetQuality(j_compress_ptr cinfo, int Quality, boolean ForceBaseline) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_set_quality(cinfo, Quality, ForceBaseline);
    return true;
}

bool GuardedSimpleProgression(j_compress_ptr cinfo) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_simple_progression(cinfo);
    return true;
}

bool GuardedStartCompress(j_compress_ptr cinfo, boolean WriteAllTables) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_start_compress(cinfo, WriteAllTables);
    return true;
}

bool GuardedWriteMarker(j_compress_ptr cinfo, int Marker, const JOCTET* Data, unsigned int Length) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_write_marker(cinfo, Marker, Data, Length);
    return true;
}

int GuardedWriteScanlines(j_compress_ptr cinfo, JSAMPARRAY Rows, JDIMENSION Count) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return 0;
    return int(jpeg_write_scanlines(cinfo, Rows, Count));
}

bool GuardedFinishCompress(j_compress_ptr cinfo) {
    if (setjmp(Manager(reinterpret_cast<j_common_ptr>(cinfo))->Jump)) return false;
    jpeg_finish_compress(cinfo);
    return true;
}

// The output in TRGB order comes from the library's extended colour spaces.
J_COLOR_SPACE LibraryOutSpace(int32_t ColorSpace) {
    return ColorSpace == ieJCS_RGB ? JCS_EXT_BGR : J_COLOR_SPACE(ColorSpace);
}

bool KnownColorSpace(int32_t ColorSpace) {
    return ColorSpace >= ieJCS_UNKNOWN && ColorSpace <= ieJCS_YCCK;
}

class TIELibJPEG : public TIEGenericJPEG {
  public:
    ~TIELibJPEG() override {
        // A caller that stopped half-way still gets the library's memory back.
        if (fDecompCreated) Decomp_DestroyDecompress();
        if (fCompCreated) Comp_DestroyCompress();
    }

    void Decomp_AllocDecompStruct() override { fDecomp = std::make_unique<jpeg_decompress_struct>(); }
    void Decomp_FreeDecompStruct() override { fDecomp.reset(); }
    void CreateErrorManager(bool* Aborting) override {
        fErrors = std::make_unique<TErrorManager>();
        jpeg_std_error(&fErrors->pub);
        fErrors->pub.error_exit = ErrorExit;
        fErrors->pub.output_message = OutputMessage;
        fErrors->Aborting = Aborting;
    }
    void FreeErrorManager() override {
        // The destroy step still reports through it.
        if (!fDecompCreated && !fCompCreated) fErrors.reset();
    }
    void Decomp_SetErrorManager() override {
        if (fDecomp && fErrors) fDecomp->err = &fErrors->pub;
    }
    void DisableAbortings() override {
        if (fErrors) fErrors->AbortingsEnabled = false;
    }
    int32_t GetNumWarnings() override { return fErrors ? int32_t(fErrors->pub.num_warnings) : 0; }
    int32_t GetErrMsgCode() override { return fErrors ? fErrors->pub.msg_code : 0; }

    void Decomp_CreateDecompress() override {
        if (!fDecomp || !fErrors || fDecomp->err != &fErrors->pub) return;
        fMonitor.progress_monitor = MonitorProgress;
        fDecompCreated =
            GuardedCreateDecompress(fDecomp.get(), long(IEJpegLimits().MaxLibraryMemory), &fMonitor);
    }
    void Decomp_DestroyDecompress() override {
        if (!fDecompCreated) return;
        GuardedDestroy(reinterpret_cast<j_common_ptr>(fDecomp.get()));
        fDecompCreated = false;
        fMarker = nullptr;
    }
    void Decomp_SetupReadStream(TIEStream& Stream, bool* Aborting) override {
        if (Usable(fDecompCreated)) GuardedSetupSource(fDecomp.get(), &Stream, Aborting);
    }
    void Decomp_CleanupReadStream() override {
        // The source lives in the library's pool, which the destroy step has freed.
        if (fDecomp && !fDecompCreated) fDecomp->src = nullptr;
    }
    int32_t Decomp_ReadHeader(bool RequireImage) override {
        if (!Usable(fDecompCreated) || !fDecomp->src) return -1;
        return GuardedReadHeader(fDecomp.get(), RequireImage ? TRUE : FALSE);
    }
    void Decomp_SaveMarkers(int32_t Marker, uint32_t MaxLength) override {
        if (Usable(fDecompCreated)) GuardedSaveMarkers(fDecomp.get(), Marker, MaxLength);
    }
    bool Decomp_StartDecompress() override {
        return Usable(fDecompCreated) && GuardedStartDecompress(fDecomp.get());
    }
    int32_t Decomp_GetOutputWidth() override { return fDecompCreated ? int32_t(fDecomp->output_width) : 0; }
    int32_t Decomp_GetOutputHeight() override { return fDecompCreated ? int32_t(fDecomp->output_height) : 0; }
    int32_t Decomp_GetOutputComponents() override { return fDecompCreated ? fDecomp->output_components : 0; }
    int32_t Decomp_GetOutputScanline() override {
        return fDecompCreated ? int32_t(fDecomp->output_scanline) : 0;
    }
    int32_t Decomp_ReadScanlines(uint8_t** Rows, int32_t Count) override {
        if (!Usable(fDecompCreated) || Count <= 0) return 0;
        return GuardedReadScanlines(fDecomp.get(), Rows, JDIMENSION(Count));
    }
    bool Decomp_FinishDecompress() override {
        return Usable(fDecompCreated) && GuardedFinishDecompress(fDecomp.get());
    }
    void Decomp_SetOutColorSpace(int32_t ColorSpace) override {
        if (fDecompCreated && KnownColorSpace(ColorSpace))
            fDecomp->out_color_space = LibraryOutSpace(ColorSpace);
    }
    int32_t Decomp_GetOutColorSpace() override {
        if (!fDecompCreated) return ieJCS_UNKNOWN;
        return fDecomp->out_color_space == JCS_EXT_BGR ? ieJCS_RGB : int32_t(fDecomp->out_color_space);
    }
    int32_t Decomp_GetJpegColorSpace() override {
        return fDecompCreated ? int32_t(fDecomp->jpeg_color_space) : ieJCS_UNKNOWN;
    }
    void Decomp_SetDCTMethod(int32_t Method) override {
        if (fDecompCreated && Method >= JDCT_ISLOW && Method <= JDCT_FLOAT)
            fDecomp->dct_method = J_DCT_METHOD(Method);
    }
    int32_t Decomp_GetDensityUnit() override { return fDecompCreated ? fDecomp->density_unit : 0; }
    int32_t Decomp_GetXDensity() override { return fDecompCreated ? fDecomp->X_density : 0; }
    int32_t Decomp_GetYDensity() override { return fDecompCreated ? fDecomp->Y_density : 0; }
    bool Decomp_GetProgressiveMode() override { return fDecompCreated && fDecomp->progressive_mode; }
    int32_t Decomp_GetImageWidth() override { return fDecompCreated ? int32_t(fDecomp->image_width) : 0; }
    int32_t Decomp_GetImageHeight() override { return fDecompCreated ? int32_t(fDecomp->image_height) : 0; }
    void Decomp_SetScale(int32_t Numerator, int32_t Denominator) override {
        if (!fDecompCreated || Numerator < 1 || Denominator < 1) return;
        fDecomp->scale_num = unsigned(Numerator);
        fDecomp->scale_denom = unsigned(Denominator);
    }
    void Decomp_GetMarkerList() override { fMarker = fDecompCreated ? fDecomp->marker_list : nullptr; }
    int32_t GetMarkerID() override { return fMarker ? fMarker->marker : 0; }
    const uint8_t* GetMarkerData() override { return fMarker ? fMarker->data : nullptr; }
    int32_t GetMarkerLength() override { return fMarker ? int32_t(fMarker->data_length) : 0; }
    void GetMarkerNext() override {
        if (fMarker) fMarker = fMarker->next;
    }
    bool HasMarkers() override { return fMarker != nullptr; }

    void Comp_AllocCompStruct() override { fComp = std::make_unique<jpeg_compress_struct>(); }
    void Comp_FreeCompStruct() override { fComp.reset(); }
    void Comp_SetErrorManager() override {
        if (fComp && fErrors) fComp->err = &fErrors->pub;
    }
    void Comp_CreateCompress() override {
        if (!fComp || !fErrors || fComp->err != &fErrors->pub) return;
        fCompCreated = GuardedCreateCompress(fComp.get(), long(IEJpegLimits().MaxLibraryMemory));
    }
    void Comp_DestroyCompress() override {
        if (!fCompCreated) return;
        GuardedDestroy(reinterpret_cast<j_common_ptr>(fComp.get()));
        fCompCreated = false;
    }
    void Comp_SetupWriteStream(TIEStream& Stream, bool*) override {
        if (Usable(fCompCreated)) GuardedSetupDestination(fComp.get(), &Stream);
    }
    void Comp_CleanupWriteStream() override {
        if (fComp && !fCompCreated) fComp->dest = nullptr;
    }
    void Comp_SetImageWidth(int32_t Width) override {
        if (fCompCreated) fComp->image_width = JDIMENSION(Width);
    }
    void Comp_SetImageHeight(int32_t Height) override {
        if (fCompCreated) fComp->image_height = JDIMENSION(Height);
    }
    void Comp_SetInputComponents(int32_t Components) override {
        if (fCompCreated) fComp->input_components = Components;
    }
    void Comp_SetInColorSpace(int32_t ColorSpace) override {
        if (fCompCreated && KnownColorSpace(ColorSpace)) fComp->in_color_space = J_COLOR_SPACE(ColorSpace);
    }
    void Comp_SetColorSpace(int32_t ColorSpace) override {
        if (Usable(fCompCreated) && KnownColorSpace(ColorSpace))
            GuardedSetColorSpace(fComp.get(), J_COLOR_SPACE(ColorSpace));
    }
    void Comp_SetDefaults() override {
        if (Usable(fCompCreated)) GuardedSetDefaults(fComp.get());
    }
    void Comp_SetDensityUnit(int32_t Unit) override {
        if (fCompCreated) fComp->density_unit = UINT8(Unit);
    }
    void Comp_SetXDensity(int32_t Density) override {
        if (fCompCreated) fComp->X_density = UINT16(Density);
    }
    void Comp_SetYDensity(int32_t Density) override {
        if (fCompCreated) fComp->Y_density = UINT16(Density);
    }
    void Comp_SetDCTMethod(int32_t Method) override {
        if (fCompCreated && Method >= JDCT_ISLOW && Method <= JDCT_FLOAT)
            fComp->dct_method = J_DCT_METHOD(Method);
    }
    void Comp_SetOptimizeCoding(bool Optimize) override {
        if (fCompCreated) fComp->optimize_coding = Optimize ? TRUE : FALSE;
    }
    void Comp_SetSmoothingFactor(int32_t Factor) override {
        if (fCompCreated) fComp->smoothing_factor = Factor < 0 ? 0 : Factor > 100 ? 100 : Factor;
    }
    void Comp_SetQuality(int32_t Quality, bool ForceBaseline) override {
        if (Usable(fCompCreated)) GuardedSetQuality(fComp.get(), Quality, ForceBaseline ? TRUE : FALSE);
    }
    void Comp_SetSampleFactor(int32_t Component, int32_t H, int32_t V) override {
        if (!fCompCreated || Component < 0 || Component >= fComp->num_components || !fComp->comp_info) return;
        fComp->comp_info[Component].h_samp_factor = H;
        fComp->comp_info[Component].v_samp_factor = V;
    }
    void Comp_SetWriteJFIFHeader(bool Write) override {
        if (fCompCreated) fComp->write_JFIF_header = Write ? TRUE : FALSE;
    }
    void Comp_SimpleProgression() override {
        if (Usable(fCompCreated)) GuardedSimpleProgression(fComp.get());
    }
    void Comp_StartCompress(bool WriteAllTables) override {
        if (Usable(fCompCreated) && fComp->dest)
            GuardedStartCompress(fComp.get(), WriteAllTables ? TRUE : FALSE);
    }
    void Comp_WriteMarker(int32_t Marker, const uint8_t* Data, uint32_t Length) override {
        if (Usable(fCompCreated)) GuardedWriteMarker(fComp.get(), Marker, Data, Length);
    }
    int32_t Comp_GetNextScanlineIndex() override { return fCompCreated ? int32_t(fComp->next_scanline) : 0; }
    int32_t Comp_WriteScanlines(uint8_t** Rows, int32_t Count) override {
        if (!Usable(fCompCreated) || Count <= 0) return 0;
        return GuardedWriteScanlines(fComp.get(), Rows, JDIMENSION(Count));
    }
    void Comp_FinishCompress() override {
        if (Usable(fCompCreated)) GuardedFinishCompress(fComp.get());
    }

  private:
    // After a fatal error the library's state is undefined for everything but destroy.
    bool Usable(bool Created) const { return Created && fErrors && !fErrors->Failed; }

    std::unique_ptr<jpeg_decompress_struct> fDecomp;
    std::unique_ptr<jpeg_compress_struct> fComp;
    std::unique_ptr<TErrorManager> fErrors;
    jpeg_progress_mgr fMonitor{};
    jpeg_saved_marker_ptr fMarker = nullptr;
    bool fDecompCreated = false;
    bool fCompCreated = false;
};

} // namespace

std::unique_ptr<TIEGenericJPEG> IECreateLibJPEG() {
    return std::make_unique<TIELibJPEG>();
}
