#include "app/gui/radiogroup.h"

#include <QGridLayout>
#include <QRadioButton>

TRadioGroup::TRadioGroup(const QStringList& Items, int Columns, QWidget* Parent)
    : QWidget(Parent), fColumns(Columns < 1 ? 1 : Columns) {
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->setVerticalSpacing(4);
    const int perColumn = (int(Items.size()) + fColumns - 1) / fColumns;
    for (int i = 0; i < Items.size(); ++i) {
        auto* button = new QRadioButton(Items[i], this);
        fGroup.addButton(button, i);
        fButtons << button;
        layout->addWidget(button, i % perColumn, i / perColumn);
    }
}

int TRadioGroup::ItemIndex() const {
    return fGroup.checkedId();
}

void TRadioGroup::SetItemIndex(int Index) {
    if (Index >= 0 && Index < Count()) fButtons[Index]->setChecked(true);
}
