#include "app/ahresize.h"

#include <filesystem>
#include <system_error>

#include "app/appfolder.h"
#include "app/product.h"

TImager::TImager() {
    SetShowLegacyWarning(true);
    IO();
    Proc();
}

std::string ResizeTargetName(const std::string& Source, const std::string& Prefix,
                             const std::string& Suffix) {
    std::string name = Source.substr(Source.rfind('/') + 1);
    auto point = name.rfind('.');
    if (point != std::string::npos) name.resize(point);
    return Prefix + name + Suffix + ".jpg";
}

TResize::TResize(const TRisizeProperty& aRisizeProperty) {
    TRisizeProperty job = aRisizeProperty;
    // Both settings stay in force for the whole process after the job, also for the
    // thumbnails and the preview; the holder below starts from them.
    IEGlobalSettings().IOParamDefaults().EnableAdjustOrientation = true;
    IEGlobalSettings().SetEnableCMS(job.EnableCMS);
    fResizeProperty = job;
    aImager = std::make_unique<TImager>();
    aImager->SetEnableAlphaChannel(true);
    aImager->Proc().SetAutoUndo(false);
    TIOParams& params = aImager->IO().Params();
    params.RAW_AutoAdjustColors = true;
    params.RAW_UseCameraWB = true;
    params.JPEG_EnableAdjustOrientation = true;
    params.JPEG_OptimalHuffman = true;
    aImager->IO().SetFilteredAdjustDPI(true);
    if (!fResizeProperty.AutoQuali) aJPEG_Quality = fResizeProperty.JpgQuali;
}

TResize::~TResize() {
    // The parked thread is released and joined before the holder goes, so that a
    // worker destroyed while still running never touches a freed holder.
    {
        std::lock_guard<std::mutex> guard(fLock);
        fReleased = true;
    }
    fParkChanged.notify_all();
    if (fThread.joinable()) fThread.join();
    aImager.reset();
}

void TResize::Resume() {
    std::lock_guard<std::mutex> guard(fLock);
    if (fThread.joinable() || !fSuspended) return;
    fSuspended = false;
    fThread = std::thread([this] { ThreadBody(); });
}

void TResize::Terminate() {
    {
        std::lock_guard<std::mutex> guard(fLock);
        fTerminated = true;
    }
    fParkChanged.notify_all();
}

void TResize::WaitFor() {
    if (fThread.joinable()) fThread.join();
}

bool TResize::Suspended() const {
    std::lock_guard<std::mutex> guard(fLock);
    return fSuspended;
}

bool TResize::Terminated() const {
    std::lock_guard<std::mutex> guard(fLock);
    return fTerminated;
}

void TResize::WaitUntilParked() {
    std::unique_lock<std::mutex> guard(fLock);
    fParkChanged.wait(guard, [this] { return fParkAnnounced; });
}

void TResize::ThreadBody() {
    try {
        if (!Terminated()) Execute();
    } catch (...) {
        // The batch has no failure channel: the exception rests with the thread.
        fFatalException = std::current_exception();
    }
    Park();
}

void TResize::Park() {
    std::unique_lock<std::mutex> guard(fLock);
    // Suspended is true before the driver is woken, so a woken event loop sees it.
    fSuspended = true;
    std::function<void()> parked = OnParked;
    guard.unlock();
    if (parked) parked();
    guard.lock();
    fParkAnnounced = true;
    fParkChanged.notify_all();
    fParkChanged.wait(guard, [this] { return fTerminated || fReleased; });
}

void TResize::Execute() {
    if (!Terminated() && !LoadStage()) return;
    if (!Terminated()) TransformStage();
    if (!Terminated()) SaveStage();
}

bool TResize::LoadStage() {
    try {
        aImager->IO().LoadFromFileAuto(fResizeProperty.Source);
    } catch (...) {
        return false;
    }
    return true;
}

void TResize::TransformStage() {
    if (aImager->IsEmpty()) return;
    std::optional<TResampleFilter> filter = ResizeMethodeFilter(fResizeProperty.ResizeMethode);
    if (filter) ResampleFittedSide(*filter);
    if (fResizeProperty.ImageEnhance) aImager->Proc().AutoImageEnhance3(0.33, 70);
    if (fResizeProperty.SharpImg) SharpenStep();
    aImager->Update();
}

