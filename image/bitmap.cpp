// Storage: allocation in memory, in a file or on a platform bitmap, and the moves
// between them.
#include "image/bitmap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "image/settings.h"

namespace {

int64_t gMaxMemoryBlock = -1;

// Requests beyond physical memory could only be met by overcommit and would be
// killed on first touch; they count as exhausted memory.
bool BlockAllowed(int64_t Size) {
    if (Size <= 0) return false;
    if (gMaxMemoryBlock >= 0 && Size > gMaxMemoryBlock) return false;
    uint64_t physical = IETotalPhysicalMemory();
    return physical == 0 || uint64_t(Size) <= physical;
}

// Four bytes in front of every block, the last of them a tag (1 global heap,
// 0 language heap), so that IEHeapFree serves both without being told which.
uint8_t* IEHeapAlloc(int64_t Size, bool GlobalHeap) {
    if (!BlockAllowed(Size)) return nullptr;
    size_t total = size_t(Size) + 4;
    uint8_t* raw = GlobalHeap ? static_cast<uint8_t*>(std::malloc(total)) : new (std::nothrow) uint8_t[total];
    if (!raw) return nullptr;
    raw[3] = GlobalHeap ? 1 : 0;
    return raw + 4;
}

void IEHeapFree(uint8_t* Block) {
    if (!Block) return;
    uint8_t* raw = Block - 4;
    if (raw[3] == 1)
        std::free(raw);
    else
        delete[] raw;
}

int64_t DefaultMinFileSize() {
    if (DefMinFileSize >= 0) return DefMinFileSize;
    uint64_t physical = IETotalPhysicalMemory();
    if (physical == 0) return 0x2000000;
    return int64_t(double(physical) / 1.1);
}

// Copies the first Bytes of each of the first Rows rows; false if a row was lost on
// either side. The source is mapped read only and the target write only, so
// file-backed rows cost one transfer each.
bool CopyRows(TIEBitmap& Source, TIEBitmap& Dest, int32_t Rows, int64_t Bytes) {
    TIEScopedAccess sourceAccess(&Source, iedRead), destAccess(&Dest, iedWrite);
    for (int32_t row = 0; row < Rows; ++row) {
        void* target = Dest.GetScanline(row);
        void* source = Source.GetScanline(row);
        if (!target || !source) break;
        std::memcpy(target, source, size_t(Bytes));
    }
    return Source.FlushRows() & Dest.FlushRows();
}

} // namespace

void IESetMaxMemoryBlock(int64_t Bytes) {
    gMaxMemoryBlock = Bytes;
}
int64_t IEMaxMemoryBlock() {
    return gMaxMemoryBlock;
}

int64_t IEComputeRowLen(int32_t Width, int32_t BitCount, int32_t BitAlignment) {
    if (Width < 1 || BitCount < 1 || BitAlignment < 8 || BitAlignment % 8 != 0) return 0;
    int64_t bits = int64_t(Width) * BitCount + BitAlignment - 1;
    if (bits > INT32_MAX) return 0;
    if (BitAlignment == 32) return bits / 32 * 4;
    return bits / BitAlignment * (BitAlignment / 8);
}

TIEBitmap::TIEBitmap() : fMemMap(std::make_unique<TIEFileBuffer>()), fMinFileSize(DefaultMinFileSize()) {}

TIEBitmap::TIEBitmap(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat,
                     double FillValue, int32_t Alpha)
    : TIEBitmap() {
    Allocate(ImageWidth, ImageHeight, ImagePixelFormat, FillValue, Alpha);
}

TIEBitmap::TIEBitmap(int32_t ImageWidth, int32_t ImageHeight, TColor FillColor, int32_t Alpha) : TIEBitmap() {
    Allocate(ImageWidth, ImageHeight, FillColor, Alpha);
}

TIEBitmap::~TIEBitmap() {
    FreeImage(true);
}

std::unique_ptr<TIEBitmap> TIEBitmap::CreateAsAlphaChannel(int32_t ImageWidth, int32_t ImageHeight,
                                                           TIELocation ImageLocation) {
    auto plane = std::make_unique<TIEBitmap>();
    plane->fIsAlpha = true;
    plane->fLocation = ImageLocation == ieTBitmap ? ieMemory : ImageLocation;
    plane->Allocate(ImageWidth, ImageHeight, ie8g, 255);
    return plane;
}

