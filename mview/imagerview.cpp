#include "mview/imagerview.h"

#include <string>

TImagerView::TImagerView() {
    fLayers.push_back(std::make_unique<TIEImageLayer>(this));
    fIEBitmap = fLayers[0]->GetBitmap();
}

TImagerView::~TImagerView() = default;

TImagerIO& TImagerView::IO() {
    if (!fIO) {
        fIO = std::make_unique<TImagerIO>(fIEBitmap, true);
        fIO->OnUpdate = [this] { Update(); };
    }
    return *fIO;
}

TImagerProc& TImagerView::Proc() {
    if (!fProc) {
        fProc = std::make_unique<TImagerProc>(fIEBitmap);
        fProc->OnUpdate = [this] { Update(); };
    }
    return *fProc;
}

TIELayer& TImagerView::GetLayer(int32_t Index) {
    if (Index < 0 || Index >= LayersCount())
        throw EIEException("List index out of bounds (" + std::to_string(Index) + ")");
    return *fLayers[size_t(Index)];
}

void TImagerView::SetLayersCurrent(int32_t Index) {
    GetLayer(Index);
    fLayersCurrent = Index;
    FollowCurrentLayer();
}

void TImagerView::FollowCurrentLayer() {
    fIEBitmap = fLayers[size_t(fLayersCurrent)]->GetBitmap();
    if (fIO) fIO->SetBitmap(fIEBitmap);
    if (fProc) fProc->SetBitmap(fIEBitmap);
}

int32_t TImagerView::LayerBackgroundWidth() {
    return fLayers[0]->Width();
}

int32_t TImagerView::LayerBackgroundHeight() {
    return fLayers[0]->Height();
}

int32_t TImagerView::LayersAdd(TIELayerKind Kind, int32_t PosX, int32_t PosY, int32_t Width, int32_t Height) {
    return LayersAddEx(Kind, PosX, PosY, Width, Height, nullptr, false, true, true, true);
}

int32_t TImagerView::LayersAddEx(TIELayerKind Kind, int32_t PosX, int32_t PosY, int32_t Width, int32_t Height,
                                 TIEBitmap* SrcBitmap, bool DoCopyBitmap, bool DoSaveUndo,
                                 bool AssignDefaults, bool SelLayer) {
    (void)DoSaveUndo;
    // Only image layers are built; the kinds that draw themselves are not reached here.
    if (Kind != ielkImage)
        throw EIEException("Layer insertion error - Invalid Type: " + std::to_string(Kind));
    const int32_t index = LayersCount();
    std::unique_ptr<TIEImageLayer> layer;
    if (SrcBitmap && !DoCopyBitmap) {
        layer = std::make_unique<TIEImageLayer>(this, SrcBitmap, true);
    } else {
        layer = std::make_unique<TIEImageLayer>(this);
        TIEBitmap& bitmap = layer->Bitmap();
        if (SrcBitmap) {
            bitmap.Assign(*SrcBitmap);
        } else if (Width >= 1 && Height >= 1) {
            bitmap.Allocate(Width, Height, ie24RGB);
        } else if (!fIEBitmap->IsEmpty()) {
            // The current bitmap's size and format; its pixels would be covered by the
            // fill below, so they are not copied.
            bitmap.Allocate(fIEBitmap->Width(), fIEBitmap->Height(), fIEBitmap->PixelFormat());
        } else {
            bitmap.Allocate(LayerBackgroundWidth(), LayerBackgroundHeight(), ie24RGB);
        }
        if (!SrcBitmap) {
            // A new layer starts as a plain opaque area of the background colour.
            bitmap.Fill(double(fBackground));
            bitmap.RemoveAlphaChannel();
        }
    }
    if (AssignDefaults) layer->SetDefaults();
    TIELayer& added = *layer;
    fLayers.push_back(std::move(layer));
    if (index >= LayersCount()) throw EIEException("Failed to add layer #" + std::to_string(index));
    if (Width > 0) added.SetWidth(Width);
    if (Height > 0) added.SetHeight(Height);
    PlaceNewLayer(added, PosX, PosY);
    if (SelLayer) {
        fLayersCurrent = index;
        FollowCurrentLayer();
    }
    return index;
}

