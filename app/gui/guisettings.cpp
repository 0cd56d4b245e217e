#include "app/gui/guisettings.h"

namespace {

// One sub-group per component, one value per stored property, as the store has them.
template <typename T> void Read(QSettings& Store, const char* Key, T& Value) {
    const QVariant stored = Store.value(QLatin1String(Key));
    if (stored.isValid() && stored.canConvert<T>()) Value = stored.value<T>();
}

void ReadInt(QSettings& Store, const char* Key, int& Value) {
    bool ok = false;
    const int stored = Store.value(QLatin1String(Key)).toInt(&ok);
    if (ok) Value = stored;
}

} // namespace

TGuiSettings LoadGuiSettings(QSettings& Store) {
    TGuiSettings s;
    Store.beginGroup(QLatin1String(GuiStoreKey));
    Read(Store, "cbAutoFileSize/Checked", s.cbAutoFileSize);
    Read(Store, "cbAutoQuali/Checked", s.cbAutoQuali);
    Read(Store, "cbBlackWhite/Checked", s.cbBlackWhite);
    Read(Store, "cbEnableCMS/Checked", s.cbEnableCMS);
    Read(Store, "cbImageEnhance/Checked", s.cbImageEnhance);
    Read(Store, "cbImmerHoch/Checked", s.cbImmerHoch);
    Read(Store, "cbJPEGProgressive/Checked", s.cbJPEGProgressive);
    Read(Store, "cbMultiRisize/Checked", s.cbMultiRisize);
    Read(Store, "cbSharpImage/Checked", s.cbSharpImage);
    Read(Store, "cbWatermark/Checked", s.cbWatermark);
    Read(Store, "edPrefix/Text", s.edPrefix);
    Read(Store, "edSuffix/Text", s.edSuffix);
    if (Store.contains(QStringLiteral("edResizeDir/Properties.LookupItems")))
        s.edResizeDirLookupItems =
            Store.value(QStringLiteral("edResizeDir/Properties.LookupItems")).toStringList();
    Read(Store, "edResizeDir/Text", s.edResizeDir);
    ReadInt(Store, "JpegQuali/Value", s.JpegQuali);
    ReadInt(Store, "MaxFileSize/Value", s.MaxFileSize);
    ReadInt(Store, "NewFileSize/Value", s.NewFileSize);
    ReadInt(Store, "rgMethode/ItemIndex", s.rgMethode);

    int left = 0, top = 0, width = 0, height = 0;
    bool ok[4] = {};
    left = Store.value(QStringLiteral("fmPixelWrightMain/Left")).toInt(&ok[0]);
    top = Store.value(QStringLiteral("fmPixelWrightMain/Top")).toInt(&ok[1]);
    width = Store.value(QStringLiteral("fmPixelWrightMain/Width")).toInt(&ok[2]);
    height = Store.value(QStringLiteral("fmPixelWrightMain/Height")).toInt(&ok[3]);
    if (ok[0] && ok[1] && ok[2] && ok[3] && width > 0 && height > 0) {
        s.HasPlacement = true;
        s.Placement = QRect(left, top, width, height);
    }
    ReadInt(Store, "fmPixelWrightMain/WindowState", s.WindowState);
    Store.endGroup();
    return s;
}

void SaveGuiSettings(QSettings& Store, const TGuiSettings& s) {
    Store.beginGroup(QLatin1String(GuiStoreKey));
    Store.setValue(QStringLiteral("cbAutoFileSize/Checked"), s.cbAutoFileSize);
    Store.setValue(QStringLiteral("cbAutoQuali/Checked"), s.cbAutoQuali);
    Store.setValue(QStringLiteral("cbBlackWhite/Checked"), s.cbBlackWhite);
    Store.setValue(QStringLiteral("cbEnableCMS/Checked"), s.cbEnableCMS);
    Store.setValue(QStringLiteral("cbImageEnhance/Checked"), s.cbImageEnhance);
    Store.setValue(QStringLiteral("cbImmerHoch/Checked"), s.cbImmerHoch);
    Store.setValue(QStringLiteral("cbJPEGProgressive/Checked"), s.cbJPEGProgressive);
    Store.setValue(QStringLiteral("cbMultiRisize/Checked"), s.cbMultiRisize);
    Store.setValue(QStringLiteral("cbSharpImage/Checked"), s.cbSharpImage);
    Store.setValue(QStringLiteral("cbWatermark/Checked"), s.cbWatermark);
    Store.setValue(QStringLiteral("edPrefix/Text"), s.edPrefix);
    Store.setValue(QStringLiteral("edSuffix/Text"), s.edSuffix);
    Store.setValue(QStringLiteral("edResizeDir/Properties.LookupItems"), s.edResizeDirLookupItems);
    Store.setValue(QStringLiteral("edResizeDir/Text"), s.edResizeDir);
    Store.setValue(QStringLiteral("JpegQuali/Value"), s.JpegQuali);
    Store.setValue(QStringLiteral("MaxFileSize/Value"), s.MaxFileSize);
    Store.setValue(QStringLiteral("NewFileSize/Value"), s.NewFileSize);
    Store.setValue(QStringLiteral("rgMethode/ItemIndex"), s.rgMethode);
    if (s.HasPlacement) {
        Store.setValue(QStringLiteral("fmPixelWrightMain/Left"), s.Placement.left());
        Store.setValue(QStringLiteral("fmPixelWrightMain/Top"), s.Placement.top());
        Store.setValue(QStringLiteral("fmPixelWrightMain/Width"), s.Placement.width());
        Store.setValue(QStringLiteral("fmPixelWrightMain/Height"), s.Placement.height());
    }
    Store.setValue(QStringLiteral("fmPixelWrightMain/WindowState"), s.WindowState);
    Store.endGroup();
}
