#pragma once

#include <functional>

#include "image/ietypes.h"

class TIEBitmap;

enum TIEProcessingTask : int32_t { ietUnknown, ietResampling };

// The processing front end of a holder: every operation works on the holder's bitmap
// in place and ends with the finish step (progress 100, OnFinishWork).
class TImagerProc {
  public:
    explicit TImagerProc(TIEBitmap* Bitmap) : fIEBitmap(Bitmap) {}

    bool AutoUndo() const { return fAutoUndo; }
    void SetAutoUndo(bool v) { fAutoUndo = v; }
    TIEProcessingTask ProgressTask() const { return fProgressTask; }

    TIEProgressEvent OnProgress;
    std::function<void()> OnFinishWork;
    // Raised after the holder's bitmap has changed, so the owner can repaint.
    std::function<void()> OnUpdate;

    void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter FilterType,
                  bool MaintainAspectRatio = false);
    void Resample(double ScaleBy, TResampleFilter FilterType);
    void ResampleTo(TIEBitmap& Target, int32_t TargetWidth, int32_t TargetHeight, TResampleFilter FilterType,
                    bool MaintainAspectRatio = false);

  private:
    void CheckBitmap() const;
    void FinishWork();

    TIEBitmap* fIEBitmap;
    bool fAutoUndo = true;
    TIEProcessingTask fProgressTask = ietUnknown;
};
