#include <QtTest>
#include <QtWidgets>
#include <memory>

#include "app/data.h"
#include "app/gui/filegrid.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/gridfooter.h"
#include "app/gui/linklabel.h"
#include "app/gui/pixelwrightmain.h"
#include "app/gui/radiogroup.h"
#include "app/gui/settingspanel.h"

namespace {

const QStringList ThreeSamples = {"landschaft.jpg", "hochformat.jpg", "quadrat.jpg"};
const QString Waiting = QStringLiteral("Start Resize, please wait..");

// A window over its own data module and a store in a temporary INI file, as the
// program makes them: the window first, the data module behind it.
struct TWindowUnderTest {
    QTemporaryDir Dir;
    QString StorePath = Dir.filePath(QStringLiteral("store.ini"));
    std::unique_ptr<QSettings> Store;
    TDM DM;
    std::unique_ptr<TfmPixelWrightMain> Window;

    TWindowUnderTest() { Reopen(); }

    // The window goes (and saves), and a new one comes up over the same store.
    void Reopen() {
        Window.reset();
        Store = std::make_unique<QSettings>(StorePath, QSettings::IniFormat);
        Window = std::make_unique<TfmPixelWrightMain>(*Store);
        Window->SetDataModule(&DM);
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

    // Copies sample pictures into a folder of their own, lists them unless told not to, and
    // returns their paths.
    QStringList Samples(const QStringList& Names, bool List = true, const QString& Folder = "photos") {
        QDir(Dir.path()).mkpath(Folder);
        QStringList paths;
        for (const QString& name : Names) {
            paths << Dir.filePath(Folder + QLatin1Char('/') + name);
            QFile::copy(QStringLiteral(PW_SAMPLES_DIR "/") + name, paths.back());
            if (List) DM.AddFiles({QFile::encodeName(paths.back()).toStdString()});
        }
        return paths;
    }

    QStringList RowTexts() {
        QStringList texts;
        for (int row = 0; row < DM.MemData().RecordCount(); ++row)
            texts << QString::fromStdString(DM.MemData().Record(row).LASACTION);
        return texts;
    }
};

// The panel's check boxes in the order the job lists its flags.
QList<QCheckBox*> Boxes(TSettingsPanel& p) {
    return {p.cbAutoQuali,    p.cbWatermark,  p.cbEnableCMS, p.cbSharpImage,  p.cbJPEGProgressive,
            p.cbAutoFileSize, p.cbBlackWhite, p.cbImmerHoch, p.cbMultiRisize, p.cbImageEnhance};
}

// The window's state as the user meets it: running or not, the panel, the live commands.
QString Live(TfmPixelWrightMain& W) {
    QStringList live{W.isActive() ? "running" : "idle", W.dxNavBar->isEnabled() ? "panel" : "no panel"};
    for (QAction* action : {W.acOpenFiles, W.acOpenDirectory, W.acPasteFiles, W.acClose, W.acResizeAll,
                            W.acResizeSelected, W.acClear, W.acBreak, W.acUpdate})
        if (action->isEnabled()) live << action->text();
    return live.join('|');
}

QMimeData* UriListOf(const QStringList& Files) {
    auto* data = new QMimeData;
    QList<QUrl> urls;
    for (const QString& file : Files)
        urls << QUrl::fromLocalFile(file);
    data->setUrls(urls);
    return data;
}

// On the box itself: a click beside a short caption misses it.
void Click(QCheckBox* Box) {
    QTest::mouseClick(Box, Qt::LeftButton, {}, QPoint(6, Box->height() / 2));
}

QString Captions(const QList<QAction*>& Actions) {
    QStringList captions;
    for (const QAction* action : Actions)
        captions << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return captions.join('|');
}

// What the user sees of a control: its text or items, its state, and its hint after "?".
QString State(QWidget* Control) {
    QString state = Control->property("text").toString();
    if (auto* box = qobject_cast<QCheckBox*>(Control)) state += box->isChecked() ? " [x]" : " [ ]";
    if (auto* spin = qobject_cast<QSpinBox*>(Control))
        state = QString::asprintf("%d..%d/%d=%d%s", spin->minimum(), spin->maximum(), spin->singleStep(),
                                  spin->value(), spin->isEnabled() ? "" : " off");
    QStringList items;
    if (auto* combo = qobject_cast<QComboBox*>(Control)) {
        for (int i = 0; i < combo->count(); ++i)
            items << combo->itemText(i);
        state = items.join('|') + "=" + combo->currentText() + (combo->isEditable() ? " editable" : "");
    }
    if (auto* group = qobject_cast<TRadioGroup*>(Control)) {
        for (int i = 0; i < group->Count(); ++i)
            items << group->Button(i)->text();
        state = items.join('|') + "=" + QString::number(group->ItemIndex());
    }
    return state + (Control->toolTip().isEmpty() ? "" : " ?" + Control->toolTip());
}

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

class TPixelWrightMainTest : public QObject {
    Q_OBJECT

