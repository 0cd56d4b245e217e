#pragma once

#include <functional>
#include <string>

#include "io/ioparams.h"
#include "io/stream.h"

class TIEBitmap;

// Loads a picture into its owner's bitmap and saves it. It doesn't decode: it picks the
// format, opens the file, prepares the bitmap and calls the codec, then fixes up the
// parameters and tells its owner.
class TImagerIO {
  public:
    // AttachedToView: the bitmap belongs to a view, which lets a valid but empty bitmap
    // through the save check (the case of a failed load in the worker).
    TImagerIO(TIEBitmap* Bitmap, bool AttachedToView);
    virtual ~TImagerIO() = default;

    TIOParams& Params() { return fParams; }
    bool Aborting() const { return fAborting; }
    void SetAborting(bool v) { fAborting = v; }
    bool AutoAdjustDPI() const { return fAutoAdjustDPI; }
    void SetAutoAdjustDPI(bool v) { fAutoAdjustDPI = v; }
    bool FilteredAdjustDPI() const { return fFilteredAdjustDPI; }
    void SetFilteredAdjustDPI(bool v) { fFilteredAdjustDPI = v; }
    bool StreamHeaders() const { return fStreamHeaders; }
    void SetStreamHeaders(bool v) { fStreamHeaders = v; }

    // Called after each load so that the owner repaints.
    std::function<void()> OnUpdate;

    virtual bool LoadFromFileAuto(const std::string& FileName);
    virtual bool LoadFromFile(const std::string& FileName, TIOFileType FileFormat);
    virtual bool LoadFromFile(const std::string& FileName, bool bCheckUnknown);

    void SaveToFileJpeg(const std::string& FileName);
    void SaveToStreamJpeg(TIEStream& Stream);

  private:
    void CheckBitmapValid(bool MustNotBeEmpty) const;
    bool LoadByFormat(const std::string& FileName, TIOFileType FileFormat);
    void WriteJpeg(TIEStream& Stream);

    TIOParams fParams;
    TIEBitmap* fIEBitmap;
    bool fAttachedToView;
    bool fStreamHeaders = false;
    bool fAutoAdjustDPI;
    bool fFilteredAdjustDPI = false;
    bool fAborting = false;
};
