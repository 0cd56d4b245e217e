#pragma once

#include <QRect>
#include <QSettings>
#include <QStringList>

// The section of the settings store that holds the controls and the window's placement.
// Its version differs from the grid's section, and both stay as they are.
inline constexpr const char* GuiStoreKey = "Software\\Varnock\\PixelWright 3.0\\GUI";

// The window's stored state: the controls named as they are in the window, and the
// window's placement. The defaults are the window's own.
struct TGuiSettings {
    bool cbAutoFileSize = false;
    bool cbAutoQuali = false;
    bool cbBlackWhite = false;
    bool cbEnableCMS = false;
    bool cbImageEnhance = false;
    bool cbImmerHoch = false;
    bool cbJPEGProgressive = false;
    bool cbMultiRisize = false;
    bool cbSharpImage = false;
    bool cbWatermark = false;
    QString edPrefix = QStringLiteral("R-");
    QString edSuffix;
    QStringList edResizeDirLookupItems = {QStringLiteral("Resize"), QStringLiteral("Mail"),
                                          QStringLiteral("Web"), QStringLiteral("Klein")};
    QString edResizeDir = QStringLiteral("Resize");
    int JpegQuali = 80;
    int MaxFileSize = 150;
    int NewFileSize = 1200;
    int rgMethode = 3;

    // The window: false until a placement was stored, when the window centres itself.
    bool HasPlacement = false;
    QRect Placement;
    // 0 normal, 1 minimised, 2 maximised, as the store has always counted them.
    int WindowState = 0;
};

// Reads the section; a value that isn't stored keeps its default.
TGuiSettings LoadGuiSettings(QSettings& Store);
void SaveGuiSettings(QSettings& Store, const TGuiSettings& Settings);
