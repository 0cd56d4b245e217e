#include <QGroupBox>
#include <QLabel>
#include <QMenuBar>
#include <QRadioButton>
#include <QSplitter>
#include <QTimer>

#include "app/gui/gridfooter.h"
#include "app/gui/linklabel.h"
#include "tests/app/gui/guitestutil.h"

namespace {

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

} // namespace

class TPixelWrightMainTest : public QObject {
    Q_OBJECT

  private slots:
    void WindowHasItsCaptionSizeFontAndParts() {
        TWindowUnderTest t;
        TfmPixelWrightMain& w = *t.Window;
        QCOMPARE(w.windowTitle(), QStringLiteral("Varnocks pixelWright 8.1 x64"));
        QCOMPARE(w.size(), QSize(789, 696));
        QCOMPARE(w.font().pixelSize(), 11);
        QVERIFY(QStringList({"Tahoma", "Wine Tahoma", "Verdana", "DejaVu Sans"}).contains(w.font().family()));
        QVERIFY(t.Show());
        QCOMPARE(w.dxNavBar->geometry(), QRect(0, w.dxNavBar->y(), 265, w.dxNavBar->height()));
        QCOMPARE(w.dxNavBar->nbgEinstellungen->title() + "|" + w.dxNavBar->nbgQuality->title(),
                 QStringLiteral("Resize Einstellungen|Resize Methode"));
        QCOMPARE(w.cxSplitter->orientation(), Qt::Vertical);
        QVERIFY(w.cxSplitter->widget(0) == w.cxGrid && w.cxSplitter->widget(1) == w.ImagerMView);
        // Making the window taller gives the room to the table, not to the browser.
        const int browserHeight = w.ImagerMView->height();
        w.resize(789, 800);
        QTRY_COMPARE(w.height(), 800);
        QCOMPARE(w.ImagerMView->height(), browserHeight);
        QCOMPARE(State(w.dxStatusBarPanel0) + State(w.dxStatusBarPanel1) + State(w.dxStatusBarPanel2),
                 QStringLiteral("www.varnock.example"));
        QVERIFY(w.dxStatusBarPanel2->font().underline() && t.Panel().cxLabel2->font().underline());
        QCOMPARE(w.dxStatusBarPanel2->cursor().shape(), Qt::PointingHandCursor);
    }

    // Over an empty store, so the defaults are those of the stored settings.
    void ControlsHaveTheirCaptionsHintsRangesAndDefaults() {
        TWindowUnderTest t;
        TSettingsPanel& p = t.Panel();
        QStringList states;
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
        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        t.AddFiles(files);
        QCOMPARE(footer.CountText(), QStringLiteral("2"));
        QCOMPARE(view.model()->index(0, TFileTableModel::ColFILENAME).data().toString(), files[0]);
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
        QGuiApplication::clipboard()->clear();
        QCOMPARE(Live(w), QStringLiteral("idle|panel|Dateien öffnen|Verzeichnis öffnen|Beenden|Resize Alles|"
                                         "Resize Auswahl|Tabelle leeren|Abbrechen|Suche nach Updates"));
        QGuiApplication::clipboard()->setText(QStringLiteral("just text"));
        QVERIFY(!w.acPasteFiles->isEnabled());
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

    void SettingsPlacementAndGridLayoutSurviveTheWindow() {
        TWindowUnderTest t;
        {
            TSettingsPanel& p = t.Panel();
            p.NewFileSize->setValue(640);
            p.JpegQuali->setValue(91);
            p.MaxFileSize->setValue(300);
            // Every other box, so that two boxes that trade places show.
            for (int i = 0; i < Boxes(p).size(); i += 2)
                Boxes(p)[i]->setChecked(true);
            p.edPrefix->setText(QStringLiteral("web_"));
            p.edSuffix->setText(QStringLiteral("_klein"));
            p.edResizeDir->setEditText(QStringLiteral("Fürs Netz"));
            p.rgMethode->SetItemIndex(6);
            t.Window->setGeometry(40, 50, 820, 710);
            QHeaderView* header = t.View().horizontalHeader();
            header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION),
                                header->visualIndex(TFileTableModel::ColFILENAME));
            header->resizeSection(TFileTableModel::ColLASACTION, 260);
        }
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
                 QStringLiteral("16..16000/16=640 | 1..100/1=91 | 80..2048/1=300 off | web_ | _klein | "
                                "Resize|Mail|Web|Klein=Fürs Netz editable | Mitchell|Bilinear|"
                                "Bicubic|Lanczos|Hermite|Bell|BSpline|High Quality Bicubic=6"));
        QCOMPARE(t.Window->geometry(), QRect(40, 50, 820, 710));
        const QHeaderView* header = t.View().horizontalHeader();
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColLASACTION));
        QCOMPARE(header->sectionSize(TFileTableModel::ColLASACTION), 260);
        QVERIFY(t.View().isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(t.Store->childGroups(), (QStringList{"Software\\Varnock\\PixelWright 3.0\\GUI",
                                                      "Software\\Varnock\\PixelWright 8.0\\\\GridStore"}));
    }

    void UpdateCheckComesOnceASecondAfterShowingAndLinksOpenTheSiteAndTheDestination() {
        TWindowUnderTest t;
        QSignalSpy asked(t.Window.get(), &TfmPixelWrightMain::UpdateCheckRequested);
        QList<QUrl> opened;
        t.Window->OpenUrl = [&](const QUrl& Url) { opened << Url; };
        QVERIFY(!t.Window->UpdateTimer->isActive());
        QVERIFY(t.Show());
        QVERIFY(t.Window->UpdateTimer->isActive());
        QCOMPARE(t.Window->UpdateTimer->interval(), 1000);
        QTest::mouseClick(t.Window->dxStatusBarPanel2, Qt::LeftButton);
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
        QVERIFY(!t.Window->UpdateTimer->isActive());
        // Shown again: the timer stays off, so no second request can come.
        t.Window->hide();
        t.Window->show();
        QVERIFY(!t.Window->UpdateTimer->isActive());
        QCOMPARE(asked.size(), 1);
        t.Window->acUpdate->trigger();
        QCOMPARE(asked.size(), 2);
    }
};

QTEST_MAIN(TPixelWrightMainTest)
#include "pixelwrightmain_test.moc"
