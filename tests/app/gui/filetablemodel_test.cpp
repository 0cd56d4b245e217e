#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include "app/gui/filetablefilter.h"
#include "app/gui/filetablemodel.h"

namespace {

void AddRow(TMemData& Table, const std::string& FileName, const std::string& Extension) {
    Table.Insert();
    Table.SetField(TMemField::FILENAME, FileName);
    Table.SetField(TMemField::EXTENSION, Extension);
    Table.SetField(TMemField::LASACTION, "Neu");
    Table.Post();
}

} // namespace

class TFileTableModelTest : public QObject {
    Q_OBJECT

  private slots:
    void ShowsTheTableInFieldOrderReadOnly() {
        TMemData table;
        TFileTableModel model;
        QCOMPARE(model.rowCount(), 0);
        QCOMPARE(model.columnCount(), 4);
        AddRow(table, "/p/a.jpg", ".jpg");
        AddRow(table, "/p/b.PNG", ".PNG");
        model.SetMemData(&table);
        QCOMPARE(model.rowCount(), 2);
        QCOMPARE(model.index(1, TFileTableModel::ColRecId).data().toInt(), table.Record(1).RecId);
        QCOMPARE(model.index(1, TFileTableModel::ColFILENAME).data().toString(), QStringLiteral("/p/b.PNG"));
        QCOMPARE(model.index(1, TFileTableModel::ColEXTENSION).data().toString(), QStringLiteral(".PNG"));
        QCOMPARE(model.index(1, TFileTableModel::ColLASACTION).data().toString(), QStringLiteral("Neu"));
        QCOMPARE(model.RecIdOfRow(0), table.Record(0).RecId);
        QCOMPARE(model.RecIdOfRow(2), -1);

        QStringList captions, fields;
        for (int column = 0; column < 4; ++column) {
            captions << model.headerData(column, Qt::Horizontal).toString();
            fields << model.headerData(column, Qt::Horizontal, GridFieldNameRole).toString();
        }
        QCOMPARE(captions, (QStringList{"RecId", "ORIGINAL", "TYP", "LETZTE AKTION"}));
        QCOMPARE(fields, (QStringList{"RecId", "FILENAME", "EXTENSION", "LASACTION"}));
        // The indicator column shows no row numbers.
        QVERIFY(!model.headerData(0, Qt::Vertical).isValid());
        const Qt::ItemFlags flags = model.flags(model.index(0, 1));
        QVERIFY(flags & Qt::ItemIsSelectable);
        QVERIFY(!(flags & Qt::ItemIsEditable));
        QVERIFY(!(flags & Qt::ItemIsDropEnabled));
    }

    void FollowsInsertsEditsAndClearingOfTheTable() {
        TMemData table;
        TFileTableModel model;
        model.SetMemData(&table);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        AddRow(table, "/p/a.jpg", ".jpg");
        AddRow(table, "/p/b.jpg", ".jpg");
        QCOMPARE(inserted.size(), 2);
        QCOMPARE(inserted[1][1].toInt(), 1);
        QCOMPARE(inserted[1][2].toInt(), 1);

        QVERIFY(table.Locate(TMemField::FILENAME, "/p/b.jpg"));
        table.Edit();
        table.SetField(TMemField::LASACTION, "OK ..\\Resize\\R-b.jpg");
        table.Post();
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed[0][0].toModelIndex().row(), 1);
        QCOMPARE(model.index(1, TFileTableModel::ColLASACTION).data().toString(),
                 QStringLiteral("OK ..\\Resize\\R-b.jpg"));

        table.SetActive(false);
        QCOMPARE(reset.size(), 1);
        QCOMPARE(model.rowCount(), 0);
    }

    void TableChangesKeepTheModelContractAndAreAnnouncedAhead() {
        TMemData table;
        TFileTableModel model;
        // Fails the test when rows change without being announced first, among other things.
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.SetMemData(&table);
        int countWhenAnnounced = -1;
        QObject::connect(&model, &QAbstractItemModel::rowsAboutToBeInserted, &model,
                         [&] { countWhenAnnounced = table.RecordCount(); });
        QObject::connect(&model, &QAbstractItemModel::modelAboutToBeReset, &model,
                         [&] { countWhenAnnounced = table.RecordCount(); });
        AddRow(table, "/p/a.jpg", ".jpg");
        QCOMPARE(countWhenAnnounced, 0);
        AddRow(table, "/p/b.jpg", ".jpg");
        QCOMPARE(countWhenAnnounced, 1);
        QVERIFY(table.Locate(TMemField::RecId, std::to_string(table.Record(0).RecId)));
        table.Edit();
        table.SetField(TMemField::LASACTION, "Abbruch..");
        table.Post();
        table.SetActive(false);
        QCOMPARE(countWhenAnnounced, 2);
        QCOMPARE(model.rowCount(), 0);
        AddRow(table, "/p/c.jpg", ".jpg");
        QCOMPARE(model.rowCount(), 1);
    }

    void UnbindingReleasesTheTable() {
        TMemData table;
        {
            TFileTableModel model;
            model.SetMemData(&table);
            QVERIFY(bool(table.OnRowInserted));
        }
        QVERIFY(!table.OnRowInserting && !table.OnRowInserted && !table.OnRowChanged && !table.OnClearing &&
                !table.OnCleared);
        AddRow(table, "/p/a.jpg", ".jpg"); // no model behind it any more
        QCOMPARE(table.RecordCount(), 1);
    }

    void FilterIgnoresCaseAndTakesStarForAnyRun() {
        TMemData table;
        TFileTableModel model;
        model.SetMemData(&table);
        TFileTableFilter filter;
        filter.setSourceModel(&model);
        AddRow(table, "/Urlaub/Strand.JPG", ".JPG");
        AddRow(table, "/arbeit/plan.png", ".png");
        AddRow(table, "/urlaub/berg.tif", ".tif");
        auto shown = [&] {
            QStringList names;
            for (int row = 0; row < filter.rowCount(); ++row)
                names << filter.index(row, TFileTableModel::ColFILENAME).data().toString();
            return names;
        };
        filter.SetFilterText(QStringLiteral("URLAUB"));
        QCOMPARE(shown(), (QStringList{"/Urlaub/Strand.JPG", "/urlaub/berg.tif"}));
        filter.SetFilterText(QStringLiteral("urlaub*.jpg"));
        QCOMPARE(shown(), (QStringList{"/Urlaub/Strand.JPG"}));
        // Other pattern characters stand for themselves.
        filter.SetFilterText(QStringLiteral("pl?n"));
        QCOMPARE(shown(), QStringList());
        filter.SetFilterText(QStringLiteral("[a]"));
        QCOMPARE(shown(), QStringList());
        // The row text counts too, and follows its changes.
        filter.SetFilterText(QStringLiteral("ok*R-"));
        QCOMPARE(shown(), QStringList());
        QVERIFY(table.Locate(TMemField::FILENAME, "/arbeit/plan.png"));
        table.Edit();
        table.SetField(TMemField::LASACTION, "OK ..\\Resize\\R-plan.jpg");
        table.Post();
        QCOMPARE(shown(), (QStringList{"/arbeit/plan.png"}));
        filter.SetFilterText(QString());
        QCOMPARE(filter.rowCount(), 3);
    }
};

QTEST_MAIN(TFileTableModelTest)
#include "filetablemodel_test.moc"
