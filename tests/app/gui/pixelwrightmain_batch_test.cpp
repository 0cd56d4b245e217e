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

    void F6OnAnEmptyTableOrF7WithoutASelectionStartsNoBatch() {
        TWindowUnderTest t;
        QVERIFY(ShowActive(*t.Window));
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        // An empty table: only the browser is emptied.
        QTest::keyClick(t.Window.get(), Qt::Key_F6);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(t.DM.MemData().RecordCount(), 0);
        t.AddFiles(t.CopySamples({"klein.jpg", "quadrat.jpg"}));
        QVERIFY(ShowActive(*t.Window));
        QTest::keyClick(t.Window.get(), Qt::Key_F7);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize"))));
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(newFiles.size(), 0);
        QVERIFY(!t.Window->isActive());
        QVERIFY(t.Window->dxNavBar->isEnabled() && t.Window->acResizeAll->isEnabled());
    }

    void F6ResizesThreeJpegsAndReportsEachRow() {
        TWindowUnderTest t;
        t.Window->dxNavBar->NewFileSize->setValue(160);
        t.AddFiles(t.CopySamples(ThreeSamples));
        QVERIFY(ShowActive(*t.Window));
        SelectRows(*t.Window->cxGrid, {1});
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_F6);

        const QStringList rows = {"OK ..\\Resize\\R-landschaft.jpg", "OK ..\\Resize\\R-hochformat.jpg",
                                  "OK ..\\Resize\\R-quadrat.jpg"};
        QCOMPARE(t.RowTexts(), rows);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(newFiles.size(), 3);
        const QString out = t.Dir.filePath(QStringLiteral("photos/Resize/"));
        for (int i = 0; i < 3; ++i) {
            const QString expected = out + rows[i].mid(13);
            QCOMPARE(newFiles[i][0].toString(), expected);
            QVERIFY2(QFileInfo(expected).size() > 0, qPrintable(expected));
        }
        // The grid shows the rows as the table has them, and nothing stays selected.
        QCOMPARE(t.Window->cxGrid->View()->model()->index(2, TFileTableModel::ColLASACTION).data().toString(),
                 rows[2]);
        QVERIFY(!t.Window->cxGrid->View()->selectionModel()->hasSelection());
        QVERIFY(!t.Window->isActive() && t.Window->dxNavBar->isEnabled());
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
        // Fields the window has no control for are set back to the job's defaults.
        t.DM.RisizeProperty.SoftShadow = true;
        t.DM.RisizeProperty.Joo = false;
        t.DM.RisizeProperty.WaterStr = "xxx";
        t.AddFiles(t.CopySamples({"klein.jpg"}));
        t.Window->acResizeAll->trigger();

        const TRisizeProperty& job = t.DM.RisizeProperty;
        QCOMPARE(std::make_tuple(job.NewSize, job.JpgQuali, job.MaxFileSize), std::make_tuple(96, 55, 99));
        QVERIFY(job.AutoQuali && job.WaterMark && job.EnableCMS && job.SharpImg && job.JPEGProgressive &&
                job.AutoSize && job.BW && job.HeighPrio && job.Multi && job.ImageEnhance);
        QCOMPARE(job.ResizeMethode, WICNearestNeighbor);
        QVERIFY(!job.SoftShadow && job.Joo && job.WaterStr.empty() && !job.SaveExif);
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

    void CtrlVAddsCopiedFilesAndUsesTheClipboardUpCtrlDelEmptiesTheTable() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QVERIFY(ShowActive(*t.Window));
        QGuiApplication::clipboard()->setMimeData(UriListOf(files + QStringList{t.Dir.filePath("gone.jpg")}));
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(1).FILENAME), files[1]);
        const QMimeData* left = QGuiApplication::clipboard()->mimeData();
        QVERIFY(!left || left->formats().isEmpty());
        QVERIFY(!t.Window->acPasteFiles->isEnabled());

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

        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(t.Window->cxGrid->View()->model()->rowCount(), 0);
        // The table takes new files after that.
        t.AddFiles(more);
        QCOMPARE(t.Window->cxGrid->View()->model()->rowCount(), 1);
    }

    void ADroppedMoveAddsTheFilesAndReportsNothingMoved() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QWidget* target = t.Window->cxGrid->View()->viewport();
        QMimeData data, text;
        data.setUrls({QUrl::fromLocalFile(files[0]), QUrl::fromLocalFile(files[1])});
        text.setText(QStringLiteral("no files"));
        // Offered copy and move, the table takes a copy; offered only a link, it takes that.
        const QList<std::tuple<QMimeData*, Qt::DropActions, bool, Qt::DropAction>> offers = {
            {&data, Qt::CopyAction | Qt::MoveAction, true, Qt::CopyAction},
            {&data, Qt::LinkAction, true, Qt::LinkAction},
            {&text, Qt::CopyAction, false, Qt::CopyAction},
        };
        for (const auto& [mime, possible, accepted, action] : offers) {
            QDragEnterEvent enter(QPoint(20, 20), possible, mime, Qt::LeftButton, Qt::NoModifier);
            QCoreApplication::sendEvent(target, &enter);
            QCOMPARE(enter.isAccepted(), accepted);
            if (accepted) QCOMPARE(enter.dropAction(), action);
        }

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
};

QTEST_MAIN(TPixelWrightMainBatchTest)
#include "pixelwrightmain_batch_test.moc"
