#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "io/ioparams.h"
#include "io/stream.h"

class TIEBitmap;
struct TProgressRec;

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
    // The holder points this at the bitmap of its current layer.
    void SetBitmap(TIEBitmap* Bitmap) { fIEBitmap = Bitmap; }
    // True when the last operation failed or was stopped.
    bool Aborting() const { return fAborting; }
    void SetAborting(bool v) { fAborting = v; }
    bool AutoAdjustDPI() const { return fAutoAdjustDPI; }
    void SetAutoAdjustDPI(bool v) { fAutoAdjustDPI = v; }
    bool FilteredAdjustDPI() const { return fFilteredAdjustDPI; }
    void SetFilteredAdjustDPI(bool v) { fFilteredAdjustDPI = v; }
    // A 12-byte header of the engine's own in front of a saved stream: "JFIF", zero
    // bytes up to byte 8, then the length of the JPEG data behind it, little-endian.
    bool StreamHeaders() const { return fStreamHeaders; }
    void SetStreamHeaders(bool v) { fStreamHeaders = v; }

    // Called after each load so that the owner repaints.
    std::function<void()> OnUpdate;
    // Progress of the codecs in percent; a handler stops a codec with SetAborting(true).
    TIEProgressEvent OnProgress;
    // The owner is told how a load ended: NotifySuccess after a load that worked,
    // NotifyFailure after one that didn't. Called on the thread of the load: an owner
    // with windows hands them to its own thread.
    std::function<void(int32_t Code)> OnNotify;
    // At the end of a save.
    std::function<void()> OnFinishWork;

    static constexpr int32_t NotifySuccess = 1;
    static constexpr int32_t NotifyFailure = 8;

    virtual bool LoadFromFileAuto(const std::string& FileName);
    virtual bool LoadFromFile(const std::string& FileName, TIOFileType FileFormat);
    virtual bool LoadFromFile(const std::string& FileName, bool bCheckUnknown);
    // The format by content when FileFormat is 0.
    bool LoadFromStream(TIEStream& Stream, TIOFileType FileFormat = 0);

    bool LoadFromFileJpeg(const std::string& FileName);
    bool LoadFromStreamJpeg(TIEStream& Stream);
    void SaveToFileJpeg(const std::string& FileName);
    void SaveToStreamJpeg(TIEStream& Stream);

    // TIFF: the page Params().TIFF_ImageIndex, with its alpha channel.
    bool LoadFromFileTIFF(const std::string& FileName);
    bool LoadFromStreamTIFF(TIEStream& Stream);

    // PNG: the picture with its alpha channel.
    bool LoadFromFilePNG(const std::string& FileName);
    bool LoadFromStreamPNG(TIEStream& Stream);
    void SaveToFilePNG(const std::string& FileName);
    void SaveToStreamPNG(TIEStream& Stream);

  protected:
    virtual void DoNotify(int32_t Code);
    virtual void DoFinishWork();

  private:
    void CheckBitmapValid(bool MustNotBeEmpty) const;
    bool LoadByFormat(const std::string& FileName, TIOFileType FileFormat);
    bool LoadStreamByFormat(TIEStream& Stream, TIOFileType FileFormat);
    bool FailUnknownFormat();
    bool LoadJpeg(TIEStream& Stream, const std::string& FileName);
    void WriteJpeg(TIEStream& Stream);
    bool LoadPng(TIEStream& Stream, const std::string& FileName);
    bool LoadTiff(TIEStream& Stream, const std::string& FileName);
    // The steps around a codec's read: parameters reset, owner updated and told.
    bool LoadWith(const std::string& FileName, TIOFileType FileType,
                  const std::function<void(TProgressRec&)>& Read);
    void WritePng(TIEStream& Stream);
    void CommitUnlessBroken(TIEFileStream& Stream);
    TProgressRec MakeProgress();

    TIOParams fParams;
    TIEBitmap* fIEBitmap;
    bool fAttachedToView;
    bool fStreamHeaders = false;
    bool fAutoAdjustDPI;
    bool fFilteredAdjustDPI = false;
    bool fAborting = false;
};
