#pragma once

#include <cstdint>
#include <memory>

#include "image/bitmap.h"
#include "image/ietypes.h"

enum TIELayerKind : int32_t { ielkImage, ielkShape, ielkLine, ielkPolyline, ielkText, ielkAngle };
enum TFlipDir : int32_t { fdNone, fdHorizontal, fdVertical };
// How the upper layer's colour combines with the lower one's; only ielNormal is built.
enum TIERenderOperation : int32_t { ielNormal, ielAdd, ielSub };

// Position values from here up align a layer to the background instead of placing it.
constexpr int32_t IELayerPosAlignLeft = 0x7FFFFFF4;
constexpr int32_t IELayerPosAlignCenter = 0x7FFFFFF5;
constexpr int32_t IELayerPosAlignRight = 0x7FFFFFF6;
constexpr int32_t IELayerPosAlignTop = IELayerPosAlignLeft;
constexpr int32_t IELayerPosAlignMiddle = IELayerPosAlignCenter;
constexpr int32_t IELayerPosAlignBottom = IELayerPosAlignRight;

// What a layer needs to know of its holder: the background's size, for the aligned
// positions.
class TIELayerOwner {
  public:
    virtual ~TIELayerOwner() = default;
    virtual int32_t LayerBackgroundWidth() = 0;
    virtual int32_t LayerBackgroundHeight() = 0;
};

// One layer of a holder. Positions are in background pixels and may be fractional or
// negative; Width and Height are the displayed size.
class TIELayer {
  public:
    TIELayer(TIELayerKind Kind, TIELayerOwner* Owner);
    virtual ~TIELayer() = default;
    TIELayer(const TIELayer&) = delete;
    TIELayer& operator=(const TIELayer&) = delete;

    TIELayerKind Kind() const { return fKind; }
    TIELayerOwner* Owner() const { return fOwner; }
    void SetOwner(TIELayerOwner* Value) { fOwner = Value; }

    void SetDefaults();
    // The properties of Source (not its pixels).
    virtual void Assign(const TIELayer& Source);
    void Swap(TIELayer& OtherLayer);

    // Read by cutting toward zero.
    int32_t PosX() const { return int32_t(fPosX); }
    int32_t PosY() const { return int32_t(fPosY); }
    void SetPosX(int32_t Value);
    void SetPosY(int32_t Value);
    double PosXD() const { return fPosX; }
    double PosYD() const { return fPosY; }
    void SetPosXD(double Value) { fPosX = Value; }
    void SetPosYD(double Value) { fPosY = Value; }

    // Round() of the displayed size, at least 1.
    int32_t Width() const;
    int32_t Height() const;
    void SetWidth(int32_t Value) { fResizedWidth = Value; }
    void SetHeight(int32_t Value) { fResizedHeight = Value; }
    double ResizedWidth() const { return fResizedWidth; }
    double ResizedHeight() const { return fResizedHeight; }

    // Upper limit of the layer's alpha, 0 to 255; 255 means no limit.
    int32_t Transparency() const { return fTransparency; }
    void SetTransparency(int32_t Value) { fTransparency = Value < 0 ? 0 : Value > 255 ? 255 : Value; }
    // Factor on the layer's alpha, 0.0 to 1.0.
    double Opacity() const { return fOpacity; }
    void SetOpacity(double Value) { fOpacity = Value < 0 ? 0 : Value > 1 ? 1 : Value; }
    bool Cropped() const { return fCropped; }
    void SetCropped(bool Value) { fCropped = Value; }
    bool Visible() const { return fVisible; }
    void SetVisible(bool Value) { fVisible = Value; }
    bool VisibleBox() const { return fVisibleBox; }
    void SetVisibleBox(bool Value) { fVisibleBox = Value; }
    bool IsMask() const { return fIsMask; }
    void SetIsMask(bool Value) { fIsMask = Value; }
    bool MaskInverted() const { return fMaskInverted; }
    void SetMaskInverted(bool Value) { fMaskInverted = Value; }
    bool Locked() const { return fLocked; }
    void SetLocked(bool Value) { fLocked = Value; }
    bool Selectable() const { return fSelectable; }
    void SetSelectable(bool Value) { fSelectable = Value; }
    double Rotate() const { return fRotate; }
    void SetRotate(double Value) { fRotate = Value; }
    TFlipDir Flip() const { return fFlip; }
    void SetFlip(TFlipDir Value) { fFlip = Value; }
    TIERenderOperation Operation() const { return fOperation; }
    void SetOperation(TIERenderOperation Value) { fOperation = Value; }