bool TIEBitmap::Allocate(int32_t ImageWidth, int32_t ImageHeight, TIEPixelFormat ImagePixelFormat,
                         double FillValue, int32_t Alpha) {
    if (!fFullReallocate && ImageWidth == fWidth && ImageHeight == fHeight &&
        ImagePixelFormat == fPixelFormat && FillValue == -1.0 && Alpha == 255) {
        Changed();
        return true;
    }
    if (fEncapsulatedFromTBitmap) {
        fAlphaChannel.reset();
        ReleaseMaps();
    } else {
        FreeImage(true);
    }
    fWidth = ImageWidth;
    fHeight = ImageHeight;
    fPixelFormat = ImagePixelFormat;
    bool result = AllocateImage();
    if (!result) fWidth = fHeight = 0;
    fFullReallocate = false;
    if (result) {
        if (FillValue == IETransparentFill) {
            Fill(16777215.0);
            if (TIEBitmap* plane = AlphaChannel()) plane->Fill(0);
        } else if (FillValue != -1.0) {
            Fill(FillValue);
        }
        if (Alpha < 255)
            if (TIEBitmap* plane = AlphaChannel()) plane->Fill(Alpha);
        // A plane that could not be had, or a fill that lost rows on disk, leaves no
        // usable picture: as good as no memory.
        bool planeMade = !fAlphaChannel || (!fAlphaChannel->IsEmpty() && fAlphaChannel->FlushRows());
        if (!(FlushRows() & planeMade)) {
            FreeImage(true);
            result = false;
        }
    }
    Changed();
    return result;
}

bool TIEBitmap::Allocate(int32_t ImageWidth, int32_t ImageHeight, TColor FillColor, int32_t Alpha) {
    return Allocate(ImageWidth, ImageHeight, ie24RGB, double(FillColor), Alpha);
}

bool TIEBitmap::AllocateImage() {
    if (fWidth < 1 || fHeight < 1 || fPixelFormat == ieNull) return false;
    if (fLocation == ieTBitmap) return AllocateOnTBitmap();
    if (fPixelFormat == ie8p) fRGBPalette.assign(256, TRGB{0, 0, 0});
    fBitCount = IEBitCount(fPixelFormat);
    fChannelCount = IEChannelCount(fPixelFormat);
    fRowLen = IEComputeRowLen(fWidth, fBitCount, fBitAlignment);
    if (fRowLen == 0) return false;
    // Cannot overflow: the row length is below 2^31 bytes and so is the height.
    int64_t size = fRowLen * fHeight;
    if (fLocation == ieFile && size <= fMinFileSize)
        fLocation = ieMemory;
    else if (fLocation == ieMemory && size > fMinFileSize)
        fLocation = ieFile;
    if (fLocation == ieFile && !fMemMap->AllocateFile(size, "IMG", true)) fLocation = ieMemory;
    if (fLocation == ieMemory) {
        int64_t request = size + 128;
        bool globalHeap =
            fMemoryAllocator == iemaSystem || (fMemoryAllocator == iemaAuto && request >= 0x100000);
        fRealMemory = IEHeapAlloc(request, globalHeap);
        if (fRealMemory) {
            fMemory =
                reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(fRealMemory) + 63) & ~uintptr_t(63));
        } else if (!AllocateFragments(size)) {
            if (!AutoLocateOnDisk) return false;
            fLocation = ieFile;
            if (!fMemMap->AllocateFile(size, "IMG", true)) return false;
        }
    }
    fFull = false;
    return true;
}

bool TIEBitmap::AllocateOnTBitmap() {
    auto refuse = [this](const char* Text) {
        fWidth = fHeight = 0;
        throw EIEException(Text);
    };
    switch (fPixelFormat) {
    case ie32f:
        refuse("ie32f pixel format not allowed when IEBitmap.Location=ieTBitmap");
        break;
    case ieCMYK:
        refuse("ieCMYK pixel format not allowed when IEBitmap.Location=ieTBitmap");
        break;
    case ie48RGB:
        refuse("ieRGB48 pixel format not allowed when IEBitmap.Location=ieTBitmap");
        break;
    case ieCIELab:
        refuse("ieCIELab pixel format not allowed when IEBitmap.Location=ieTBitmap");
        break;
    case ie16g:
        fPixelFormat = ie8g;
        break;
    default:
        break;
    }
    if (fPixelFormat == ie8p) fRGBPalette.assign(256, TRGB{0, 0, 0});
    fBitCount = IEBitCount(fPixelFormat);
    fChannelCount = IEChannelCount(fPixelFormat);
    // The platform's rows are always padded to four bytes, whatever BitAlignment says;
    // a longer fRowLen would run past the last row.
    fRowLen = IEComputeRowLen(fWidth, fBitCount, 32);
    uint64_t physical = IETotalPhysicalMemory();
    if (fRowLen == 0 || (physical != 0 && uint64_t(fRowLen * fHeight) > physical)) return false;
    if (!fBitmap) {
        fOwnedBitmap = std::make_unique<TBitmap>();
        fBitmap = fOwnedBitmap.get();
    }
    try {
        fBitmap->SetSize(1, 1);
        fBitmap->SetPixelDepth(fBitCount);
        fBitmap->SetSize(fWidth, fHeight);
    } catch (const std::bad_alloc&) {
        fBitmap->SetSize(0, 0);
        return false;
    }
    if (fPixelFormat == ie8g)
        for (int i = 0; i < 256; ++i)
            fBitmap->SetPaletteEntry(i, TRGBA{uint8_t(i), uint8_t(i), uint8_t(i), 0});
    if (fPixelFormat == ie8p) PushPaletteToTBitmap();
    CacheBitmapScanlines();
    fFull = false;
    return true;
}