  private slots:
    void init() { QGuiApplication::clipboard()->clear(); }

    // Over an empty store, so the defaults are those of the stored settings.
    void WindowAndControlsHaveTheirCaptionsHintsRangesAndDefaults() {
        TWindowUnderTest t;
        TSettingsPanel& p = t.Panel();
        QStringList states{t.Window->windowTitle(), p.nbgEinstellungen->title(), p.nbgQuality->title()};
        for (QWidget* control : std::initializer_list<QWidget*>{
                 p.lbNewFileSize, p.NewFileSize,       p.lbJpegQuali,  p.JpegQuali,     p.lbMaxFileSize,
                 p.MaxFileSize,   p.cbJPEGProgressive, p.cbAutoQuali,  p.cbSharpImage,  p.cbAutoFileSize,
                 p.cbEnableCMS,   p.cbWatermark,       p.cbBlackWhite, p.cbMultiRisize, p.cbImageEnhance,
                 p.cbImmerHoch,   p.lbPrefix,          p.edPrefix,     p.lbDateiname,   p.edSuffix,
                 p.cxLabel2,      p.edResizeDir,       p.rgMethode})
            states << State(control);
        QCOMPARE(
            states.join(" | "),
            QStringLiteral(
                "Varnocks pixelWright 8.1 x64 | Resize Einstellungen | Resize Methode | "
                "Neue Größe in Pixel (längste Seite) | 16..16000/16=1200 | JPEG Qualität | 1..100/1=80 | "
                "max. Filesize (KB) | 80..2048/1=150 off | JPEG Progressive [ ] | "
                "JPG Qualität wie Original [ ] | Nachschärfen [ ] | Auto FileSize [ ] | "
                "CMS anwenden [ ] | Wasserzeichen einfügen [ ] ?Datei Watermark.png | "
                "Schwarzweiß Ausgabe [ ] | Schrittweise Verkleinerung (25%) [ ] | "
                "Auto Image Enhance [ ] | Immer Hoch [ ] ?Immer diese Höhe | "
                "Vor und nach dem Dateinamen | R- | Dateiname |  | "
                "Neuer Ziel Ordner ?wird als Unterordner des Quellordners angelegt.. | "
                "Resize|Mail|Web|Klein=Resize editable ?wird als Unterordner des Quellordners angelegt.. | "
                "Mitchell|Bilinear|Bicubic|Lanczos|Hermite|Bell|BSpline|High Quality Bicubic=3"));
    }

