#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeData>
#include <QSettings>
#include <QStringList>
#include <QTemporaryDir>
#include <QUrl>
#include <memory>

#include "app/data.h"
#include "app/gui/pixelwrightmain.h"

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

    // Copies sample pictures into a folder of their own and returns their paths.
    QStringList CopySamples(const QStringList& Names, const QString& Folder = QStringLiteral("photos")) {
        QDir(Dir.path()).mkpath(Folder);
        QStringList paths;
        for (const QString& name : Names) {
            const QString target = Dir.filePath(Folder + QLatin1Char('/') + name);
            QFile::copy(QStringLiteral(PW_SAMPLES_DIR "/") + name, target);
            paths << target;
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

inline QMimeData* UriListOf(const QStringList& Files) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const QString& file : Files)
        urls << QUrl::fromLocalFile(file);
    data->setUrls(urls);
    return data;
}
