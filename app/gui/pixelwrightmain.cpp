#include "app/gui/pixelwrightmain.h"

#include <QAbstractEventDispatcher>
#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QCloseEvent>
#include <QComboBox>
#include <QDesktopServices>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QSettings>
#include <QSpinBox>
#include <QSplitter>
#include <QStatusBar>
#include <QThread>
#include <QTimer>
#include <QUrl>

#include "app/data.h"
#include "app/gui/clipboardfiles.h"
#include "app/gui/filegrid.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/gridstore.h"
#include "app/gui/guisettings.h"
#include "app/gui/linklabel.h"
#include "app/gui/radiogroup.h"
#include "app/gui/settingspanel.h"
#include "app/product.h"

namespace {

const QString GridViewName = QStringLiteral("ResizeGrid");

// The batch core keeps paths as the file system's bytes.
std::string Encoded(const QString& Text) {
    return QFile::encodeName(Text).toStdString();
}

std::vector<std::string> Encoded(const QStringList& Files) {
    std::vector<std::string> names;
    names.reserve(size_t(Files.size()));
    for (const QString& file : Files)
        names.push_back(Encoded(file));
    return names;
}

QString Decoded(const std::string& Text) {
    return QFile::decodeName(QByteArray::fromStdString(Text));
}

bool ClipboardHasFiles() {
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    return data && !FilesFromMimeData(*data).isEmpty();
}

} // namespace

QFont TfmPixelWrightMain::WindowFont() {
    // Verdana is Tahoma's wider sibling and DejaVu Sans descends from Verdana.
    static const char* const Families[] = {"Tahoma", "Wine Tahoma", "Verdana", "DejaVu Sans"};
    const QStringList installed = QFontDatabase::families();
    QFont font = QApplication::font();
    for (const char* family : Families)
        if (installed.contains(QLatin1String(family), Qt::CaseInsensitive)) {
            font = QFont(QLatin1String(family));
            break;
        }
    font.setPixelSize(11);
    return font;
}

TfmPixelWrightMain::TfmPixelWrightMain(QSettings& Store, QWidget* Parent)
    : QMainWindow(Parent), fStore(Store) {
    setWindowTitle(QLatin1String(ProductCaption));
    setFont(WindowFont());
    OpenUrl = [](const QUrl& Url) { QDesktopServices::openUrl(Url); };

    auto* client = new QWidget(this);
    auto* clientLayout = new QHBoxLayout(client);
    clientLayout->setContentsMargins(0, 0, 0, 0);
    clientLayout->setSpacing(0);
    dxNavBar = new TSettingsPanel(client);
    clientLayout->addWidget(dxNavBar);

    MainPanel = new QWidget(client);
    auto* mainLayout = new QHBoxLayout(MainPanel);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    cxSplitter = new QSplitter(Qt::Vertical, MainPanel);
    cxSplitter->setHandleWidth(SplitterWidth);
    cxGrid = new TFileGrid(cxSplitter);
    // The thumbnail browser's place, in the browser's background colour.
    ImagerMView = new QWidget(cxSplitter);
    ImagerMView->setAutoFillBackground(true);
    QPalette browserPalette = ImagerMView->palette();
    browserPalette.setColor(QPalette::Window, QColor(0x80, 0x80, 0x80));
    ImagerMView->setPalette(browserPalette);
    cxSplitter->addWidget(cxGrid);
    cxSplitter->addWidget(ImagerMView);
    cxSplitter->setCollapsible(0, false);
    cxSplitter->setCollapsible(1, true);
    cxSplitter->setStretchFactor(0, 1);
    cxSplitter->setStretchFactor(1, 0);
    cxSplitter->setSizes({ClientHeight - BrowserHeight, BrowserHeight});
    mainLayout->addWidget(cxSplitter);
    clientLayout->addWidget(MainPanel, 1);
    setCentralWidget(client);

    CreateActions();
    CreateMenus();
    CreateStatusBar();

    UpdateTimer = new QTimer(this);
    UpdateTimer->setInterval(1000);
    connect(UpdateTimer, &QTimer::timeout, this, [this] {
        UpdateTimer->stop();
        emit UpdateCheckRequested();
    });

    connect(cxGrid->View(), &TFileTableView::FilesDropped, this, &TfmPixelWrightMain::DropFileTargetDrop);
    connect(dxNavBar->cxLabel2, &TLinkLabel::clicked, this, &TfmPixelWrightMain::cxLabel2Click);
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, &TfmPixelWrightMain::UpdateActions);

    LoadGridStore(fStore, cxGrid->View(), GridViewName);
    fIsActive = false;
    const TGuiSettings settings = LoadGuiSettings(fStore);
    dxNavBar->ApplySettings(settings);
    RestorePlacement(settings.HasPlacement, settings.Placement, settings.WindowState);
    UpdateActions();
}

