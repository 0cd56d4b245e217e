#include "image/filebuffer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <random>
#include <sys/statvfs.h>
#include <unistd.h>

#include "image/settings.h"

namespace {

class TIETemporaryFileStream : public TIEByteStore {
  public:
    TIETemporaryFileStream(int Handle, int64_t Size) : fHandle(Handle), fSize(Size) {}
    ~TIETemporaryFileStream() override { ::close(fHandle); }

    int64_t Size() const override { return fSize; }

    int64_t ReadAt(int64_t Position, void* Buffer, int64_t Count) override {
        int64_t done = 0;
        while (done < Count) {
            ssize_t n = ::pread(fHandle, static_cast<uint8_t*>(Buffer) + done, size_t(Count - done),
                                off_t(Position + done));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            done += n;
        }
        return done;
    }

    int64_t WriteAt(int64_t Position, const void* Buffer, int64_t Count) override {
        int64_t done = 0;
        while (done < Count) {
            ssize_t n = ::pwrite(fHandle, static_cast<const uint8_t*>(Buffer) + done, size_t(Count - done),
                                 off_t(Position + done));
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            done += n;
        }
        return done;
    }

  private:
    int fHandle;
    int64_t fSize;
};

class TIEMemoryStream : public TIEByteStore {
  public:
    TIEMemoryStream(uint8_t* Data, int64_t Size) : fData(Data), fSize(Size) {}
    ~TIEMemoryStream() override { std::free(fData); }

    int64_t Size() const override { return fSize; }

    int64_t ReadAt(int64_t Position, void* Buffer, int64_t Count) override {
        int64_t n = Clip(Position, Count);
        if (n > 0) std::memcpy(Buffer, fData + Position, size_t(n));
        return n;
    }

    int64_t WriteAt(int64_t Position, const void* Buffer, int64_t Count) override {
        int64_t n = Clip(Position, Count);
        if (n > 0) std::memcpy(fData + Position, Buffer, size_t(n));
        return n;
    }

  private:
    int64_t Clip(int64_t Position, int64_t Count) const {
        if (Position < 0 || Position >= fSize) return 0;
        return std::min(Count, fSize - Position);
    }

    uint8_t* fData;
    int64_t fSize;
};

std::string RandomHex8() {
    thread_local std::mt19937 generator{std::random_device{}()};
    std::uniform_int_distribution<uint32_t> below(0, 2147483646);
    char text[9];
    std::snprintf(text, sizeof text, "%08X", below(generator));
    return text;
}

// Refuses at once what can't fit. posix_fallocate would find out as well, but a file
// system that can't reserve has it emulated a block at a time.
bool RoomForFile(const std::string& Directory, int64_t Size) {
    struct statvfs info;
    if (::statvfs(Directory.c_str(), &info) != 0) return true;
    return uint64_t(Size) <= uint64_t(info.f_bavail) * uint64_t(info.f_frsize);
}

} // namespace

std::string IETemporaryDirectory() {
    std::string directory = TempPath;
    if (directory.empty()) {
        const char* fromEnvironment = std::getenv("TMPDIR");
        directory = fromEnvironment && *fromEnvironment ? fromEnvironment : "/tmp";
    }
    if (directory.back() != '/') directory += '/';
    return directory;
}

TIEFileBuffer::~TIEFileBuffer() {
    DeAllocate();
}

bool TIEFileBuffer::AllocateFile(int64_t InSize, const std::string& Descriptor, bool UseDisk) {
    DeAllocate();
    if (InSize < 0) return false;
    if (!UseDisk) {
        // More than the machine has would only live on overcommit until first touch.
        uint64_t physical = IETotalPhysicalMemory();
        if (physical != 0 && uint64_t(InSize) > physical) return false;
        // calloc hands large blocks over as untouched zero pages.
        auto* data = static_cast<uint8_t*>(std::calloc(size_t(std::max<int64_t>(InSize, 1)), 1));
        if (!data) return false;
        fSimFile = std::make_unique<TIEMemoryStream>(data, InSize);
        return true;
    }
    std::string directory = IETemporaryDirectory();
    if (!RoomForFile(directory, InSize)) return false;
    int handle = -1;
    std::string name;
    for (int attempt = 0; attempt < 1000 && handle < 0; ++attempt) {
        name = directory + Descriptor + "-" + RandomHex8() + ".tmp";
        // O_EXCL makes "no such file yet" and the creation one atomic step.
        handle = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (handle < 0 && errno != EEXIST) return false;
    }
    if (handle < 0) return false;
    ::unlink(name.c_str());
    // A sparse file would fail only on a later write-back, when the disk is full; the
    // blocks are taken now, so that a full disk is a failed allocation.
    int error = InSize > 0 ? ::posix_fallocate(handle, 0, off_t(InSize)) : 0;
    while (error == EINTR)
        error = ::posix_fallocate(handle, 0, off_t(InSize));
    if (error != 0) {
        ::close(handle);
        return false;
    }
    fFileName = name;
    fSimFile = std::make_unique<TIETemporaryFileStream>(handle, InSize);
    return true;
}

void TIEFileBuffer::DeAllocate() {
    UnMapAll();
    fSimFile.reset();
    fFileName.clear();
    fFailed = false;
}

void* TIEFileBuffer::Map(int64_t InPos, int64_t InSize, TIEDataAccess DataAccess) {
    if (InPos < 0 || InSize <= 0) return nullptr;
    std::unique_ptr<uint8_t[]> buffer(fSimFile ? new (std::nothrow) uint8_t[size_t(InSize)]() : nullptr);
    // Zeros in place of bytes that could not be read would pass for pixels.
    if (!buffer ||
        (IEHasAccess(DataAccess, iedRead) && fSimFile->ReadAt(InPos, buffer.get(), InSize) != InSize)) {
        fFailed = true;
        return nullptr;
    }
    void* result = buffer.get();
    fMapped.push_back(TIEFileBufferMapping{InPos, InSize, std::move(buffer), DataAccess});
    return result;
}

bool TIEFileBuffer::UnMap(void* Ptr) {
    // Searched from the end: the row mapped last is nearly always the one let go.
    for (auto it = fMapped.rbegin(); it != fMapped.rend(); ++it) {
        if (it->Buffer.get() != Ptr) continue;
        bool written = !IEHasAccess(it->Access, iedWrite) || !fSimFile ||
                       fSimFile->WriteAt(it->Position, it->Buffer.get(), it->Size) == it->Size;
        if (!written) fFailed = true;
        fMapped.erase(std::next(it).base());
        return written;
    }
    return true;
}

bool TIEFileBuffer::UnMapAll() {
    bool written = true;
    while (!fMapped.empty())
        written = UnMap(fMapped.back().Buffer.get()) && written;
    return written;
}

bool TIEFileBuffer::CopyTo(TIEFileBuffer& Dest) {
    if (!fSimFile || !Dest.fSimFile || Dest.Size() != Size()) return false;
    constexpr int64_t blockSize = 1 << 20;
    std::unique_ptr<uint8_t[]> block(new (std::nothrow) uint8_t[blockSize]);
    if (!block) return false;
    for (int64_t position = 0; position < Size(); position += blockSize) {
        int64_t count = std::min(blockSize, Size() - position);
        if (fSimFile->ReadAt(position, block.get(), count) != count ||
            Dest.fSimFile->WriteAt(position, block.get(), count) != count) {
            Dest.fFailed = true;
            return false;
        }
    }
    return true;
}
