// Analyses that other programs write, or have written, while they are read.
#include <chrono>
#include <filesystem>
#include <future>

#include <gtest/gtest.h>

#include "api/analysis.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"
#include "sharing/left_behind.h"

namespace {

namespace fs = std::filesystem;
using fixtures::TempDirectory;
using fixtures::WriterProcess;
using sharing::insertFrame;
using sharing::kFrame;

void expectFrames(const api::Analysis& analysis, int count) {
    for (int frame = 1; frame <= count; ++frame) {
        EXPECT_EQ(analysis.errorOf(frame, 0, 3), "") << frame;
    }
    EXPECT_EQ(analysis.readRaw(count, 0, 3).peaks(3), kFrame);
    EXPECT_NE(analysis.errorOf(count + 1, 0, 3), "");
}

class Writers : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override { sharing::writeAnalysis(directory.path(), GetParam()); }

    TempDirectory directory;
    fs::path database = directory / "analysis.kvd";
};

TEST_P(Writers, NewFramesAreSeenByTheNextCall) {
    const api::Analysis analysis(directory.path());
    int frame = 1;
    expectFrames(analysis, frame);
    for (int generation = 0; generation < 3; ++generation) {
        WriterProcess writer(database);
        for (int i = 0; i < 3; ++i) {
            ASSERT_EQ(writer.execute(insertFrame(++frame)), "");
            expectFrames(analysis, frame);
        }
    }
    expectFrames(analysis, frame);
}

// The other way round SQLite would have to wait for readers.
TEST_P(Writers, MayChangeTheModeOfTheDatabase) {
    const std::string other = std::string(GetParam()) == "WAL" ? "DELETE" : "WAL";
    const api::Analysis analysis(directory.path());
    expectFrames(analysis, 1);
    {
        WriterProcess writer(database);
        ASSERT_EQ(writer.execute("PRAGMA journal_mode=" + other), "");
        ASSERT_EQ(writer.execute(insertFrame(2)), "");
        expectFrames(analysis, 2);
    }
    expectFrames(analysis, 2);
}

INSTANTIATE_TEST_SUITE_P(Modes, Writers, testing::Values("DELETE", "WAL"),
                         [](const auto& mode) { return std::string(mode.param); });

TEST(Lock, IsWaitedForWhileOthersHoldIt) {
    const TempDirectory base;
    const auto locked = [&](const std::string& mode, const std::string& statements) {
        sharing::writeAnalysis(base / mode, mode);
        auto writer = std::make_unique<WriterProcess>(base / mode / "analysis.kvd");
        EXPECT_EQ(writer->execute(statements), "");
        return writer;
    };
    const auto rollback = locked("DELETE", "BEGIN EXCLUSIVE");
    const auto writeAhead = locked("WAL", "PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE");
    const auto shared = locked("PERSIST", "BEGIN EXCLUSIVE");

    const auto begin = std::chrono::steady_clock::now();
    const auto openLocked = [&](const std::string& mode) {
        return std::async(std::launch::async, [&base, mode] {
            const std::uint64_t handle = kova_open((base / mode).c_str(), 0);
            const std::string result = handle != 0 ? "opened" : api::lastError();
            kova_close(handle);
            return result;
        });
    };
    auto neverFree = openLocked("DELETE");
    auto neverFreeInWriteAheadMode = openLocked("WAL");
    auto freeInTime = openLocked("PERSIST");
    EXPECT_EQ(freeInTime.wait_for(std::chrono::seconds(1)), std::future_status::timeout);
    EXPECT_EQ(shared->execute("COMMIT"), "");
    EXPECT_EQ(freeInTime.get(), "opened");
    EXPECT_EQ(neverFree.get(), "database is locked");
    EXPECT_EQ(neverFreeInWriteAheadMode.get(), "database is locked");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(15));
}

