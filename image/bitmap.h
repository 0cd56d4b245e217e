#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "image/filebuffer.h"
#include "image/ietypes.h"
#include "image/platformbitmap.h"

enum TIELocation : int32_t { ieMemory, ieFile, ieTBitmap };
enum TIEBitmapOrigin : int32_t { ieboBOTTOMLEFT, ieboTOPLEFT };
enum TIEAlphaLocation : int32_t { iaAlphaChannel, iaRGBA };
enum TIEMemoryAllocator : int32_t { iemaVCL, iemaSystem, iemaAuto };
enum TIEDitherMethod : int32_t { ieOrdered, ieThreshold, ieDithering };
enum TIEMergeMethod : int32_t { iemmMax, iemmMin, iemmAdd, iemmSubtract, iemmReplaceWithSrc };
enum TIEHAlign : int32_t { iehLeft, iehCenter, iehRight };
enum TIEVAlign : int32_t { ievTop, ievCenter, ievBottom };

class TIEBitmap;
using TIENotifyEvent = std::function<void(TIEBitmap& Sender)>;

// A set of pixel formats; the empty set stands for "any".
class TIEPixelFormatSet {
  public:
    constexpr TIEPixelFormatSet() = default;
    constexpr TIEPixelFormatSet(std::initializer_list<TIEPixelFormat> Formats) {
        for (TIEPixelFormat format : Formats)
            fBits |= 1u << format;
    }
    constexpr bool Contains(TIEPixelFormat Format) const { return (fBits >> Format) & 1u; }
    constexpr bool Empty() const { return fBits == 0; }

  private:
    uint32_t fBits = 0;
};

int32_t IEBitCount(TIEPixelFormat Format);
int32_t IEChannelCount(TIEPixelFormat Format);
// Bytes per row for Width pixels of BitCount bits under BitAlignment. 0 when the
// size is invalid or when Width * BitCount would not fit in 32 bits, the width of
// the multiplication the row layout was defined with.
int64_t IEComputeRowLen(int32_t Width, int32_t BitCount, int32_t BitAlignment);
// The preferred substitutes that CheckFormat tries, in order, for Format.
const std::vector<TIEPixelFormat>& IEFormatSubstitutes(TIEPixelFormat Format);

// Largest single block the heaps will hand out, -1 for no limit beyond physical
// memory. For tests that need the fragmented or file-backed paths on small images.
void IESetMaxMemoryBlock(int64_t Bytes);
int64_t IEMaxMemoryBlock();

// The engine's pixel container. Rows are reached only through GetScanline (or
// GetRow); where they live is the bitmap's business: plain memory (contiguous or in
// fragments), a temporary file mapped one row at a time, or a TBitmap.
//
// Row numbers count from the top of the picture. With the default origin
// ieboBOTTOMLEFT the memory layout is bottom-up like a device-independent bitmap,
// so row 0 is the last one in memory; ieboTOPLEFT makes it top-down.
class TIEBitmap {
  public:
    TIEBitmap();
    TIEBitmap(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat, double FillValue = -1,
              int32_t Alpha = 255);
    // An integer fill would otherwise match the TColor form as well as the double one.
    TIEBitmap(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat, int32_t FillValue,
              int32_t Alpha = 255)
        : TIEBitmap(ImageWidth, ImageHeight, ImagePixelFormat, double(FillValue), Alpha) {}
    TIEBitmap(int32_t ImageWidth, int32_t ImageHeight, TColor FillColor, int32_t Alpha);
    ~TIEBitmap();
    TIEBitmap(const TIEBitmap&) = delete;
    TIEBitmap& operator=(const TIEBitmap&) = delete;

    // An ie8g plane filled with 255, marked as an alpha plane. A parent on ieTBitmap
    // gives ieMemory.
    static std::unique_ptr<TIEBitmap> CreateAsAlphaChannel(int32_t ImageWidth, int32_t ImageHeight,
                                                           TIELocation ImageLocation);

