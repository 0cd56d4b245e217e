#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLineEdit>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QTimer>

#include "app/gui/filegrid.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/radiogroup.h"
#include "app/gui/settingspanel.h"
#include "tests/app/gui/guitestutil.h"

namespace {

const QStringList ThreeSamples = {"landschaft.jpg", "hochformat.jpg", "quadrat.jpg"};
const QString Waiting = QStringLiteral("Start Resize, please wait..");

// Keys reach the window's shortcuts only in the active window, with the table focused
// (a text box would take Ctrl+V and Ctrl+Del for itself).
bool ShowActive(TfmPixelWrightMain& Window) {
    Window.show();
    Window.activateWindow();
    if (!QTest::qWaitForWindowActive(&Window)) return false;
    Window.cxGrid->View()->setFocus();
    return true;
}

void SelectRows(TFileGrid& Grid, const QList<int>& Rows) {
    QItemSelectionModel* selection = Grid.View()->selectionModel();
    for (int row : Rows)
        selection->select(Grid.View()->model()->index(row, 1),
                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

// A drag from a file manager that ends on the table, as the platform delivers it: what the
// source allows, and the effect that the drag ended with. The drop goes where the drag
// entered and was taken.
bool Drop(QWidget* Target, QMimeData& Data, Qt::DropActions Possible, Qt::DropAction Effect,
          Qt::DropAction& Reported) {
    QDragEnterEvent enter(QPoint(20, 20), Possible, &Data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(Target, &enter);
    if (!enter.isAccepted()) return false;
    QDropEvent drop(QPointF(20, 20), Possible, &Data, Qt::LeftButton, Qt::NoModifier);
    drop.setDropAction(Effect);
    QCoreApplication::sendEvent(Target, &drop);
    Reported = drop.dropAction();
    return drop.isAccepted();
}

struct TActionStates {
    bool Recorded = false;
    bool Active = false;
    bool PanelEnabled = true;
    QStringList Enabled, Disabled;
};

TActionStates RecordActions(TfmPixelWrightMain& W) {
    TActionStates states;
    states.Recorded = true;
    states.Active = W.isActive();
    states.PanelEnabled = W.dxNavBar->isEnabled();
    for (QAction* action : {W.acOpenFiles, W.acOpenDirectory, W.acPasteFiles, W.acClose, W.acResizeAll,
                            W.acResizeSelected, W.acClear, W.acBreak, W.acUpdate})
        (action->isEnabled() ? states.Enabled : states.Disabled) << action->text();
    return states;
}

} // namespace

class TPixelWrightMainBatchTest : public QObject {
    Q_OBJECT

  private slots:
    void init() { QGuiApplication::clipboard()->clear(); }

    void F6OnAnEmptyTableEmptiesTheBrowserAndDoesNothingElse() {
        TWindowUnderTest t;
        QVERIFY(ShowActive(*t.Window));
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        QTest::keyClick(t.Window.get(), Qt::Key_F6);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(newFiles.size(), 0);
        QCOMPARE(t.DM.MemData().RecordCount(), 0);
        QVERIFY(!t.Window->isActive());
        QVERIFY(t.Window->dxNavBar->isEnabled());
        QVERIFY(t.Window->acResizeAll->isEnabled());
    }

    void F7WithoutASelectionDoesNothing() {
        TWindowUnderTest t;
        t.AddFiles(t.CopySamples({"klein.jpg", "quadrat.jpg"}));
        QVERIFY(ShowActive(*t.Window));
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_F7);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize"))));
        QCOMPARE(cleared.size(), 0);
        QVERIFY(!t.Window->isActive());
    }

    void F6ResizesThreeJpegsAndReportsEachRow() {
        TWindowUnderTest t;
        t.Window->dxNavBar->NewFileSize->setValue(160);
        const QStringList files = t.CopySamples(ThreeSamples);
        t.AddFiles(files);
        QVERIFY(ShowActive(*t.Window));
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_F6);

        QCOMPARE(t.RowTexts(),
                 (QStringList{"OK ..\\Resize\\R-landschaft.jpg", "OK ..\\Resize\\R-hochformat.jpg",
                              "OK ..\\Resize\\R-quadrat.jpg"}));
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(newFiles.size(), 3);
        const QString out = t.Dir.filePath(QStringLiteral("photos/Resize/"));
        const QStringList expected = {out + "R-landschaft.jpg", out + "R-hochformat.jpg",
                                      out + "R-quadrat.jpg"};
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(newFiles[i][0].toString(), expected[i]);
            QVERIFY2(QFileInfo(expected[i]).isFile(), qPrintable(expected[i]));
            QVERIFY2(QFileInfo(expected[i]).size() > 0, qPrintable(expected[i]));
        }
        // The table shows the rows as the table has them, and nothing stays selected.
        const QAbstractItemModel& model = *t.Window->cxGrid->View()->model();
        QCOMPARE(model.index(2, TFileTableModel::ColLASACTION).data().toString(),
                 QStringLiteral("OK ..\\Resize\\R-quadrat.jpg"));
        QVERIFY(!t.Window->cxGrid->View()->selectionModel()->hasSelection());
        QVERIFY(!t.Window->isActive());
        QVERIFY(t.Window->dxNavBar->isEnabled());
        QCOMPARE(t.DM.RisizeProperty.Destination, QFile::encodeName(out.chopped(1)).toStdString());
    }

