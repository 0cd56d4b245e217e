#include <QItemSelectionModel>
#include <QTimer>

#include "tests/app/gui/guitestutil.h"

namespace {

const QStringList ThreeSamples = {"landschaft.jpg", "hochformat.jpg", "quadrat.jpg"};
const QString Waiting = QStringLiteral("Start Resize, please wait..");

void SelectRows(TWindowUnderTest& T, const QList<int>& Rows) {
    for (int row : Rows)
        T.View().selectionModel()->select(T.View().model()->index(row, 1),
                                          QItemSelectionModel::Select | QItemSelectionModel::Rows);
}

// A drag from a file manager that ends on the table, as the platform delivers it: what the
// source allows, and the effect it ended with. Returns the effect the table reports, or
// "refused" when it takes neither the drag nor the drop.
QString Drop(QWidget* Target, QMimeData& Data, Qt::DropActions Possible, Qt::DropAction Effect) {
    QDragEnterEvent enter(QPoint(20, 20), Possible, &Data, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(Target, &enter);
    if (!enter.isAccepted()) return QStringLiteral("refused");
    QDropEvent drop(QPointF(20, 20), Possible, &Data, Qt::LeftButton, Qt::NoModifier);
    drop.setDropAction(Effect);
    QCoreApplication::sendEvent(Target, &drop);
    return drop.isAccepted() ? QString::number(enter.dropAction()) + ">" + QString::number(drop.dropAction())
                             : QStringLiteral("refused");
}

} // namespace

class TPixelWrightMainBatchTest : public QObject {
    Q_OBJECT

  private slots:
    void init() { QGuiApplication::clipboard()->clear(); }