TfmPixelWrightMain::~TfmPixelWrightMain() {
    SaveGridStore(fStore, cxGrid->View(), GridViewName);
    TGuiSettings settings;
    dxNavBar->CollectSettings(settings);
    settings.HasPlacement = true;
    settings.Placement =
        (isMaximized() || isMinimized()) && normalGeometry().isValid() ? normalGeometry() : geometry();
    settings.WindowState = isMinimized() ? 1 : isMaximized() ? 2 : 0;
    SaveGuiSettings(fStore, settings);
    fStore.sync();
    SetDataModule(nullptr);
}

void TfmPixelWrightMain::RestorePlacement(bool HasPlacement, const QRect& Placement, int WindowState) {
    QScreen* screen = QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect();
    bool onScreen = false;
    for (QScreen* each : QGuiApplication::screens())
        if (each->availableGeometry().intersects(Placement)) onScreen = true;
    if (HasPlacement && onScreen) {
        setGeometry(Placement);
    } else {
        resize(ClientWidth, ClientHeight);
        if (available.isValid()) move(available.center() - QPoint(ClientWidth / 2, ClientHeight / 2));
    }
    // A window that went minimised comes back normal: it would otherwise start unseen.
    if (WindowState == 2) setWindowState(windowState() | Qt::WindowMaximized);
}

void TfmPixelWrightMain::CreateActions() {
    auto action = [this](const QString& Caption, const QKeySequence& Shortcut = QKeySequence()) {
        auto* a = new QAction(Caption, this);
        a->setShortcut(Shortcut);
        a->setShortcutContext(Qt::WindowShortcut);
        return a;
    };
    acOpenFiles = action(QStringLiteral("Dateien öffnen"), QKeySequence(Qt::CTRL | Qt::Key_N));
    acOpenDirectory = action(QStringLiteral("Verzeichnis öffnen"));
    acPasteFiles = action(QStringLiteral("Bilder Einfügen"), QKeySequence(Qt::CTRL | Qt::Key_V));
    const QString pasteHint =
        QStringLiteral("Wählen Sie Bilder im Dateimanager aus und klicken auf kopieren!");
    acPasteFiles->setToolTip(pasteHint);
    acPasteFiles->setStatusTip(pasteHint);
    acClose = action(QStringLiteral("Beenden"), QKeySequence(Qt::CTRL | Qt::Key_Q));
    acResizeAll = action(QStringLiteral("Resize Alles"), QKeySequence(Qt::Key_F6));
    acResizeSelected = action(QStringLiteral("Resize Auswahl"), QKeySequence(Qt::Key_F7));
    acClear = action(QStringLiteral("Tabelle leeren"), QKeySequence(Qt::CTRL | Qt::Key_Delete));
    acBreak = action(QStringLiteral("Abbrechen"), QKeySequence(Qt::Key_F8));
    acUpdate = action(QStringLiteral("Suche nach Updates"));
    acExport = action(QStringLiteral("acExport"));
    acGreateThumbList = action(QStringLiteral("acGreateThumbList"));
    acSelectAll = action(QStringLiteral("Alles Auswählen"));
    acAbout = action(QStringLiteral("Über"));

    acOpenFiles->setIcon(style()->standardIcon(QStyle::SP_FileIcon));
    acOpenDirectory->setIcon(style()->standardIcon(QStyle::SP_DirOpenIcon));
    acClose->setIcon(style()->standardIcon(QStyle::SP_DialogCloseButton));
    acResizeAll->setIcon(style()->standardIcon(QStyle::SP_MediaPlay));
    acResizeSelected->setIcon(style()->standardIcon(QStyle::SP_MediaSeekForward));
    acClear->setIcon(style()->standardIcon(QStyle::SP_TrashIcon));
    acBreak->setIcon(style()->standardIcon(QStyle::SP_MediaStop));
    acUpdate->setIcon(style()->standardIcon(QStyle::SP_BrowserReload));

    connect(acOpenFiles, &QAction::triggered, this, [this] {
        if (!fDM) return;
        const QStringList files = QFileDialog::getOpenFileNames(
            this, QString(), QString(),
            QStringLiteral("All Files (*);;Jpeg (*.jpg);;Tif (*.tif);;PS (*.psd)"));
        if (!files.isEmpty()) fDM->AddFiles(Encoded(files));
    });
    connect(acOpenDirectory, &QAction::triggered, this, [this] {
        if (!fDM) return;
        const QString folder = QFileDialog::getExistingDirectory(this, QStringLiteral("Bildverzeichnis"));
        if (!folder.isEmpty()) fDM->GetFilesFromDir(Encoded(folder));
    });
    connect(acPasteFiles, &QAction::triggered, this, &TfmPixelWrightMain::acPasteFilesExecute);
    connect(acClose, &QAction::triggered, this, &QWidget::close);
    connect(acResizeAll, &QAction::triggered, this, [this] {
        emit ThumbnailsCleared();
        StartResize(false);
    });
    connect(acResizeSelected, &QAction::triggered, this, [this] { StartResize(true); });
    connect(acClear, &QAction::triggered, this, [this] {
        if (fDM) fDM->MemData().SetActive(false);
        emit ThumbnailsCleared();
    });
    connect(acBreak, &QAction::triggered, this, [this] {
        if (fDM) fDM->BreakJob = true;
    });
    connect(acUpdate, &QAction::triggered, this, &TfmPixelWrightMain::UpdateCheckRequested);
}

