#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

// The in-memory file table: a generated RecId and three fixed-size string fields of
// UTF-8 bytes. Values are cut at the field's size, never inside a character.
// FILENAME holds a whole path of the platform.
enum class TMemField { RecId, FILENAME, EXTENSION, LASACTION };

inline constexpr size_t FILENAMESize = 4096;
inline constexpr size_t EXTENSIONSize = 10;
inline constexpr size_t LASACTIONSize = 125;

struct TMemRecord {
    int32_t RecId = 0;
    std::string FILENAME;
    std::string EXTENSION;
    std::string LASACTION;
};

class TMemData {
  public:
    bool Active() const { return fActive; }
    // Opening an open table does nothing; closing empties it.
    void SetActive(bool v);

    // Starts a new record (Insert) or an edit of the current one (Edit); Post writes it.
    void Insert();
    void Edit();
    void Post();
    void SetField(TMemField Field, const std::string& Value);
    std::string Field(TMemField Field) const;

    // Partial-key lookup: a string matches when it equals the key or begins with it
    // (an empty key matches no value by the prefix rule), case-sensitive; RecId is
    // compared as an integer. Both go through a sorted index. On a match the current
    // row moves there.
    bool Locate(TMemField KeyField, const std::string& KeyValue);

    int RecordCount() const { return int(fRecords.size()); }
    const TMemRecord& Record(int Row) const { return fRecords[size_t(Row)]; }
    int CurrentRow() const { return fCurrent; }
    void SetCurrentRow(int Row);

    // Raised before a row is added and before the table is emptied, so that a view can
    // announce the change ahead of it, as item models must.
    std::function<void(int Row)> OnRowInserting;
    std::function<void()> OnClearing;
    // Raised after a row was added or rewritten, and after the table was emptied.
    std::function<void(int Row)> OnRowInserted;
    std::function<void(int Row)> OnRowChanged;
    std::function<void()> OnCleared;

  private:
    enum class TState { Browse, Inserting, Editing };

    void IndexRecord(int Row);
    void UnindexRecord(int Row);

    bool fActive = false;
    std::vector<TMemRecord> fRecords;
    std::multimap<std::string, int32_t> fFileNameIndex; // FILENAME -> RecId
    std::map<int32_t, int> fRecIdIndex;                 // RecId -> row
    int fCurrent = -1;
    int32_t fNextRecId = 1;
    TState fState = TState::Browse;
    TMemRecord fBuffer;
};
