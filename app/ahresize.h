#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "app/resizeres.h"
#include "mview/imagerview.h"

// The job: copied by value into each worker.
struct TRisizeProperty {
    std::string Source;
    std::string Destination;
    int32_t NewSize = 1200;
    int32_t MaxFileSize = 150;
    int32_t JpgQuali = 80;
    bool AutoQuali = false;
    bool AutoSize = false;
    std::string Prefix = "R-";
    std::string Suffix;
    bool SharpImg = false;
    bool SaveExif = false;
    bool JPEGProgressive = false;
    bool WaterMark = false;
    bool EnableCMS = false;
    bool SoftShadow = false;
    bool HeighPrio = false;
    bool ImageEnhance = false;
    bool Joo = true;
    bool BW = false;
    bool Multi = false;
    TResizeMethode ResizeMethode = Lanczos3;
    std::string WaterStr;
};

// The off-screen holder of a worker: a view that is never shown.
class TImager : public TImagerView {
  public:
    TImager();
};

// Target file name for a source: prefix + name without its last extension + suffix + ".jpg".
std::string ResizeTargetName(const std::string& Source, const std::string& Prefix, const std::string& Suffix);

// One-shot worker that turns one source file into one JPEG file on a thread of its own.
// It doesn't end when its work is done: it parks, and Suspended becoming true is the
// completion signal. The park lasts until Terminate or the destructor releases it.
class TResize {
  public:
    explicit TResize(const TRisizeProperty& aRisizeProperty);
    virtual ~TResize();
    TResize(const TResize&) = delete;
    TResize& operator=(const TResize&) = delete;

    void Resume();
    void Terminate();
    void WaitFor();
    bool Suspended() const;
    bool Terminated() const;
    // Blocks the caller until the worker has parked and OnParked has returned.
    void WaitUntilParked();

    const std::string& NewImage() const { return aResizeImage; }
    // An exception that escaped the transform or save stage; nobody reads it in the batch.
    std::exception_ptr FatalException() const { return fFatalException; }

    // Called on the worker's thread just after it has parked, so that a driver that
    // sleeps in its event loop wakes up.
    std::function<void()> OnParked;

  protected:
    virtual void Execute();
    bool LoadStage();
    void TransformStage();
    void SaveStage();
    TImager& Imager() { return *aImager; }
    const TRisizeProperty& ResizeProperty() const { return fResizeProperty; }

    // The resampling call of the transform stage; tests watch the sizes asked for.
    virtual void Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter Filter);

  private:
    void ThreadBody();
    void Park();
    void ResampleFittedSide(TResampleFilter Filter);
    void SharpenStep();
    void SizeLoop();
    // Merges "Watermark.png" from the program's folder into the bottom right corner.
    void WatermarkStep();

    std::string aResizeImage;
    TRisizeProperty fResizeProperty;
    int32_t aJPEG_Quality = 0;
    std::unique_ptr<TImager> aImager;

    mutable std::mutex fLock;
    std::condition_variable fParkChanged;
    std::thread fThread;
    bool fSuspended = true;
    bool fParkAnnounced = false;
    bool fTerminated = false;
    bool fReleased = false;
    std::exception_ptr fFatalException;
};
