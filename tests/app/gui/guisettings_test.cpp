#include <QHeaderView>
#include <QTableView>
#include <QTemporaryDir>
#include <QTest>

#include "app/gui/filetablemodel.h"
#include "app/gui/gridstore.h"
#include "app/gui/guisettings.h"

// The defaults, and the values the window's controls round trip, are checked through the window.
class TGuiSettingsTest : public QObject {
    Q_OBJECT

  private slots:
    void ValuesComeBackUnderTheirKeys() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("s.ini"));
        TGuiSettings s;
        s.edResizeDirLookupItems = {QStringLiteral("Web"), QStringLiteral("Druck")};
        s.edResizeDir = QString();
        s.HasPlacement = true;
        s.Placement = QRect(-20, 30, 900, 700);
        s.WindowState = 2;
        s.NewFileSize = 640;
        {
            QSettings store(path, QSettings::IniFormat);
            SaveGuiSettings(store, s);
        }
        QSettings store(path, QSettings::IniFormat);
        QCOMPARE(
            store.value(QStringLiteral("Software\\Varnock\\PixelWright 3.0\\GUI/NewFileSize/Value")).toInt(),
            640);
        const TGuiSettings r = LoadGuiSettings(store);
        QCOMPARE(std::make_tuple(r.edResizeDirLookupItems, r.edResizeDir, r.HasPlacement, r.Placement,
                                 r.WindowState),
                 std::make_tuple(s.edResizeDirLookupItems, QString(), true, s.Placement, 2));
    }

    // Columns are stored by field name; a damaged or foreign layout changes only what it knows.
    void GridLayoutKeepsOrderAndWidthsByFieldName() {
        QTemporaryDir dir;
        QSettings store(dir.filePath(QStringLiteral("s.ini")), QSettings::IniFormat);
        TFileTableModel model;
        QTableView grid;
        grid.setModel(&model);
        QHeaderView* header = grid.horizontalHeader();
        header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION), 1);
        header->resizeSection(TFileTableModel::ColFILENAME, 301);
        SaveGridStore(store, &grid, QStringLiteral("ResizeGrid"));
        SaveGridStore(store, nullptr, QStringLiteral("Other")); // no grid, nothing stored
        store.beginGroup(QLatin1String(GridStoreKey));
        QCOMPARE(store.childGroups(), QStringList{QStringLiteral("ResizeGrid")});
        QCOMPARE(store.value(QStringLiteral("ResizeGrid/Columns")).toStringList(),
                 (QStringList{"RecId", "LASACTION", "FILENAME", "EXTENSION"}));
        store.endGroup();

        QTableView restored;
        restored.setModel(&model);
        LoadGridStore(store, &restored, QStringLiteral("ResizeGrid"));
        LoadGridStore(store, nullptr, QStringLiteral("ResizeGrid"));
        header = restored.horizontalHeader();
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColLASACTION));
        QCOMPARE(header->sectionSize(TFileTableModel::ColFILENAME), 301);

        store.beginGroup(QLatin1String(GridStoreKey));
        store.setValue(QStringLiteral("ResizeGrid/Columns"),
                       QStringList{"NOSUCHFIELD", "EXTENSION", "FILENAME"});
        store.setValue(QStringLiteral("ResizeGrid/Widths"), QStringList{"50", "999999", "abc"});
        store.endGroup();
        const int extensionWidth = header->sectionSize(TFileTableModel::ColEXTENSION);
        LoadGridStore(store, &restored, QStringLiteral("ResizeGrid"));
        QCOMPARE(header->logicalIndex(0), int(TFileTableModel::ColEXTENSION));
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColFILENAME));
        QCOMPARE(header->sectionSize(TFileTableModel::ColEXTENSION), extensionWidth);
        QCOMPARE(header->sectionSize(TFileTableModel::ColFILENAME), 301);
    }
};

QTEST_MAIN(TGuiSettingsTest)
#include "guisettings_test.moc"
