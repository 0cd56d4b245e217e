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
#include <QStatusBar>
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
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        QCOMPARE(w.dxNavBar->width(), 265);
        QCOMPARE(w.dxNavBar->x(), 0);
        QVERIFY(w.MainPanel->x() >= 265);
        QCOMPARE(w.dxNavBar->nbgEinstellungen->title(), QStringLiteral("Resize Einstellungen"));
        QCOMPARE(w.dxNavBar->nbgQuality->title(), QStringLiteral("Resize Methode"));
        QCOMPARE(w.cxSplitter->orientation(), Qt::Vertical);
        QCOMPARE(w.cxSplitter->handleWidth(), 6);
        QCOMPARE(w.cxSplitter->widget(0), static_cast<QWidget*>(w.cxGrid));
        QCOMPARE(w.cxSplitter->widget(1), w.ImagerMView);
        QCOMPARE(w.ImagerMView->height(), 276);
        // Making the window taller gives the room to the table, not to the browser.
        w.resize(789, 800);
        QTRY_COMPARE(w.height(), 800);
        QCOMPARE(w.ImagerMView->height(), 276);

        QCOMPARE(w.dxStatusBarPanel0->text(), QString());
        QCOMPARE(w.dxStatusBarPanel1->text(), QString());
        QCOMPARE(w.dxStatusBarPanel2->text(), QStringLiteral("www.varnock.example"));
        QVERIFY(w.dxStatusBarPanel2->width() >= 100);
        QVERIFY(w.dxStatusBarPanel2->width() >=
                w.dxStatusBarPanel2->fontMetrics().horizontalAdvance(QStringLiteral("www.varnock.example")));
        QVERIFY(w.dxStatusBarPanel2->font().underline());
        QCOMPARE(w.dxStatusBarPanel2->alignment(), Qt::AlignCenter);
        QCOMPARE(w.dxStatusBarPanel2->cursor().shape(), Qt::PointingHandCursor);
    }

    void ControlsHaveTheirCaptionsRangesAndDefaults() {
        TWindowUnderTest t;
        const TSettingsPanel& p = *t.Window->dxNavBar;
        QCOMPARE(p.lbNewFileSize->text(), QStringLiteral("Neue Größe in Pixel (längste Seite)"));
        QCOMPARE(p.NewFileSize->minimum(), 16);
        QCOMPARE(p.NewFileSize->maximum(), 16000);
        QCOMPARE(p.NewFileSize->singleStep(), 16);
        QCOMPARE(p.NewFileSize->value(), 1200);
        QCOMPARE(p.cbImmerHoch->text(), QStringLiteral("Immer Hoch"));
        QCOMPARE(p.cbImmerHoch->toolTip(), QStringLiteral("Immer diese Höhe"));
        QCOMPARE(p.lbJpegQuali->text(), QStringLiteral("JPEG Qualität"));
        QCOMPARE(p.JpegQuali->minimum(), 1);
        QCOMPARE(p.JpegQuali->maximum(), 100);
        QCOMPARE(p.JpegQuali->value(), 80);
        QVERIFY(p.JpegQuali->isEnabled());
        QCOMPARE(p.lbMaxFileSize->text(), QStringLiteral("max. Filesize (KB)"));
        QCOMPARE(p.MaxFileSize->minimum(), 80);
        QCOMPARE(p.MaxFileSize->maximum(), 2048);
        QCOMPARE(p.MaxFileSize->value(), 150);
        QVERIFY(!p.MaxFileSize->isEnabled());

        const QList<std::pair<QCheckBox*, QString>> checks = {
            {p.cbJPEGProgressive, "JPEG Progressive"}, {p.cbAutoQuali, "JPG Qualität wie Original"},
            {p.cbSharpImage, "Nachschärfen"},          {p.cbAutoFileSize, "Auto FileSize"},
            {p.cbEnableCMS, "CMS anwenden"},           {p.cbWatermark, "Wasserzeichen einfügen"},
            {p.cbBlackWhite, "Schwarzweiß Ausgabe"},   {p.cbMultiRisize, "Schrittweise Verkleinerung (25%)"},
            {p.cbImageEnhance, "Auto Image Enhance"},  {p.cbImmerHoch, "Immer Hoch"},
        };
        for (const auto& [box, caption] : checks) {
            QCOMPARE(box->text(), caption);
            QVERIFY2(!box->isChecked(), qPrintable(caption));
        }
        QCOMPARE(p.cbWatermark->toolTip(), QStringLiteral("Datei Watermark.png"));

        QCOMPARE(p.lbPrefix->text(), QStringLiteral("Vor und nach dem Dateinamen"));
        QCOMPARE(p.edPrefix->text(), QStringLiteral("R-"));
        QCOMPARE(p.lbDateiname->text(), QStringLiteral("Dateiname"));
        QCOMPARE(p.edSuffix->text(), QString());

        QCOMPARE(p.cxLabel2->text(), QStringLiteral("Neuer Ziel Ordner"));
        QVERIFY(p.cxLabel2->font().underline());
        QCOMPARE(p.cxLabel2->cursor().shape(), Qt::PointingHandCursor);
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
        QCOMPARE(methods.Columns(), 2);
        t.Window->show();
        QVERIFY(QTest::qWaitForWindowExposed(t.Window.get()));
        // The name label stands between prefix and suffix.
        QVERIFY(p.edPrefix->x() < p.lbDateiname->x() && p.lbDateiname->x() < p.edSuffix->x());
        QCOMPARE(p.edPrefix->y(), p.edSuffix->y());
        // Two columns, filled column by column.
        QCOMPARE(methods.Button(0)->x(), methods.Button(3)->x());
        QVERIFY(methods.Button(4)->x() > methods.Button(0)->x());
        QCOMPARE(methods.Button(4)->y(), methods.Button(0)->y());
        QCOMPARE(methods.Button(7)->y(), methods.Button(3)->y());
    }

    void GridIsAReadOnlyRowSelectionOverTheTable() {
        TWindowUnderTest t;
        TFileGrid& grid = *t.Window->cxGrid;
        TFileTableView& view = *grid.View();
        QHeaderView& header = *view.horizontalHeader();
        QVERIFY(view.isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(header.sectionSize(TFileTableModel::ColFILENAME), 282);
        QCOMPARE(header.sectionSize(TFileTableModel::ColEXTENSION), 56);
        QCOMPARE(header.sectionSize(TFileTableModel::ColLASACTION), 224);
        QCOMPARE(view.selectionBehavior(), QAbstractItemView::SelectRows);
        QCOMPARE(view.selectionMode(), QAbstractItemView::ExtendedSelection);
        QCOMPARE(view.editTriggers(), QAbstractItemView::NoEditTriggers);
        QCOMPARE(view.textElideMode(), Qt::ElideRight);
        QCOMPARE(view.verticalHeader()->width(), 21);
        QCOMPARE(view.EmptyText(), QStringLiteral("Varnock Software Tools - Drag Images here"));
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("0"));

        const QStringList files = t.CopySamples({"klein.jpg", "quadrat.jpg"});
        t.AddFiles(files);
        QCOMPARE(view.model()->rowCount(), 2);
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("2"));
        QCOMPARE(view.model()->index(0, TFileTableModel::ColFILENAME).data().toString(), files[0]);
        grid.Footer()->FilterEdit()->setText(QStringLiteral("QUAD*JPG"));
        QCOMPARE(view.model()->rowCount(), 1);
        QCOMPARE(grid.Footer()->CountText(), QStringLiteral("1"));

        t.Window->show();
        QVERIFY(QTest::qWaitForWindowExposed(t.Window.get()));
        // The columns share the view's width, and the count stands under "ORIGINAL".
        QTRY_COMPARE(header.sectionSize(1) + header.sectionSize(2) + header.sectionSize(3),
                     view.viewport()->width());
        const QRect count = grid.Footer()->CountRect();
        QCOMPARE(count.left(), view.viewport()->mapTo(&grid, QPoint(0, 0)).x());
        // A column made wider takes the room from its neighbour on the right.
        const int typeWidth = header.sectionSize(TFileTableModel::ColEXTENSION);
        const int actionWidth = header.sectionSize(TFileTableModel::ColLASACTION);
        header.resizeSection(TFileTableModel::ColEXTENSION, typeWidth + 30);
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
        };
        for (const auto& [action, caption, key] : actions) {
            QCOMPARE(action->text(), caption);
            QCOMPARE(action->shortcut(), key);
        }
        QCOMPARE(w.acPasteFiles->toolTip(),
                 QStringLiteral("Wählen Sie Bilder im Dateimanager aus und klicken auf kopieren!"));

        QStringList menus;
        for (const QAction* menu : w.menuBar()->actions())
            menus << menu->text();
        QCOMPARE(menus, (QStringList{"Datei", "Bearbeiten", "Resize", "Info"}));
        QCOMPARE(Captions(w.mnDatei->actions()),
                 (QStringList{"Dateien öffnen", "Verzeichnis öffnen", "-", "Beenden"}));
        QCOMPARE(Captions(w.mnBearbeiten->actions()), (QStringList{"Bilder Einfügen", "Tabelle leeren"}));
        QCOMPARE(Captions(w.mnResize->actions()),
                 (QStringList{"Resize Alles", "Resize Auswahl", "Abbrechen"}));
        QCOMPARE(Captions(w.mnInfo->actions()), QStringList{"Suche nach Updates"});
        QCOMPARE(w.cxGrid->View()->contextMenuPolicy(), Qt::ActionsContextMenu);
        QCOMPARE(Captions(w.cxGrid->View()->actions()),
                 (QStringList{"Bilder Einfügen", "Resize Auswahl", "Resize Alles", "Abbrechen"}));

        // Present, but in no menu and without a shortcut: nothing reaches them.
        const QList<std::pair<QAction*, QString>> unreachable = {{w.acExport, "acExport"},
                                                                 {w.acGreateThumbList, "acGreateThumbList"},
                                                                 {w.acSelectAll, "Alles Auswählen"},
                                                                 {w.acAbout, "Über"}};
        for (const auto& [action, caption] : unreachable) {
            QCOMPARE(action->text(), caption);
            QVERIFY(action->shortcut().isEmpty());
            QVERIFY(action->associatedObjects().isEmpty());
        }

        // At rest every command is live, paste only with files on the clipboard.
        QGuiApplication::clipboard()->clear();
        for (QAction* action : {w.acOpenFiles, w.acOpenDirectory, w.acClose, w.acResizeAll,
                                w.acResizeSelected, w.acClear, w.acBreak, w.acUpdate})
            QVERIFY2(action->isEnabled(), qPrintable(action->text()));
        QVERIFY(!w.acPasteFiles->isEnabled());
        auto* text = new QMimeData;
        text->setText(QStringLiteral("just text"));
        QGuiApplication::clipboard()->setMimeData(text);
        QVERIFY(!w.acPasteFiles->isEnabled());
        QGuiApplication::clipboard()->setMimeData(UriListOf({t.Dir.filePath(QStringLiteral("store.ini"))}));
        QVERIFY(w.acPasteFiles->isEnabled());
        QGuiApplication::clipboard()->clear();
        QVERIFY(!w.acPasteFiles->isEnabled());
    }

    void CheckBoxClicksEnableTheQualityBoxesWithoutKnowingEachOther() {
        TWindowUnderTest t;
        TSettingsPanel& p = *t.Window->dxNavBar;
        t.Window->show();
        QVERIFY(QTest::qWaitForWindowExposed(t.Window.get()));
        Click(p.cbAutoQuali);
        QVERIFY(p.cbAutoQuali->isChecked());
        QVERIFY(!p.JpegQuali->isEnabled());
        QVERIFY(!p.MaxFileSize->isEnabled());
        Click(p.cbAutoFileSize);
        QVERIFY(p.MaxFileSize->isEnabled());
        QVERIFY(!p.JpegQuali->isEnabled());
        // Unticking "Auto FileSize" gives the quality back although "wie Original" is ticked.
        Click(p.cbAutoFileSize);
        QVERIFY(!p.MaxFileSize->isEnabled());
        QVERIFY(p.JpegQuali->isEnabled());
        QVERIFY(p.cbAutoQuali->isChecked());
        Click(p.cbAutoQuali);
        QVERIFY(p.JpegQuali->isEnabled());
        // Only clicks count: a box set in code leaves the enabling alone.
        p.cbAutoFileSize->setChecked(true);
        QVERIFY(!p.MaxFileSize->isEnabled());
    }

    void SettingsAndPlacementSurviveTheWindow() {
        TWindowUnderTest t;
        {
            TSettingsPanel& p = *t.Window->dxNavBar;
            p.NewFileSize->setValue(640);
            p.JpegQuali->setValue(91);
            p.MaxFileSize->setValue(300);
            for (QCheckBox* box :
                 {p.cbAutoFileSize, p.cbAutoQuali, p.cbBlackWhite, p.cbEnableCMS, p.cbImageEnhance,
                  p.cbImmerHoch, p.cbJPEGProgressive, p.cbMultiRisize, p.cbSharpImage, p.cbWatermark})
                box->setChecked(true);
            p.edPrefix->setText(QStringLiteral("web_"));
            p.edSuffix->setText(QStringLiteral("_klein"));
            p.edResizeDir->setEditText(QStringLiteral("Fürs Netz"));
            p.rgMethode->SetItemIndex(6);
            t.Window->setGeometry(40, 50, 820, 710);
        }
        t.Reopen();
        {
            TSettingsPanel& p = *t.Window->dxNavBar;
            QCOMPARE(p.NewFileSize->value(), 640);
            QCOMPARE(p.JpegQuali->value(), 91);
            QCOMPARE(p.MaxFileSize->value(), 300);
            for (QCheckBox* box :
                 {p.cbAutoFileSize, p.cbAutoQuali, p.cbBlackWhite, p.cbEnableCMS, p.cbImageEnhance,
                  p.cbImmerHoch, p.cbJPEGProgressive, p.cbMultiRisize, p.cbSharpImage, p.cbWatermark})
                QVERIFY2(box->isChecked(), qPrintable(box->text()));
            QCOMPARE(p.edPrefix->text(), QStringLiteral("web_"));
            QCOMPARE(p.edSuffix->text(), QStringLiteral("_klein"));
            QCOMPARE(p.edResizeDir->currentText(), QStringLiteral("Fürs Netz"));
            QCOMPARE(p.edResizeDir->count(), 4);
            QCOMPARE(p.rgMethode->ItemIndex(), 6);
            QCOMPARE(t.Window->geometry(), QRect(40, 50, 820, 710));
            // The enabling comes from the form, not from the restored boxes.
            QVERIFY(!p.MaxFileSize->isEnabled());
            QVERIFY(p.JpegQuali->isEnabled());
        }
        QCOMPARE(t.Store->childGroups(), (QStringList{"Software\\Varnock\\PixelWright 3.0\\GUI",
                                                      "Software\\Varnock\\PixelWright 8.0\\\\GridStore"}));
    }

    void GridLayoutIsRestoredUnderResizeGrid() {
        TWindowUnderTest t;
        QHeaderView* header = t.Window->cxGrid->View()->horizontalHeader();
        header->moveSection(header->visualIndex(TFileTableModel::ColLASACTION),
                            header->visualIndex(TFileTableModel::ColFILENAME));
        header->resizeSection(TFileTableModel::ColFILENAME, 250);
        header->resizeSection(TFileTableModel::ColLASACTION, 260);
        QList<int> order, widths;
        for (int visual = 0; visual < header->count(); ++visual) {
            order << header->logicalIndex(visual);
            widths << header->sectionSize(header->logicalIndex(visual));
        }
        QCOMPARE(order, (QList<int>{0, 3, 1, 2}));
        t.Reopen();
        header = t.Window->cxGrid->View()->horizontalHeader();
        QList<int> restoredOrder, restoredWidths;
        for (int visual = 0; visual < header->count(); ++visual) {
            restoredOrder << header->logicalIndex(visual);
            restoredWidths << header->sectionSize(header->logicalIndex(visual));
        }
        QCOMPARE(restoredOrder, order);
        QCOMPARE(restoredWidths.mid(1), widths.mid(1));
        QVERIFY(t.Window->cxGrid->View()->isColumnHidden(TFileTableModel::ColRecId));
        QCOMPARE(
            t.Store
                ->value(QStringLiteral("Software\\Varnock\\PixelWright 8.0\\\\GridStore/ResizeGrid/Columns"))
                .toStringList(),
            (QStringList{"RecId", "LASACTION", "FILENAME", "EXTENSION"}));
    }

    void LinksOpenTheMakersSiteAndTheLastDestination() {
        TWindowUnderTest t;
        QList<QUrl> opened;
        t.Window->OpenUrl = [&](const QUrl& Url) { opened << Url; };
        t.Window->show();
        QVERIFY(QTest::qWaitForWindowExposed(t.Window.get()));
        QTest::mouseClick(t.Window->dxStatusBarPanel2, Qt::LeftButton);
        QCOMPARE(opened, QList<QUrl>{QUrl(QStringLiteral("https://www.varnock.example/"))});
        // Before the first batch there is no destination, and the label does nothing.
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.size(), 1);
        const QString folder = t.Dir.filePath(QStringLiteral("photos/Resize"));
        t.DM.RisizeProperty.Destination = QFile::encodeName(folder).toStdString();
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.size(), 1); // not there yet
        QDir().mkpath(folder);
        QTest::mouseClick(t.Window->dxNavBar->cxLabel2, Qt::LeftButton);
        QCOMPARE(opened.size(), 2);
        QCOMPARE(opened[1], QUrl::fromLocalFile(folder));
    }

    void UpdateCheckIsAskedForOnceASecondAfterShowing() {
        TWindowUnderTest t;
        QSignalSpy asked(t.Window.get(), &TfmPixelWrightMain::UpdateCheckRequested);
        QVERIFY(!t.Window->UpdateTimer->isActive());
        t.Window->show();
        QVERIFY(t.Window->UpdateTimer->isActive());
        QCOMPARE(t.Window->UpdateTimer->interval(), 1000);
        QVERIFY(asked.wait(3000));
        t.Window->hide();
        t.Window->show();
        QTest::qWait(1300);
        QCOMPARE(asked.size(), 1);
        t.Window->acUpdate->trigger();
        QCOMPARE(asked.size(), 2);
    }
};

QTEST_MAIN(TPixelWrightMainTest)
#include "pixelwrightmain_test.moc"
