#include "app/gui/gridfooter.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QPainter>
#include <QTableView>

namespace {
constexpr int FilterWidth = 150;
}

TGridFooter::TGridFooter(QTableView* View, int CountColumn, QWidget* Parent)
    : QWidget(Parent), fView(View), fCountColumn(CountColumn), fFilterEdit(new QLineEdit(this)) {
    fFilterEdit->setPlaceholderText(QStringLiteral("Filter"));
    fFilterEdit->setClearButtonEnabled(true);
    auto repaint = [this] { update(); };
    QHeaderView* header = View->horizontalHeader();
    connect(header, &QHeaderView::sectionResized, this, repaint);
    connect(header, &QHeaderView::sectionMoved, this, repaint);
    connect(header, &QHeaderView::geometriesChanged, this, repaint);
    if (QAbstractItemModel* model = View->model()) {
        connect(model, &QAbstractItemModel::rowsInserted, this, repaint);
        connect(model, &QAbstractItemModel::rowsRemoved, this, repaint);
        connect(model, &QAbstractItemModel::modelReset, this, repaint);
        connect(model, &QAbstractItemModel::layoutChanged, this, repaint);
    }
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Button);
}

QString TGridFooter::CountText() const {
    return QString::number(fView->model() ? fView->model()->rowCount() : 0);
}

QRect TGridFooter::CountRect() const {
    const QHeaderView* header = fView->horizontalHeader();
    if (header->isSectionHidden(fCountColumn)) return {};
    // The footer lies under the whole grid; the columns start behind the indicator.
    const int viewportLeft =
        fView->viewport()->mapTo(window(), QPoint(0, 0)).x() - mapTo(window(), QPoint(0, 0)).x();
    const int left = viewportLeft + header->sectionViewportPosition(fCountColumn);
    return QRect(left, 0, header->sectionSize(fCountColumn), height())
        .intersected(QRect(0, 0, fFilterEdit->x() - 4, height()));
}

QSize TGridFooter::sizeHint() const {
    return QSize(FilterWidth, qMax(fontMetrics().height() + 8, fFilterEdit->sizeHint().height() + 4));
}

void TGridFooter::resizeEvent(QResizeEvent* Event) {
    QWidget::resizeEvent(Event);
    const int editHeight = fFilterEdit->sizeHint().height();
    fFilterEdit->setGeometry(width() - FilterWidth - 2, (height() - editHeight) / 2, FilterWidth, editHeight);
}

void TGridFooter::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawLine(0, 0, width(), 0);
    const QRect count = CountRect();
    if (count.isEmpty()) return;
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.drawText(count.adjusted(4, 0, -4, 0), Qt::AlignLeft | Qt::AlignVCenter, CountText());
}