void TIEBitmap::CacheBitmapScanlines() {
    fBitmapScanlines.resize(size_t(fHeight));
    for (int32_t row = 0; row < fHeight; ++row)
        fBitmapScanlines[size_t(row)] = fBitmap->ScanLine(row);
}

void TIEBitmap::PushPaletteToTBitmap() {
    if (fLocation != ieTBitmap || !fBitmap) return;
    for (int32_t i = 0; i < GetPaletteLen(); ++i) {
        TRGB entry = fRGBPalette[size_t(i)];
        fBitmap->SetPaletteEntry(i, TRGBA{entry.b, entry.g, entry.r, 0});
    }
}

bool TIEBitmap::AllocateFragments(int64_t Size) {
    if (!AutoFragmentBitmap) return false;
    uint64_t physical = IETotalPhysicalMemory();
    if (physical != 0 && uint64_t(Size) > physical) return false;
    for (int32_t count = 4;;) {
        int32_t rowsPerFragment = int32_t((int64_t(fHeight) + count - 1) / count);
        int64_t fragmentSize = fRowLen * rowsPerFragment;
        if (fragmentSize < 0xA00000 && count > 4) return false;
        std::vector<uint8_t*> fragments;
        for (int32_t i = 0; i < count; ++i) {
            uint8_t* block = IEHeapAlloc(fragmentSize, true);
            if (!block) break;
            fragments.push_back(block);
        }
        if (int32_t(fragments.size()) == count) {
            fFragmentsCount = count;
            fRowsPerFragment = rowsPerFragment;
            fFragments = std::move(fragments);
            return true;
        }
        for (uint8_t* block : fragments)
            IEHeapFree(block);
        // Doubling past the row count would only give empty fragments.
        if (int64_t(count) * 2 >= fHeight) return false;
        count *= 2;
    }
}

void TIEBitmap::ReleaseMaps() {
    if (fWorkingMap) fMemMap->UnMap(fWorkingMap);
    fWorkingMap = nullptr;
    for (void* mapped : fScanlinesToUnMapPtr)
        fMemMap->UnMap(mapped);
    fScanlinesToUnMapPtr.clear();
    fScanlinesToUnMapRow.clear();
}

void TIEBitmap::FreeImage(bool FreeAlpha) {
    if (FreeAlpha) fAlphaChannel.reset();
    fRGBPalette.clear();
    ReleaseMaps();
    fMemMap->DeAllocate();
    if (!fEncapsulatedFromMemory) {
        IEHeapFree(fRealMemory);
        for (uint8_t* fragment : fFragments)
            IEHeapFree(fragment);
    }
    fRealMemory = fMemory = nullptr;
    fFragments.clear();
    fFragmentsCount = fRowsPerFragment = 0;
    fOwnedBitmap.reset();
    fBitmap = nullptr;
    fBitmapScanlines.clear();
    fTempIEBitmap.reset();
    fWidth = fHeight = fBitCount = fChannelCount = 0;
    fRowLen = 0;
    fFull = false;
    fEncapsulatedFromTBitmap = fEncapsulatedFromMemory = false;
}

void TIEBitmap::Clear() {
    FreeImage(true);
    fPixelFormat = ieNull;
    fFullReallocate = true;
    Changed();
}

bool TIEBitmap::MemoryFromGlobalHeap() const {
    return fRealMemory && !fEncapsulatedFromMemory && fRealMemory[-1] == 1;
}

