#include "image/filebuffer.h"

#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "image/settings.h"
#include "tests/image/bitmaptestutil.h"
#include "tests/testutil.h"

namespace {

TEST(FileBuffer, TemporaryNameFollowsTheRuleAndTheFileIsGoneAtOnce) {
    TTempDir folder;
    TScopedGlobal<std::string> temp(TempPath, folder.Path()); // no trailing slash on purpose
    TIEFileBuffer buffer;
    ASSERT_TRUE(buffer.AllocateFile(100, "IMG", true));
    const std::string name = buffer.FileName(), prefix = folder.Path() + "/IMG-";
    ASSERT_EQ(name.size(), prefix.size() + 12) << name;
    EXPECT_EQ(name.substr(0, prefix.size()), prefix);
    EXPECT_EQ(name.find_first_not_of("0123456789ABCDEF", prefix.size()), prefix.size() + 8) << name;
    EXPECT_EQ(name.substr(prefix.size() + 8), ".tmp");
    EXPECT_FALSE(std::filesystem::exists(buffer.FileName()));
    EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
    EXPECT_EQ(buffer.Size(), 100);

    TIEFileBuffer defaulted;
    ASSERT_TRUE(defaulted.AllocateFile(1));
    EXPECT_NE(defaulted.FileName().find("/~ietemp-"), std::string::npos);
    EXPECT_NE(defaulted.FileName(), buffer.FileName());
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
        EXPECT_EQ(std::memcmp(readOnly, "abcd", 4), 0);
        readOnly[0] = 'X';
        buffer.UnMap(readOnly);

        // Write-only mappings do not read: they start zeroed and overwrite the range.
        auto* writeOnly = static_cast<uint8_t*>(buffer.Map(11, 2, iedWrite));
        EXPECT_EQ(writeOnly[0], 0);
        writeOnly[0] = 'Y';
        EXPECT_EQ(buffer.MappedCount(), 1);
        buffer.UnMapAll();
        EXPECT_EQ(buffer.MappedCount(), 0);

        auto* check = static_cast<uint8_t*>(buffer.Map(10, 4, iedRead));
        EXPECT_EQ(std::string(reinterpret_cast<char*>(check), 4), std::string("aY\0d", 4)) << useDisk;
        buffer.UnMap(check);
    }
}

TEST(FileBuffer, CopyToNeedsEqualSizes) {
    TIEFileBuffer source, dest, other;
    ASSERT_TRUE(source.AllocateFile(3 << 20));
    ASSERT_TRUE(dest.AllocateFile(3 << 20, "~ietemp", false));
    ASSERT_TRUE(other.AllocateFile(10));
    auto* tail = static_cast<uint8_t*>(source.Map((3 << 20) - 1, 1, iedWrite));
    *tail = 42;
    source.UnMap(tail);
    EXPECT_TRUE(source.CopyTo(dest));
    tail = static_cast<uint8_t*>(dest.Map((3 << 20) - 1, 1, iedRead));
    EXPECT_EQ(*tail, 42);
    dest.UnMap(tail);
    EXPECT_FALSE(source.CopyTo(other));
}

// A sparse file would find out only on a later write that the disk is full, with nobody
// left to tell; the blocks are taken when the store is made.
TEST(FileBuffer, SpaceIsReservedWhenTheStoreIsMade) {
    TIEFileBuffer buffer;
    ASSERT_TRUE(buffer.AllocateFile(1 << 20, "IMG", true));
    struct stat info {};
    ASSERT_EQ(fstat(StoreDescriptor(buffer), &info), 0);
    EXPECT_GE(int64_t(info.st_blocks) * 512, int64_t(1) << 20);
}

TEST(FileBuffer, ImpossibleSizesFailQuietly) {
    TIEFileBuffer buffer;
    EXPECT_FALSE(buffer.AllocateFile(int64_t(1) << 62));
    EXPECT_FALSE(buffer.IsAllocated());
    EXPECT_FALSE(buffer.AllocateFile(int64_t(1) << 62, "~ietemp", false));
    EXPECT_FALSE(buffer.AllocateFile(-1));
    EXPECT_EQ(buffer.Map(0, 10, iedRead), nullptr);
}

} // namespace
