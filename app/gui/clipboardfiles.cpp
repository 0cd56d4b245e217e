#include "app/gui/clipboardfiles.h"

#include <QMimeData>
#include <QUrl>

namespace {

QStringList LocalFiles(const QList<QUrl>& Urls) {
    QStringList files;
    for (const QUrl& url : Urls)
        if (url.isLocalFile() && !url.toLocalFile().isEmpty()) files << url.toLocalFile();
    return files;
}

// One URL a line, lines starting with "#" are comments (RFC 2483).
QList<QUrl> UrlLines(const QByteArray& Text, bool SkipFirstLine) {
    QList<QUrl> urls;
    QList<QByteArray> lines = Text.split('\n');
    for (qsizetype i = SkipFirstLine ? 1 : 0; i < lines.size(); ++i) {
        QByteArray line = lines[i].trimmed();
        if (line.isEmpty() || line.startsWith('#')) continue;
        urls << QUrl::fromEncoded(line);
    }
    return urls;
}

} // namespace

QStringList FilesFromMimeData(const QMimeData& Data) {
    static const char* const GnomeFormats[] = {"x-special/gnome-copied-files", "x-special/mate-copied-files"};
    if (Data.hasUrls()) {
        QStringList files = LocalFiles(Data.urls());
        if (!files.isEmpty()) return files;
    }
    for (const char* format : GnomeFormats)
        if (Data.hasFormat(QLatin1String(format))) {
            // The first line is "copy" or "cut"; either way the files stay where they are.
            QStringList files = LocalFiles(UrlLines(Data.data(QLatin1String(format)), true));
            if (!files.isEmpty()) return files;
        }
    if (Data.hasFormat(QStringLiteral("application/x-kde4-urilist")))
        return LocalFiles(UrlLines(Data.data(QStringLiteral("application/x-kde4-urilist")), false));
    return {};
}
