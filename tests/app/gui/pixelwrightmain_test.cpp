#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QRadioButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QSplitter>
#include <QTest>
#include <QTimer>

#include "app/gui/filegrid.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/gridfooter.h"
#include "app/gui/linklabel.h"
#include "app/gui/radiogroup.h"
#include "app/gui/settingspanel.h"
#include "tests/app/gui/guitestutil.h"

namespace {

// On the box itself: a click beside a short caption misses it.
void Click(QCheckBox* Box) {
    QTest::mouseClick(Box, Qt::LeftButton, {}, QPoint(6, Box->height() / 2));
}

QStringList Captions(const QList<QAction*>& Actions) {
    QStringList captions;
    for (const QAction* action : Actions)
        captions << (action->isSeparator() ? QStringLiteral("-") : action->text());
    return captions;
}

QList<QCheckBox*> Boxes(TSettingsPanel& p) {
    return {p.cbJPEGProgressive, p.cbAutoQuali,  p.cbSharpImage,  p.cbAutoFileSize, p.cbEnableCMS,
            p.cbWatermark,       p.cbBlackWhite, p.cbMultiRisize, p.cbImageEnhance, p.cbImmerHoch};
}

bool Show(TfmPixelWrightMain& Window) {
    Window.show();
    return QTest::qWaitForWindowExposed(&Window);
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
        QVERIFY(Show(w));
        QCOMPARE(w.dxNavBar->geometry().left(), 0);
        QCOMPARE(w.dxNavBar->width(), 265);
        QCOMPARE(w.dxNavBar->nbgEinstellungen->title(), QStringLiteral("Resize Einstellungen"));
        QCOMPARE(w.dxNavBar->nbgQuality->title(), QStringLiteral("Resize Methode"));
        QCOMPARE(w.cxSplitter->orientation(), Qt::Vertical);
        QCOMPARE(w.cxSplitter->widget(0), static_cast<QWidget*>(w.cxGrid));
        QCOMPARE(w.cxSplitter->widget(1), w.ImagerMView);
        // Making the window taller gives the room to the table, not to the browser.
        const int browserHeight = w.ImagerMView->height();
        w.resize(789, 800);
        QTRY_COMPARE(w.height(), 800);
        QCOMPARE(w.ImagerMView->height(), browserHeight);

        QCOMPARE(w.dxStatusBarPanel0->text() + w.dxStatusBarPanel1->text(), QString());
        QCOMPARE(w.dxStatusBarPanel2->text(), QStringLiteral("www.varnock.example"));
        QVERIFY(w.dxStatusBarPanel2->width() >=
                w.dxStatusBarPanel2->fontMetrics().horizontalAdvance(QStringLiteral("www.varnock.example")));
        QVERIFY(w.dxStatusBarPanel2->font().underline());
        QCOMPARE(w.dxStatusBarPanel2->cursor().shape(), Qt::PointingHandCursor);
    }

