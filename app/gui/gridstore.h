#pragma once

#include <QSettings>
#include <QString>

class QTableView;

// The section of the settings store that holds grid layouts, one sub-group per view name.
// The doubled separator is part of the name.
inline constexpr const char* GridStoreKey = "Software\\Varnock\\PixelWright 8.0\\\\GridStore";

// Stores and restores the column order and widths of a grid under its view name. Columns
// are named by their field (GridFieldNameRole), so a stored layout finds its columns
// whatever their order. Both do nothing without a grid; a column that the store doesn't
// know keeps its place and width.
void SaveGridStore(QSettings& Store, const QTableView* Grid, const QString& StoreName);
void LoadGridStore(QSettings& Store, QTableView* Grid, const QString& StoreName);