    // Storage. Allocate never throws for lack of memory: it returns false and leaves
    // width and height 0. It throws EIEException for formats a TBitmap can't hold.
    bool Allocate(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat,
                  double FillValue = -1, int32_t Alpha = 255);
    bool Allocate(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat, int32_t FillValue,
                  int32_t Alpha = 255) {
        return Allocate(ImageWidth, ImageHeight, ImagePixelFormat, double(FillValue), Alpha);
    }
    bool Allocate(int32_t ImageWidth, int32_t ImageHeight, TColor FillColor, int32_t Alpha);
    void FreeImage(bool FreeAlpha);
    // Back to the state after construction: no pixels, no alpha plane, ieNull.
    void Clear();
    bool IsEmpty() const { return fWidth == 0 || fHeight == 0 || fRowLen == 0 || fBitCount == 0; }
    // Wraps foreign pixels laid out as this class would lay them out (rows of
    // RowLen under the current BitAlignment, ordered by Origin). The memory stays
    // the caller's. DoFreeImage false keeps the present alpha plane.
    void EncapsulateMemory(void* Mem, int32_t BmpWidth, int32_t BmpHeight, TIEPixelFormat BmpPixelFormat,
                           bool DoFreeImage, TIEBitmapOrigin Origin = ieboBOTTOMLEFT);
    // Wraps a caller's TBitmap of 1, 8, 24 or 32 bits; it is not freed by this bitmap.
    void EncapsulateTBitmap(TBitmap* Obj, bool DoFreeImage);
    // Hands pixels, palette, alpha plane, location and allocator to Target, whose
    // own pixels are freed; this bitmap is left empty with its settings.
    void SwitchTo(TIEBitmap& Target);
    void Swap(TIEBitmap& Target);

    // Row access.
    // On ieFile the pointer stays valid only until the next GetScanline on this
    // bitmap; a loop needing two rows at once uses GetRow/FreeRow. Null outside the
    // image, and on ieFile for a row that can't be mapped. A failed map or write-back
    // loses rows, so from then on until the next allocation every row is null: a loop
    // that checks its pointer stops there instead of running on over a picture with holes.
    void* GetScanline(int32_t Row);
    void* GetRow(int32_t Row);
    void FreeRow(int32_t Row);
    // Writes the row GetScanline handed out last back to its file. False if any row of
    // this bitmap has been lost since it was allocated; how an operation learns that
    // its work on file-backed rows did not all happen. Always true for other storage.
    bool FlushRows();
    // Col counts whole bytes per pixel, so it has no meaning for ie1g.
    void* GetSegment(int32_t Row, int32_t Col, int32_t Width);
    uint8_t GetAlpha(int32_t x, int32_t y);
    void SetAlpha(int32_t x, int32_t y, uint8_t Value);

    // Typed single-pixel access, no range checks: for code that is not row-oriented.
    // A row that can't be had reads as zeros and ignores writes; FlushRows tells.
    bool GetPixels_ie1g(int32_t x, int32_t y) {
        return (ReadCell<uint8_t>(x >> 3, y) & (0x80 >> (x & 7))) != 0;
    }
    void SetPixels_ie1g(int32_t x, int32_t y, bool Value);
    uint8_t GetPixels_ie8(int32_t x, int32_t y) { return ReadCell<uint8_t>(x, y); }
    void SetPixels_ie8(int32_t x, int32_t y, uint8_t Value) { WriteCell(x, y, Value); }
    uint16_t GetPixels_ie16g(int32_t x, int32_t y) { return ReadCell<uint16_t>(x, y); }
    void SetPixels_ie16g(int32_t x, int32_t y, uint16_t Value) { WriteCell(x, y, Value); }
    TRGB GetPixels_ie24RGB(int32_t x, int32_t y) { return ReadCell<TRGB>(x, y); }
    void SetPixels_ie24RGB(int32_t x, int32_t y, TRGB Value) { WriteCell(x, y, Value); }
    TRGBA GetPixels_ie32RGB(int32_t x, int32_t y) { return ReadCell<TRGBA>(x, y); }
    void SetPixels_ie32RGB(int32_t x, int32_t y, TRGBA Value) { WriteCell(x, y, Value); }
    float GetPixels_ie32f(int32_t x, int32_t y) { return ReadCell<float>(x, y); }
    void SetPixels_ie32f(int32_t x, int32_t y, float Value) { WriteCell(x, y, Value); }
    TCMYK GetPixels_ieCMYK(int32_t x, int32_t y) { return ReadCell<TCMYK>(x, y); }
    void SetPixels_ieCMYK(int32_t x, int32_t y, TCMYK Value) { WriteCell(x, y, Value); }
    TCIELab GetPixels_ieCIELab(int32_t x, int32_t y) { return ReadCell<TCIELab>(x, y); }
    void SetPixels_ieCIELab(int32_t x, int32_t y, TCIELab Value) { WriteCell(x, y, Value); }
    TRGB48 GetPixels_ie48RGB(int32_t x, int32_t y) { return ReadCell<TRGB48>(x, y); }
    void SetPixels_ie48RGB(int32_t x, int32_t y, TRGB48 Value) { WriteCell(x, y, Value); }

