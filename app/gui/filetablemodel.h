#pragma once

#include <QAbstractTableModel>
#include <cstdint>

#include "app/memdata.h"

// The header role that names a column's field, so that the grid's layout is stored by
// field name and survives a change in the column order.
inline constexpr int GridFieldNameRole = Qt::UserRole + 1;

// The grid's view of the batch core's file table: one row per record, the columns in the
// table's field order. It reads the table on demand and follows its changes through the
// table's events, so a row rewritten during a batch shows at once.
class TFileTableModel : public QAbstractTableModel {
    Q_OBJECT

  public:
    enum TColumn { ColRecId, ColFILENAME, ColEXTENSION, ColLASACTION, ColumnCount };

    explicit TFileTableModel(QObject* Parent = nullptr);
    ~TFileTableModel() override;

    // Binds the model to a table (nullptr unbinds). The model takes over the table's
    // row events for as long as it is bound.
    void SetMemData(TMemData* MemData);
    TMemData* MemData() const { return fMemData; }

    int32_t RecIdOfRow(int Row) const;

    int rowCount(const QModelIndex& Parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& Parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& Index, int Role = Qt::DisplayRole) const override;
    QVariant headerData(int Section, Qt::Orientation Orientation, int Role = Qt::DisplayRole) const override;
    Qt::ItemFlags flags(const QModelIndex& Index) const override;

  private:
    void Unbind();

    TMemData* fMemData = nullptr;
};
