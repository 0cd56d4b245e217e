#include "io/stream.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

namespace {

[[noreturn]] void Fail(const char* Verb, const std::string& FileName, const char* Reason) {
    throw EIEFileError(std::string(Verb) + " \"" + FileName + "\". " + Reason);
}

int OpenRegularForReading(const std::string& FileName) {
    // Without O_NONBLOCK opening a pipe waits for a writer that may never come.
    int handle = ::open(FileName.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (handle < 0) Fail("Cannot open file", FileName, std::strerror(errno));
    struct stat info;
    if (::fstat(handle, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(handle);
        Fail("Cannot open file", FileName, "Not a regular file");
    }
    ::fcntl(handle, F_SETFL, ::fcntl(handle, F_GETFL) & ~O_NONBLOCK);
    return handle;
}

// A short name of its own beside the target: the target's name may already use up the
// length a name can have.
int CreatePendingFile(const std::string& FileName, std::string& PendingName) {
    static std::atomic<uint32_t> counter{std::random_device{}()};
    const size_t slash = FileName.rfind('/');
    const std::string folder = slash == std::string::npos ? std::string() : FileName.substr(0, slash + 1);
    for (int attempt = 0; attempt < 100; ++attempt) {
        char name[40];
        std::snprintf(name, sizeof name, ".pw-%d-%08x.tmp", int(::getpid()), unsigned(counter++));
        PendingName = folder + name;
        // 0666 under the umask, as the target would have been made.
        int handle = ::open(PendingName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (handle >= 0 || errno != EEXIST) return handle;
    }
    errno = EEXIST;
    return -1;
}

} // namespace

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

TIEFileStream::TIEFileStream(const std::string& FileName, TIEFileMode Mode) : fFileName(FileName) {
    if (Mode == TIEFileMode::Read) {
        const int handle = OpenRegularForReading(FileName);
        fFile = ::fdopen(handle, "rb");
        if (!fFile) {
            ::close(handle);
            Fail("Cannot open file", FileName, std::strerror(errno));
        }
        return;
    }
    struct stat target;
    fReplacesExisting = ::stat(FileName.c_str(), &target) == 0;
    int handle = CreatePendingFile(FileName, fPendingName);
    if (handle < 0) {
        fPendingName.clear();
        Fail("Cannot create file", FileName, std::strerror(errno));
    }
    fFile = ::fdopen(handle, "wb");
    if (!fFile) {
        ::close(handle);
        Fail("Cannot create file", FileName, std::strerror(errno));
    }
}

TIEFileStream::~TIEFileStream() {
    if (fFile) std::fclose(fFile);
    if (!fPendingName.empty()) ::unlink(fPendingName.c_str());
}

void TIEFileStream::Commit() {
    if (fPendingName.empty()) return;
    // A write that failed earlier leaves no errno behind: EIO stands for it.
    errno = 0;
    int reason = 0;
    if (std::fflush(fFile) != 0 || std::ferror(fFile)) reason = errno ? errno : EIO;
    // Only a file that replaces another must survive a crash of the machine as a whole:
    // without the sync, the rename can reach the disk before the data.
    else if (fReplacesExisting && ::fdatasync(::fileno(fFile)) != 0)
        reason = errno;
    if (std::fclose(fFile) != 0 && reason == 0) reason = errno ? errno : EIO;
    fFile = nullptr;
    if (reason != 0) Fail("Cannot write file", fFileName, std::strerror(reason));
    if (::rename(fPendingName.c_str(), fFileName.c_str()) != 0)
        Fail("Cannot create file", fFileName, std::strerror(errno));
    fPendingName.clear();
}

size_t TIEFileStream::Read(void* Buffer, size_t Count) {
    return fFile ? std::fread(Buffer, 1, Count, fFile) : 0;
}

size_t TIEFileStream::Write(const void* Buffer, size_t Count) {
    return fFile ? std::fwrite(Buffer, 1, Count, fFile) : 0;
}

int64_t TIEFileStream::Position() const {
    return fFile ? ::ftello(fFile) : 0;
}

void TIEFileStream::SetPosition(int64_t Pos) {
    if (fFile) ::fseeko(fFile, off_t(Pos), SEEK_SET);
}

int64_t TIEFileStream::Size() const {
    if (!fFile) return 0;
    off_t here = ::ftello(fFile);
    ::fseeko(fFile, 0, SEEK_END);
    off_t size = ::ftello(fFile);
    ::fseeko(fFile, here, SEEK_SET);
    return size;
}
