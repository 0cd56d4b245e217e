#pragma once

#include <QWidget>

#include "app/data.h"

class TFileTableFilter;
class TFileTableModel;
class TFileTableView;
class TGridFooter;

// The file table on screen: the table view over the batch core's table, filtered, with
// its footer. It is the batch's source of selected rows: the RecId behind each selected
// row, in selection order.
class TFileGrid : public QWidget, public TSelectionSource {
    Q_OBJECT

  public:
    explicit TFileGrid(QWidget* Parent = nullptr);

    void SetMemData(TMemData* MemData);

    TFileTableView* View() const { return fView; }
    TFileTableModel* Model() const { return fModel; }
    TFileTableFilter* Filter() const { return fFilter; }
    TGridFooter* Footer() const { return fFooter; }

    void SelectAll();

    int SelectedCount() const override;
    bool SelectedRecId(int Index, int32_t& RecId) const override;
    void ClearSelection() override;

  private:
    TFileTableModel* fModel;
    TFileTableFilter* fFilter;
    TFileTableView* fView;
    TGridFooter* fFooter;
    // Taken when the count is asked for, so that the batch reads one stable list.
    mutable QList<int> fSelectedSourceRows;
};
