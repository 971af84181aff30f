#include "sharing/left_behind.h"

#include <stdexcept>

#include "fixtures/temp_directory.h"
#include "fixtures/writer_process.h"

namespace sharing {

namespace fs = std::filesystem;

void writeAnalysis(const fs::path& directory, const std::string& journalMode) {
    fixtures::AnalysisBuilder()
        .frame(kFrame)
        .sql("COMMIT; PRAGMA journal_mode=" + journalMode + "; BEGIN")
        .write(directory);
}

std::string insertFrame(int id) {
    return "INSERT INTO Frames SELECT " + std::to_string(id) +
           ", Time, Polarity, ScanMode, MsMsType, KovaId, NumScans, NumPeaks, SummedIntensities, "
           "MaxIntensity, "
           "T1, T2, MzCalibration, KovaCalibration, AccumulationTime, RampTime FROM Frames WHERE Id=1";
}

const std::vector<LeftBehind>& allLeftBehind() {
    static const std::vector<LeftBehind> all = {
        {"nothing", "DELETE", false, false, false, 2},
        {"nothing in write-ahead mode", "WAL", false, false, false, 2},
        {"log and index", "WAL", true, true, true, 2},
        {"log without index", "WAL", true, true, false, 2},
        {"empty log", "WAL", true, false, false, 1},
        {"empty log and index", "WAL", true, false, true, 1},
    };
    return all;
}

void write(const LeftBehind& state, const fs::path& directory) {
    writeAnalysis(directory, state.journalMode);
    fixtures::WriterProcess writer(directory / "analysis.kvd");
    if (const std::string message = writer.execute(insertFrame(2)); !message.empty()) {
        throw std::runtime_error(message);
    }
    if (!state.killed) {
        return;
    }
    writer.kill();
    if (!state.withLog) {
        fs::resize_file(directory / "analysis.kvd-wal", 0);
    }
    if (!state.withIndex) {
        fs::remove(directory / "analysis.kvd-shm");
    }
}

std::map<std::string, File> everythingIn(const fs::path& directory) {
    std::map<std::string, File> files;
    for (const auto& entry : fs::directory_iterator(directory)) {
        files[entry.path().filename()] = {entry.last_write_time(), fixtures::contentOf(entry.path())};
    }
    return files;
}

}  // namespace sharing
