#include "app/gui/settingspanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QVBoxLayout>

#include "app/gui/linklabel.h"
#include "app/gui/radiogroup.h"

namespace {

QSpinBox* SpinBox(int Minimum, int Maximum, int Step, int Value, QWidget* Parent) {
    auto* spin = new QSpinBox(Parent);
    spin->setRange(Minimum, Maximum);
    spin->setSingleStep(Step);
    spin->setValue(Value);
    spin->setAccelerated(true);
    return spin;
}

} // namespace

TSettingsPanel::TSettingsPanel(QWidget* Parent) : QWidget(Parent) {
    setFixedWidth(PanelWidth);
    const TGuiSettings defaults;

    nbgEinstellungen = new QGroupBox(QStringLiteral("Resize Einstellungen"), this);
    auto* grid = new QGridLayout(nbgEinstellungen);
    grid->setContentsMargins(8, 6, 8, 8);
    grid->setHorizontalSpacing(6);
    grid->setVerticalSpacing(3);
    int row = 0;

    lbNewFileSize = new QLabel(QStringLiteral("Neue Größe in Pixel (längste Seite)"), nbgEinstellungen);
    grid->addWidget(lbNewFileSize, row++, 0, 1, 3);
    NewFileSize = SpinBox(16, 16000, 16, defaults.NewFileSize, nbgEinstellungen);
    grid->addWidget(NewFileSize, row, 0);
    cbImmerHoch = new QCheckBox(QStringLiteral("Immer Hoch"), nbgEinstellungen);
    cbImmerHoch->setToolTip(QStringLiteral("Immer diese Höhe"));
    grid->addWidget(cbImmerHoch, row++, 1, 1, 2);

    lbJpegQuali = new QLabel(QStringLiteral("JPEG Qualität"), nbgEinstellungen);
    grid->addWidget(lbJpegQuali, row, 0);
    lbMaxFileSize = new QLabel(QStringLiteral("max. Filesize (KB)"), nbgEinstellungen);
    grid->addWidget(lbMaxFileSize, row++, 1, 1, 2);
    JpegQuali = SpinBox(1, 100, 1, defaults.JpegQuali, nbgEinstellungen);
    grid->addWidget(JpegQuali, row, 0);
    MaxFileSize = SpinBox(80, 2048, 1, defaults.MaxFileSize, nbgEinstellungen);
    MaxFileSize->setEnabled(false);
    grid->addWidget(MaxFileSize, row++, 1, 1, 2);

    auto check = [&](const char* Caption) {
        auto* box = new QCheckBox(QString::fromUtf8(Caption), nbgEinstellungen);
        grid->addWidget(box, row++, 0, 1, 3);
        return box;
    };
    cbJPEGProgressive = check("JPEG Progressive");
    cbAutoQuali = check("JPG Qualität wie Original");
    cbSharpImage = check("Nachschärfen");
    cbAutoFileSize = check("Auto FileSize");

    lbPrefix = new QLabel(QStringLiteral("Vor und nach dem Dateinamen"), nbgEinstellungen);
    grid->addWidget(lbPrefix, row++, 0, 1, 3);
    edPrefix = new QLineEdit(defaults.edPrefix, nbgEinstellungen);
    grid->addWidget(edPrefix, row, 0);
    lbDateiname = new QLabel(QStringLiteral("Dateiname"), nbgEinstellungen);
    grid->addWidget(lbDateiname, row, 1);
    edSuffix = new QLineEdit(defaults.edSuffix, nbgEinstellungen);
    grid->addWidget(edSuffix, row++, 2);

    const QString resizeDirHint = QStringLiteral("wird als Unterordner des Quellordners angelegt..");
    cxLabel2 = new TLinkLabel(QStringLiteral("Neuer Ziel Ordner"), nbgEinstellungen);
    cxLabel2->setToolTip(resizeDirHint);
    grid->addWidget(cxLabel2, row++, 0, 1, 3);
    edResizeDir = new QComboBox(nbgEinstellungen);
    edResizeDir->setEditable(true);
    // Typed names are used, but the look-up list keeps its own items.
    edResizeDir->setInsertPolicy(QComboBox::NoInsert);
    edResizeDir->setToolTip(resizeDirHint);
    grid->addWidget(edResizeDir, row++, 0, 1, 3);

    cbEnableCMS = check("CMS anwenden");
    cbWatermark = check("Wasserzeichen einfügen");
    cbWatermark->setToolTip(QStringLiteral("Datei Watermark.png"));
    cbBlackWhite = check("Schwarzweiß Ausgabe");
    cbMultiRisize = check("Schrittweise Verkleinerung (25%)");
    cbImageEnhance = check("Auto Image Enhance");
    grid->setColumnStretch(0, 1);
    grid->setColumnStretch(2, 1);

    nbgQuality = new QGroupBox(QStringLiteral("Resize Methode"), this);
    auto* methodLayout = new QVBoxLayout(nbgQuality);
    methodLayout->setContentsMargins(4, 4, 4, 4);
    rgMethode =
        new TRadioGroup({QStringLiteral("Mitchell"), QStringLiteral("Bilinear"), QStringLiteral("Bicubic"),
                         QStringLiteral("Lanczos"), QStringLiteral("Hermite"), QStringLiteral("Bell"),
                         QStringLiteral("BSpline"), QStringLiteral("High Quality Bicubic")},
                        2, nbgQuality);
    methodLayout->addWidget(rgMethode);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(nbgEinstellungen);
    layout->addWidget(nbgQuality);
    layout->addStretch(1);

    ApplySettings(defaults);
    connect(cbAutoQuali, &QCheckBox::clicked, this, &TSettingsPanel::cbAutoQualiClick);
    connect(cbAutoFileSize, &QCheckBox::clicked, this, &TSettingsPanel::cbAutoFileSizeClick);
}