    void ControlsHaveTheirCaptionsHintsRangesAndDefaults() {
        TWindowUnderTest t;
        TSettingsPanel& p = *t.Window->dxNavBar;
        // Control, its text (caption or content), its hint.
        const QList<std::tuple<QWidget*, QString, QString>> texts = {
            {p.lbNewFileSize, "Neue Größe in Pixel (längste Seite)", ""},
            {p.lbJpegQuali, "JPEG Qualität", ""},
            {p.lbMaxFileSize, "max. Filesize (KB)", ""},
            {p.cbJPEGProgressive, "JPEG Progressive", ""},
            {p.cbAutoQuali, "JPG Qualität wie Original", ""},
            {p.cbSharpImage, "Nachschärfen", ""},
            {p.cbAutoFileSize, "Auto FileSize", ""},
            {p.cbEnableCMS, "CMS anwenden", ""},
            {p.cbWatermark, "Wasserzeichen einfügen", "Datei Watermark.png"},
            {p.cbBlackWhite, "Schwarzweiß Ausgabe", ""},
            {p.cbMultiRisize, "Schrittweise Verkleinerung (25%)", ""},
            {p.cbImageEnhance, "Auto Image Enhance", ""},
            {p.cbImmerHoch, "Immer Hoch", "Immer diese Höhe"},
            {p.lbPrefix, "Vor und nach dem Dateinamen", ""},
            {p.edPrefix, "R-", ""},
            {p.lbDateiname, "Dateiname", ""},
            {p.edSuffix, "", ""},
            {p.cxLabel2, "Neuer Ziel Ordner", "wird als Unterordner des Quellordners angelegt.."},
        };
        for (const auto& [widget, text, hint] : texts) {
            QCOMPARE(widget->property("text").toString(), text);
            QCOMPARE(widget->toolTip(), hint);
        }
        for (QCheckBox* box : Boxes(p))
            QVERIFY2(!box->isChecked(), qPrintable(box->text()));
        // Box, minimum, maximum, step, value, enabled.
        const QList<std::tuple<QSpinBox*, int, int, int, int, bool>> spins = {
            {p.NewFileSize, 16, 16000, 16, 1200, true},
            {p.JpegQuali, 1, 100, 1, 80, true},
            {p.MaxFileSize, 80, 2048, 1, 150, false},
        };
        for (const auto& [box, minimum, maximum, step, value, enabled] : spins) {
            QCOMPARE(std::make_tuple(box->minimum(), box->maximum(), box->singleStep(), box->value()),
                     std::make_tuple(minimum, maximum, step, value));
            QCOMPARE(box->isEnabled(), enabled);
        }
        QVERIFY(p.cxLabel2->font().underline());
        QCOMPARE(p.edResizeDir->toolTip(),
                 QStringLiteral("wird als Unterordner des Quellordners angelegt.."));
        QVERIFY(p.edResizeDir->isEditable());
        QStringList items;
        for (int i = 0; i < p.edResizeDir->count(); ++i)
            items << p.edResizeDir->itemText(i);
        QCOMPARE(items, (QStringList{"Resize", "Mail", "Web", "Klein"}));
        QCOMPARE(p.edResizeDir->currentText(), QStringLiteral("Resize"));

        const TRadioGroup& methods = *p.rgMethode;
        QStringList methodCaptions;
        for (int i = 0; i < methods.Count(); ++i)
            methodCaptions << methods.Button(i)->text();
        QCOMPARE(methodCaptions, (QStringList{"Mitchell", "Bilinear", "Bicubic", "Lanczos", "Hermite", "Bell",
                                              "BSpline", "High Quality Bicubic"}));
        QCOMPARE(methods.ItemIndex(), 3);
        QVERIFY(Show(*t.Window));
        // The name label stands between prefix and suffix; the methods fill two columns.
        QVERIFY(p.edPrefix->x() < p.lbDateiname->x() && p.lbDateiname->x() < p.edSuffix->x());
        QCOMPARE(p.edPrefix->y(), p.edSuffix->y());
        QCOMPARE(methods.Button(0)->x(), methods.Button(3)->x());
        QVERIFY(methods.Button(4)->x() > methods.Button(0)->x());
        QCOMPARE(methods.Button(4)->y(), methods.Button(0)->y());
    }

    void GridIsAReadOnlyRowSelectionOverTheTable() {
        TWindowUnderTest t;
        TFileGrid& grid = *t.Window->cxGrid;
        TFileTableView& view = *grid.View();
        QHeaderView& header = *view.horizontalHeader();
        QVERIFY(view.isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(view.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(view.selectionMode(), QAbstractItemView::ExtendedSelection);
        QCOMPARE(view.editTriggers(), QAbstractItemView::NoEditTriggers);
        QCOMPARE(view.EmptyText(), QStringLiteral("Varnock Software Tools - Drag Images here"));
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("0"));

        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        t.AddFiles(files);
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("2"));
        QCOMPARE(view.model()->index(0, TFileTableModel::ColFILENAME).data().toString(), files[0]);
        grid.Footer()->FilterEdit()->setText(QStringLiteral("QUAD*JPG"));
        QCOMPARE(view.model()->rowCount(), 1);
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("1"));