    void F6ResizesEveryRowAndF7OnlyTheSelectedOnes() {
        TWindowUnderTest t;
        QVERIFY(t.Show());
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        // An empty table: only the browser is emptied.
        QTest::keyClick(t.Window.get(), Qt::Key_F6);
        QCOMPARE(cleared.size(), 1);
        t.Panel().NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        // Nothing selected: F7 has nothing to do.
        QTest::keyClick(t.Window.get(), Qt::Key_F7);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu", "Neu"}));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize"))));
        SelectRows(t, {2, 0});
        QTest::keyClick(t.Window.get(), Qt::Key_F7);
        QCOMPARE(t.RowTexts(),
                 (QStringList{"OK ..\\Resize\\R-landschaft.jpg", "Neu", "OK ..\\Resize\\R-quadrat.jpg"}));
        QVERIFY(!t.View().selectionModel()->hasSelection());
        QCOMPARE(cleared.size(), 1); // the thumbnails stay

        SelectRows(t, {1});
        QTest::keyClick(t.Window.get(), Qt::Key_F6);
        QCOMPARE(t.RowTexts().join('|'),
                 QStringLiteral("OK ..\\Resize\\R-landschaft.jpg|OK ..\\Resize\\R-hochformat."
                                "jpg|OK ..\\Resize\\R-quadrat.jpg"));
        QCOMPARE(cleared.size(), 2);
        QVERIFY(!t.View().selectionModel()->hasSelection());
        const QString out = t.Dir.filePath(QStringLiteral("photos/Resize"));
        QCOMPARE(newFiles.size(), 5);
        QCOMPARE(newFiles[3][0].toString(), out + "/R-hochformat.jpg");
        QVERIFY(QFileInfo(out + "/R-hochformat.jpg").size() > 0);
        QCOMPARE(t.DM.RisizeProperty.Destination, QFile::encodeName(out).toStdString());
    }

    void StartResizeCopiesEveryControlIntoTheJob() {
        TWindowUnderTest t;
        TSettingsPanel& p = t.Panel();
        p.NewFileSize->setValue(96);
        p.JpegQuali->setValue(55);
        p.MaxFileSize->setValue(99);
        p.edPrefix->setText(QStringLiteral("v-"));
        p.edSuffix->setText(QStringLiteral("-n"));
        p.edResizeDir->setEditText(QStringLiteral("Web"));
        p.rgMethode->SetItemIndex(7);
        // Every other box, so that two boxes that trade fields show.
        for (int i = 0; i < Boxes(p).size(); i += 2)
            Boxes(p)[i]->setChecked(true);
        // Fields the window has no control for are set back to the job's defaults.
        t.DM.RisizeProperty.SoftShadow = true;
        t.DM.RisizeProperty.Joo = false;
        t.DM.RisizeProperty.WaterStr = "xxx";
        t.AddFiles(t.CopySamples({"klein.jpg"}));
        t.Window->acResizeAll->trigger();
        const TRisizeProperty& job = t.DM.RisizeProperty;
        QCOMPARE((QList<bool>{job.AutoQuali, job.WaterMark, job.EnableCMS, job.SharpImg, job.JPEGProgressive,
                              job.AutoSize, job.BW, job.HeighPrio, job.Multi, job.ImageEnhance}),
                 (QList<bool>{true, false, true, false, true, false, true, false, true, false}));
        QCOMPARE(std::make_tuple(job.NewSize, job.JpgQuali, job.MaxFileSize), std::make_tuple(96, 55, 99));
        QCOMPARE(job.ResizeMethode, WICNearestNeighbor);
        QVERIFY(!job.SoftShadow && job.Joo && job.WaterStr.empty() && !job.SaveExif);
        QCOMPARE(t.RowTexts(), QStringList{"OK ..\\Web\\v-klein-n.jpg"});
        QVERIFY(QFileInfo(t.Dir.filePath(QStringLiteral("photos/Web/v-klein-n.jpg"))).isFile());
    }

    void DuringABatchOnlyBreakCloseAndUpdateStayLiveAndF8StopsAtTheNextFile() {
        TWindowUnderTest t;
        t.Panel().NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        const QStringList late = t.CopySamples({"klein.jpg"}, QStringLiteral("late"));
        QVERIFY(t.Show());
        // Files on the clipboard, so that only the batch can disable the paste.
        QGuiApplication::clipboard()->setMimeData(UriListOf(late));
        QString during, dropped;
        // Runs from the event loop that the batch pumps while the first worker runs.
        QTimer::singleShot(0, t.Window.get(), [&] {
            during = Live(*t.Window);
            QMimeData data;
            data.setUrls({QUrl::fromLocalFile(late[0])});
            dropped = Drop(t.View().viewport(), data, Qt::CopyAction, Qt::CopyAction);
        });
        QStringList rowsAtFirstFile;
        connect(t.Window.get(), &TfmPixelWrightMain::NewFileReady, this, [&] {
            QVERIFY(rowsAtFirstFile.isEmpty());
            rowsAtFirstFile = t.RowTexts();
            QTest::keyClick(t.Window.get(), Qt::Key_F8);
        });
        QTest::keyClick(t.Window.get(), Qt::Key_F6);

        QCOMPARE(during, QStringLiteral("running|no panel|Beenden|Abbrechen|Suche nach Updates"));
        // The dropped file got its row but no part in the batch; its insert made it the
        // table's current row, and the finished file's text goes to the current row.
        QCOMPARE(dropped, QStringLiteral("1>1"));
        const QString done = QStringLiteral("OK ..\\Resize\\R-landschaft.jpg");
        QCOMPARE(rowsAtFirstFile, (QStringList{Waiting, Waiting, Waiting, done}));
        QCOMPARE(t.RowTexts(), (QStringList{Waiting, "Abbruch..", Waiting, done}));
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(3).FILENAME), late[0]);
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize/R-hochformat.jpg"))));
        QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("late/Resize"))));
        QCOMPARE(Live(*t.Window),
                 QStringLiteral("idle|panel|Dateien öffnen|Verzeichnis öffnen|Bilder Einfügen|"
                                "Beenden|Resize Alles|Resize Auswahl|Tabelle leeren|Abbrechen|"
                                "Suche nach Updates"));
    }

    void ClosingDuringABatchIsNotBlockedAndStopsIt() {
        TWindowUnderTest t;
        t.Panel().NewFileSize->setValue(64);
        t.AddFiles(t.CopySamples(ThreeSamples));
        QVERIFY(t.Show());
        int closed = 0;
        connect(t.Window.get(), &TfmPixelWrightMain::NewFileReady, this,
                [&] { closed += t.Window->close(); });
        t.Window->acResizeAll->trigger();
        QVERIFY(closed == 1 && !t.Window->isVisible());
        QCOMPARE(t.RowTexts(), (QStringList{"OK ..\\Resize\\R-landschaft.jpg", "Abbruch..", Waiting}));
    }

    void CtrlVAddsCopiedFilesAndUsesTheClipboardUpCtrlDelEmptiesTheTable() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QVERIFY(t.Show());
        QGuiApplication::clipboard()->setMimeData(UriListOf({files[0], t.Dir.filePath("gone.jpg")}));
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        const QMimeData* left = QGuiApplication::clipboard()->mimeData();
        QVERIFY(!left || left->formats().isEmpty());
        QVERIFY(!t.Window->acPasteFiles->isEnabled());
        // GNOME's own format, with a file already listed.
        auto* gnome = new QMimeData;
        gnome->setData(QStringLiteral("x-special/gnome-copied-files"),
                       "copy\n" + QUrl::fromLocalFile(files[0]).toEncoded() + "\n" +
                           QUrl::fromLocalFile(files[1]).toEncoded());
        QGuiApplication::clipboard()->setMimeData(gnome);
        QVERIFY(t.Window->acPasteFiles->isEnabled());
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(1).FILENAME), files[1]);

        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(t.View().model()->rowCount(), 0);
        // A file listed before is taken again.
        t.AddFiles(files);
        QCOMPARE(t.View().model()->rowCount(), 2);
    }

    void ADroppedMoveAddsTheFilesAndReportsNothingMoved() {
        TWindowUnderTest t;
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        QWidget* target = t.View().viewport();
        QMimeData data, text;
        data.setUrls({QUrl::fromLocalFile(files[0]), QUrl::fromLocalFile(files[1])});
        text.setText(QStringLiteral("no files"));
        // Offered copy and move, the table takes a copy; offered only a link, it takes that;
        // a move reports nothing moved, so that the file manager deletes nothing.
        QCOMPARE(Drop(target, text, Qt::CopyAction, Qt::CopyAction), QStringLiteral("refused"));
        QCOMPARE(Drop(target, data, Qt::MoveAction, Qt::MoveAction), QStringLiteral("2>0"));
        QCOMPARE(t.DM.MemData().RecordCount(), 2);
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(0).FILENAME), files[0]);
        QVERIFY(QFileInfo::exists(files[0]) && QFileInfo::exists(files[1]));
        QCOMPARE(Drop(target, data, Qt::CopyAction | Qt::MoveAction, Qt::CopyAction), QStringLiteral("1>1"));
        QCOMPARE(Drop(target, data, Qt::LinkAction, Qt::LinkAction), QStringLiteral("4>4"));
        QCOMPARE(t.DM.MemData().RecordCount(), 2); // listed already
    }
};

QTEST_MAIN(TPixelWrightMainBatchTest)
#include "pixelwrightmain_batch_test.moc"
