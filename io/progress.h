#pragma once

#include <cstdint>

#include "image/ietypes.h"

// What a codec reports through while it works. Aborting points at the front end's
// failure flag: a codec sets it on bad data, a progress handler sets it to stop the
// codec, and the codec tests it between rows.
struct TProgressRec {
    TIEProgressEvent OnProgress;
    void* Sender = nullptr;
    int32_t val = 0;
    int32_t tot = 0;
    double per1 = 0;
    double per2 = 0;
    bool* Aborting = nullptr;
    // The last percentage handed to OnProgress, so that an unchanged value is not sent twice.
    int32_t LastPercent = -1;
};

// Sends Percent to the handler if it changed; false when the operation is to stop.
inline bool IEReportProgress(TProgressRec& Progress, int32_t Percent) {
    if (Progress.OnProgress && Percent != Progress.LastPercent) {
        Progress.LastPercent = Percent;
        Progress.OnProgress(Progress.Sender, Percent);
    }
    return !(Progress.Aborting && *Progress.Aborting);
}

inline bool IEIsAborting(const TProgressRec& Progress) {
    return Progress.Aborting && *Progress.Aborting;
}
inline void IESetAborting(TProgressRec& Progress) {
    if (Progress.Aborting) *Progress.Aborting = true;
}