void TResize::SharpenStep() {
    // Half sharpened, half as resampled: the untouched copy is blended back in.
    TImager unsharpened;
    unsharpened.Proc().SetAutoUndo(false);
    unsharpened.IEBitmap().AssignImage(aImager->IEBitmap());
    aImager->Proc().AutoSharp(68, 0.035);
    aImager->Proc().Merge(unsharpened.IEBitmap(), 50);
}

void TResize::Resample(int32_t NewWidth, int32_t NewHeight, TResampleFilter Filter) {
    aImager->Proc().Resample(NewWidth, NewHeight, Filter, false);
}

void TResize::ResampleFittedSide(TResampleFilter Filter) {
    const int32_t width = aImager->IEBitmap().Width();
    const int32_t height = aImager->IEBitmap().Height();
    const bool fitWidth = width >= height && !fResizeProperty.HeighPrio;
    const int32_t newSize = fResizeProperty.NewSize;
    auto resampleTo = [&](int32_t length) {
        if (fitWidth)
            Resample(length, -1, Filter);
        else
            Resample(-1, length, Filter);
    };
    // The check box reads "stepwise" but sets Multi, so Multi means one step.
    if (fResizeProperty.Multi) {
        resampleTo(newSize);
        return;
    }
    // L is carried from step to step; the hundreds are cut before taking three
    // quarters, so 1650 gives 1200 and 99 gives 0.
    int32_t length = fitWidth ? width : height;
    do {
        length = (length / 100) * 75;
        if (length <= newSize) length = newSize;
        resampleTo(length);
    } while (length != newSize);
}

void TResize::SizeLoop() {
    TIOParams& params = aImager->IO().Params();
    aJPEG_Quality = 100;
    params.JPEG_Quality = 100;
    TIEMemoryStream stream;
    aImager->IO().SaveToStreamJpeg(stream);
    // One step at a time down to 20: a file that doesn't fit even then is written at 20.
    while (stream.Size() > (int64_t(fResizeProperty.MaxFileSize) << 10)) {
        --aJPEG_Quality;
        if (aJPEG_Quality < 20) break;
        params.JPEG_Quality = aJPEG_Quality;
        stream.Clear();
        aImager->IO().SaveToStreamJpeg(stream);
    }
}

void TResize::WatermarkStep() {
    const std::string path = ProgramFolder() + "/Watermark.png";
    std::error_code error;
    if (!std::filesystem::exists(path, error)) return;
    aImager->LayersAdd(ielkImage, -1, -1, 0, 0);
    aImager->IO().LoadFromFilePNG(path);
    // Bottom right, no margin, at the watermark's own size: one larger than the picture
    // gets a negative position, and the merge grows the picture to hold it.
    TIELayer& picture = aImager->GetLayer(0);
    TIELayer& mark = aImager->GetLayer(1);
    mark.SetPosX(picture.Width() - mark.Width());
    mark.SetPosY(picture.Height() - mark.Height());
    // A ceiling on the watermark's alpha (255 would be none), so it stays faint.
    mark.SetTransparency(70);
    aImager->LayersMerge(0, 1, true);
}

void TResize::SaveStage() {
    aResizeImage = fResizeProperty.Destination + "/" +
                   ResizeTargetName(fResizeProperty.Source, fResizeProperty.Prefix, fResizeProperty.Suffix);
    TIOParams& params = aImager->IO().Params();
    if (!fResizeProperty.AutoQuali) params.JPEG_Quality = aJPEG_Quality;
    params.JPEG_Progressive = fResizeProperty.JPEGProgressive;
    if (fResizeProperty.AutoSize) SizeLoop();
    if (fResizeProperty.SoftShadow) aImager->Proc().AddSoftShadow(3.0, 3, 3, true, clBlack, 100, 128);
    params.EXIF_Software = std::string("pixelWright ") + ProductVersion + " by " + MakerHost;
    if (fResizeProperty.WaterMark) WatermarkStep();
    if (fResizeProperty.BW) {
        aImager->Proc().WhiteBalance_GrayWorld();
        aImager->Proc().ConvertToGray();
    }
    aImager->IO().SaveToFileJpeg(aResizeImage);
}
