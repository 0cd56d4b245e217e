#include "app/gui/filetableview.h"

#include <QDragEnterEvent>
#include <QHeaderView>
#include <QMimeData>
#include <QPainter>

#include "app/gui/clipboardfiles.h"

namespace {

QList<int> VisibleColumnsInOrder(const QHeaderView& Header) {
    QList<int> columns;
    for (int visual = 0; visual < Header.count(); ++visual) {
        const int logical = Header.logicalIndex(visual);
        if (!Header.isSectionHidden(logical)) columns << logical;
    }
    return columns;
}

} // namespace

TFileTableView::TFileTableView(QWidget* Parent)
    : QTableView(Parent), fEmptyText(QStringLiteral("Varnock Software Tools - Drag Images here")) {
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setTextElideMode(Qt::ElideRight);
    setWordWrap(false);
    setShowGrid(false); // the vertical lines are drawn in paintEvent
    setSortingEnabled(false);
    setCornerButtonEnabled(false);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    QHeaderView* indicator = verticalHeader();
    indicator->setFixedWidth(IndicatorWidth);
    indicator->setSectionResizeMode(QHeaderView::Fixed);
    indicator->setDefaultSectionSize(fontMetrics().height() + 6);

    QHeaderView* columns = horizontalHeader();
    columns->setSectionsMovable(true);
    columns->setHighlightSections(false);
    columns->setMinimumSectionSize(20);
    columns->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    connect(columns, &QHeaderView::sectionResized, this, [this](int Logical, int, int) {
        if (!fFitting && isVisible()) ColumnResizedByUser(Logical);
    });

    setAcceptDrops(true);
    viewport()->setAcceptDrops(true);
    setDragDropMode(QAbstractItemView::DropOnly);
    setDropIndicatorShown(false);
}

void TFileTableView::FitColumns() {
    QHeaderView* header = horizontalHeader();
    const QList<int> columns = VisibleColumnsInOrder(*header);
    const int available = viewport()->width();
    int total = 0;
    for (int column : columns)
        total += header->sectionSize(column);
    if (columns.isEmpty() || total <= 0 || available <= 0 || total == available) return;
    fFitting = true;
    int used = 0;
    for (qsizetype i = 0; i + 1 < columns.size(); ++i) {
        const int width = qMax(header->minimumSectionSize(),
                               int(qint64(header->sectionSize(columns[i])) * available / total));
        header->resizeSection(columns[i], width);
        used += width;
    }
    header->resizeSection(columns.last(), qMax(header->minimumSectionSize(), available - used));
    fFitting = false;
}

void TFileTableView::ColumnResizedByUser(int Logical) {
    // The neighbour on the right gives or takes what the column gained or lost; the last
    // column trades with the one before it, so the columns keep filling the view.
    QHeaderView* header = horizontalHeader();
    const QList<int> columns = VisibleColumnsInOrder(*header);
    const qsizetype place = columns.indexOf(Logical);
    if (place < 0 || columns.size() < 2) return;
    const int partner = place + 1 < columns.size() ? columns[place + 1] : columns[place - 1];
    int others = 0;
    for (int column : columns)
        if (column != partner) others += header->sectionSize(column);
    fFitting = true;
    header->resizeSection(partner, qMax(header->minimumSectionSize(), viewport()->width() - others));
    fFitting = false;
}

void TFileTableView::resizeEvent(QResizeEvent* Event) {
    QTableView::resizeEvent(Event);
    FitColumns();
}

void TFileTableView::paintEvent(QPaintEvent* Event) {
    QTableView::paintEvent(Event);
    QPainter painter(viewport());
    const int rows = model() ? model()->rowCount(rootIndex()) : 0;
    if (rows > 0) {
        const int bottom = qMin(viewport()->height(), rowViewportPosition(rows - 1) + rowHeight(rows - 1));
        painter.setPen(palette().color(QPalette::Mid));
        for (int column : VisibleColumnsInOrder(*horizontalHeader())) {
            const int x = columnViewportPosition(column) + columnWidth(column) - 1;
            painter.drawLine(x, 0, x, bottom - 1);
        }
        return;
    }
    painter.setPen(palette().color(QPalette::PlaceholderText));
    painter.drawText(viewport()->rect().adjusted(8, 16, -8, 0), Qt::AlignHCenter | Qt::AlignTop, fEmptyText);
}

bool TFileTableView::OfferDrop(QDropEvent* Event) {
    if (!Event->mimeData() || FilesFromMimeData(*Event->mimeData()).isEmpty()) return false;
    // Copy and link are what the table takes; a move is taken too, but reported back at
    // the drop as nothing done, so that the source keeps its files.
    const Qt::DropActions possible = Event->possibleActions();
    if (possible & Qt::CopyAction)
        Event->setDropAction(Qt::CopyAction);
    else if (possible & Qt::LinkAction)
        Event->setDropAction(Qt::LinkAction);
    else if (possible & Qt::MoveAction)
        Event->setDropAction(Qt::MoveAction);
    else
        return false;
    return true;
}

void TFileTableView::dragEnterEvent(QDragEnterEvent* Event) {
    if (OfferDrop(Event))
        Event->accept();
    else
        Event->ignore();
}

void TFileTableView::dragMoveEvent(QDragMoveEvent* Event) {
    if (OfferDrop(Event))
        Event->accept();
    else
        Event->ignore();
}

void TFileTableView::dropEvent(QDropEvent* Event) {
    const QStringList files = Event->mimeData() ? FilesFromMimeData(*Event->mimeData()) : QStringList();
    if (files.isEmpty()) {
        Event->ignore();
        return;
    }
    if (Event->dropAction() == Qt::MoveAction) Event->setDropAction(Qt::IgnoreAction);
    Event->accept();
    emit FilesDropped(files);
}