void TIEBitmap::EncapsulateMemory(void* Mem, int32_t BmpWidth, int32_t BmpHeight,
                                  TIEPixelFormat BmpPixelFormat, bool DoFreeImage, TIEBitmapOrigin Origin) {
    FreeImage(DoFreeImage);
    int64_t rowLen = IEComputeRowLen(BmpWidth, IEBitCount(BmpPixelFormat), fBitAlignment);
    if (Mem && BmpHeight >= 1 && rowLen > 0) {
        fMemory = static_cast<uint8_t*>(Mem);
        fWidth = BmpWidth;
        fHeight = BmpHeight;
        fBitCount = IEBitCount(BmpPixelFormat);
        fChannelCount = IEChannelCount(BmpPixelFormat);
        fRowLen = rowLen;
        fEncapsulatedFromMemory = true;
        if (BmpPixelFormat == ie8p) fRGBPalette.assign(256, TRGB{0, 0, 0});
    }
    fPixelFormat = BmpPixelFormat;
    fOrigin = Origin;
    fLocation = ieMemory;
    fFullReallocate = true;
    Changed();
}

void TIEBitmap::EncapsulateTBitmap(TBitmap* Obj, bool DoFreeImage) {
    FreeImage(DoFreeImage);
    if (!Obj || Obj->Width() < 1 || Obj->Height() < 1) return;
    switch (Obj->PixelDepth()) {
    case 1:
        fPixelFormat = ie1g;
        break;
    case 8:
        fPixelFormat = ie8p;
        fRGBPalette.resize(256);
        for (int32_t i = 0; i < 256; ++i) {
            TRGBA entry = Obj->PaletteEntry(i);
            fRGBPalette[size_t(i)] = TRGB{entry.b, entry.g, entry.r};
        }
        break;
    case 24:
        fPixelFormat = ie24RGB;
        break;
    default:
        fPixelFormat = ie32RGB;
        break;
    }
    fBitmap = Obj;
    fEncapsulatedFromTBitmap = true;
    fLocation = ieTBitmap;
    fWidth = Obj->Width();
    fHeight = Obj->Height();
    fBitCount = IEBitCount(fPixelFormat);
    fChannelCount = IEChannelCount(fPixelFormat);
    fRowLen = Obj->RowLen();
    CacheBitmapScanlines();
    fFullReallocate = true;
    Changed();
}

void TIEBitmap::ExchangeStorage(TIEBitmap& Other) {
    ReleaseMaps();
    Other.ReleaseMaps();
    std::swap(fMemMap, Other.fMemMap);
    std::swap(fRGBPalette, Other.fRGBPalette);
    std::swap(fPaletteUsed, Other.fPaletteUsed);
    std::swap(fAlphaChannel, Other.fAlphaChannel);
    std::swap(fMemory, Other.fMemory);
    std::swap(fRealMemory, Other.fRealMemory);
    std::swap(fBitmap, Other.fBitmap);
    std::swap(fOwnedBitmap, Other.fOwnedBitmap);
    std::swap(fBitmapScanlines, Other.fBitmapScanlines);
    std::swap(fOrigin, Other.fOrigin);
    std::swap(fWidth, Other.fWidth);
    std::swap(fHeight, Other.fHeight);
    std::swap(fBitCount, Other.fBitCount);
    std::swap(fChannelCount, Other.fChannelCount);
    std::swap(fRowLen, Other.fRowLen);
    std::swap(fPixelFormat, Other.fPixelFormat);
    std::swap(fLocation, Other.fLocation);
    std::swap(fFull, Other.fFull);
    std::swap(fEncapsulatedFromTBitmap, Other.fEncapsulatedFromTBitmap);
    std::swap(fEncapsulatedFromMemory, Other.fEncapsulatedFromMemory);
    std::swap(fBitAlignment, Other.fBitAlignment);
    std::swap(fMemoryAllocator, Other.fMemoryAllocator);
    std::swap(fFragmentsCount, Other.fFragmentsCount);
    std::swap(fRowsPerFragment, Other.fRowsPerFragment);
    std::swap(fFragments, Other.fFragments);
    std::swap(fAlphaLocation, Other.fAlphaLocation);
    fTempIEBitmap.reset();
    Other.fTempIEBitmap.reset();
    fFullReallocate = Other.fFullReallocate = true;
}

