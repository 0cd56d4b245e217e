#include "mview/imagerview.h"

TImagerView::TImagerView() : fIEBitmap(std::make_unique<TIEBitmap>()) {}

TImagerView::~TImagerView() = default;

TImagerIO& TImagerView::IO() {
    if (!fIO) {
        fIO = std::make_unique<TImagerIO>(fIEBitmap.get(), true);
        fIO->OnUpdate = [this] { Update(); };
    }
    return *fIO;
}

TImagerProc& TImagerView::Proc() {
    if (!fProc) {
        fProc = std::make_unique<TImagerProc>(fIEBitmap.get());
        fProc->OnUpdate = [this] { Update(); };
    }
    return *fProc;
}