void TfmPixelWrightMain::CreateMenus() {
    mnDatei = menuBar()->addMenu(QStringLiteral("Datei"));
    mnDatei->addAction(acOpenFiles);
    mnDatei->addAction(acOpenDirectory);
    mnDatei->addSeparator();
    mnDatei->addAction(acClose);
    mnBearbeiten = menuBar()->addMenu(QStringLiteral("Bearbeiten"));
    mnBearbeiten->addAction(acPasteFiles);
    mnBearbeiten->addAction(acClear);
    mnResize = menuBar()->addMenu(QStringLiteral("Resize"));
    mnResize->addAction(acResizeAll);
    mnResize->addAction(acResizeSelected);
    mnResize->addAction(acBreak);
    mnInfo = menuBar()->addMenu(QStringLiteral("Info"));
    mnInfo->addAction(acUpdate);

    // The grid's context menu.
    TFileTableView* view = cxGrid->View();
    view->addActions({acPasteFiles, acResizeSelected, acResizeAll, acBreak});
    view->setContextMenuPolicy(Qt::ActionsContextMenu);
}

void TfmPixelWrightMain::CreateStatusBar() {
    dxStatusBarPanel0 = new QLabel(this);
    dxStatusBarPanel1 = new QLabel(this);
    dxStatusBarPanel2 = new TLinkLabel(QLatin1String(MakerHost), this);
    dxStatusBarPanel2->setAlignment(Qt::AlignCenter);
    // Wider only where the font is wider than Tahoma, so that the host shows whole.
    dxStatusBarPanel2->setFixedWidth(qMax(
        StatusLinkWidth, dxStatusBarPanel2->fontMetrics().horizontalAdvance(dxStatusBarPanel2->text()) + 8));
    statusBar()->addWidget(dxStatusBarPanel0, 1);
    statusBar()->addWidget(dxStatusBarPanel1, 1);
    statusBar()->addPermanentWidget(dxStatusBarPanel2);
    connect(dxStatusBarPanel2, &TLinkLabel::clicked, this, &TfmPixelWrightMain::dxStatusBarPanels2Click);
}

void TfmPixelWrightMain::SetDataModule(TDM* DM) {
    if (fDM) {
        fDM->ProcessMessages = nullptr;
        fDM->WakeUp = nullptr;
        fDM->OnMessage = nullptr;
        fDM->OnNewFile = nullptr;
    }
    fDM = DM;
    cxGrid->SetMemData(fDM ? &fDM->MemData() : nullptr);
    if (!fDM) return;
    // The batch waits in this thread's event loop while a worker runs; the worker wakes
    // the loop from its own thread when it parks.
    QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance(thread());
    fDM->ProcessMessages = [] { QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents); };
    fDM->WakeUp = [dispatcher] {
        if (dispatcher) dispatcher->wakeUp();
    };
    fDM->OnMessage = [this](const std::string& Text) {
        QMessageBox::warning(this, QStringLiteral("Varnock's pixelWright"), Decoded(Text));
    };
    if (fShown) HookNewFile();
}

