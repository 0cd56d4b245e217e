#include <QHeaderView>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include "app/gui/filetablemodel.h"
#include "app/gui/gridstore.h"
#include "app/gui/guisettings.h"

class TGuiSettingsTest : public QObject {
    Q_OBJECT

  private slots:
    void AnEmptyStoreGivesTheWindowsDefaults() {
        QTemporaryDir dir;
        QSettings store(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
        const TGuiSettings s = LoadGuiSettings(store);
        QCOMPARE(s.NewFileSize, 1200);
        QCOMPARE(s.JpegQuali, 80);
        QCOMPARE(s.MaxFileSize, 150);
        QCOMPARE(s.edPrefix, QStringLiteral("R-"));
        QCOMPARE(s.edSuffix, QString());
        QCOMPARE(s.edResizeDir, QStringLiteral("Resize"));
        QCOMPARE(s.edResizeDirLookupItems, (QStringList{"Resize", "Mail", "Web", "Klein"}));
        QCOMPARE(s.rgMethode, 3);
        QVERIFY(!s.cbAutoFileSize && !s.cbAutoQuali && !s.cbBlackWhite && !s.cbEnableCMS &&
                !s.cbImageEnhance && !s.cbImmerHoch && !s.cbJPEGProgressive && !s.cbMultiRisize &&
                !s.cbSharpImage && !s.cbWatermark);
        QVERIFY(!s.HasPlacement);
        QCOMPARE(s.WindowState, 0);
    }

    void EveryValueComesBackUnderItsSection() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("s.ini"));
        TGuiSettings s;
        s.cbAutoFileSize = s.cbBlackWhite = s.cbImmerHoch = s.cbMultiRisize = s.cbWatermark = true;
        s.edPrefix = QStringLiteral("klein_");
        s.edSuffix = QStringLiteral("_ä");
        s.edResizeDirLookupItems = {QStringLiteral("Web"), QStringLiteral("Druck")};
        s.edResizeDir = QString();
        s.JpegQuali = 93;
        s.MaxFileSize = 2048;
        s.NewFileSize = 640;
        s.rgMethode = 7;
        s.HasPlacement = true;
        s.Placement = QRect(-20, 30, 900, 700);
        s.WindowState = 2;
        {
            QSettings store(path, QSettings::IniFormat);
            SaveGuiSettings(store, s);
        }
        QSettings store(path, QSettings::IniFormat);
        QCOMPARE(store.childGroups(), QStringList{QStringLiteral("Software\\Varnock\\PixelWright 3.0\\GUI")});
        QCOMPARE(
            store.value(QStringLiteral("Software\\Varnock\\PixelWright 3.0\\GUI/NewFileSize/Value")).toInt(),
            640);
        const TGuiSettings r = LoadGuiSettings(store);
        QVERIFY(r.cbAutoFileSize && r.cbBlackWhite && r.cbImmerHoch && r.cbMultiRisize && r.cbWatermark);
        QVERIFY(!r.cbAutoQuali && !r.cbEnableCMS && !r.cbImageEnhance && !r.cbJPEGProgressive &&
                !r.cbSharpImage);
        QCOMPARE(r.edPrefix, s.edPrefix);
        QCOMPARE(r.edSuffix, s.edSuffix);
        QCOMPARE(r.edResizeDirLookupItems, s.edResizeDirLookupItems);
        QCOMPARE(r.edResizeDir, QString());
        QCOMPARE(r.JpegQuali, 93);
        QCOMPARE(r.MaxFileSize, 2048);
        QCOMPARE(r.NewFileSize, 640);
        QCOMPARE(r.rgMethode, 7);
        QVERIFY(r.HasPlacement);
        QCOMPARE(r.Placement, QRect(-20, 30, 900, 700));
        QCOMPARE(r.WindowState, 2);
    }

    void GridLayoutKeepsOrderAndWidthsByFieldName() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("s.ini"));
        TFileTableModel model;
        {
            QTableView grid;
            grid.setModel(&model);
            QHeaderView* header = grid.horizontalHeader();
            header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION), 1);
            header->resizeSection(TFileTableModel::ColFILENAME, 301);
            header->resizeSection(TFileTableModel::ColEXTENSION, 44);
            header->resizeSection(TFileTableModel::ColLASACTION, 199);
            QSettings store(path, QSettings::IniFormat);
            SaveGridStore(store, &grid, QStringLiteral("ResizeGrid"));
            SaveGridStore(store, nullptr, QStringLiteral("Other")); // no grid, nothing stored
        }
        QSettings store(path, QSettings::IniFormat);
        QCOMPARE(store.childGroups(),
                 QStringList{QStringLiteral("Software\\Varnock\\PixelWright 8.0\\\\GridStore")});
        store.beginGroup(QLatin1String(GridStoreKey));
        QCOMPARE(store.childGroups(), QStringList{QStringLiteral("ResizeGrid")});
        QCOMPARE(store.value(QStringLiteral("ResizeGrid/Columns")).toStringList(),
                 (QStringList{"RecId", "LASACTION", "FILENAME", "EXTENSION"}));
        store.endGroup();

        QTableView grid;
        grid.setModel(&model);
        LoadGridStore(store, &grid, QStringLiteral("ResizeGrid"));
        const QHeaderView* header = grid.horizontalHeader();
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColLASACTION));
        QCOMPARE(header->logicalIndex(2), int(TFileTableModel::ColFILENAME));
        QCOMPARE(header->logicalIndex(3), int(TFileTableModel::ColEXTENSION));
        QCOMPARE(header->sectionSize(TFileTableModel::ColFILENAME), 301);
        QCOMPARE(header->sectionSize(TFileTableModel::ColEXTENSION), 44);
        QCOMPARE(header->sectionSize(TFileTableModel::ColLASACTION), 199);
    }

    void DamagedOrForeignGridLayoutsChangeNothingTheyDontKnow() {
        QTemporaryDir dir;
        QSettings store(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
        store.beginGroup(QLatin1String(GridStoreKey));
        store.setValue(QStringLiteral("ResizeGrid/Columns"),
                       QStringList{"NOSUCHFIELD", "EXTENSION", "FILENAME"});
        store.setValue(QStringLiteral("ResizeGrid/Widths"), QStringList{"50", "999999", "abc"});
        store.endGroup();
        TFileTableModel model;
        QTableView grid;
        grid.setModel(&model);
        const QHeaderView* header = grid.horizontalHeader();
        const int extensionWidth = header->sectionSize(TFileTableModel::ColEXTENSION);
        const int fileNameWidth = header->sectionSize(TFileTableModel::ColFILENAME);
        LoadGridStore(store, &grid, QStringLiteral("ResizeGrid"));
        LoadGridStore(store, nullptr, QStringLiteral("ResizeGrid"));
        QCOMPARE(header->logicalIndex(0), int(TFileTableModel::ColEXTENSION));
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColFILENAME));
        QCOMPARE(header->sectionSize(TFileTableModel::ColEXTENSION), extensionWidth);
        QCOMPARE(header->sectionSize(TFileTableModel::ColFILENAME), fileNameWidth);
    }
};

QTEST_MAIN(TGuiSettingsTest)
#include "guisettings_test.moc"
