#include <QApplication>
#include <QFile>
#include <QSettings>
#include <memory>

#include "app/appfolder.h"
#include "app/data.h"
#include "app/gui/pixelwrightmain.h"

int main(int argc, char** argv) {
    SetProgramArgument0(argc > 0 ? argv[0] : nullptr);
    QApplication application(argc, argv);
    // The title that the desktop shows for the program; the window has its own caption.
    QApplication::setApplicationName(QStringLiteral("Varnock's pixelWright"));
    QApplication::setFont(TfmPixelWrightMain::WindowFont());

    // The user's config folder: ~/.config/Varnock/PixelWright.ini
    QSettings store(QSettings::IniFormat, QSettings::UserScope, QStringLiteral("Varnock"),
                    QStringLiteral("PixelWright"));

    // The window refers to the data module's table until it goes, so the data module is
    // declared first, though it is made after the window.
    std::unique_ptr<TDM> dm;
    TfmPixelWrightMain window(store);
    // Qt has taken its own options out of the command line by now.
    std::vector<std::string> arguments;
    const QStringList given = QApplication::arguments();
    for (qsizetype i = 1; i < given.size(); ++i)
        arguments.push_back(QFile::encodeName(given[i]).toStdString());
    dm = std::make_unique<TDM>(arguments);
    window.SetDataModule(dm.get());
    window.show();
    return QApplication::exec();
}