    // Pixel format conversion (image/convert.cpp, image/pixels.cpp).
    // Fills this bitmap, already allocated in its target format, from Source of the
    // same size; pairs that go through ie24RGB convert Source itself first.
    void CopyAndConvertFormat(TIEBitmap& Source);
    // Format-blind single-pixel access in TRGB, by the conversion rules; black for ieNull.
    TRGB GetPixels(int32_t x, int32_t y);
    void SetPixels(int32_t x, int32_t y, TRGB Value);
    // Null where the row can't be had.
    TRGB* GetPPixels_ie24RGB(int32_t x, int32_t y) { return CellPointer<TRGB>(x, y); }
    TRGBA* GetPPixels_ie32RGB(int32_t x, int32_t y) { return CellPointer<TRGBA>(x, y); }
    TRGB48* GetPPixels_ie48RGB(int32_t x, int32_t y) { return CellPointer<TRGB48>(x, y); }

    // Properties.
    int32_t Width() const { return fWidth; }
    int32_t Height() const { return fHeight; }
    // Both keep rows from the top and leave the added area unfilled.
    void SetWidth(int32_t Value);
    void SetHeight(int32_t Value);
    int32_t BitCount() const { return fBitCount; }
    int32_t ChannelCount() const { return fChannelCount; }
    int64_t RowLen() const { return fRowLen; }
    TIEPixelFormat PixelFormat() const { return fPixelFormat; }
    void SetPixelFormat(TIEPixelFormat Value);
    TIELocation Location() const { return fLocation; }
    void SetLocation(TIELocation Value);
    TIEBitmapOrigin Origin() const { return fOrigin; }
    void SetOrigin(TIEBitmapOrigin Value);
    int32_t BitAlignment() const { return fBitAlignment; }
    // A positive multiple of 8; other values are ignored.
    void SetBitAlignment(int32_t Value);
    TIEMemoryAllocator MemoryAllocator() const { return fMemoryAllocator; }
    void SetMemoryAllocator(TIEMemoryAllocator Value) { fMemoryAllocator = Value; }
    int64_t MinFileSize() const { return fMinFileSize; }
    void SetMinFileSize(int64_t Value) { fMinFileSize = Value; }
    TIEDataAccess Access() const { return fAccess; }
    void SetAccess(TIEDataAccess Value) { fAccess = Value; }
    bool Full() const { return fFull; }
    void SetFull(bool Value) { fFull = Value; }
    bool IsAlpha() const { return fIsAlpha; }
    bool EncapsulatedFromMemory() const { return fEncapsulatedFromMemory; }
    bool EncapsulatedFromTBitmap() const { return fEncapsulatedFromTBitmap; }
    const std::string& Filename() const { return fFilename; }
    void SetFilename(const std::string& Value) { fFilename = Value; }
    int32_t FileType() const { return fFileType; }
    void SetFileType(int32_t Value) { fFileType = Value; }
    TIEDitherMethod DefaultDitherMethod() const { return fDefaultDitherMethod; }
    void SetDefaultDitherMethod(TIEDitherMethod Value) { fDefaultDitherMethod = Value; }
    double BlackValue() const { return fBlackValue; }
    void SetBlackValue(double Value) { fBlackValue = Value; }
    double WhiteValue() const { return fWhiteValue; }
    void SetWhiteValue(double Value) { fWhiteValue = Value; }
    int32_t ChannelOffset(int32_t Channel) const { return fChannelOffset[Channel]; }
    void SetChannelOffset(int32_t Channel, int32_t Value) { fChannelOffset[Channel] = Value; }
    bool EnableChannelOffset() const { return fEnableChannelOffset; }
    void SetEnableChannelOffset(bool Value) { fEnableChannelOffset = Value; }
    int32_t Contrast() const { return fContrast; }
    void SetContrast(int32_t Value) { fContrast = Value; }
    std::vector<TRGB>& ColorMap() { return fColorMap; }
    const TIEProgressEvent& OnProgress() const { return fOnProgress; }
    void SetOnProgress(TIEProgressEvent Value) { fOnProgress = std::move(Value); }
    // Where the storage lives, for tests and diagnostics.
    int32_t FragmentsCount() const { return fFragmentsCount; }
    int32_t RowsPerFragment() const { return fRowsPerFragment; }
    // Whether the contiguous block came from the global (system) heap; false for
    // the language heap and when there is no block.
    bool MemoryFromGlobalHeap() const;
    TIEFileBuffer& MemMap() { return *fMemMap; }
    TBitmap* VclBitmap() const { return fBitmap; }