// Each log has more pages than one region of its index holds, and the new frame now after and now before most of them.
TEST(Log, ThatIsCopiedAndBeginsAgainIsFollowed) {
    const TempDirectory directory;
    sharing::writeAnalysis(directory.path(), "DELETE");
    WriterProcess writer(directory / "analysis.kvd");
    ASSERT_EQ(writer.execute("PRAGMA page_size=512; VACUUM; PRAGMA journal_mode=WAL; PRAGMA synchronous=OFF;"
                             "PRAGMA wal_autocheckpoint=0; CREATE TABLE Padding (V)"),
              "");
    const std::string fill =
        "INSERT INTO Padding WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 4500) "
        "SELECT zeroblob(450) FROM n;";
    const api::Analysis analysis(directory.path());
    int frame = 1;
    for (const char* const kind : {"PASSIVE", "FULL", "RESTART", "TRUNCATE"}) {
        const std::string insert = insertFrame(++frame) + ";";
        ASSERT_EQ(writer.execute(frame % 2 == 0 ? fill + insert : insert + fill), "");
        expectFrames(analysis, frame);
        EXPECT_EQ(writer.execute("PRAGMA wal_checkpoint(" + std::string(kind) + ")"), "");
        expectFrames(analysis, frame);
    }
}

TEST(Index, ThatIsCutCostsAnError) {
    const TempDirectory directory;
    write(sharing::allLeftBehind()[2], directory.path());
    WriterProcess writer(directory / "analysis.kvd");
    ASSERT_EQ(writer.execute("SELECT Id FROM Frames"), "");
    const api::Analysis analysis(directory.path());
    expectFrames(analysis, 2);
    fs::resize_file(directory / "analysis.kvd-shm", 0);
    EXPECT_EQ(analysis.errorOf(3, 0, 3),
              "attempt to write a readonly database (the index of its write-ahead log is not usable; open it "
              "for writing once)");
    writer.kill();
}

TEST(LeftBehind, IsReadWithoutATrace) {
    for (const sharing::LeftBehind& state : sharing::allLeftBehind()) {
        SCOPED_TRACE(state.name);
        const TempDirectory directory;
        write(state, directory.path());
        const auto before = sharing::everythingIn(directory.path());
        const api::Analysis analysis(directory.path());
        ASSERT_TRUE(analysis) << api::lastError();
        expectFrames(analysis, state.frames);
        EXPECT_EQ(sharing::everythingIn(directory.path()), before);
        {
            WriterProcess writer(directory / "analysis.kvd");
            ASSERT_EQ(writer.execute(insertFrame(state.frames + 1)), "");
            expectFrames(analysis, state.frames + 1);
        }
        expectFrames(analysis, state.frames + 1);
    }
}

TEST(LeftBehind, LogOfAnEmptyDatabaseStays) {
    const TempDirectory directory;
    write(sharing::allLeftBehind()[2], directory.path());
    fs::resize_file(directory / "analysis.kvd", 0);
    const auto before = sharing::everythingIn(directory.path());
    EXPECT_EQ(kova_open(directory.string().c_str(), 0), 0U);
    EXPECT_EQ(api::lastError(), "no such table: GlobalMetadata");
    EXPECT_EQ(sharing::everythingIn(directory.path()), before);
}

TEST(LeftBehind, UnfinishedChangeFailsWithWhatToDo) {
    const TempDirectory directory;
    sharing::writeAnalysis(directory.path(), "DELETE");
    WriterProcess writer(directory / "analysis.kvd");
    ASSERT_EQ(writer.execute(
                  "PRAGMA cache_size=1; BEGIN; UPDATE Frames SET KovaId=7; CREATE TABLE T AS WITH RECURSIVE "
                  "n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 20000) SELECT i FROM n"),
              "");
    writer.kill();
    const auto before = sharing::everythingIn(directory.path());
    EXPECT_EQ(kova_open(directory.string().c_str(), 0), 0U);
    EXPECT_EQ(api::lastError(),
              "attempt to write a readonly database (a change of it was not finished; open it for writing "
              "once, which takes the change back)");
    EXPECT_EQ(sharing::everythingIn(directory.path()), before);

    WriterProcess next(directory / "analysis.kvd");
    ASSERT_EQ(next.execute("SELECT Id FROM Frames"), "");
    expectFrames(api::Analysis(directory.path()), 1);
}

}  // namespace
