// Draws the main window after a batch over a folder of pictures into a PNG file, for the
// README. The store is a temporary one, so the user's own settings stay untouched.
#include <QApplication>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>
#include <QTimer>
#include <cstdio>
#include <memory>

#include "app/appfolder.h"
#include "app/data.h"
#include "app/gui/pixelwrightmain.h"

int main(int argc, char** argv) {
    SetProgramArgument0(argc > 0 ? argv[0] : nullptr);
    QApplication application(argc, argv);
    const QStringList arguments = QApplication::arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: pw_gui_screenshot OUTPUT.png FOLDER\n");
        return 2;
    }
    QApplication::setFont(TfmPixelWrightMain::WindowFont());
    QTemporaryDir storeDir;
    QSettings store(storeDir.filePath(QStringLiteral("store.ini")), QSettings::IniFormat);

    std::unique_ptr<TDM> dm;
    TfmPixelWrightMain window(store);
    dm = std::make_unique<TDM>(std::vector<std::string>{QFile::encodeName(arguments[2]).toStdString()});
    window.SetDataModule(dm.get());
    window.show();

    int result = 1;
    QTimer::singleShot(500, &window, [&] {
        window.acResizeAll->trigger();
        // Let the last rows paint before the picture is taken.
        QTimer::singleShot(500, &window, [&] {
            if (window.grab().save(arguments[1])) result = 0;
            QApplication::quit();
        });
    });
    QApplication::exec();
    return result;
}
