#pragma once

#include <QButtonGroup>
#include <QWidget>

class QRadioButton;

// Radio buttons laid out in columns, filled column by column, with one checked item
// addressed by its index.
class TRadioGroup : public QWidget {
    Q_OBJECT

  public:
    TRadioGroup(const QStringList& Items, int Columns, QWidget* Parent = nullptr);

    int Count() const { return int(fButtons.size()); }
    QRadioButton* Button(int Index) const { return fButtons[Index]; }
    int Columns() const { return fColumns; }

    // -1 when nothing is checked. An index outside the items is ignored.
    int ItemIndex() const;
    void SetItemIndex(int Index);

  private:
    QButtonGroup fGroup;
    QList<QRadioButton*> fButtons;
    int fColumns;
};
