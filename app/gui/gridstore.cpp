#include "app/gui/gridstore.h"

#include <QHeaderView>
#include <QTableView>

#include "app/gui/filetablemodel.h"

namespace {

QString FieldNameOf(const QAbstractItemModel& Model, int Column) {
    const QString name = Model.headerData(Column, Qt::Horizontal, GridFieldNameRole).toString();
    return name.isEmpty() ? QString::number(Column) : name;
}

// A width far beyond any screen is no layout but a damaged store.
constexpr int MaximumStoredWidth = 20000;

} // namespace

void SaveGridStore(QSettings& Store, const QTableView* Grid, const QString& StoreName) {
    if (!Grid || !Grid->model()) return;
    const QHeaderView* header = Grid->horizontalHeader();
    QStringList columns, widths;
    for (int visual = 0; visual < header->count(); ++visual) {
        const int logical = header->logicalIndex(visual);
        columns << FieldNameOf(*Grid->model(), logical);
        widths << QString::number(header->sectionSize(logical));
    }
    Store.beginGroup(QLatin1String(GridStoreKey));
    Store.beginGroup(StoreName);
    Store.setValue(QStringLiteral("Columns"), columns);
    Store.setValue(QStringLiteral("Widths"), widths);
    Store.endGroup();
    Store.endGroup();
}

void LoadGridStore(QSettings& Store, QTableView* Grid, const QString& StoreName) {
    if (!Grid || !Grid->model()) return;
    Store.beginGroup(QLatin1String(GridStoreKey));
    Store.beginGroup(StoreName);
    const QStringList columns = Store.value(QStringLiteral("Columns")).toStringList();
    const QStringList widths = Store.value(QStringLiteral("Widths")).toStringList();
    Store.endGroup();
    Store.endGroup();

    QHeaderView* header = Grid->horizontalHeader();
    int place = 0;
    for (qsizetype i = 0; i < columns.size(); ++i) {
        int logical = -1;
        for (int column = 0; column < header->count(); ++column)
            if (FieldNameOf(*Grid->model(), column) == columns[i]) logical = column;
        if (logical < 0) continue;
        header->moveSection(header->visualIndex(logical), place++);
        bool ok = false;
        const int width = i < widths.size() ? widths[i].toInt(&ok) : 0;
        if (ok && width > 0 && width <= MaximumStoredWidth && !header->isSectionHidden(logical))
            header->resizeSection(logical, width);
    }
}
