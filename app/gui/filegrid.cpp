#include "app/gui/filegrid.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QVBoxLayout>

#include "app/gui/filetablefilter.h"
#include "app/gui/filetablemodel.h"
#include "app/gui/filetableview.h"
#include "app/gui/gridfooter.h"

TFileGrid::TFileGrid(QWidget* Parent)
    : QWidget(Parent), fModel(new TFileTableModel(this)), fFilter(new TFileTableFilter(this)),
      fView(new TFileTableView(this)) {
    fFilter->setSourceModel(fModel);
    fView->setModel(fFilter);
    fView->setColumnHidden(TFileTableModel::ColRecId, true);
    QHeaderView* header = fView->horizontalHeader();
    header->resizeSection(TFileTableModel::ColFILENAME, 282);
    header->resizeSection(TFileTableModel::ColEXTENSION, 56);
    header->resizeSection(TFileTableModel::ColLASACTION, 224);

    fFooter = new TGridFooter(fView, TFileTableModel::ColFILENAME, this);
    connect(fFooter->FilterEdit(), &QLineEdit::textChanged, fFilter, &TFileTableFilter::SetFilterText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(fView, 1);
    layout->addWidget(fFooter);
}

void TFileGrid::SetMemData(TMemData* MemData) {
    fModel->SetMemData(MemData);
}

void TFileGrid::SelectAll() {
    fView->selectAll();
}

int TFileGrid::SelectedCount() const {
    fSelectedSourceRows.clear();
    for (const QModelIndex& index : fView->selectionModel()->selectedRows())
        fSelectedSourceRows << fFilter->mapToSource(index).row();
    return int(fSelectedSourceRows.size());
}

bool TFileGrid::SelectedRecId(int Index, int32_t& RecId) const {
    if (Index < 0 || Index >= fSelectedSourceRows.size()) return false;
    RecId = fModel->RecIdOfRow(fSelectedSourceRows[Index]);
    return RecId >= 0;
}

void TFileGrid::ClearSelection() {
    fView->clearSelection();
    fSelectedSourceRows.clear();
}
