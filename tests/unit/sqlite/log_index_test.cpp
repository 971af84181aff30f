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

    // A letter of the tables of a region, or how mapping it fails.
    std::string tableOf(int region) {
        void volatile* memory = nullptr;
        const int code = index.map(region, kRegion, &memory);
        return memory != nullptr ? std::string(1, static_cast<const char volatile*>(memory)[200])
                                 : sqlite3_errstr(code);
    }

    std::string tablesAfterALock() {
        EXPECT_EQ(index.lock(3, 1, SQLITE_SHM_LOCK | SQLITE_SHM_SHARED), SQLITE_OK);
        EXPECT_EQ(index.lock(3, 1, SQLITE_SHM_UNLOCK | SQLITE_SHM_SHARED), SQLITE_OK);
        return tableOf(0) + tableOf(1);
    }

    const fixtures::TempDirectory directory;
    const std::string name = (directory / "db-shm").string();
    OpenFile* writer = nullptr;
    lumo::sqlite::LogIndex index{name};
};

TEST_F(CopyOfAnIndex, IsReadAgainWhenALockIsTaken) {
    EXPECT_EQ(tableOf(0) + tableOf(1), "aa");
    put(5001, 1, 'b');
    EXPECT_EQ(tablesAfterALock(), "ab") << "a frame was added to the second region";
    put(5000, 2, 'c');
    EXPECT_EQ(tablesAfterALock(), "cc") << "the log began again";
    put(5000, 2, 'd', 4999);
    EXPECT_EQ(tablesAfterALock(), "cd");
    put(5000, 2, 'e');
    EXPECT_EQ(tablesAfterALock(), "ee") << "nothing is known of the copy before";
}

TEST_F(CopyOfAnIndex, CountsOnlyWhereSomebodyHasItOpenAndIsKeptOpenThen) {
    EXPECT_EQ(tableOf(0), "a");
    EXPECT_EQ(writer->lockOfOthers(kKeptOpen, 1), OpenFile::Lock::Shared);
    index.close();
    EXPECT_EQ(writer->lockOfOthers(kKeptOpen, 1), OpenFile::Lock::None);
    writer->unlock(kKeptOpen, 1);
    EXPECT_NE(tableOf(0), "a");
}

}  // namespace