    void GridIsAReadOnlyRowSelectionWithAFilterOverTheTable() {
        TWindowUnderTest t;
        TFileTableView& view = t.View();
        QVERIFY(view.isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(view.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(view.selectionMode(), QAbstractItemView::ExtendedSelection);
        QCOMPARE(view.editTriggers(), QAbstractItemView::NoEditTriggers);
        QCOMPARE(view.EmptyText(), QStringLiteral("Varnock Software Tools - Drag Images here"));
        TGridFooter& footer = *t.Window->cxGrid->Footer();
        QCOMPARE(footer.CountText(), QStringLiteral("0"));
        t.Samples({"klein.jpg", "quadrat.jpg"});
        QCOMPARE(footer.CountText(), QStringLiteral("2"));
        footer.FilterEdit()->setText(QStringLiteral("QUAD*JPG"));
        QCOMPARE(view.model()->rowCount(), 1);
        QCOMPARE(footer.CountText(), QStringLiteral("1"));
    }

    void ActionsHaveTheirCaptionsShortcutsAndMenus() {
        TWindowUnderTest t;
        TfmPixelWrightMain& w = *t.Window;
        // Shortcut after the caption; the last four are in no menu, so nothing reaches them.
        QStringList shown;
        for (QAction* action :
             {w.acOpenFiles, w.acOpenDirectory, w.acPasteFiles, w.acClose, w.acResizeAll, w.acResizeSelected,
              w.acClear, w.acBreak, w.acUpdate, w.acExport, w.acGreateThumbList, w.acSelectAll, w.acAbout})
            shown << action->text() +
                         (action->shortcut().isEmpty() ? "" : " " + action->shortcut().toString()) +
                         (action->associatedObjects().isEmpty() ? " (nowhere)" : "");
        QCOMPARE(shown.join(" | "),
                 QStringLiteral(
                     "Dateien öffnen Ctrl+N | Verzeichnis öffnen | Bilder Einfügen Ctrl+V | Beenden Ctrl+Q | "
                     "Resize Alles F6 | Resize Auswahl F7 | Tabelle leeren Ctrl+Del | Abbrechen F8 | "
                     "Suche nach Updates | acExport (nowhere) | acGreateThumbList (nowhere) | "
                     "Alles Auswählen (nowhere) | Über (nowhere)"));
        QCOMPARE(w.acPasteFiles->toolTip(),
                 QStringLiteral("Wählen Sie Bilder im Dateimanager aus und klicken auf kopieren!"));
        QCOMPARE(
            QStringList({Captions(w.menuBar()->actions()), Captions(w.mnDatei->actions()),
                         Captions(w.mnBearbeiten->actions()), Captions(w.mnResize->actions()),
                         Captions(w.mnInfo->actions()), Captions(t.View().actions())}),
            QStringList({"Datei|Bearbeiten|Resize|Info", "Dateien öffnen|Verzeichnis öffnen|-|Beenden",
                         "Bilder Einfügen|Tabelle leeren", "Resize Alles|Resize Auswahl|Abbrechen",
                         "Suche nach Updates", "Bilder Einfügen|Resize Auswahl|Resize Alles|Abbrechen"}));
        QCOMPARE(t.View().contextMenuPolicy(), Qt::ActionsContextMenu);
        // At rest every command is live, paste only with files on the clipboard.
        QCOMPARE(Live(w), QStringLiteral("idle|panel|Dateien öffnen|Verzeichnis öffnen|Beenden|Resize Alles|"
                                         "Resize Auswahl|Tabelle leeren|Abbrechen|Suche nach Updates"));
        QGuiApplication::clipboard()->setMimeData(UriListOf({t.StorePath}));
        QVERIFY(w.acPasteFiles->isEnabled());
    }

    void CheckBoxClicksEnableTheQualityBoxesWithoutKnowingEachOther() {
        TWindowUnderTest t;
        TSettingsPanel& p = t.Panel();
        QVERIFY(t.Show());
        Click(p.cbAutoQuali);
        QVERIFY(p.cbAutoQuali->isChecked() && !p.JpegQuali->isEnabled() && !p.MaxFileSize->isEnabled());
        Click(p.cbAutoFileSize);
        QVERIFY(p.MaxFileSize->isEnabled() && !p.JpegQuali->isEnabled());
        // Unticking "Auto FileSize" gives the quality back although "wie Original" is ticked.
        Click(p.cbAutoFileSize);
        QVERIFY(!p.MaxFileSize->isEnabled() && p.JpegQuali->isEnabled() && p.cbAutoQuali->isChecked());
        Click(p.cbAutoQuali);
        QVERIFY(p.JpegQuali->isEnabled());
        // Only clicks count: a box set in code leaves the enabling alone.
        p.cbAutoFileSize->setChecked(true);
        QVERIFY(!p.MaxFileSize->isEnabled());
    }

    void ControlsReachTheJobAndComeBackWithPlacementAndGridLayoutInTheNextWindow() {
        TWindowUnderTest t;
        {
            TSettingsPanel& p = t.Panel();
            p.NewFileSize->setValue(96);
            p.JpegQuali->setValue(55);
            p.MaxFileSize->setValue(99);
            // Every other box, so that two boxes that trade places or fields show.
            for (int i = 0; i < Boxes(p).size(); i += 2)
                Boxes(p)[i]->setChecked(true);
            p.edPrefix->setText(QStringLiteral("v-"));
            p.edSuffix->setText(QStringLiteral("-n"));
            p.edResizeDir->setEditText(QStringLiteral("Fürs Netz"));
            p.rgMethode->SetItemIndex(7);
        }
        // Fields the window has no control for are set back to the job's defaults.
        TRisizeProperty& job = t.DM.RisizeProperty;
        job.SoftShadow = true;
        job.Joo = false;
        job.WaterStr = "xxx";
        t.Samples({"klein.jpg"});
        t.Window->acResizeAll->trigger();
        QCOMPARE((QList<bool>{job.AutoQuali, job.WaterMark, job.EnableCMS, job.SharpImg, job.JPEGProgressive,
                              job.AutoSize, job.BW, job.HeighPrio, job.Multi, job.ImageEnhance}),
                 (QList<bool>{true, false, true, false, true, false, true, false, true, false}));
        QCOMPARE(std::make_tuple(job.NewSize, job.JpgQuali, job.MaxFileSize, job.ResizeMethode),
                 std::make_tuple(96, 55, 99, WICNearestNeighbor));
        QVERIFY(!job.SoftShadow && job.Joo && job.WaterStr.empty() && !job.SaveExif);
        QCOMPARE(t.RowTexts(), QStringList{QStringLiteral("OK ..\\Fürs Netz\\v-klein-n.jpg")});
        QVERIFY(QFileInfo(t.Dir.filePath(QStringLiteral("photos/Fürs Netz/v-klein-n.jpg"))).isFile());

        t.Window->setGeometry(40, 50, 820, 710);
        QHeaderView* header = t.View().horizontalHeader();
        header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION),
                            header->visualIndex(TFileTableModel::ColFILENAME));
        t.Reopen();
        TSettingsPanel& p = t.Panel();
        for (int i = 0; i < Boxes(p).size(); ++i)
            QVERIFY2(Boxes(p)[i]->isChecked() == (i % 2 == 0), qPrintable(Boxes(p)[i]->text()));
        // The enabling comes from the form, not from the restored boxes.
        QStringList states;
        for (QWidget* control :
             std::initializer_list<QWidget*>{p.NewFileSize, p.JpegQuali, p.MaxFileSize, p.edPrefix,
                                             p.edSuffix, p.edResizeDir, p.rgMethode})
            states << State(control).section(" ?", 0, 0);
        QCOMPARE(states.join(" | "),
                 QStringLiteral("16..16000/16=96 | 1..100/1=55 | 80..2048/1=99 off | v- | -n | "
                                "Resize|Mail|Web|Klein=Fürs Netz editable | Mitchell|Bilinear|"
                                "Bicubic|Lanczos|Hermite|Bell|BSpline|High Quality Bicubic=7"));
        QCOMPARE(t.Window->geometry(), QRect(40, 50, 820, 710));
        QCOMPARE(t.View().horizontalHeader()->logicalIndex(1), int(TFileTableModel::ColLASACTION));
        QVERIFY(t.View().isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(t.Store->childGroups(), (QStringList{"Software\\Varnock\\PixelWright 3.0\\GUI",
                                                      "Software\\Varnock\\PixelWright 8.0\\\\GridStore"}));
    }

    void UpdateCheckComesOnceASecondAfterShowingAndLinksOpenTheSiteAndTheDestination() {
        TWindowUnderTest t;
        TfmPixelWrightMain& w = *t.Window;
        QSignalSpy asked(&w, &TfmPixelWrightMain::UpdateCheckRequested);
        QList<QUrl> opened;
        w.OpenUrl = [&](const QUrl& Url) { opened << Url; };
        QVERIFY(!w.UpdateTimer->isActive());
        QVERIFY(t.Show());
        QVERIFY(w.UpdateTimer->isActive());
        QCOMPARE(w.UpdateTimer->interval(), 1000);
        QCOMPARE(State(w.dxStatusBarPanel0) + State(w.dxStatusBarPanel1) + State(w.dxStatusBarPanel2),
                 QStringLiteral("www.varnock.example"));
        QTest::mouseClick(w.dxStatusBarPanel2, Qt::LeftButton);
        QCOMPARE(opened, QList<QUrl>{QUrl(QStringLiteral("https://www.varnock.example/"))});
        // No destination before the first batch, and none while its folder isn't there.
        QTest::mouseClick(t.Panel().cxLabel2, Qt::LeftButton);
        const QString folder = t.Dir.filePath(QStringLiteral("photos/Resize"));
        t.DM.RisizeProperty.Destination = QFile::encodeName(folder).toStdString();
        QTest::mouseClick(t.Panel().cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.size(), 1);
        QDir().mkpath(folder);
        QTest::mouseClick(t.Panel().cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.value(1), QUrl::fromLocalFile(folder));

        QVERIFY(asked.wait());
        // Shown again: the timer stays off, so no second request can come.
        w.hide();
        w.show();
        QVERIFY(!w.UpdateTimer->isActive());
        QCOMPARE(asked.size(), 1);
        w.acUpdate->trigger();
        QCOMPARE(asked.size(), 2);
    }

    void F6ResizesEveryRowAndF7OnlyTheSelectedOnes() {
        TWindowUnderTest t;
        QVERIFY(t.Show());
        QSignalSpy newFiles(t.Window.get(), &TfmPixelWrightMain::NewFileReady);
        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        // An empty table: only the browser is emptied.
        QTest::keyClick(t.Window.get(), Qt::Key_F6);
        QCOMPARE(cleared.size(), 1);
        t.Panel().NewFileSize->setValue(64);
        t.Samples(ThreeSamples);
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
        const QString out = t.Dir.filePath(QStringLiteral("photos/Resize"));
        QCOMPARE(newFiles.size(), 5);
        QCOMPARE(newFiles[3][0].toString(), out + "/R-hochformat.jpg");
        QCOMPARE(t.DM.RisizeProperty.Destination, QFile::encodeName(out).toStdString());
    }

    // F8, or closing the window (which it doesn't block), stops the batch at the next file.
    void DuringABatchOnlyBreakCloseAndUpdateStayLiveAndAStopTakesEffectAtTheNextFile() {
        for (const bool closing : {false, true}) {
            TWindowUnderTest t;
            t.Panel().NewFileSize->setValue(64);
            t.Samples(ThreeSamples);
            const QStringList late = t.Samples({"klein.jpg"}, false, QStringLiteral("late"));
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
                closing ? void(t.Window->close()) : QTest::keyClick(t.Window.get(), Qt::Key_F8);
            });
            QTest::keyClick(t.Window.get(), Qt::Key_F6);

            QCOMPARE(t.Window->isVisible(), !closing);
            QCOMPARE(during, QStringLiteral("running|no panel|Beenden|Abbrechen|Suche nach Updates"));
            // The dropped file got its row but no part in the batch; its insert made it the
            // table's current row, and the finished file's text goes to the current row.
            QCOMPARE(dropped, QStringLiteral("1>1"));
            const QString done = QStringLiteral("OK ..\\Resize\\R-landschaft.jpg");
            QCOMPARE(rowsAtFirstFile, (QStringList{Waiting, Waiting, Waiting, done}));
            QCOMPARE(t.RowTexts(), (QStringList{Waiting, "Abbruch..", Waiting, done}));
            QCOMPARE(QString::fromStdString(t.DM.MemData().Record(3).FILENAME), late[0]);
            QVERIFY(!QFileInfo::exists(t.Dir.filePath(QStringLiteral("photos/Resize/R-hochformat.jpg"))));
            QCOMPARE(Live(*t.Window),
                     QStringLiteral("idle|panel|Dateien öffnen|Verzeichnis öffnen|Bilder Einfügen|"
                                    "Beenden|Resize Alles|Resize Auswahl|Tabelle leeren|Abbrechen|"
                                    "Suche nach Updates"));
        }
    }

