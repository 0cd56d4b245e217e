#pragma once

#include <memory>
#include <vector>

#include "image/bitmap.h"
#include "image/layers.h"
#include "io/imagerio.h"
#include "proc/imagerproc.h"

// Holds a picture as a list of layers, with its input/output and processing front ends,
// which it makes on first use. Layer 0 is the background; IEBitmap, IO and Proc work on
// the bitmap of the current layer. The painting side joins when the viewer is built.
class TImagerView : public TIELayerOwner {
  public:
    TImagerView();
    ~TImagerView() override;
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

    // Layers.
    int32_t LayersCount() const { return int32_t(fLayers.size()); }
    int32_t LayersCurrent() const { return fLayersCurrent; }
    // Makes the layer current, so that IEBitmap, IO and Proc follow it.
    void SetLayersCurrent(int32_t Index);
    // Raises EIEException for an index out of range.
    TIELayer& GetLayer(int32_t Index);
    TIELayer& CurrentLayer() { return GetLayer(fLayersCurrent); }

    // Adds a layer at the end of the list and makes it current; the result is its index.
    // A position of -1 cascades the layer; a size of 0 copies the current bitmap's size.
    int32_t LayersAdd(TIELayerKind Kind, int32_t PosX, int32_t PosY, int32_t Width, int32_t Height);
    // SrcBitmap, when given, becomes the layer's pixels: copied, or adopted (then owned
    // by the layer) when DoCopyBitmap is false. There is no undo, so DoSaveUndo has no effect.
    int32_t LayersAddEx(TIELayerKind Kind, int32_t PosX, int32_t PosY, int32_t Width, int32_t Height,
                        TIEBitmap* SrcBitmap, bool DoCopyBitmap, bool DoSaveUndo, bool AssignDefaults,
                        bool SelLayer);
    // Merges two layers into one at the lower index, which becomes current.
    void LayersMerge(int32_t Layer1, int32_t Layer2, bool RemoveUpperLayer);
    // Composes two layers into Destination without changing a layer.
    void LayersMergeTo(int32_t Layer1, int32_t Layer2, TIEBitmap& Destination);
    // Merges every layer into layer 0. Without AlphaCompositing the result is made opaque.
    void LayersMergeAll(bool AlphaCompositing);

    bool LayersCropped() const { return fLayersCropped; }
    void SetLayersCropped(bool Value) { fLayersCropped = Value; }
    TResampleFilter LayersMergeFilter() const { return fLayersMergeFilter; }
    void SetLayersMergeFilter(TResampleFilter Value) { fLayersMergeFilter = Value; }
    TColor Background() const { return fBackground; }
    void SetBackground(TColor Value) { fBackground = Value; }

    // The view's drawing area and zoom, for the cascade of new layers; an off-screen
    // holder has no area.
    virtual int32_t ClientWidth() const { return 0; }
    virtual int32_t ClientHeight() const { return 0; }
    virtual double ZoomX() const { return 1.0; }
    virtual double ZoomY() const { return 1.0; }

    int32_t LayerBackgroundWidth() override;
    int32_t LayerBackgroundHeight() override;

  private:
    void FollowCurrentLayer();
    void PlaceNewLayer(TIELayer& Layer, int32_t PosX, int32_t PosY);
    void ComposeInto(int32_t Low, int32_t High, TIEBitmap& Destination);

    std::vector<std::unique_ptr<TIELayer>> fLayers;
    int32_t fLayersCurrent = 0;
    TIEBitmap* fIEBitmap = nullptr;
    int32_t fNextLayerPosition = 0;
    bool fLayersCropped = false;
    TResampleFilter fLayersMergeFilter = rfLanczos3;
    // The system face colour (240, 240, 240) of the desktop this program was made for.
    TColor fBackground = 0xF0F0F0;
    std::unique_ptr<TImagerIO> fIO;
    std::unique_ptr<TImagerProc> fProc;
    bool fEnableAlphaChannel = false;
    bool fShowLegacyWarning = false;
    int fUpdateCount = 0;
};
