#pragma once

#include <QRegularExpression>
#include <QSortFilterProxyModel>

// The grid's filter over the file table. The text is matched without regard to case, and
// "*" stands for any run of characters; every other character stands for itself. A row
// passes when one of its visible columns contains a match, so "urlaub" finds the files
// whose path holds it and "*.png" those that hold ".png".
class TFileTableFilter : public QSortFilterProxyModel {
    Q_OBJECT

  public:
    explicit TFileTableFilter(QObject* Parent = nullptr);

    void SetFilterText(const QString& Text);
    QString FilterText() const { return fText; }

    static QRegularExpression PatternOf(const QString& Text);

  protected:
    bool filterAcceptsRow(int SourceRow, const QModelIndex& SourceParent) const override;

  private:
    QString fText;
    QRegularExpression fPattern;
};
