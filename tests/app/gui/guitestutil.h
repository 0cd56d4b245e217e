#pragma once

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHeaderView>
#include <QLineEdit>
#include <QMimeData>
#include <QSettings>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <memory>

#include "app/data.h"
#include "app/gui/filegrid.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/pixelwrightmain.h"
#include "app/gui/radiogroup.h"
#include "app/gui/settingspanel.h"

// A window over its own data module and a store in a temporary INI file, as the
// program makes them: the window first, the data module behind it.
struct TWindowUnderTest {
    QTemporaryDir Dir;
    QString StorePath = Dir.filePath(QStringLiteral("store.ini"));
    std::unique_ptr<QSettings> Store = std::make_unique<QSettings>(StorePath, QSettings::IniFormat);
    TDM DM;
    std::unique_ptr<TfmPixelWrightMain> Window;

    TWindowUnderTest() { Open(); }

    void Open() {
        Window = std::make_unique<TfmPixelWrightMain>(*Store);
        Window->SetDataModule(&DM);
    }
    // The window goes (and saves), and a new one comes up over the same store.
    void Reopen() {
        Window.reset();
        Store = std::make_unique<QSettings>(StorePath, QSettings::IniFormat);
        Open();
    }
    TSettingsPanel& Panel() { return *Window->dxNavBar; }
    TFileTableView& View() { return *Window->cxGrid->View(); }

    // Shown and, for keys to reach the window's shortcuts, active with the table focused
    // (a text box would take Ctrl+V and Ctrl+Del for itself).
    bool Show() {
        Window->show();
        Window->activateWindow();
        if (!QTest::qWaitForWindowActive(Window.get())) return false;
        View().setFocus();
        return true;
    }

    // Copies sample pictures into a folder of their own and returns their paths.
    QStringList CopySamples(const QStringList& Names, const QString& Folder = QStringLiteral("photos")) {
        QDir(Dir.path()).mkpath(Folder);
        QStringList paths;
        for (const QString& name : Names) {
            paths << Dir.filePath(Folder + QLatin1Char('/') + name);
            QFile::copy(QStringLiteral(PW_SAMPLES_DIR "/") + name, paths.back());
        }
        return paths;
    }

    void AddFiles(const QStringList& Files) {
        std::vector<std::string> names;
        for (const QString& file : Files)
            names.push_back(QFile::encodeName(file).toStdString());
        DM.AddFiles(names);
    }

    QStringList RowTexts() {
        QStringList texts;
        for (int row = 0; row < DM.MemData().RecordCount(); ++row)
            texts << QString::fromStdString(DM.MemData().Record(row).LASACTION);
        return texts;
    }
};

// The panel's check boxes in the order the job lists its flags.
inline QList<QCheckBox*> Boxes(TSettingsPanel& p) {
    return {p.cbAutoQuali,    p.cbWatermark,  p.cbEnableCMS, p.cbSharpImage,  p.cbJPEGProgressive,
            p.cbAutoFileSize, p.cbBlackWhite, p.cbImmerHoch, p.cbMultiRisize, p.cbImageEnhance};
}

// The window's state as the user meets it: running or not, the panel, the live commands.
inline QString Live(TfmPixelWrightMain& W) {
    QStringList live{W.isActive() ? "running" : "idle", W.dxNavBar->isEnabled() ? "panel" : "no panel"};
    for (QAction* action : {W.acOpenFiles, W.acOpenDirectory, W.acPasteFiles, W.acClose, W.acResizeAll,
                            W.acResizeSelected, W.acClear, W.acBreak, W.acUpdate})
        if (action->isEnabled()) live << action->text();
    return live.join('|');
}

inline QMimeData* UriListOf(const QStringList& Files) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const QString& file : Files)
        urls << QUrl::fromLocalFile(file);
    data->setUrls(urls);
    return data;
}
