#pragma once

#include <memory>

#include "image/bitmap.h"
#include "io/imagerio.h"
#include "proc/imagerproc.h"

// Holds one picture with its input/output and processing front ends, which it makes
// on first use. The painting side joins when the viewer is built.
class TImagerView {
  public:
    TImagerView();
    virtual ~TImagerView();
    TImagerView(const TImagerView&) = delete;
    TImagerView& operator=(const TImagerView&) = delete;

    TIEBitmap& IEBitmap() { return *fIEBitmap; }
    TImagerIO& IO();
    TImagerProc& Proc();

    bool EnableAlphaChannel() const { return fEnableAlphaChannel; }
    void SetEnableAlphaChannel(bool v) { fEnableAlphaChannel = v; }
    bool ShowLegacyWarning() const { return fShowLegacyWarning; }
    void SetShowLegacyWarning(bool v) { fShowLegacyWarning = v; }

    bool IsEmpty() const { return fIEBitmap->IsEmpty(); }
    // Repaints; an off-screen holder has nothing to paint, so only the count moves.
    virtual void Update() { ++fUpdateCount; }
    int UpdateCount() const { return fUpdateCount; }

  private:
    std::unique_ptr<TIEBitmap> fIEBitmap;
    std::unique_ptr<TImagerIO> fIO;
    std::unique_ptr<TImagerProc> fProc;
    bool fEnableAlphaChannel = false;
    bool fShowLegacyWarning = false;
    int fUpdateCount = 0;
};
