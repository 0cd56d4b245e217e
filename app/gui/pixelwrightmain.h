#pragma once

#include <QMainWindow>
#include <functional>

class QAction;
class QLabel;
class QMenu;
class QSettings;
class QSplitter;
class QTimer;
class QUrl;
class TDM;
class TFileGrid;
class TLinkLabel;
class TSettingsPanel;

// The program's main window: the settings panel on the left, the file table and the area
// of the thumbnail browser on the right, the menu bar and the status bar. It copies its
// controls into the batch core's job and calls the batch core; it runs no batch itself.
class TfmPixelWrightMain : public QMainWindow {
    Q_OBJECT

  public:
    static constexpr int ClientWidth = 789;
    static constexpr int ClientHeight = 696;
    static constexpr int SplitterWidth = 6;
    static constexpr int BrowserHeight = 276;
    static constexpr int StatusLinkWidth = 100;

    // Builds the window and restores the grid's layout and the stored controls from the
    // store, which must outlive the window: the window saves into it when it goes.
    explicit TfmPixelWrightMain(QSettings& Store, QWidget* Parent = nullptr);
    ~TfmPixelWrightMain() override;

    // Binds the grid to the data module's table and the batch driver to this thread's
    // event loop. The data module must outlive the window.
    void SetDataModule(TDM* DM);
    TDM* DataModule() const { return fDM; }

    // True while a batch runs.
    bool isActive() const { return fIsActive; }

    // The window's font: Tahoma of 11 pixels, or the nearest of its kind that is installed.
    static QFont WindowFont();

    void StartResize(bool SelectedOnly);
    void acPasteFilesExecute();
    void DropFileTargetDrop(const QStringList& Files);
    void cxLabel2Click();
    void dxStatusBarPanels2Click();
    // The enabling rule of the actions: most are off during a batch, paste also needs
    // files on the clipboard.
    void UpdateActions();

    // Opens a folder or web address with the desktop's handler; tests watch it instead.
    std::function<void(const QUrl&)> OpenUrl;

    TSettingsPanel* dxNavBar;
    QWidget* MainPanel;
    TFileGrid* cxGrid;
    QSplitter* cxSplitter;
    QWidget* ImagerMView;
    QLabel* dxStatusBarPanel0;
    QLabel* dxStatusBarPanel1;
    TLinkLabel* dxStatusBarPanel2;
    QTimer* UpdateTimer;

    QMenu* mnDatei;
    QMenu* mnBearbeiten;
    QMenu* mnResize;
    QMenu* mnInfo;

    QAction* acOpenFiles;
    QAction* acOpenDirectory;
    QAction* acPasteFiles;
    QAction* acClose;
    QAction* acResizeAll;
    QAction* acResizeSelected;
    QAction* acClear;
    QAction* acBreak;
    QAction* acUpdate;
    // Present without a handler or a place in a menu: the user can't reach them.
    QAction* acExport;
    QAction* acGreateThumbList;
    QAction* acSelectAll;
    QAction* acAbout;

  signals:
    // The thumbnail browser's feed: a finished file of the batch (empty when its load
    // failed), and the emptying of the browser by "Resize Alles" and "Tabelle leeren".
    void NewFileReady(const QString& FileName);
    void ThumbnailsCleared();
    // The one-time check a second after the window first shows, and "Suche nach Updates".
    void UpdateCheckRequested();

  protected:
    void showEvent(QShowEvent* Event) override;
    void closeEvent(QCloseEvent* Event) override;

  private:
    void CreateActions();
    void CreateMenus();
    void CreateStatusBar();
    void RestorePlacement(bool HasPlacement, const QRect& Placement, int WindowState);
    void SetActive(bool Active);
    void HookNewFile();

    QSettings& fStore;
    TDM* fDM = nullptr;
    bool fIsActive = false;
    bool fShown = false;
};