void TImagerView::PlaceNewLayer(TIELayer& Layer, int32_t PosX, int32_t PosY) {
    if (PosX != -1 && PosY != -1) {
        Layer.SetPosX(PosX);
        Layer.SetPosY(PosY);
        return;
    }
    // Cascade: each new layer 40 pixels further, back to 40 when it would leave the area.
    const double areaWidth = ClientWidth() / ZoomX();
    const double areaHeight = ClientHeight() / ZoomY();
    if (areaWidth > Layer.Width() + 90 && areaHeight > Layer.Height() + 90) {
        fNextLayerPosition += 40;
        if (fNextLayerPosition + Layer.Width() + 50 > areaWidth ||
            fNextLayerPosition + Layer.Height() + 50 > areaHeight)
            fNextLayerPosition = 40;
        Layer.SetPosX(fNextLayerPosition);
        Layer.SetPosY(fNextLayerPosition);
    }
}

void TImagerView::ComposeInto(int32_t Low, int32_t High, TIEBitmap& Destination) {
    TIELayerComposition composition;
    composition.Lower = &GetLayer(Low);
    composition.Upper = &GetLayer(High);
    if (High + 1 < LayersCount() && fLayers[size_t(High + 1)]->IsMask())
        composition.Mask = fLayers[size_t(High + 1)].get();
    composition.Background = fBackground;
    composition.LowerIsNotBackground = Low > 0;
    composition.MergeFilter = fLayersMergeFilter;
    IEComposeLayers(composition, Destination);
}

namespace {

// A layer merged with itself would be removed as the upper one and put back as the
// lower one; and one bitmap can't be read at two rows at once.
void RefuseMergeWithItself(int32_t Layer1, int32_t Layer2) {
    if (Layer1 == Layer2)
        throw EIEException("Cannot merge layer #" + std::to_string(Layer1) + " with itself");
}

} // namespace

void TImagerView::LayersMerge(int32_t Layer1, int32_t Layer2, bool RemoveUpperLayer) {
    RefuseMergeWithItself(Layer1, Layer2);
    const int32_t low = std::min(Layer1, Layer2);
    const int32_t high = std::max(Layer1, Layer2);
    TIELayer& lower = GetLayer(low);
    TIELayer& upper = GetLayer(high);
    // Layers are never rotated in this program, so there is nothing to bake in.
    // The merged layer's pixels all come from the composition, which writes every pixel
    // and its alpha, so the lower layer's pixels are not copied in first.
    auto merged = std::make_unique<TIEImageLayer>(this);
    if (fLayersCropped) upper.SetCropped(true);
    ComposeInto(low, high, merged->Bitmap());

    if (low < 1) {
        // The background keeps its place unless an uncut upper layer lies further out.
        merged->SetPosXD(!upper.Cropped() && upper.PosX() < lower.PosX() ? upper.PosX() : lower.PosX());
        merged->SetPosYD(!upper.Cropped() && upper.PosY() < lower.PosY() ? upper.PosY() : lower.PosY());
    } else {
        merged->SetPosXD(std::min(lower.PosX(), upper.PosX()));
        merged->SetPosYD(std::min(lower.PosY(), upper.PosY()));
    }
    merged->SetLocked(lower.Locked());
    merged->SetVisibleBox(lower.VisibleBox());
    merged->SetSelectable(lower.Selectable());

    fLayersCurrent = -1;
    if (RemoveUpperLayer) {
        if (high + 1 < LayersCount() && fLayers[size_t(high + 1)]->IsMask())
            fLayers.erase(fLayers.begin() + high + 1);
        fLayers.erase(fLayers.begin() + high);
    }
    fLayers[size_t(low)] = std::move(merged);
    fLayersCurrent = low;
    FollowCurrentLayer();
}

void TImagerView::LayersMergeTo(int32_t Layer1, int32_t Layer2, TIEBitmap& Destination) {
    RefuseMergeWithItself(Layer1, Layer2);
    ComposeInto(std::min(Layer1, Layer2), std::max(Layer1, Layer2), Destination);
}

void TImagerView::LayersMergeAll(bool AlphaCompositing) {
    while (LayersCount() > 1)
        LayersMerge(0, 1, true);
    if (!AlphaCompositing) fIEBitmap->RemoveAlphaChannel();
    SetLayersCurrent(0);
}
