#include "app/gui/linklabel.h"

#include <QMouseEvent>

TLinkLabel::TLinkLabel(const QString& Text, QWidget* Parent) : QLabel(Text, Parent) {
    QFont underlined = font();
    underlined.setUnderline(true);
    setFont(underlined);
    setCursor(Qt::PointingHandCursor);
}

void TLinkLabel::mouseReleaseEvent(QMouseEvent* Event) {
    QLabel::mouseReleaseEvent(Event);
    // A press that the user drags off the label before releasing is no click.
    if (Event->button() == Qt::LeftButton && rect().contains(Event->position().toPoint())) emit clicked();
}
