#include "app/gui/filetablefilter.h"

#include "app/gui/filetablemodel.h"

TFileTableFilter::TFileTableFilter(QObject* Parent) : QSortFilterProxyModel(Parent) {
    // A row's text changes during a batch; it is filtered again when it does.
    setDynamicSortFilter(true);
}

QRegularExpression TFileTableFilter::PatternOf(const QString& Text) {
    QStringList parts = Text.split(QLatin1Char('*'));
    for (QString& part : parts)
        part = QRegularExpression::escape(part);
    return QRegularExpression(parts.join(QLatin1String(".*")), QRegularExpression::CaseInsensitiveOption);
}

void TFileTableFilter::SetFilterText(const QString& Text) {
    if (Text == fText) return;
    fText = Text;
    fPattern = PatternOf(Text);
    invalidateRowsFilter();
}

bool TFileTableFilter::filterAcceptsRow(int SourceRow, const QModelIndex& SourceParent) const {
    if (fText.isEmpty()) return true;
    const QAbstractItemModel* source = sourceModel();
    for (int column :
         {TFileTableModel::ColFILENAME, TFileTableModel::ColEXTENSION, TFileTableModel::ColLASACTION}) {
        const QString text = source->index(SourceRow, column, SourceParent).data().toString();
        if (fPattern.match(text).hasMatch()) return true;
    }
    return false;
}