    // The layer's pixels; nullptr for kinds that draw themselves.
    virtual TIEBitmap* GetBitmap() { return nullptr; }
    virtual void Update() {}

  protected:
    // The size of the layer's own content when nothing is resized.
    virtual int32_t NaturalWidth() const { return 1; }
    virtual int32_t NaturalHeight() const { return 1; }

  private:
    TIELayerKind fKind;
    bool fIsMask = false;
    bool fMaskInverted = false;
    double fRotate = 0;
    TFlipDir fFlip = fdNone;
    double fPosX = 0, fPosY = 0;
    bool fVisible = true;
    bool fVisibleBox = true;
    int32_t fTransparency = 255;
    double fOpacity = 1.0;
    bool fCropped = false;
    bool fLocked = false;
    bool fSelectable = true;
    TIERenderOperation fOperation = ielNormal;
    double fResizedWidth = 0, fResizedHeight = 0;
    TIELayerOwner* fOwner;
};

class TIEImageLayer : public TIELayer {
  public:
    // A layer with an empty bitmap of its own.
    explicit TIEImageLayer(TIELayerOwner* Owner);
    // Adopts Bitmap; FreeBitmapOnDestroy false leaves it to the caller.
    TIEImageLayer(TIELayerOwner* Owner, TIEBitmap* Bitmap, bool FreeBitmapOnDestroy);
    ~TIEImageLayer() override;

    void Assign(const TIELayer& Source) override;
    TIEBitmap* GetBitmap() override { return fBitmap; }
    TIEBitmap& Bitmap() { return *fBitmap; }
    // Takes Bitmap as the layer's pixels, owning it.
    void ReplaceBitmap(std::unique_ptr<TIEBitmap> Bitmap);
    void Update() override;

    TResampleFilter ResampleFilter() const { return fResampleFilter; }
    void SetResampleFilter(TResampleFilter Value) { fResampleFilter = Value; }
    bool UseResampleFilter() const { return fUseResampleFilter; }
    void SetUseResampleFilter(bool Value) { fUseResampleFilter = Value; }
    bool ApplySmoothing() const { return fApplySmoothing; }
    void SetApplySmoothing(bool Value) { fApplySmoothing = Value; }
    bool FreeBitmapOnDestroy() const { return fFreeBitmapOnDestroy; }

  protected:
    int32_t NaturalWidth() const override { return fBitmap->Width(); }
    int32_t NaturalHeight() const override { return fBitmap->Height(); }

  private:
    TResampleFilter fResampleFilter = rfNone;
    bool fUseResampleFilter = false;
    TIEBitmap* fBitmap;
    bool fApplySmoothing = true;
    bool fFreeBitmapOnDestroy = true;
};

// The lower and upper layer's contribution to one merge, and where the result goes.
struct TIELayerComposition {
    TIELayer* Lower = nullptr;
    TIELayer* Upper = nullptr;
    // A mask layer above Upper, or nullptr.
    TIELayer* Mask = nullptr;
    TColor Background = clBlack;
    // The lower layer is not layer 0: a cropped upper layer is then not cut.
    bool LowerIsNotBackground = false;
    // For layers whose displayed size differs from their bitmap's and that don't name
    // a filter of their own.
    TResampleFilter MergeFilter = rfLanczos3;
};

// Composes Lower and Upper into Destination (ie24RGB with an alpha plane) by their
// positions, alphas, Transparency ceilings and Opacity factors. Without cropping the
// canvas is the bounding box of both, so a layer that sticks out left or up grows it.
// Layer bitmaps in a format other than ie1g, ie8p, ie8g, ie16g, ie24RGB are converted to
// ie24RGB. Raises EIEException for layers without a bitmap.
void IEComposeLayers(const TIELayerComposition& Composition, TIEBitmap& Destination);
