#pragma once

#include <functional>

#include "image/ietypes.h"
#include "proc/shadow.h"
#include "proc/sharpen.h"

class TBitmap;
class TIEBitmap;

enum TIEProcessingTask : int32_t { ietUnknown, ietResampling, ietProcessing };

// The processing front end of a holder: every operation works on the holder's bitmap
// in place and ends with the finish step (progress 100, OnFinishWork).
class TImagerProc {
  public:
    explicit TImagerProc(TIEBitmap* Bitmap) : fIEBitmap(Bitmap) {}
    // The holder points this at the bitmap of its current layer.
    void SetBitmap(TIEBitmap* Bitmap) { fIEBitmap = Bitmap; }

    bool AutoUndo() const { return fAutoUndo; }
    void SetAutoUndo(bool v) { fAutoUndo = v; }
    // Whether an operation converts a bitmap of a format it can't handle, or stops.
    bool AutoConvertFormat() const { return fAutoConvertFormat; }
    void SetAutoConvertFormat(bool v) { fAutoConvertFormat = v; }
    TIEProcessingTask ProgressTask() const { return fProgressTask; }

    TIEProgressEvent OnProgress;
    std::function<void()> OnFinishWork;
    // Raised after the holder's bitmap has changed, so the owner can repaint.
    std::function<void()> OnUpdate;

    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter FilterType,
                  bool MaintainAspectRatio = false);
    void Resample(double ScaleBy, TResampleFilter FilterType);
    // False when the size can't be resolved or allocated or the rows can't be had;
    // Target is then not to be used.
    bool ResampleTo(TIEBitmap& Target, int32_t TargetWidth, int32_t TargetHeight, TResampleFilter FilterType,
                    bool MaintainAspectRatio = false);

    // Sharpening and merge (proc/sharpen.cpp).
    void AutoSharp(int32_t Intensity, double Rate);
    // Replaces the bitmap by its ie1g edge map: bit set for no edge.
    void EdgeDetect_ShenCastan(double Ratio, double Smooth, int32_t WindowSize, int32_t ThinFactor,
                               bool DoHysteresis);
    void Blur(double radius);
    // pcf is the percentage kept of the present image.
    void Merge(TIEBitmap& SrcBitmap, int32_t pcf);
    void Merge(TBitmap& SrcBitmap, int32_t pcf);

    // Enhancement (proc/enhance.cpp).
    void AutoImageEnhance3(double Gamma, int32_t Saturation);
    void WhiteBalance_GrayWorld();
    void ConvertToGray();

    // Soft shadow (proc/shadow.cpp).
    void AddSoftShadow(double Radius, int32_t OffsetX, int32_t OffsetY, bool AdaptSize, TColor ShadowColor,
                       int32_t Intensity, int32_t BGAlphaThreshold);
    void AddSoftShadow(double Radius, int32_t Offset, TIEShadowPosition Position, bool AdaptSize,
                       TColor ShadowColor, int32_t Intensity, int32_t BGAlphaThreshold);

  private:
    void CheckBitmap() const;
    void FinishWork();
    // The shared frame of the ie24RGB operations: false means the operation stops
    // without effect (empty bitmap, or a format that may not be converted).
    bool BeginImageProcessing(TIEProcRect& Rect);
    void EndImageProcessing();

    TIEBitmap* fIEBitmap;
    bool fAutoUndo = true;
    bool fAutoConvertFormat = true;
    TIEProcessingTask fProgressTask = ietUnknown;
};