    void StartResizeCopiesEveryControlIntoTheJob() {
        TWindowUnderTest t;
        TSettingsPanel& p = *t.Window->dxNavBar;
        p.NewFileSize->setValue(96);
        p.JpegQuali->setValue(55);
        p.MaxFileSize->setValue(99);
        for (QCheckBox* box :
             {p.cbAutoQuali, p.cbWatermark, p.cbEnableCMS, p.cbSharpImage, p.cbJPEGProgressive,
              p.cbAutoFileSize, p.cbBlackWhite, p.cbImmerHoch, p.cbMultiRisize, p.cbImageEnhance})
            box->setChecked(true);
        p.edPrefix->setText(QStringLiteral("v-"));
        p.edSuffix->setText(QStringLiteral("-n"));
        p.edResizeDir->setEditText(QStringLiteral("Web"));
        p.rgMethode->SetItemIndex(7);
        t.DM.RisizeProperty.SoftShadow = true;
        t.DM.RisizeProperty.Joo = false;
        t.DM.RisizeProperty.WaterStr = std::string(3, 'x');
        t.AddFiles(t.CopySamples({"klein.jpg"}));
        t.Window->acResizeAll->trigger();

        const TRisizeProperty& job = t.DM.RisizeProperty;
        QCOMPARE(job.NewSize, 96);
        QCOMPARE(job.JpgQuali, 55);
        QCOMPARE(job.MaxFileSize, 99);
        QVERIFY(job.AutoQuali && job.WaterMark && job.EnableCMS && job.SharpImg && job.JPEGProgressive &&
                job.AutoSize && job.BW && job.HeighPrio && job.Multi && job.ImageEnhance);
        QCOMPARE(job.Prefix, std::string("v-"));
        QCOMPARE(job.Suffix, std::string("-n"));
        QCOMPARE(job.ResizeMethode, WICNearestNeighbor);
        QVERIFY(!job.SoftShadow);
        QVERIFY(job.Joo);
        QVERIFY(job.WaterStr.empty());
        QVERIFY(!job.SaveExif);
        QCOMPARE(t.RowTexts(), QStringList{"OK ..\\Web\\v-klein-n.jpg"});
        QVERIFY(QFileInfo(t.Dir.filePath(QStringLiteral("photos/Web/v-klein-n.jpg"))).isFile());
    }