void TIEBitmap::SwitchTo(TIEBitmap& Target) {
    if (&Target == this) return;
    Target.FreeImage(true);
    // The source stays as FreeImage leaves a bitmap: empty, with its settings.
    TIEPixelFormat format = fPixelFormat;
    TIELocation location = fLocation;
    TIEBitmapOrigin origin = fOrigin;
    int32_t alignment = fBitAlignment;
    TIEMemoryAllocator allocator = fMemoryAllocator;
    TIEAlphaLocation alphaLocation = fAlphaLocation;
    ExchangeStorage(Target);
    fPixelFormat = format;
    fLocation = location;
    fOrigin = origin;
    fBitAlignment = alignment;
    fMemoryAllocator = allocator;
    fAlphaLocation = alphaLocation;
    Target.Changed();
    Changed();
}

void TIEBitmap::Swap(TIEBitmap& Target) {
    if (&Target == this) return;
    ExchangeStorage(Target);
    Target.Changed();
    Changed();
}

void TIEBitmap::Changed() {
    fModified = true;
    fModified_UpdateLayer = true;
    if (fOnChanged) fOnChanged(*this);
}

void TIEBitmap::SetWidth(int32_t Value) {
    if (Value == fWidth) return;
    if (IsEmpty()) {
        // Lets "set width, set height" build a bitmap of a chosen format.
        fWidth = Value;
        if (fHeight >= 1 && Value >= 1 && fPixelFormat != ieNull) Allocate(Value, fHeight, fPixelFormat);
        return;
    }
    TIEBitmap old;
    SwitchTo(old);
    if (!Allocate(Value, old.fHeight, old.fPixelFormat) ||
        !CopyRows(old, *this, fHeight, std::min(fRowLen, old.fRowLen))) {
        old.SwitchTo(*this);
        return;
    }
    old.CopyPaletteTo(*this);
    fAlphaChannel = std::move(old.fAlphaChannel);
    if (fAlphaChannel) fAlphaChannel->SetWidth(Value);
    fFull = false;
    Changed();
}

void TIEBitmap::SetHeight(int32_t Value) {
    if (Value == fHeight) return;
    if (IsEmpty()) {
        fHeight = Value;
        if (fWidth >= 1 && Value >= 1 && fPixelFormat != ieNull) Allocate(fWidth, Value, fPixelFormat);
        return;
    }
    TIEBitmap old;
    SwitchTo(old);
    if (!Allocate(old.fWidth, Value, old.fPixelFormat) ||
        !CopyRows(old, *this, std::min(fHeight, old.fHeight), std::min(fRowLen, old.fRowLen))) {
        old.SwitchTo(*this);
        return;
    }
    old.CopyPaletteTo(*this);
    fAlphaChannel = std::move(old.fAlphaChannel);
    if (fAlphaChannel) fAlphaChannel->SetHeight(Value);
    fFull = false;
    Changed();
}

void TIEBitmap::SetBitAlignment(int32_t Value) {
    if (Value < 8 || Value % 8 != 0 || Value == fBitAlignment) return;
    if (fLocation != ieMemory || IsEmpty()) {
        fBitAlignment = Value;
        return;
    }
    TIEBitmap old;
    SwitchTo(old);
    fBitAlignment = Value;
    if (!Allocate(old.fWidth, old.fHeight, old.fPixelFormat)) {
        old.SwitchTo(*this);
        return;
    }
    if (!CopyRows(old, *this, fHeight, std::min(fRowLen, old.fRowLen))) {
        old.SwitchTo(*this);
        return;
    }
    old.CopyPaletteTo(*this);
    fAlphaChannel = std::move(old.fAlphaChannel);
    fFull = old.fFull;
    Changed();
}

void TIEBitmap::SetLocation(TIELocation Value) {
    if (Value == fLocation) return;
    if (IsEmpty()) {
        fLocation = Value;
        return;
    }
    TIEBitmap old;
    SwitchTo(old);
    fLocation = Value;
    bool allocated;
    try {
        allocated = Allocate(old.fWidth, old.fHeight, old.fPixelFormat);
    } catch (const EIEException&) {
        old.SwitchTo(*this);
        throw;
    }
    // The size threshold may have overruled the request; then nothing moves.
    if (!allocated || fLocation != Value || !CopyRows(old, *this, fHeight, std::min(fRowLen, old.fRowLen))) {
        old.SwitchTo(*this);
        return;
    }
    old.CopyPaletteTo(*this);
    fAlphaChannel = std::move(old.fAlphaChannel);
    fAlphaLocation = old.fAlphaLocation;
    fFull = old.fFull;
    Changed();
}
