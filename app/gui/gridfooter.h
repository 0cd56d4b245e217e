#pragma once

#include <QWidget>

class QLineEdit;
class QTableView;

// The grid's footer: the count of the rows in view, under the column that carries it,
// and the filter box on the right.
class TGridFooter : public QWidget {
    Q_OBJECT

  public:
    TGridFooter(QTableView* View, int CountColumn, QWidget* Parent = nullptr);

    QLineEdit* FilterEdit() const { return fFilterEdit; }
    QString CountText() const;
    // Where the count stands, in the footer's coordinates: under its column.
    QRect CountRect() const;

    QSize sizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;

  private:
    QTableView* fView;
    int fCountColumn;
    QLineEdit* fFilterEdit;
};
