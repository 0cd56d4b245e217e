#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Access wanted on a mapped block; a bit set.
enum TIEDataAccess : uint8_t {
    iedRead = 1,
    iedWrite = 2,
};
constexpr TIEDataAccess operator|(TIEDataAccess a, TIEDataAccess b) {
    return TIEDataAccess(uint8_t(a) | uint8_t(b));
}
constexpr TIEDataAccess operator&(TIEDataAccess a, TIEDataAccess b) {
    return TIEDataAccess(uint8_t(a) & uint8_t(b));
}
constexpr bool IEHasAccess(TIEDataAccess Set, TIEDataAccess Flag) {
    return (uint8_t(Set) & uint8_t(Flag)) != 0;
}

// Byte store behind a simulated memory map; a temporary file or a block of memory.
class TIEByteStore {
  public:
    virtual ~TIEByteStore() = default;
    virtual int64_t Size() const = 0;
    // Both return the number of bytes moved; short counts at the end or on error.
    virtual int64_t ReadAt(int64_t Position, void* Buffer, int64_t Count) = 0;
    virtual int64_t WriteAt(int64_t Position, const void* Buffer, int64_t Count) = 0;
};

// A simulated memory map: Map hands out a private copy of a byte range and UnMap
// writes it back. Copies rather than operating-system views let one image be larger
// than the address space can map, and keep the resident set to the rows in use.
class TIEFileBuffer {
  public:
    TIEFileBuffer() = default;
    ~TIEFileBuffer();
    TIEFileBuffer(const TIEFileBuffer&) = delete;
    TIEFileBuffer& operator=(const TIEFileBuffer&) = delete;

    // Creates a zero-filled store of InSize bytes, after releasing any previous one.
    // UseDisk false keeps the bytes in memory. Returns false when the store can't be made.
    bool AllocateFile(int64_t InSize, const std::string& Descriptor = "~ietemp", bool UseDisk = true);
    void DeAllocate();
    bool IsAllocated() const { return fSimFile != nullptr; }
    int64_t Size() const { return fSimFile ? fSimFile->Size() : 0; }
    // The name the temporary file was created under; it is unlinked at once, so the
    // file never outlives the process, even one that is killed.
    const std::string& FileName() const { return fFileName; }

    // Null if the store is missing, the buffer can't be had or the bytes can't all be
    // read, each of which marks the store as failed.
    void* Map(int64_t InPos, int64_t InSize, TIEDataAccess DataAccess);
    // Writes a block mapped for writing back. False if that write came short, which
    // marks the store as failed.
    bool UnMap(void* Ptr);
    bool UnMapAll();
    int32_t MappedCount() const { return int32_t(fMapped.size()); }
    // A map or a write-back has failed since the store was made or let go: part of
    // what was written is not in it, or can't be read back.
    bool Failed() const { return fFailed; }

    // Copies the whole store into Dest, which must have the same size. Open mappings
    // on either side are not looked at.
    bool CopyTo(TIEFileBuffer& Dest);

  private:
    struct TIEFileBufferMapping {
        int64_t Position;
        int64_t Size;
        std::unique_ptr<uint8_t[]> Buffer;
        TIEDataAccess Access;
    };

    std::unique_ptr<TIEByteStore> fSimFile;
    std::string fFileName;
    std::vector<TIEFileBufferMapping> fMapped;
    bool fFailed = false;
};

// Directory for temporary files, with a trailing slash: TempPath if set, else TMPDIR, else /tmp.
std::string IETemporaryDirectory();
