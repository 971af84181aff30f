// Every lock of SQLite's is taken inside the fork gate: a child that is forked while another thread has one would wait
// for it for ever. Each taking is looked at, since a fork seldom comes at the wrong moment.
#include <filesystem>
#include <string>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include "analysis-writer/sqlite_database.h"
#include "fixtures/every_call.h"
#include "fixtures/failure.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "sqlite/cppsqlite3.h"
#include "sys/fork_gate.h"

namespace {

namespace fs = std::filesystem;

sqlite3_mutex_methods locks{};
int takenInside = 0;
int takenOutside = 0;

// Counts how SQLite's locks are taken while it lives. SQLite takes them by functions that can be replaced before it is
// used.
class WatchedLocks {
public:
    WatchedLocks() {
        sqlite3_initialize();
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_GETMUTEX, &locks);
        sqlite3_mutex_methods watched = locks;
        watched.xMutexEnter = [](sqlite3_mutex* lock) {
            ++(lumo::sys::isInsideForkGate() ? takenInside : takenOutside);
            locks.xMutexEnter(lock);
        };
        replaceBy(watched);
    }
    WatchedLocks(const WatchedLocks&) = delete;
    WatchedLocks& operator=(const WatchedLocks&) = delete;
    ~WatchedLocks() { replaceBy(locks); }

private:
    static void replaceBy(sqlite3_mutex_methods& methods) {
        sqlite3_shutdown();
        sqlite3_config(SQLITE_CONFIG_MUTEX, &methods);
        takenInside = takenOutside = 0;
    }
};

class LocksOfSqlite : public testing::Test {
protected:
    void expectInside(const char* when) const {
        EXPECT_GT(takenInside, 0) << when;
        EXPECT_EQ(takenOutside, 0) << when;
    }

    fixtures::TempDirectory directory;
};

TEST_F(LocksOfSqlite, AreTakenInsideTheForkGateByEveryCall) {
    const fs::path scans = directory / "scans";
    const fs::path spectra = directory / "spectra";
    fixtures::smallZorelRun(2).write(scans);
    fixtures::writeSmallCalibrationStore(scans);
    fixtures::smallSpectra().write(spectra);
    for (const bool recalibrated : {false, true}) {
        const WatchedLocks watched;
        fixtures::makeEveryCall(scans.string(), {.recalibrated = recalibrated});
        expectInside("scans");
        fixtures::makeEveryCall(spectra.string(), {.spectra = true, .recalibrated = recalibrated});
        expectInside("spectra");
    }
}

TEST_F(LocksOfSqlite, AreTakenInsideTheForkGateWhenSomethingFails) {
    const fs::path file = directory / "db";
    analysis_writer::SqliteDatabase(file).execute(
        "CREATE TABLE T (V); INSERT INTO T VALUES (1), ('2'), (x'33'), (1.5)");
    const WatchedLocks watched;
    CppSQLite3DB db;
    EXPECT_NE(fixtures::failureOf([&] { db.open(directory / "none"); }), "none");
    db.open(file);
    for (const char* const text :
         {"SELEC", "SELECT V FROM U", "SELECT abs(-9223372036854775808), V FROM T", "SELECT V, V FROM T"}) {
        fixtures::failureOf([&] {
            CppSQLite3Query rows = db.execQuery(text);
            for (; !rows.eof(); rows.nextRow()) {
                static_cast<void>(rows.getStringField(0) +
                                  std::to_string(rows.getIntField(0) + rows.getFloatField(0)));
                rows.getBlobField(1);
            }
        });
    }
    expectInside("failures");
}

}  // namespace
