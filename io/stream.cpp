#include "io/stream.h"

#include <cerrno>
#include <cstring>


size_t TIEMemoryStream::Read(void* Buffer, size_t Count) {
    if (fPosition >= int64_t(fData.size())) return 0;
    size_t available = fData.size() - size_t(fPosition);
    if (Count > available) Count = available;
    std::memcpy(Buffer, fData.data() + fPosition, Count);
    fPosition += int64_t(Count);
    return Count;
}

size_t TIEMemoryStream::Write(const void* Buffer, size_t Count) {
    size_t end = size_t(fPosition) + Count;
    if (end > fData.size()) fData.resize(end);
    std::memcpy(fData.data() + fPosition, Buffer, Count);
    fPosition = int64_t(end);
    return Count;
}

void TIEMemoryStream::Clear() {
    fData.clear();
    fPosition = 0;
}

TIEFileStream::TIEFileStream(const std::string& FileName, TIEFileMode Mode) {
    fFile = std::fopen(FileName.c_str(), Mode == TIEFileMode::Read ? "rb" : "wb");
    if (!fFile) {
        const char* verb = Mode == TIEFileMode::Read ? "Cannot open file \"" : "Cannot create file \"";
        throw EIEFileError(verb + FileName + "\". " + std::strerror(errno));
    }
}

TIEFileStream::~TIEFileStream() { std::fclose(fFile); }

size_t TIEFileStream::Read(void* Buffer, size_t Count) { return std::fread(Buffer, 1, Count, fFile); }

size_t TIEFileStream::Write(const void* Buffer, size_t Count) { return std::fwrite(Buffer, 1, Count, fFile); }

int64_t TIEFileStream::Position() const { return std::ftell(fFile); }

void TIEFileStream::SetPosition(int64_t Pos) { std::fseek(fFile, long(Pos), SEEK_SET); }

int64_t TIEFileStream::Size() const {
    long here = std::ftell(fFile);
    std::fseek(fFile, 0, SEEK_END);
    long size = std::ftell(fFile);
    std::fseek(fFile, here, SEEK_SET);
    return size;
}
