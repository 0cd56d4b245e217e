#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <QTest>

#include "app/gui/filetablefilter.h"
#include "app/gui/filetablemodel.h"

namespace {

void AddRow(TMemData& Table, const std::string& FileName, const std::string& Extension = ".jpg") {
    Table.Insert();
    Table.SetField(TMemField::FILENAME, FileName);
    Table.SetField(TMemField::EXTENSION, Extension);
    Table.SetField(TMemField::LASACTION, "Neu");
    Table.Post();
}

void SetRowText(TMemData& Table, const std::string& FileName, const std::string& Text) {
    QVERIFY(Table.Locate(TMemField::FILENAME, FileName));
    Table.Edit();
    Table.SetField(TMemField::LASACTION, Text);
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
        AddRow(table, "/p/a.jpg");
        AddRow(table, "/p/b.PNG", ".PNG");
        model.SetMemData(&table);
        QCOMPARE(model.rowCount(), 2);
        QStringList row, captions;
        for (int column = 0; column < 4; ++column) {
            row << model.index(1, column).data().toString();
            captions << model.headerData(column, Qt::Horizontal).toString();
        }
        QCOMPARE(row, (QStringList{"2", "/p/b.PNG", ".PNG", "Neu"}));
        QCOMPARE(captions, (QStringList{"RecId", "ORIGINAL", "TYP", "LETZTE AKTION"}));
        QCOMPARE(model.RecIdOfRow(0), 1);
        QCOMPARE(model.RecIdOfRow(2), -1);
        // The indicator column shows no row numbers.
        QVERIFY(!model.headerData(0, Qt::Vertical).isValid());
        const Qt::ItemFlags flags = model.flags(model.index(0, 1));
        QVERIFY((flags & Qt::ItemIsSelectable) && !(flags & (Qt::ItemIsEditable | Qt::ItemIsDropEnabled)));
    }

    void FollowsTheTableAnnouncingEachChangeAhead() {
        TMemData table;
        TFileTableModel model;
        // Fails the test when rows change unannounced or outside the announced range.
        QAbstractItemModelTester tester(&model, QAbstractItemModelTester::FailureReportingMode::QtTest);
        model.SetMemData(&table);
        QSignalSpy inserted(&model, &QAbstractItemModel::rowsInserted);
        QSignalSpy changed(&model, &QAbstractItemModel::dataChanged);
        QSignalSpy reset(&model, &QAbstractItemModel::modelReset);
        // A clear is announced while the rows are still there.
        int countWhenAnnounced = -1;
        QObject::connect(&model, &QAbstractItemModel::modelAboutToBeReset, &model,
                         [&] { countWhenAnnounced = table.RecordCount(); });
        AddRow(table, "/p/a.jpg");
        AddRow(table, "/p/b.jpg");
        QCOMPARE(inserted.size(), 2);
        SetRowText(table, "/p/b.jpg", "OK ..\\Resize\\R-b.jpg");
        QCOMPARE(changed.size(), 1);
        QCOMPARE(changed[0][0].toModelIndex().row(), 1);
        QCOMPARE(model.index(1, TFileTableModel::ColLASACTION).data().toString(),
                 QStringLiteral("OK ..\\Resize\\R-b.jpg"));
        table.SetActive(false);
        QCOMPARE(countWhenAnnounced, 2);
        QCOMPARE(reset.size(), 1);
        QCOMPARE(model.rowCount(), 0);
        AddRow(table, "/p/c.jpg");
        QCOMPARE(model.rowCount(), 1);
        QCOMPARE(model.index(0, 0).data().toString(), QStringLiteral("3")); // ids are never reused
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
        auto shown = [&](const QString& Text) {
            filter.SetFilterText(Text);
            QStringList names;
            for (int row = 0; row < filter.rowCount(); ++row)
                names << filter.index(row, TFileTableModel::ColFILENAME).data().toString();
            return names.join(QLatin1Char('|'));
        };
        QCOMPARE(shown("URLAUB"), QStringLiteral("/Urlaub/Strand.JPG|/urlaub/berg.tif"));
        QCOMPARE(shown("urlaub*.jpg"), QStringLiteral("/Urlaub/Strand.JPG"));
        // Other pattern characters stand for themselves.
        QCOMPARE(shown("pl?n") + shown("[a]"), QString());
        // The row text counts too, and follows its changes.
        QCOMPARE(shown("ok*R-"), QString());
        SetRowText(table, "/arbeit/plan.png", "OK ..\\Resize\\R-plan.jpg");
        QCOMPARE(filter.rowCount(), 1);
        QCOMPARE(filter.index(0, TFileTableModel::ColFILENAME).data().toString(),
                 QStringLiteral("/arbeit/plan.png"));
        QCOMPARE(shown(QString()).count(QLatin1Char('|')), 2);
    }
};

QTEST_MAIN(TFileTableModelTest)
#include "filetablemodel_test.moc"
