#pragma once

#include <QStringList>

class QMimeData;

// The local files named by a file manager's copied or dragged file list: the standard
// "text/uri-list", GNOME's (and its forks') "x-special/gnome-copied-files", whose first
// line says copy or cut, and KDE's "application/x-kde4-urilist". Other URLs (web links)
// are no files and are left out; the list keeps the source's order.
QStringList FilesFromMimeData(const QMimeData& Data);
