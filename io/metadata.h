#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The APPn and COM markers of a JPEG file, kept in file order: the code byte and the
// payload without the marker and its two length bytes.
class TIEMarkerList {
  public:
    int32_t Count() const { return int32_t(fMarkers.size()); }
    uint8_t GetMarkerType(int32_t Index) const { return fMarkers.at(size_t(Index)).Type; }
    const std::vector<uint8_t>& GetMarkerData(int32_t Index) const { return fMarkers.at(size_t(Index)).Data; }
    int32_t GetMarkerLength(int32_t Index) const { return int32_t(fMarkers.at(size_t(Index)).Data.size()); }
    // First entry with that code, or -1.
    int32_t IndexOf(uint8_t Type) const;

    // A marker's length field is 16 bits wide, so no payload can be longer.
    int32_t AddMarker(uint8_t Type, const void* Data, uint16_t Length);
    void InsertMarker(int32_t Index, uint8_t Type, const void* Data, uint16_t Length);
    void SetMarker(int32_t Index, uint8_t Type, const void* Data, uint16_t Length);
    void DeleteMarker(int32_t Index);
    void DeleteMarkerInstances(uint8_t Type);
    void Clear() { fMarkers.clear(); }
    void ClearExcept(std::span<const uint8_t> KeptTypes);

    // Order for writing: by code, ICC chunks by their number, and an EXIF block ahead
    // of the other APP1 blocks.
    void Sort();

  private:
    struct TMarker {
        uint8_t Type;
        std::vector<uint8_t> Data;
    };
    std::vector<TMarker> fMarkers;
};

// IPTC datasets in file order. UserChanged tells the JPEG writer that the list no
// longer matches the APP13 block it came from.
class TIEIPTCInfoList {
  public:
    int32_t Count() const { return int32_t(fItems.size()); }
    bool UserChanged() const { return fUserChanged; }
    void SetUserChanged(bool Value) { fUserChanged = Value; }

    int32_t AddStringItem(int32_t RecordNumber, int32_t DataSet, const std::string& Value);
    int32_t AddBufferItem(int32_t RecordNumber, int32_t DataSet, const void* Data, int32_t Length);
    void InsertStringItem(int32_t Index, int32_t RecordNumber, int32_t DataSet, const std::string& Value);
    const std::vector<uint8_t>& GetItemData(int32_t Index) const { return fItems.at(size_t(Index)).Data; }
    int32_t GetItemLength(int32_t Index) const { return int32_t(fItems.at(size_t(Index)).Data.size()); }
    std::string GetStringItem(int32_t Index) const;
    int32_t GetRecordNumber(int32_t Index) const { return fItems.at(size_t(Index)).RecordNumber; }
    void SetRecordNumber(int32_t Index, int32_t Value);
    int32_t GetDataSet(int32_t Index) const { return fItems.at(size_t(Index)).DataSet; }
    void SetDataSet(int32_t Index, int32_t Value);
    // First entry of that record and dataset, or -1.
    int32_t IndexOf(int32_t RecordNumber, int32_t DataSet) const;
    void DeleteItem(int32_t Index);
    void Clear();

  private:
    struct TItem {
        int32_t RecordNumber;
        int32_t DataSet;
        std::vector<uint8_t> Data;
    };
    std::vector<TItem> fItems;
    bool fUserChanged = false;
};
