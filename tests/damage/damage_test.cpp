// Small analyses with each byte changed and cut at each length, read through every exported call.
#include <cstdlib>
#include <filesystem>
#include <set>

#include <gtest/gtest.h>
#include <malloc.h>

#include "fixtures/every_call.h"
#include "fixtures/process_state.h"
#include "fixtures/small_analyses.h"
#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"
#include "kovadata/kova.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kChanges[] = {0x01, 0x80, 0xFF};
constexpr long kMemoryLimitKilobytes = 192 << 10;  // three readers of a run have buffers of their own
constexpr unsigned kSecondsPerAnalysis = 2;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::size_t kDatabaseStride = 499;
constexpr bool kMemoryIsOurs = false;  // a sanitizer maps its own
#else
constexpr std::size_t kDatabaseStride = 67;
constexpr bool kMemoryIsOurs = true;
#endif

// Of the bytes of databases, which are many, one in so many is changed.
std::size_t databaseStride() {
    const char* const wish = std::getenv("KOVADATA_DAMAGE");
    return wish != nullptr && std::string(wish) == "full" ? 1 : kDatabaseStride;
}

std::set<std::string> filesIn(const fs::path& directory) {
    std::set<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

struct AnalysisCase {
    const char* name;
    int compression;
    bool recalibrated;
    bool withLog = false;
};

// The files that this analysis is there for; the others have one of their own.
bool isOfInterest(const AnalysisCase& c, const std::string& file) {
    if (c.recalibrated) {
        return file == "calibration.sqlite";
    }
    return !c.withLog || file.ends_with("-wal");
}

// What a writer that was killed leaves: everything is in the log.
void moveIntoLog(const fs::path& database) {
    fixtures::WriterProcess writer(database);
    EXPECT_EQ(writer.execute("PRAGMA journal_mode=WAL; VACUUM"), "");
    writer.kill();
}

class Damage : public testing::TestWithParam<AnalysisCase> {
protected:
    void SetUp() override {
        kova_set_num_threads(1);
        mallopt(M_ARENA_MAX, 1);  // each further one takes addresses
        const AnalysisCase& c = GetParam();
        calls = {.spectra = c.compression == 3, .recalibrated = c.recalibrated};
        (calls.spectra ? fixtures::smallSpectra() : fixtures::smallZorelRun(c.compression))
            .write(directory.path());
        if (c.recalibrated) {
            fixtures::writeSmallCalibrationStore(directory.path());
        }
        if (c.withLog) {
            moveIntoLog(directory.path() / "analysis.kvd");
        }
        files = filesIn(directory.path());
    }

    // Reads what is there now.
    void use(const std::string& file, const char* what, std::size_t where) {
        fixtures::startWatchdog(kSecondsPerAnalysis);
        try {
            total += fixtures::makeEveryCall(directory.path().string(), calls);
        } catch (const fixtures::BrokenContract& broken) {
            ADD_FAILURE() << file << ' ' << what << ' ' << where << ": " << broken.what();
        }
        fixtures::startWatchdog(0);
        ++cases;
        if (kMemoryIsOurs && fixtures::kilobytes("VmPeak") > memoryLimit) {
            ADD_FAILURE() << file << ' ' << what << ' ' << where << ": too much memory";
            memoryLimit = fixtures::kilobytes("VmPeak");
        }
    }

    void changeBytes(const std::string& file, std::size_t stride) {
        const Bytes intact = fixtures::contentOf(directory.path() / file);
        for (std::size_t i = 0; i < std::size(kChanges) * intact.size(); i += stride) {
            Bytes damaged = intact;
            damaged[i / std::size(kChanges)] ^= kChanges[i % std::size(kChanges)];
            directory.put(file, damaged);
            use(file, "changed at", i / std::size(kChanges));
        }
        directory.put(file, intact);
    }

    void cut(const std::string& file, std::size_t stride) {
        const Bytes intact = fixtures::contentOf(directory.path() / file);
        for (std::size_t size = 0; size < intact.size(); size += stride) {
            directory.put(file, std::span(intact).first(size));
            use(file, "cut at", size);
        }
        directory.put(file, intact);
    }

    fixtures::MemoryDirectory directory;
    fixtures::EveryCallOptions calls;
    std::set<std::string> files;
    fixtures::EveryCallResult total;
    unsigned cases = 0;
    long memoryLimit = fixtures::kilobytes("VmSize") + kMemoryLimitKilobytes;
};

TEST_P(Damage, EveryCallFailsWithATextOrAgreesWithItself) {
    const fixtures::EveryCallResult intact = fixtures::makeEveryCall(directory.path().string(), calls);
    for (const std::string& file : files) {
        if (!isOfInterest(GetParam(), file)) {
            continue;
        }
        const std::size_t stride = file.ends_with("_bin") ? 1 : databaseStride();
        changeBytes(file, stride);
        cut(file, stride);
    }
    EXPECT_EQ(filesIn(directory.path()), files) << "something was created beside the data";
    const fixtures::EveryCallResult again = fixtures::makeEveryCall(directory.path().string(), calls);
    EXPECT_EQ(again.failures, intact.failures) << "reading intact files depends on what was read before";
    EXPECT_GT(total.failures, intact.failures);
    std::printf("%u damaged analyses, %u calls, %u of them failed\n", cases, total.calls, total.failures);
}

INSTANTIATE_TEST_SUITE_P(Analyses, Damage,
                         testing::Values(AnalysisCase{"ScansCompressed", 1, false},
                                         AnalysisCase{"FramesCompressed", 2, false},
                                         AnalysisCase{"Spectra", 3, false},
                                         AnalysisCase{"Recalibrated", 2, true},
                                         AnalysisCase{"Log", 2, false, true}),
                         [](const auto& each) { return each.param.name; });

}  // namespace