        QVERIFY(Show(*t.Window));
        // The columns share the view's width; a column made wider takes from its right neighbour.
        QTRY_COMPARE(header.sectionSize(1) + header.sectionSize(2) + header.sectionSize(3),
                     view.viewport()->width());
        const int actionWidth = header.sectionSize(TFileTableModel::ColLASACTION);
        header.resizeSection(TFileTableModel::ColEXTENSION,
                             header.sectionSize(TFileTableModel::ColEXTENSION) + 30);
        QCOMPARE(header.sectionSize(TFileTableModel::ColLASACTION), actionWidth - 30);
    }

    void ActionsHaveTheirCaptionsShortcutsAndMenus() {
        TWindowUnderTest t;
        TfmPixelWrightMain& w = *t.Window;
        const QList<std::tuple<QAction*, QString, QKeySequence>> actions = {
            {w.acOpenFiles, "Dateien öffnen", QKeySequence(Qt::CTRL | Qt::Key_N)},
            {w.acOpenDirectory, "Verzeichnis öffnen", QKeySequence()},
            {w.acPasteFiles, "Bilder Einfügen", QKeySequence(Qt::CTRL | Qt::Key_V)},
            {w.acClose, "Beenden", QKeySequence(Qt::CTRL | Qt::Key_Q)},
            {w.acResizeAll, "Resize Alles", QKeySequence(Qt::Key_F6)},
            {w.acResizeSelected, "Resize Auswahl", QKeySequence(Qt::Key_F7)},
            {w.acClear, "Tabelle leeren", QKeySequence(Qt::CTRL | Qt::Key_Delete)},
            {w.acBreak, "Abbrechen", QKeySequence(Qt::Key_F8)},
            {w.acUpdate, "Suche nach Updates", QKeySequence()},
            // Present, but in no menu and without a shortcut: nothing reaches them.
            {w.acExport, "acExport", QKeySequence()},
            {w.acGreateThumbList, "acGreateThumbList", QKeySequence()},
            {w.acSelectAll, "Alles Auswählen", QKeySequence()},
            {w.acAbout, "Über", QKeySequence()},
        };
        for (const auto& [action, caption, key] : actions) {
            QCOMPARE(action->text(), caption);
            QCOMPARE(action->shortcut(), key);
        }
        for (QAction* action : {w.acExport, w.acGreateThumbList, w.acSelectAll, w.acAbout})
            QVERIFY(action->associatedObjects().isEmpty());
        QCOMPARE(w.acPasteFiles->toolTip(),
                 QStringLiteral("Wählen Sie Bilder im Dateimanager aus und klicken auf kopieren!"));

        QCOMPARE(Captions(w.menuBar()->actions()), (QStringList{"Datei", "Bearbeiten", "Resize", "Info"}));
        QCOMPARE(Captions(w.mnDatei->actions()),
                 (QStringList{"Dateien öffnen", "Verzeichnis öffnen", "-", "Beenden"}));
        QCOMPARE(Captions(w.mnBearbeiten->actions()), (QStringList{"Bilder Einfügen", "Tabelle leeren"}));
        QCOMPARE(Captions(w.mnResize->actions()),
                 (QStringList{"Resize Alles", "Resize Auswahl", "Abbrechen"}));
        QCOMPARE(Captions(w.mnInfo->actions()), QStringList{"Suche nach Updates"});
        QCOMPARE(w.cxGrid->View()->contextMenuPolicy(), Qt::ActionsContextMenu);
        QCOMPARE(Captions(w.cxGrid->View()->actions()),
                 (QStringList{"Bilder Einfügen", "Resize Auswahl", "Resize Alles", "Abbrechen"}));

        // At rest every command is live, paste only with files on the clipboard.
        QGuiApplication::clipboard()->clear();
        for (QAction* action : {w.acOpenFiles, w.acOpenDirectory, w.acClose, w.acResizeAll,
                                w.acResizeSelected, w.acClear, w.acBreak, w.acUpdate})
            QVERIFY2(action->isEnabled(), qPrintable(action->text()));
        QVERIFY(!w.acPasteFiles->isEnabled());
        QGuiApplication::clipboard()->setText(QStringLiteral("just text"));
        QVERIFY(!w.acPasteFiles->isEnabled());
        QGuiApplication::clipboard()->setMimeData(UriListOf({t.StorePath}));
        QVERIFY(w.acPasteFiles->isEnabled());
        QGuiApplication::clipboard()->clear();
        QVERIFY(!w.acPasteFiles->isEnabled());
    }

    void CheckBoxClicksEnableTheQualityBoxesWithoutKnowingEachOther() {
        TWindowUnderTest t;
        TSettingsPanel& p = *t.Window->dxNavBar;
        QVERIFY(Show(*t.Window));
        Click(p.cbAutoQuali);
        QVERIFY(p.cbAutoQuali->isChecked());
        QVERIFY(!p.JpegQuali->isEnabled() && !p.MaxFileSize->isEnabled());
        Click(p.cbAutoFileSize);
        QVERIFY(p.MaxFileSize->isEnabled() && !p.JpegQuali->isEnabled());
        // Unticking "Auto FileSize" gives the quality back although "wie Original" is ticked.
        Click(p.cbAutoFileSize);
        QVERIFY(!p.MaxFileSize->isEnabled() && p.JpegQuali->isEnabled());
        QVERIFY(p.cbAutoQuali->isChecked());
        Click(p.cbAutoQuali);
        QVERIFY(p.JpegQuali->isEnabled());
        // Only clicks count: a box set in code leaves the enabling alone.
        p.cbAutoFileSize->setChecked(true);
        QVERIFY(!p.MaxFileSize->isEnabled());
    }

    void SettingsPlacementAndGridLayoutSurviveTheWindow() {
        TWindowUnderTest t;
        {
            TSettingsPanel& p = *t.Window->dxNavBar;
            p.NewFileSize->setValue(640);
            p.JpegQuali->setValue(91);
            p.MaxFileSize->setValue(300);
            for (QCheckBox* box : Boxes(p))
                box->setChecked(true);
            p.edPrefix->setText(QStringLiteral("web_"));
            p.edSuffix->setText(QStringLiteral("_klein"));
            p.edResizeDir->setEditText(QStringLiteral("Fürs Netz"));
            p.rgMethode->SetItemIndex(6);
            t.Window->setGeometry(40, 50, 820, 710);
            QHeaderView* header = t.Window->cxGrid->View()->horizontalHeader();
            header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION),
                                header->visualIndex(TFileTableModel::ColFILENAME));
            header->resizeSection(TFileTableModel::ColLASACTION, 260);
        }
        t.Reopen();
        TSettingsPanel& p = *t.Window->dxNavBar;
        QCOMPARE(p.NewFileSize->value(), 640);
        QCOMPARE(p.JpegQuali->value(), 91);
        QCOMPARE(p.MaxFileSize->value(), 300);
        for (QCheckBox* box : Boxes(p))
            QVERIFY2(box->isChecked(), qPrintable(box->text()));
        QCOMPARE(p.edPrefix->text() + p.edSuffix->text(), QStringLiteral("web__klein"));
        QCOMPARE(p.edResizeDir->currentText(), QStringLiteral("Fürs Netz"));
        QCOMPARE(p.edResizeDir->count(), 4);
        QCOMPARE(p.rgMethode->ItemIndex(), 6);
        QCOMPARE(t.Window->geometry(), QRect(40, 50, 820, 710));
        // The enabling comes from the form, not from the restored boxes.
        QVERIFY(!p.MaxFileSize->isEnabled() && p.JpegQuali->isEnabled());
        const QHeaderView* header = t.Window->cxGrid->View()->horizontalHeader();
        QCOMPARE(header->logicalIndex(1), int(TFileTableModel::ColLASACTION));
        QCOMPARE(header->sectionSize(TFileTableModel::ColLASACTION), 260);
        QVERIFY(t.Window->cxGrid->View()->isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(t.Store->childGroups(), (QStringList{"Software\\Varnock\\PixelWright 3.0\\GUI",
                                                      "Software\\Varnock\\PixelWright 8.0\\\\GridStore"}));
    }

    void LinksOpenTheMakersSiteAndTheLastDestination() {
        TWindowUnderTest t;
        QList<QUrl> opened;
        t.Window->OpenUrl = [&](const QUrl& Url) { opened << Url; };
        QVERIFY(Show(*t.Window));
        QTest::mouseClick(t.Window->dxStatusBarPanel2, Qt::LeftButton);
        QCOMPARE(opened, QList<QUrl>{QUrl(QStringLiteral("https://www.varnock.example/"))});
        // No destination before the first batch, and none while its folder isn't there.
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        const QString folder = t.Dir.filePath(QStringLiteral("photos/Resize"));
        t.DM.RisizeProperty.Destination = QFile::encodeName(folder).toStdString();
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.size(), 1);
        QDir().mkpath(folder);
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.value(1), QUrl::fromLocalFile(folder));
    }

    void UpdateCheckIsAskedForOnceASecondAfterShowing() {
        TWindowUnderTest t;
        QSignalSpy asked(t.Window.get(), &TfmPixelWrightMain::UpdateCheckRequested);
        QVERIFY(!t.Window->UpdateTimer->isActive());
        t.Window->show();
        QVERIFY(t.Window->UpdateTimer->isActive());
        QCOMPARE(t.Window->UpdateTimer->interval(), 1000);
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
