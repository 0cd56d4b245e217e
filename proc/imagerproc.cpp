#include "proc/imagerproc.h"

#include "image/bitmap.h"
#include "proc/resample.h"

void TImagerProc::CheckBitmap() const {
    if (!fIEBitmap) throw EIEException("Bitmap is not valid");
}

void TImagerProc::FinishWork() {
    if (OnProgress) OnProgress(this, 100);
    if (OnFinishWork) OnFinishWork();
    fProgressTask = ietUnknown;
}

void TImagerProc::Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter FilterType,
                           bool MaintainAspectRatio) {
    CheckBitmap();
    IEResolveResampleSize(NewWidth, NewHeight, fIEBitmap->Width(), fIEBitmap->Height(), MaintainAspectRatio);
    if (fIEBitmap->IsEmpty()) return;
    if (NewWidth == fIEBitmap->Width() && NewHeight == fIEBitmap->Height()) return;
    // No undo store exists in this engine; holders of the batch switch AutoUndo off anyway.
    TIEBitmap resampled;
    ResampleTo(resampled, NewWidth, NewHeight, FilterType, MaintainAspectRatio);
    fIEBitmap->AssignImage(resampled);
    if (OnUpdate) OnUpdate();
    FinishWork();
}

void TImagerProc::Resample(double ScaleBy, TResampleFilter FilterType) {
    if (ScaleBy == 0) return;
    CheckBitmap();
    Resample(IERound(fIEBitmap->Width() * ScaleBy), IERound(fIEBitmap->Height() * ScaleBy), FilterType, false);
}

void TImagerProc::ResampleTo(TIEBitmap& Target, int32_t TargetWidth, int32_t TargetHeight,
                             TResampleFilter FilterType, bool MaintainAspectRatio) {
    CheckBitmap();
    if (fIEBitmap->IsEmpty()) return;
    fProgressTask = ietResampling;
    IEResolveResampleSize(TargetWidth, TargetHeight, fIEBitmap->Width(), fIEBitmap->Height(),
                          MaintainAspectRatio);
    if (!Target.Allocate(TargetWidth, TargetHeight, fIEBitmap->PixelFormat(), -1.0, 255)) return;
    IEResampleDispatch(*fIEBitmap, Target, FilterType, OnProgress, this);
    FinishWork();
}
