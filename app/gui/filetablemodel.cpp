#include "app/gui/filetablemodel.h"

#include <QFile>

namespace {

// The table holds the file system's bytes; the local encoding turns them back into names.
QString FieldText(const std::string& Value) {
    return QFile::decodeName(QByteArray::fromStdString(Value));
}

} // namespace

TFileTableModel::TFileTableModel(QObject* Parent) : QAbstractTableModel(Parent) {}

TFileTableModel::~TFileTableModel() {
    Unbind();
}

void TFileTableModel::Unbind() {
    if (!fMemData) return;
    fMemData->OnRowInserting = nullptr;
    fMemData->OnRowInserted = nullptr;
    fMemData->OnRowChanged = nullptr;
    fMemData->OnClearing = nullptr;
    fMemData->OnCleared = nullptr;
    fMemData = nullptr;
}

void TFileTableModel::SetMemData(TMemData* MemData) {
    beginResetModel();
    Unbind();
    fMemData = MemData;
    if (fMemData) {
        fMemData->OnRowInserting = [this](int Row) { beginInsertRows(QModelIndex(), Row, Row); };
        fMemData->OnRowInserted = [this](int) { endInsertRows(); };
        fMemData->OnRowChanged = [this](int Row) {
            emit dataChanged(index(Row, 0), index(Row, ColumnCount - 1), {Qt::DisplayRole, Qt::ToolTipRole});
        };
        fMemData->OnClearing = [this] { beginResetModel(); };
        fMemData->OnCleared = [this] { endResetModel(); };
    }
    endResetModel();
}

int32_t TFileTableModel::RecIdOfRow(int Row) const {
    if (!fMemData || Row < 0 || Row >= fMemData->RecordCount()) return -1;
    return fMemData->Record(Row).RecId;
}

int TFileTableModel::rowCount(const QModelIndex& Parent) const {
    return Parent.isValid() || !fMemData ? 0 : fMemData->RecordCount();
}

int TFileTableModel::columnCount(const QModelIndex& Parent) const {
    return Parent.isValid() ? 0 : ColumnCount;
}

QVariant TFileTableModel::data(const QModelIndex& Index, int Role) const {
    if (!fMemData || !Index.isValid() || Index.row() >= fMemData->RecordCount()) return {};
    const TMemRecord& record = fMemData->Record(Index.row());
    if (Role == Qt::DisplayRole) {
        switch (Index.column()) {
        case ColRecId:
            return record.RecId;
        case ColFILENAME:
            return FieldText(record.FILENAME);
        case ColEXTENSION:
            return FieldText(record.EXTENSION);
        case ColLASACTION:
            return FieldText(record.LASACTION);
        }
    }
    // Long paths end in an ellipsis in their cell; the tip shows them whole.
    if (Role == Qt::ToolTipRole && Index.column() == ColFILENAME) return FieldText(record.FILENAME);
    return {};
}

QVariant TFileTableModel::headerData(int Section, Qt::Orientation Orientation, int Role) const {
    // The indicator column on the left carries no row numbers.
    if (Orientation != Qt::Horizontal) return {};
    static const char* const Captions[ColumnCount] = {"RecId", "ORIGINAL", "TYP", "LETZTE AKTION"};
    static const char* const FieldNames[ColumnCount] = {"RecId", "FILENAME", "EXTENSION", "LASACTION"};
    if (Section < 0 || Section >= ColumnCount) return {};
    if (Role == Qt::DisplayRole) return QString::fromLatin1(Captions[Section]);
    if (Role == GridFieldNameRole) return QString::fromLatin1(FieldNames[Section]);
    return {};
}

Qt::ItemFlags TFileTableModel::flags(const QModelIndex& Index) const {
    if (!Index.isValid()) return Qt::NoItemFlags;
    return Qt::ItemIsSelectable | Qt::ItemIsEnabled | Qt::ItemNeverHasChildren;
}
