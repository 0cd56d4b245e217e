#pragma once

#include <QWidget>

#include "app/gui/guisettings.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QSpinBox;
class TLinkLabel;
class TRadioGroup;

// The settings panel on the left of the main window, in two groups: the resize settings
// and the resampling method. The controls carry the names under which they are stored.
class TSettingsPanel : public QWidget {
    Q_OBJECT

  public:
    static constexpr int PanelWidth = 265;

    explicit TSettingsPanel(QWidget* Parent = nullptr);

    // The stored state of the controls; the window's placement is left alone. The
    // enabling of JpegQuali and MaxFileSize follows only clicks, so applying leaves it.
    void ApplySettings(const TGuiSettings& Settings);
    void CollectSettings(TGuiSettings& Settings) const;

    QGroupBox* nbgEinstellungen;
    QGroupBox* nbgQuality;

    QLabel* lbNewFileSize;
    QSpinBox* NewFileSize;
    QCheckBox* cbImmerHoch;
    QLabel* lbJpegQuali;
    QSpinBox* JpegQuali;
    QLabel* lbMaxFileSize;
    QSpinBox* MaxFileSize;
    QCheckBox* cbJPEGProgressive;
    QCheckBox* cbAutoQuali;
    QCheckBox* cbSharpImage;
    QCheckBox* cbAutoFileSize;
    QLabel* lbPrefix;
    QLineEdit* edPrefix;
    QLabel* lbDateiname;
    QLineEdit* edSuffix;
    TLinkLabel* cxLabel2;
    QComboBox* edResizeDir;
    QCheckBox* cbEnableCMS;
    QCheckBox* cbWatermark;
    QCheckBox* cbBlackWhite;
    QCheckBox* cbMultiRisize;
    QCheckBox* cbImageEnhance;
    TRadioGroup* rgMethode;

  private:
    void cbAutoQualiClick();
    void cbAutoFileSizeClick();
};