void TfmPixelWrightMain::HookNewFile() {
    if (!fDM) return;
    fDM->OnNewFile = [this](void*, const std::string& FileName) { emit NewFileReady(Decoded(FileName)); };
}

void TfmPixelWrightMain::showEvent(QShowEvent* Event) {
    QMainWindow::showEvent(Event);
    if (fShown) return;
    fShown = true;
    HookNewFile();
    UpdateTimer->start();
}

void TfmPixelWrightMain::closeEvent(QCloseEvent* Event) {
    // A collapsed browser is stored open.
    const QList<int> sizes = cxSplitter->sizes();
    if (sizes.size() == 2 && sizes[1] == 0)
        cxSplitter->setSizes({qMax(0, sizes[0] - BrowserHeight - SplitterWidth), BrowserHeight});
    // A running batch stops at its next file; the window closes without waiting for it.
    if (fDM) fDM->BreakJob = true;
    Event->accept();
}

void TfmPixelWrightMain::SetActive(bool Active) {
    fIsActive = Active;
    UpdateActions();
}

void TfmPixelWrightMain::UpdateActions() {
    const bool idle = !fIsActive;
    for (QAction* action : {acOpenFiles, acOpenDirectory, acResizeAll, acResizeSelected, acClear})
        action->setEnabled(idle);
    acPasteFiles->setEnabled(idle && ClipboardHasFiles());
}

void TfmPixelWrightMain::StartResize(bool SelectedOnly) {
    if (!fDM) return;
    std::vector<std::string> ids;
    dxNavBar->setEnabled(false);
    SetActive(true);

    const TSettingsPanel& p = *dxNavBar;
    TRisizeProperty& job = fDM->RisizeProperty;
    job.NewSize = p.NewFileSize->value();
    job.JpgQuali = p.JpegQuali->value();
    job.AutoQuali = p.cbAutoQuali->isChecked();
    job.WaterMark = p.cbWatermark->isChecked();
    job.EnableCMS = p.cbEnableCMS->isChecked();
    job.Prefix = Encoded(p.edPrefix->text());
    job.Suffix = Encoded(p.edSuffix->text());
    job.ResizeMethode = TResizeMethode(p.rgMethode->ItemIndex());
    job.SharpImg = p.cbSharpImage->isChecked();
    job.JPEGProgressive = p.cbJPEGProgressive->isChecked();
    job.AutoSize = p.cbAutoFileSize->isChecked();
    job.MaxFileSize = p.MaxFileSize->value();
    job.SoftShadow = false;
    job.BW = p.cbBlackWhite->isChecked();
    job.HeighPrio = p.cbImmerHoch->isChecked();
    job.Multi = p.cbMultiRisize->isChecked();
    job.Joo = true;
    job.WaterStr.clear();
    job.ImageEnhance = p.cbImageEnhance->isChecked();

    if (!SelectedOnly) cxGrid->SelectAll();
    fDM->GetIDListFromSelected(*cxGrid, ids);
    // An empty folder name writes into each source's own folder.
    fDM->ResizeFileIDs(ids, Encoded(p.edResizeDir->currentText()));

    dxNavBar->setEnabled(true);
    SetActive(false);
}

void TfmPixelWrightMain::acPasteFilesExecute() {
    if (!fDM) return;
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard->mimeData();
    const QStringList files = data ? FilesFromMimeData(*data) : QStringList();
    fDM->AddFiles(Encoded(files));
    // A paste uses the clipboard's content up.
    clipboard->clear();
    UpdateActions();
}

void TfmPixelWrightMain::DropFileTargetDrop(const QStringList& Files) {
    // Also during a batch: the files get their rows but aren't part of the running batch.
    if (fDM) fDM->AddFiles(Encoded(Files));
}

void TfmPixelWrightMain::cxLabel2Click() {
    if (!fDM) return;
    const QString folder = Decoded(fDM->RisizeProperty.Destination);
    if (!folder.isEmpty() && QFileInfo(folder).isDir()) OpenUrl(QUrl::fromLocalFile(folder));
}

void TfmPixelWrightMain::dxStatusBarPanels2Click() {
    OpenUrl(QUrl(QStringLiteral("https://") + QLatin1String(MakerHost) + QStringLiteral("/")));
}
