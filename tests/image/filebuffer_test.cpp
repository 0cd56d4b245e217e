#include "image/filebuffer.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "image/settings.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

std::string Read(TIEFileBuffer& Buffer, int64_t Position, int32_t Count) {
    auto* block = static_cast<char*>(Buffer.Map(Position, Count, iedRead));
    const std::string bytes(block, size_t(Count));
    Buffer.UnMap(block);
    return bytes;
}

} // namespace

// A sparse file would find out only on a later write that the disk is full, with nobody
// left to tell: the blocks are taken when the store is made.
TEST(FileBuffer, TemporaryFileIsNamedByTheRuleGoneAtOnceAndReserved) {
    TTempDir folder;
    TScopedGlobal<std::string> temp(TempPath, folder.Path()); // no trailing slash on purpose
    TIEFileBuffer buffer, defaulted;
    ASSERT_TRUE(buffer.AllocateFile(1 << 20, "IMG", true));
    const std::string name = buffer.FileName(), prefix = folder.Path() + "/IMG-";
    // Eight upper-case hex digits between the prefix and ".tmp".
    EXPECT_EQ(name.substr(0, prefix.size()) + name.substr(prefix.size() + 8), prefix + ".tmp") << name;
    EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF", prefix.size()), prefix.size() + 8) << name;
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()) && buffer.Size() == 1 << 20);
    struct stat info {};
    ASSERT_EQ(fstat(StoreDescriptor(buffer), &info), 0);
    EXPECT_GE(int64_t(info.st_blocks) * 512, int64_t(1) << 20);
    ASSERT_TRUE(defaulted.AllocateFile(1));
    EXPECT_NE(defaulted.FileName().find("/~ietemp-"), std::string::npos);
}

TEST(FileBuffer, MappingsAreCopiesWrittenBackByAccess) {
    for (bool useDisk : {true, false}) {
        TIEFileBuffer buffer;
        ASSERT_TRUE(buffer.AllocateFile(64, "~ietemp", useDisk));
        auto* block = static_cast<uint8_t*>(buffer.Map(10, 4, iedRead | iedWrite));
        EXPECT_EQ(block[0], 0);
        std::memcpy(block, "abcd", 4);
        buffer.UnMap(block);
        auto* readOnly = static_cast<uint8_t*>(buffer.Map(10, 4, iedRead));
        readOnly[0] = 'X';
        buffer.UnMap(readOnly);
        // Write-only mappings do not read: they start zeroed and overwrite the range.
        auto* writeOnly = static_cast<uint8_t*>(buffer.Map(11, 2, iedWrite));
        EXPECT_EQ(writeOnly[0], 0);
        writeOnly[0] = 'Y';
        const int32_t mapped = buffer.MappedCount();
        buffer.UnMapAll();
        EXPECT_EQ(std::make_pair(mapped, buffer.MappedCount()), std::make_pair(1, 0));
        EXPECT_EQ(Read(buffer, 10, 4), std::string("aY\0d", 4)) << useDisk;
    }
}

TEST(FileBuffer, CopyToNeedsEqualSizesAndImpossibleSizesFailQuietly) {
    TIEFileBuffer source, dest, other, impossible;
    ASSERT_TRUE(source.AllocateFile(3 << 20));
    ASSERT_TRUE(dest.AllocateFile(3 << 20, "~ietemp", false));
    ASSERT_TRUE(other.AllocateFile(10));
    auto* tail = static_cast<uint8_t*>(source.Map((3 << 20) - 1, 1, iedWrite));
    *tail = 42;
    source.UnMap(tail);
    EXPECT_TRUE(source.CopyTo(dest));
    EXPECT_EQ(Read(dest, (3 << 20) - 1, 1), "*");
    EXPECT_FALSE(source.CopyTo(other));

    EXPECT_FALSE(impossible.AllocateFile(int64_t(1) << 62) || impossible.IsAllocated() ||
                 impossible.AllocateFile(int64_t(1) << 62, "~ietemp", false) || impossible.AllocateFile(-1) ||
                 impossible.Map(0, 10, iedRead));
}
