#pragma once

#include <QTableView>

// The grid's table: rows selected whole and many at a time, read-only, vertical lines
// only, an indicator column on the left, columns that share the width between them, a
// text when there are no rows, and a drop target for files from a file manager.
class TFileTableView : public QTableView {
    Q_OBJECT

  public:
    static constexpr int IndicatorWidth = 21;

    explicit TFileTableView(QWidget* Parent = nullptr);

    QString EmptyText() const { return fEmptyText; }

    // Spreads the visible columns over the view's width in their present proportions.
    void FitColumns();

  signals:
    // The local files of a drop, in the source's order.
    void FilesDropped(const QStringList& Files);

  protected:
    void paintEvent(QPaintEvent* Event) override;
    void resizeEvent(QResizeEvent* Event) override;
    void dragEnterEvent(QDragEnterEvent* Event) override;
    void dragMoveEvent(QDragMoveEvent* Event) override;
    void dropEvent(QDropEvent* Event) override;

  private:
    void ColumnResizedByUser(int Logical);
    bool OfferDrop(QDropEvent* Event);

    QString fEmptyText;
    bool fFitting = false;
};