    void F7ResizesOnlyTheSelectedRows() {
        TWindowUnderTest t;
        t.Window->dxNavBar->NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        QVERIFY(ShowActive(*t.Window));
        SelectRows(*t.Window->cxGrid, {2, 0});
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_F7);
        QCOMPARE(t.RowTexts(),
                 (QStringList{"OK ..\\Resize\\R-landschaft.jpg", "Neu", "OK ..\\Resize\\R-quadrat.jpg"}));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize/R-hochformat.jpg"))));
        QCOMPARE(cleared.size(), 0); // the thumbnails stay
        QVERIFY(!t.Window->cxGrid->View()->selectionModel()->hasSelection());
    }

    void DuringABatchOnlyBreakCloseAndUpdateStayLiveAndF8StopsAtTheNextFile() {
        TWindowUnderTest t;
        t.Window->dxNavBar->NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        const QStringList late = t.CopySamples({"klein.jpg"}, QStringLiteral("late"));
        QVERIFY(ShowActive(*t.Window));
        // Files on the clipboard, so that only the batch can disable the paste.
        QGuiApplication::clipboard()->setMimeData(UriListOf(late));
        QVERIFY(t.Window->acPasteFiles->isEnabled());

        TActionStates during;
        bool dropAccepted = false;
        // Runs from the event loop that the batch pumps while the first worker runs.
        QTimer::singleShot(0, t.Window.get(), [&] {
            during = RecordActions(*t.Window);
            QMimeData data;
            data.setUrls({QUrl::fromLocalFile(late[0])});
            Qt::DropAction reported;
            dropAccepted =
                Drop(t.Window->cxGrid->View()->viewport(), data, Qt::CopyAction, Qt::CopyAction, reported);
        });
        QStringList rowsAtFirstFile;
        int finished = 0;
        connect(t.Window.get(), &TfmPixelWrightMain::NewFileReady, this, [&] {
            if (++finished > 1) return;
            rowsAtFirstFile = t.RowTexts();
            QTest::keyClick(t.Window.get(), Qt::Key_F8);
        });
        QTest::keyClick(t.Window.get(), Qt::Key_F6);

        QVERIFY(during.Recorded);
        QVERIFY(during.Active);
        QVERIFY(!during.PanelEnabled);
        QCOMPARE(during.Enabled, (QStringList{"Beenden", "Abbrechen", "Suche nach Updates"}));
        QCOMPARE(during.Disabled, (QStringList{"Dateien öffnen", "Verzeichnis öffnen", "Bilder Einfügen",
                                               "Resize Alles", "Resize Auswahl", "Tabelle leeren"}));
        // The rows change while the batch runs. The dropped file got its row but no part in
        // the batch; its insert made it the table's current row, and the finished file's text
        // goes to the current row, so it lands there, as the data module has it.
        QVERIFY(dropAccepted);
        QCOMPARE(rowsAtFirstFile,
                 (QStringList{Waiting, Waiting, Waiting, "OK ..\\Resize\\R-landschaft.jpg"}));
        QCOMPARE(finished, 1);
        QCOMPARE(t.RowTexts(),
                 (QStringList{Waiting, "Abbruch..", Waiting, "OK ..\\Resize\\R-landschaft.jpg"}));
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(3).FILENAME), late[0]);
        QVERIFY(QFileInfo(t.Dir.filePath(QStringLiteral("photos/Resize/R-landschaft.jpg"))).isFile());
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize/R-hochformat.jpg"))));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("late/Resize"))));
        // After the batch everything is live again.
        const TActionStates after = RecordActions(*t.Window);
        QVERIFY(!after.Active && after.PanelEnabled);
        QVERIFY(after.Disabled.isEmpty());
    }

    void ClosingDuringABatchIsNotBlockedAndStopsIt() {
        TWindowUnderTest t;
        t.Window->dxNavBar->NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        QVERIFY(ShowActive(*t.Window));
        bool closed = false;
        int finished = 0;
        connect(t.Window.get(), &TfmPixelWrightMain::NewFileReady, this, [&] {
            if (++finished == 1) closed = t.Window->close();
        });
        t.Window->acResizeAll->trigger();
        QVERIFY(closed);
        QVERIFY(!t.Window->isVisible());
        QCOMPARE(finished, 1);
        QCOMPARE(t.RowTexts(), (QStringList{"OK ..\\Resize\\R-landschaft.jpg", "Abbruch..", Waiting}));
    }

    void CtrlVAddsCopiedFilesAndUsesTheClipboardUp() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QVERIFY(ShowActive(*t.Window));
        QGuiApplication::clipboard()->setMimeData(UriListOf(files + QStringList{t.Dir.filePath("gone.jpg")}));
        QVERIFY(t.Window->acPasteFiles->isEnabled());
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(t.DM.MemData().RecordCount(), 2);
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(1).FILENAME), files[1]);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        const QMimeData* left = QGuiApplication::clipboard()->mimeData();
        QVERIFY(!left || left->formats().isEmpty());
        QVERIFY(!t.Window->acPasteFiles->isEnabled());
        // A second paste finds nothing.
        t.Window->acPasteFilesExecute();
        QCOMPARE(t.DM.MemData().RecordCount(), 2);

        // GNOME's own format, with a file already listed.
        const QStringList more = t.CopySamples({"graustufen.jpg"});
        auto* gnome = new QMimeData;
        gnome->setData(QStringLiteral("x-special/gnome-copied-files"),
                       "copy\n" + QUrl::fromLocalFile(files[0]).toEncoded() + "\n" +
                           QUrl::fromLocalFile(more[0]).toEncoded());
        QGuiApplication::clipboard()->setMimeData(gnome);
        QVERIFY(t.Window->acPasteFiles->isEnabled());
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(t.DM.MemData().RecordCount(), 3);
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(2).FILENAME), more[0]);
    }

    void ADroppedMoveAddsTheFilesAndReportsNothingMoved() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QWidget* target = t.Window->cxGrid->View()->viewport();
        QVERIFY(target->acceptDrops());
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(files[0]), QUrl::fromLocalFile(files[1])});

        // Offered copy and move, the table takes a copy; offered only a move, it takes that.
        QDragEnterEvent both(QPoint(20, 20), Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                             Qt::NoModifier);
        QCoreApplication::sendEvent(target, &both);
        QVERIFY(both.isAccepted());
        QCOMPARE(both.dropAction(), Qt::CopyAction);
        QDragEnterEvent link(QPoint(20, 20), Qt::LinkAction, &data, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(target, &link);
        QVERIFY(link.isAccepted());
        QCOMPARE(link.dropAction(), Qt::LinkAction);
        QMimeData text;
        text.setText(QStringLiteral("no files"));
        QDragEnterEvent words(QPoint(20, 20), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QCoreApplication::sendEvent(target, &words);
        QVERIFY(!words.isAccepted());

        Qt::DropAction reported = Qt::MoveAction;
        QVERIFY(Drop(target, data, Qt::MoveAction, Qt::MoveAction, reported));
        QCOMPARE(reported, Qt::IgnoreAction);
        QCOMPARE(t.DM.MemData().RecordCount(), 2);
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(0).FILENAME), files[0]);
        QVERIFY(QFileInfo::exists(files[0]) && QFileInfo::exists(files[1]));

        QVERIFY(Drop(target, data, Qt::CopyAction | Qt::MoveAction, Qt::CopyAction, reported));
        QCOMPARE(reported, Qt::CopyAction);
        QCOMPARE(t.DM.MemData().RecordCount(), 2); // listed already
    }

    void CtrlDelEmptiesTheTableAndTheBrowser() {
        TWindowUnderTest t;
        t.AddFiles(t.CopySamples({"klein.jpg", "quadrat.jpg"}));
        QVERIFY(ShowActive(*t.Window));
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(t.DM.MemData().RecordCount(), 0);
        QCOMPARE(t.Window->cxGrid->View()->model()->rowCount(), 0);
        // The table takes new files after that.
        t.AddFiles(t.CopySamples({"klein.jpg"}, QStringLiteral("again")));
        QCOMPARE(t.Window->cxGrid->View()->model()->rowCount(), 1);
    }
};

QTEST_MAIN(TPixelWrightMainBatchTest)
#include "pixelwrightmain_batch_test.moc"