    void CtrlVAddsCopiedFilesAndUsesTheClipboardUpCtrlDelEmptiesTheTable() {
        TWindowUnderTest t;
        const QStringList files = t.Samples({"klein.jpg", "quadrat.jpg"}, false);
        QVERIFY(t.Show());
        QGuiApplication::clipboard()->setMimeData(
            UriListOf({files[0], t.Dir.filePath("gone.jpg"), files[1]}));
        QTest::keyClick(t.Window.get(), Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(t.RowTexts(), (QStringList{"Neu", "Neu"}));
        QCOMPARE(QString::fromStdString(t.DM.MemData().Record(1).FILENAME), files[1]);
        const QMimeData* left = QGuiApplication::clipboard()->mimeData();
        QVERIFY(!left || left->formats().isEmpty());
        QVERIFY(!t.Window->acPasteFiles->isEnabled());

        QSignalSpy cleared(t.Window.get(), &TfmPixelWrightMain::ThumbnailsCleared);
        QTest::keyClick(t.Window.get(), Qt::Key_Delete, Qt::ControlModifier);
        QCOMPARE(cleared.size(), 1);
        QCOMPARE(t.View().model()->rowCount(), 0);
        // A file listed before is taken again.
        t.DM.AddFiles({files[0].toStdString()});
        QCOMPARE(t.View().model()->rowCount(), 1);
    }

    void ADroppedMoveAddsTheFilesAndReportsNothingMoved() {
        TWindowUnderTest t;
        const QStringList files = t.Samples({"klein.jpg", "quadrat.jpg"}, false);
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
        QCOMPARE(Drop(target, data, Qt::CopyAction | Qt::MoveAction, Qt::CopyAction), QStringLiteral("1>1"));
        QCOMPARE(Drop(target, data, Qt::LinkAction, Qt::LinkAction), QStringLiteral("4>4"));
        QCOMPARE(t.DM.MemData().RecordCount(), 2); // listed already
    }
};

QTEST_MAIN(TPixelWrightMainTest)
#include "pixelwrightmain_test.moc"
