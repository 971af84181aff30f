// The copy of the index that a writer keeps beside its log; a file and a lock stand in for the writer.
#include "sqlite/log_index.h"

#include <cstring>
#include <fstream>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "fixtures/temp_directory.h"

namespace {

using lumo::sqlite::OpenFile;

constexpr int kRegion = 32768;
constexpr int kKeptOpen = 128;  // the byte that whoever has the index open locks

class CopyOfAnIndex : public testing::Test {
protected:
    void SetUp() override {
        put(5000, 1, 'a');
        writer = OpenFile::open(name.c_str());
        ASSERT_TRUE(writer != nullptr && writer->lock(kKeptOpen, 1));
    }
    void TearDown() override { writer->close(); }

    // Two regions with so many frames, and tables of this letter; the second header has others while a writer is at work.
    void put(std::uint32_t frames, std::uint64_t salt, char tables, std::uint32_t framesInSecond = 0) const {
        std::string bytes(2 * kRegion, tables);
        for (const std::size_t header : {0U, 48U}) {
            const bool isOther = header != 0 && framesInSecond != 0;
            std::memcpy(bytes.data() + header + 16, isOther ? &framesInSecond : &frames, sizeof frames);
            std::memcpy(bytes.data() + header + 32, &salt, sizeof salt);
        }
        std::ofstream(name, std::ios::binary) << bytes;
    }

    int map(int region, const char** memory) {
        void volatile* address = nullptr;
        const int code = index.map(region, kRegion, &address);
        *memory = static_cast<const char*>(const_cast<void*>(address));
        return code;
    }

    void expectTables(char first, char second) {
        EXPECT_EQ(index.lock(3, 1, SQLITE_SHM_LOCK | SQLITE_SHM_SHARED), SQLITE_OK);
        const char* regions[2] = {};
        EXPECT_TRUE(map(0, &regions[0]) == SQLITE_READONLY && map(1, &regions[1]) == SQLITE_READONLY);
        EXPECT_EQ((std::string{regions[0][200], regions[1][200]}), (std::string{first, second}));
        EXPECT_EQ(index.lock(3, 1, SQLITE_SHM_UNLOCK | SQLITE_SHM_SHARED), SQLITE_OK);
    }

    const fixtures::TempDirectory directory;
    const std::string name = (directory / "db-shm").string();
    OpenFile* writer = nullptr;
    lumo::sqlite::LogIndex index{name};
};

TEST_F(CopyOfAnIndex, IsReadAgainWhenALockIsTaken) {
    const char* memory = nullptr;
    EXPECT_EQ(map(0, &memory), SQLITE_READONLY);
    expectTables('a', 'a');
    put(5001, 1, 'b');
    expectTables('a', 'b');  // a frame was added to the second region
    put(5000, 2, 'c');
    expectTables('c', 'c');  // the log began again
    put(5000, 2, 'd', 4999);
    expectTables('c', 'd');
    put(5000, 2, 'e');
    expectTables('e', 'e');  // after a copy of which nothing is known
}

TEST_F(CopyOfAnIndex, CountsOnlyWhereSomebodyHasItOpenAndIsKeptOpenThen) {
    const char* memory = nullptr;
    EXPECT_EQ(map(0, &memory), SQLITE_READONLY);
    EXPECT_EQ(writer->lockOfOthers(kKeptOpen, 1), OpenFile::Lock::Shared);
    index.close();
    EXPECT_EQ(writer->lockOfOthers(kKeptOpen, 1), OpenFile::Lock::None);
    writer->unlock(kKeptOpen, 1);
    EXPECT_EQ(map(0, &memory), SQLITE_READONLY_CANTINIT);
}

}  // namespace