    // Change notification; every mutator ends in Changed.
    void Changed();
    bool Modified() const { return fModified; }
    void SetModified(bool Value) { fModified = Value; }
    bool ModifiedUpdateLayer() const { return fModified_UpdateLayer; }
    void SetModifiedUpdateLayer(bool Value) { fModified_UpdateLayer = Value; }
    const TIENotifyEvent& OnChanged() const { return fOnChanged; }
    void SetOnChanged(TIENotifyEvent Value) { fOnChanged = std::move(Value); }

    // Palette of ie8p; out-of-range reads give black and writes are ignored.
    TRGB* GetPaletteBuffer() { return fRGBPalette.empty() ? nullptr : fRGBPalette.data(); }
    TRGB GetPalette(int32_t Index) const;
    void SetPalette(int32_t Index, TRGB Value);
    int32_t GetPaletteLen() const { return int32_t(fRGBPalette.size()); }
    int32_t PaletteUsed() const { return fPaletteUsed; }
    void SetPaletteUsed(int32_t Value) { fPaletteUsed = Value; }
    void CopyPaletteTo(TIEBitmap& Dest) const;

    // Alpha plane.
    // Creates the plane (all 255) when there is none, unless this is itself a plane.
    TIEBitmap* AlphaChannel();
    TIEBitmap* AlphaChannelOpt() const { return fAlphaChannel.get(); }
    // Validate frees a plane that SyncFull proves all 255 first; hot paths pass false.
    bool HasAlphaChannel(bool Validate = false);
    void RemoveAlphaChannel(bool Merge = false, TColor BackgroundColor = clWhite);
    // Adopts Value as the plane; passing the present plane does nothing.
    void ReplaceAlphaChannel(std::unique_ptr<TIEBitmap> Value);
    std::unique_ptr<TIEBitmap> DetachAlphaChannel(bool CreateIfNotExists = false);
    void SyncAlphaChannel(bool AntiAlias = false, bool ClearHiddenContent = false);
    void SynchronizeRGBA(bool RGBAtoAlpha, bool UpdatePixelFormat = true);
    bool SyncFull();
    TIEAlphaLocation AlphaLocation() const;
    void SetAlphaLocation(TIEAlphaLocation Value);

    // Copy.
    void Assign(TIEBitmap& Source) { AssignEx(Source, true); }
    // Parameters (TIOParams) are not held by the bitmap yet, so AssignParams has no
    // effect for now.
    void AssignEx(TIEBitmap& Source, bool AssignParams);
    void AssignImage(TIEBitmap& Source) { AssignEx(Source, false); }
    void CopyRectTo(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY,
                    int32_t RectWidth, int32_t RectHeight, bool CopyAlpha = false);
    void CopyToEx(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY, int32_t RectWidth,
                  int32_t RectHeight, bool CopyAlpha, TIEMergeMethod AlphaMerge, bool EllipticalCopy);

