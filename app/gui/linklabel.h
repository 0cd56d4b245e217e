#pragma once

#include <QLabel>

// A label that acts as a link: underlined, with a hand cursor, and a click signal.
class TLinkLabel : public QLabel {
    Q_OBJECT

  public:
    explicit TLinkLabel(const QString& Text, QWidget* Parent = nullptr);

  signals:
    void clicked();

  protected:
    void mouseReleaseEvent(QMouseEvent* Event) override;
};
