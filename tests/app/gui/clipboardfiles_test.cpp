#include <QMimeData>
#include <QTest>

#include "app/gui/clipboardfiles.h"

class TClipboardFilesTest : public QObject {
    Q_OBJECT

  private slots:
    // Local files in order from each desktop's format; web links, comments and text are none.
    void FilesFromEachFormat() {
        const QList<std::tuple<QString, QByteArray, QStringList>> offers = {
            {"text/uri-list",
             "file:///photos/b.jpg\r\nhttps://www.varnock.example/x.jpg\r\nfile:///photos/a%20b.jpg",
             {"/photos/b.jpg", "/photos/a b.jpg"}},
            {"x-special/gnome-copied-files",
             "copy\nfile:///photos/%C3%BC.jpg\nfile:///photos/c.png",
             {QStringLiteral("/photos/ü.jpg"), "/photos/c.png"}},
            {"x-special/gnome-copied-files", "cut\nfile:///photos/c.png", {"/photos/c.png"}},
            {"application/x-kde4-urilist",
             "file:///home/u/a.jpg\r\n# a comment\r\nfile:///home/u/b.jpg\r\n",
             {"/home/u/a.jpg", "/home/u/b.jpg"}},
            {"text/plain", "/photos/a.jpg", {}},
            {"text/uri-list", "https://www.varnock.example/", {}},
            {"", "", {}},
        };
        for (const auto& [format, data, files] : offers) {
            QMimeData mime;
            if (!format.isEmpty()) mime.setData(format, data);
            QCOMPARE(FilesFromMimeData(mime), files);
        }
    }
};

QTEST_MAIN(TClipboardFilesTest)
#include "clipboardfiles_test.moc"
