#include "io/metadata.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace {

constexpr uint8_t kAPP1 = 0xE1;
constexpr uint8_t kAPP2 = 0xE2;

std::vector<uint8_t> CopyBytes(const void* Data, size_t Length) {
    std::vector<uint8_t> bytes(Length);
    if (Length) std::memcpy(bytes.data(), Data, Length);
    return bytes;
}

bool StartsWith(const std::vector<uint8_t>& Data, const char* Text) {
    const size_t n = std::strlen(Text);
    return Data.size() >= n && std::memcmp(Data.data(), Text, n) == 0;
}

bool IsICCChunk(uint8_t Type, const std::vector<uint8_t>& Data) {
    return Type == kAPP2 && Data.size() > 14 && StartsWith(Data, "ICC_PROFILE");
}

} // namespace

int32_t TIEMarkerList::IndexOf(uint8_t Type) const {
    for (size_t i = 0; i < fMarkers.size(); ++i)
        if (fMarkers[i].Type == Type) return int32_t(i);
    return -1;
}

int32_t TIEMarkerList::AddMarker(uint8_t Type, const void* Data, uint16_t Length) {
    fMarkers.push_back({Type, CopyBytes(Data, Length)});
    return Count() - 1;
}

void TIEMarkerList::InsertMarker(int32_t Index, uint8_t Type, const void* Data, uint16_t Length) {
    if (Index < 0 || Index > Count()) throw std::out_of_range("TIEMarkerList::InsertMarker");
    fMarkers.insert(fMarkers.begin() + Index, TMarker{Type, CopyBytes(Data, Length)});
}

void TIEMarkerList::SetMarker(int32_t Index, uint8_t Type, const void* Data, uint16_t Length) {
    fMarkers.at(size_t(Index)) = TMarker{Type, CopyBytes(Data, Length)};
}

void TIEMarkerList::DeleteMarker(int32_t Index) {
    if (Index < 0 || Index >= Count()) throw std::out_of_range("TIEMarkerList::DeleteMarker");
    fMarkers.erase(fMarkers.begin() + Index);
}

void TIEMarkerList::DeleteMarkerInstances(uint8_t Type) {
    std::erase_if(fMarkers, [Type](const TMarker& m) { return m.Type == Type; });
}

void TIEMarkerList::ClearExcept(std::span<const uint8_t> KeptTypes) {
    std::erase_if(fMarkers, [KeptTypes](const TMarker& m) {
        return std::find(KeptTypes.begin(), KeptTypes.end(), m.Type) == KeptTypes.end();
    });
}

void TIEMarkerList::Sort() {
    // Entries of one code other than ICC chunks have no required order among them;
    // a stable sort keeps them as read, which a strict ordering of ICC chunks against
    // other APP2 blocks also needs to stay a valid comparison.
    auto key = [](const TMarker& m) {
        const int chunk = IsICCChunk(m.Type, m.Data) ? 1 + m.Data[12] : 0;
        return std::pair<int, int>(m.Type, chunk);
    };
    std::stable_sort(fMarkers.begin(), fMarkers.end(),
                     [&key](const TMarker& a, const TMarker& b) { return key(a) < key(b); });

    // Readers take the first APP1 as the EXIF block, so it has to lead.
    const int32_t first = IndexOf(kAPP1);
    if (first < 0) return;
    for (size_t i = size_t(first) + 1; i < fMarkers.size(); ++i)
        if (fMarkers[i].Type == kAPP1 && StartsWith(fMarkers[i].Data, "Exif"))
            std::swap(fMarkers[size_t(first)], fMarkers[i]);
}

int32_t TIEIPTCInfoList::AddStringItem(int32_t RecordNumber, int32_t DataSet, const std::string& Value) {
    return AddBufferItem(RecordNumber, DataSet, Value.data(), int32_t(Value.size()));
}

int32_t TIEIPTCInfoList::AddBufferItem(int32_t RecordNumber, int32_t DataSet, const void* Data,
                                       int32_t Length) {
    fItems.push_back({RecordNumber, DataSet, CopyBytes(Data, Length > 0 ? size_t(Length) : 0)});
    fUserChanged = true;
    return Count() - 1;
}

void TIEIPTCInfoList::InsertStringItem(int32_t Index, int32_t RecordNumber, int32_t DataSet,
                                       const std::string& Value) {
    if (Index < 0 || Index > Count()) throw std::out_of_range("TIEIPTCInfoList::InsertStringItem");
    fItems.insert(fItems.begin() + Index,
                  TItem{RecordNumber, DataSet, CopyBytes(Value.data(), Value.size())});
    fUserChanged = true;
}

std::string TIEIPTCInfoList::GetStringItem(int32_t Index) const {
    const std::vector<uint8_t>& data = GetItemData(Index);
    return std::string(data.begin(), data.end());
}

void TIEIPTCInfoList::SetRecordNumber(int32_t Index, int32_t Value) {
    fItems.at(size_t(Index)).RecordNumber = Value;
    fUserChanged = true;
}

void TIEIPTCInfoList::SetDataSet(int32_t Index, int32_t Value) {
    fItems.at(size_t(Index)).DataSet = Value;
    fUserChanged = true;
}

int32_t TIEIPTCInfoList::IndexOf(int32_t RecordNumber, int32_t DataSet) const {
    for (size_t i = 0; i < fItems.size(); ++i)
        if (fItems[i].RecordNumber == RecordNumber && fItems[i].DataSet == DataSet) return int32_t(i);
    return -1;
}

void TIEIPTCInfoList::DeleteItem(int32_t Index) {
    if (Index < 0 || Index >= Count()) throw std::out_of_range("TIEIPTCInfoList::DeleteItem");
    fItems.erase(fItems.begin() + Index);
    fUserChanged = true;
}

void TIEIPTCInfoList::Clear() {
    fItems.clear();
    fUserChanged = true;
}
