#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "io/fileerror.h"

// Byte streams the codecs read and write. Reads never go past the end: a short read
// returns what there was, and callers treat the shortfall as a truncated file.
class TIEStream {
  public:
    virtual ~TIEStream() = default;
    virtual size_t Read(void* Buffer, size_t Count) = 0;
    virtual size_t Write(const void* Buffer, size_t Count) = 0;
    virtual int64_t Position() const = 0;
    virtual void SetPosition(int64_t Pos) = 0;
    virtual int64_t Size() const = 0;
};

class TIEMemoryStream : public TIEStream {
  public:
    TIEMemoryStream() = default;
    explicit TIEMemoryStream(std::vector<uint8_t> Data) : fData(std::move(Data)) {}

    size_t Read(void* Buffer, size_t Count) override;
    size_t Write(const void* Buffer, size_t Count) override;
    int64_t Position() const override { return fPosition; }
    void SetPosition(int64_t Pos) override { fPosition = Pos < 0 ? 0 : Pos; }
    int64_t Size() const override { return int64_t(fData.size()); }

    void Clear();
    const std::vector<uint8_t>& Data() const { return fData; }

  private:
    std::vector<uint8_t> fData;
    int64_t fPosition = 0;
};

// Read opens regular files only, and never waits: a pipe or a device in its place
// fails at once instead of blocking the reader.
// Replace writes into a new file beside the target, which takes the target's place only
// at Commit; a write that fails or never ends (a full disk, a crash, a kill) leaves the
// target as it was.
enum class TIEFileMode { Read, Replace };

// Opening fails with EIEFileError carrying the system's reason, as the platform's file
// stream raises; callers that swallow failures catch it.
class TIEFileStream : public TIEStream {
  public:
    TIEFileStream(const std::string& FileName, TIEFileMode Mode);
    ~TIEFileStream() override;
    TIEFileStream(const TIEFileStream&) = delete;
    TIEFileStream& operator=(const TIEFileStream&) = delete;

    size_t Read(void* Buffer, size_t Count) override;
    size_t Write(const void* Buffer, size_t Count) override;
    int64_t Position() const override;
    void SetPosition(int64_t Pos) override;
    int64_t Size() const override;

    // Replace mode: puts what was written in the target's place. Raises EIEFileError,
    // and leaves the target untouched, when anything of it could not be written.
    void Commit();

  private:
    FILE* fFile = nullptr;
    std::string fFileName;
    // The file being written in Replace mode, until Commit renames it.
    std::string fPendingName;
    bool fReplacesExisting = false;
};