// The two handlers don't know of each other: ticking the boxes in turn can leave
// JpegQuali enabled while cbAutoQuali is ticked. That is how the window behaves.
void TSettingsPanel::cbAutoQualiClick() {
    JpegQuali->setEnabled(!cbAutoQuali->isChecked());
}

void TSettingsPanel::cbAutoFileSizeClick() {
    MaxFileSize->setEnabled(cbAutoFileSize->isChecked());
    JpegQuali->setEnabled(!cbAutoFileSize->isChecked());
}

void TSettingsPanel::ApplySettings(const TGuiSettings& s) {
    cbAutoFileSize->setChecked(s.cbAutoFileSize);
    cbAutoQuali->setChecked(s.cbAutoQuali);
    cbBlackWhite->setChecked(s.cbBlackWhite);
    cbEnableCMS->setChecked(s.cbEnableCMS);
    cbImageEnhance->setChecked(s.cbImageEnhance);
    cbImmerHoch->setChecked(s.cbImmerHoch);
    cbJPEGProgressive->setChecked(s.cbJPEGProgressive);
    cbMultiRisize->setChecked(s.cbMultiRisize);
    cbSharpImage->setChecked(s.cbSharpImage);
    cbWatermark->setChecked(s.cbWatermark);
    edPrefix->setText(s.edPrefix);
    edSuffix->setText(s.edSuffix);
    edResizeDir->clear();
    edResizeDir->addItems(s.edResizeDirLookupItems);
    edResizeDir->setEditText(s.edResizeDir);
    JpegQuali->setValue(s.JpegQuali);
    MaxFileSize->setValue(s.MaxFileSize);
    NewFileSize->setValue(s.NewFileSize);
    rgMethode->SetItemIndex(s.rgMethode);
}

void TSettingsPanel::CollectSettings(TGuiSettings& s) const {
    s.cbAutoFileSize = cbAutoFileSize->isChecked();
    s.cbAutoQuali = cbAutoQuali->isChecked();
    s.cbBlackWhite = cbBlackWhite->isChecked();
    s.cbEnableCMS = cbEnableCMS->isChecked();
    s.cbImageEnhance = cbImageEnhance->isChecked();
    s.cbImmerHoch = cbImmerHoch->isChecked();
    s.cbJPEGProgressive = cbJPEGProgressive->isChecked();
    s.cbMultiRisize = cbMultiRisize->isChecked();
    s.cbSharpImage = cbSharpImage->isChecked();
    s.cbWatermark = cbWatermark->isChecked();
    s.edPrefix = edPrefix->text();
    s.edSuffix = edSuffix->text();
    s.edResizeDirLookupItems.clear();
    for (int i = 0; i < edResizeDir->count(); ++i)
        s.edResizeDirLookupItems << edResizeDir->itemText(i);
    s.edResizeDir = edResizeDir->currentText();
    s.JpegQuali = JpegQuali->value();
    s.MaxFileSize = MaxFileSize->value();
    s.NewFileSize = NewFileSize->value();
    s.rgMethode = rgMethode->ItemIndex();
}
