#include "proc/imagerproc.h"

#include "image/bitmap.h"
#include "proc/enhance.h"
#include "proc/resample.h"
#include "proc/shadow.h"
#include "proc/sharpen.h"

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
    // A size that can't be resolved or had leaves the picture as it is.
    if (!ResampleTo(resampled, NewWidth, NewHeight, FilterType, MaintainAspectRatio)) return;
    fIEBitmap->AssignImage(resampled);
    if (OnUpdate) OnUpdate();
    FinishWork();
}

void TImagerProc::Resample(double ScaleBy, TResampleFilter FilterType) {
    if (ScaleBy == 0) return;
    CheckBitmap();
    Resample(IERound(fIEBitmap->Width() * ScaleBy), IERound(fIEBitmap->Height() * ScaleBy), FilterType,
             false);
}

bool TImagerProc::ResampleTo(TIEBitmap& Target, int32_t TargetWidth, int32_t TargetHeight,
                             TResampleFilter FilterType, bool MaintainAspectRatio) {
    CheckBitmap();
    if (fIEBitmap->IsEmpty()) return false;
    fProgressTask = ietResampling;
    IEResolveResampleSize(TargetWidth, TargetHeight, fIEBitmap->Width(), fIEBitmap->Height(),
                          MaintainAspectRatio);
    bool done = Target.Allocate(TargetWidth, TargetHeight, fIEBitmap->PixelFormat(), -1.0, 255) &&
                IEResampleDispatch(*fIEBitmap, Target, FilterType, OnProgress, this);
    if (!done) {
        fProgressTask = ietUnknown;
        return false;
    }
    FinishWork();
    return true;
}

bool TImagerProc::BeginImageProcessing(TIEProcRect& Rect) {
    CheckBitmap();
    if (fIEBitmap->IsEmpty()) return false;
    // No undo store exists in this engine; holders of the batch switch AutoUndo off anyway.
    if (!fIEBitmap->CheckFormat({ie24RGB}, fAutoConvertFormat)) return false;
    if (fIEBitmap->PixelFormat() != ie24RGB) return false;
    Rect = TIEProcRect{0, 0, fIEBitmap->Width(), fIEBitmap->Height()};
    fProgressTask = ietProcessing;
    return true;
}

void TImagerProc::EndImageProcessing() {
    if (OnUpdate) OnUpdate();
    FinishWork();
}

void TImagerProc::AutoSharp(int32_t Intensity, double Rate) {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEAutoSharp(*fIEBitmap, Intensity, Rate, OnProgress, this);
    EndImageProcessing();
}

void TImagerProc::EdgeDetect_ShenCastan(double Ratio, double Smooth, int32_t WindowSize, int32_t ThinFactor,
                                        bool DoHysteresis) {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    TIEShenCastanParams params;
    params.Ratio = Ratio;
    params.Smooth = Smooth;
    params.WindowSize = WindowSize;
    params.ThinFactor = ThinFactor;
    params.DoHysteresis = DoHysteresis;
    TIEBitmap edges;
    IEEdgeDetectShenCastan(*fIEBitmap, edges, params);
    if (!edges.IsEmpty()) fIEBitmap->AssignImage(edges);
    EndImageProcessing();
}

void TImagerProc::Blur(double radius) {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEBlurRect(*fIEBitmap, radius, rect);
    EndImageProcessing();
}

void TImagerProc::Merge(TIEBitmap& SrcBitmap, int32_t pcf) {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEMerge(*fIEBitmap, SrcBitmap, pcf, rect, OnProgress, this);
    EndImageProcessing();
}

void TImagerProc::Merge(TBitmap& SrcBitmap, int32_t pcf) {
    {
        TIEBitmap wrapper;
        wrapper.EncapsulateTBitmap(&SrcBitmap, true);
        Merge(wrapper, pcf);
    }
    FinishWork();
}

void TImagerProc::AutoImageEnhance3(double Gamma, int32_t Saturation) {
    // Refused before anything, the format conversion included, is touched.
    if (Gamma <= 0) throw EIEException("Invalid Gamma value");
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEAutoImageEnhance3(*fIEBitmap, Gamma, Saturation, OnProgress, this);
    EndImageProcessing();
}

void TImagerProc::WhiteBalance_GrayWorld() {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEWhiteBalanceGrayWorld(*fIEBitmap, OnProgress, this);
    EndImageProcessing();
}

void TImagerProc::ConvertToGray() {
    TIEProcRect rect;
    if (!BeginImageProcessing(rect)) return;
    IEConvertToGray(*fIEBitmap, rect);
    EndImageProcessing();
}

void TImagerProc::AddSoftShadow(double Radius, int32_t OffsetX, int32_t OffsetY, bool AdaptSize,
                                TColor ShadowColor, int32_t Intensity, int32_t BGAlphaThreshold) {
    CheckBitmap();
    if (fIEBitmap->IsEmpty()) return;
    fProgressTask = ietProcessing;
    IEAddSoftShadow(*fIEBitmap, Radius, OffsetX, OffsetY, AdaptSize, ShadowColor, Intensity,
                    BGAlphaThreshold);
    EndImageProcessing();
}

void TImagerProc::AddSoftShadow(double Radius, int32_t Offset, TIEShadowPosition Position, bool AdaptSize,
                                TColor ShadowColor, int32_t Intensity, int32_t BGAlphaThreshold) {
    if (Position == iespInner) {
        CheckBitmap();
        if (fIEBitmap->IsEmpty()) return;
        fProgressTask = ietProcessing;
        IEAddInnerShadow(*fIEBitmap, Radius, Offset, Offset, ShadowColor, Intensity);
        EndImageProcessing();
        return;
    }
    int32_t offsetX = 0, offsetY = 0;
    IEShadowOffsets(Offset, Position, offsetX, offsetY);
    AddSoftShadow(Radius, offsetX, offsetY, AdaptSize, ShadowColor, Intensity, BGAlphaThreshold);
}