    // Geometry.
    void Resize(int32_t NewWidth, int32_t NewHeight, double BackgroundValue = 0, int32_t FillAlpha = 255,
                TIEHAlign HorizAlign = iehLeft, TIEVAlign VertAlign = ievTop);
    // An integer background would otherwise also match the margin form.
    void Resize(int32_t NewWidth, int32_t NewHeight, int32_t BackgroundValue, int32_t FillAlpha,
                TIEHAlign HorizAlign = iehLeft, TIEVAlign VertAlign = ievTop) {
        Resize(NewWidth, NewHeight, double(BackgroundValue), FillAlpha, HorizAlign, VertAlign);
    }
    // Margins may be negative. No defaults, so that a call with four numbers can't
    // be mistaken for the size form.
    void Resize(int32_t AddLeft, int32_t AddTop, int32_t AddRight, int32_t AddBottom, double BackgroundValue,
                int32_t FillAlpha);
    // Value is truncated and read by format: a TColor for the colour formats, the
    // level for grey, the value itself for ie32f, zero or not for ie1g.
    void Fill(double Value);
    // Inclusive corners, clipped to the image.
    void FillRect(int32_t x1, int32_t y1, int32_t x2, int32_t y2, double Value);
    bool CheckFormat(TIEPixelFormatSet AllowedFormats, bool AutoConvert);
    // This bitmap if it already matches, else a converted and resampled copy that
    // this bitmap owns and keeps for the next call (unless Recreate).
    TIEBitmap* GetAtSize(int32_t aWidth, int32_t aHeight, TIEPixelFormat aPixelFormat = ieNull,
                         bool Recreate = false, bool ApplyFilter = false);
    // ieNull matches any format.
    bool IsSize(int32_t aWidth, int32_t aHeight, TIEPixelFormat aPixelFormat = ieNull) const;
    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter FilterType = rfNone,
                  bool MaintainAspectRatio = false, bool ShrinkOnly = false);
    void Resample(double ScaleBy, TResampleFilter FilterType = rfNone);

  private:
    friend void IEConvertPixelFormat(TIEBitmap& Bitmap, TIEPixelFormat NewFormat);

    bool AllocateImage();
    bool AllocateOnTBitmap();
    bool AllocateFragments(int64_t Size);
    void CacheBitmapScanlines();
    void PushPaletteToTBitmap();
    void ReleaseMaps();
    void ExchangeStorage(TIEBitmap& Other);
    void FlipRows();
    void* MapFileRow(int32_t y);
    template <typename T> T* CellPointer(int32_t x, int32_t y) {
        T* row = static_cast<T*>(GetScanline(y));
        return row ? row + x : nullptr;
    }
    template <typename T> T ReadCell(int32_t x, int32_t y) {
        const T* cell = CellPointer<T>(x, y);
        return cell ? *cell : T{};
    }
    template <typename T> void WriteCell(int32_t x, int32_t y, T Value) {
        if (T* cell = CellPointer<T>(x, y)) *cell = Value;
    }
    void MergeAlphaRect(TIEBitmap& Dest, int32_t SrcX, int32_t SrcY, int32_t DstX, int32_t DstY,
                        int32_t RectWidth, int32_t RectHeight, TIEMergeMethod Method);

    TIEDataAccess fAccess = iedRead | iedWrite;

    std::unique_ptr<TIEFileBuffer> fMemMap;
    void* fWorkingMap = nullptr;
    std::vector<TRGB> fRGBPalette;
    int32_t fPaletteUsed = 256;
    std::unique_ptr<TIEBitmap> fAlphaChannel;
    uint8_t* fMemory = nullptr;
    uint8_t* fRealMemory = nullptr;
    // fBitmap is what rows are read from; fOwnedBitmap holds it unless encapsulated.
    TBitmap* fBitmap = nullptr;
    std::unique_ptr<TBitmap> fOwnedBitmap;
    std::vector<uint8_t*> fBitmapScanlines;
    std::vector<void*> fScanlinesToUnMapPtr;
    std::vector<int32_t> fScanlinesToUnMapRow;
    TIEBitmapOrigin fOrigin = ieboBOTTOMLEFT;
    std::string fFilename;
    int32_t fFileType = 0;
    int32_t fWidth = 0;
    int32_t fHeight = 0;
    int32_t fBitCount = 0;
    int32_t fChannelCount = 0;
    int64_t fRowLen = 0;
    TIEPixelFormat fPixelFormat = ieNull;
    bool fIsAlpha = false;
    // A request: ieFile means "decide by size" (see AllocateImage).
    TIELocation fLocation = ieFile;
    bool fFull = false;
    bool fEncapsulatedFromTBitmap = false;
    bool fEncapsulatedFromMemory = false;
    int64_t fMinFileSize = 0;
    TIEDitherMethod fDefaultDitherMethod = ieThreshold;
    double fBlackValue = 0;
    double fWhiteValue = 0;
    int32_t fChannelOffset[3] = {0, 0, 0};
    bool fEnableChannelOffset = false;
    int32_t fContrast = 0;
    std::vector<TRGB> fColorMap;
    int32_t fBitAlignment = 32;
    TIEMemoryAllocator fMemoryAllocator = iemaAuto;
    bool fFullReallocate = true;
    TIENotifyEvent fOnChanged;
    bool fModified = false;
    std::unique_ptr<TIEBitmap> fTempIEBitmap;
    int32_t fFragmentsCount = 0;
    int32_t fRowsPerFragment = 0;
    std::vector<uint8_t*> fFragments;
    TIEProgressEvent fOnProgress;
    TIEAlphaLocation fAlphaLocation = iaAlphaChannel;
    bool fModified_UpdateLayer = false;
};

// Sets the Access of a bitmap, if any, for the life of the object.
class TIEScopedAccess {
  public:
    TIEScopedAccess(TIEBitmap* Bitmap, TIEDataAccess Access)
        : fBitmap(Bitmap), fSaved(Bitmap ? Bitmap->Access() : Access) {
        if (fBitmap) fBitmap->SetAccess(Access);
    }
    ~TIEScopedAccess() {
        if (fBitmap) fBitmap->SetAccess(fSaved);
    }
    TIEScopedAccess(const TIEScopedAccess&) = delete;
    TIEScopedAccess& operator=(const TIEScopedAccess&) = delete;

  private:
    TIEBitmap* fBitmap;
    TIEDataAccess fSaved;
};
