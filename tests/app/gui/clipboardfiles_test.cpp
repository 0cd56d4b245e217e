#include <QMimeData>
#include <QTest>
#include <QUrl>

#include "app/gui/clipboardfiles.h"

class TClipboardFilesTest : public QObject {
    Q_OBJECT

  private slots:
    void UriListGivesLocalFilesInOrderWithoutWebLinks() {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(QStringLiteral("/photos/b.jpg")),
                      QUrl(QStringLiteral("https://www.varnock.example/x.jpg")),
                      QUrl::fromLocalFile(QStringLiteral("/photos/a b.jpg"))});
        QCOMPARE(FilesFromMimeData(data), (QStringList{"/photos/b.jpg", "/photos/a b.jpg"}));
    }

    void GnomeCopiedFilesSkipTheirCopyOrCutLine() {
        for (const char* verb : {"copy", "cut"}) {
            QMimeData data;
            data.setData(QStringLiteral("x-special/gnome-copied-files"),
                         QByteArray(verb) + "\nfile:///photos/%C3%BC.jpg\nfile:///photos/c.png");
            QCOMPARE(FilesFromMimeData(data),
                     (QStringList{QStringLiteral("/photos/ü.jpg"), "/photos/c.png"}));
        }
    }

    void KdeUriListIsRead() {
        QMimeData data;
        data.setData(QStringLiteral("application/x-kde4-urilist"),
                     "file:///home/u/a.jpg\r\n# a comment\r\nfile:///home/u/b.jpg\r\n");
        QCOMPARE(FilesFromMimeData(data), (QStringList{"/home/u/a.jpg", "/home/u/b.jpg"}));
    }

    void TextAndWebLinksAreNoFiles() {
        QMimeData text;
        text.setText(QStringLiteral("/photos/a.jpg"));
        QVERIFY(FilesFromMimeData(text).isEmpty());
        QMimeData web;
        web.setUrls({QUrl(QStringLiteral("https://www.varnock.example/"))});
        QVERIFY(FilesFromMimeData(web).isEmpty());
        QMimeData empty;
        QVERIFY(FilesFromMimeData(empty).isEmpty());
    }
};

QTEST_MAIN(TClipboardFilesTest)
#include "clipboardfiles_test.moc"
