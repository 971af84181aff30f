#include "kova/verbs/mgf_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

#include "kova/failure.h"

// Spectra as blocks of text. Intensities and times have no exponents, which not every reader of the format
// knows. A file is staged and gets its name in end(), so a run that fails or is interrupted leaves none
// that looks complete.
namespace kova_tool {
namespace {

constexpr int kMzDecimals = 6;

// A title ends with its line.
std::string titleName(const std::string& run) {
    const std::filesystem::path path = std::filesystem::path(run).lexically_normal();
    std::string name = (path.has_filename() ? path : path.parent_path()).filename().string();
    std::ranges::replace_if(
        name, [](char character) { return static_cast<unsigned char>(character) < ' '; }, '_');
    return name;
}

void writePrecursor(OutputBuffer& out, const PrecursorRow& precursor) {
    if (precursor.mz) {
        out << "PEPMASS=" << NumberText(*precursor.mz, kMzDecimals);
        if (precursor.intensity) {
            out << ' ' << NumberText::withoutExponent(*precursor.intensity);
        }
        out << '\n';
    }
    if (precursor.charge) {
        const bool isNegative = *precursor.charge < 0 || precursor.polarity == "-";
        out << "CHARGE=" << NumberText(std::abs(*precursor.charge)) << (isNegative ? "-\n" : "+\n");
    }
    if (precursor.time) {
        out << "RTINSECONDS=" << NumberText::withoutExponent(*precursor.time) << '\n';
    }
}

void writeTitle(OutputBuffer& out, const std::string& run, const PrecursorRow& precursor) {
    out << "TITLE=" << run << " precursor " << NumberText(precursor.id);
    if (precursor.parent) {
        out << " frame " << NumberText(*precursor.parent);
    }
    out << '\n';
}

}  // namespace

MgfFile::MgfFile(std::string filePath, const std::string& run)
    : path(std::move(filePath)), runName(titleName(run)) {
    if (path == "-") {
        out.emplace(STDOUT_FILENO);
        return;
    }
    staged.emplace(path);
    descriptor = ::open(staged->path().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (descriptor < 0) {
        throw Failure(path + ": " + std::generic_category().message(errno));
    }
    out.emplace(descriptor);
}

MgfFile::~MgfFile() {
    if (descriptor >= 0) {
        ::close(descriptor);
    }
}

bool MgfFile::add(const MsmsSpectrum& spectrum) {
    if (spectrum.mz.empty()) {
        ++leftOut;
        return true;
    }
    OutputBuffer& file = *out;
    file << "BEGIN IONS\n";
    writeTitle(file, runName, spectrum.precursor);
    writePrecursor(file, spectrum.precursor);
    if (spectrum.precursor.oneOverK0) {
        file << "ION_MOBILITY=" << NumberText(*spectrum.precursor.oneOverK0, kMzDecimals) << '\n';
    }
    for (std::size_t i = 0; i < spectrum.mz.size(); ++i) {
        file << NumberText(spectrum.mz[i], kMzDecimals) << ' '
             << NumberText::withoutExponent(spectrum.intensities[i]) << '\n';
    }
    file << "END IONS\n\n";
    ++written;
    peaksWritten += spectrum.mz.size();
    return !file.closed();
}

void MgfFile::end() {
    out->flush();
    if (!staged) {
        return;
    }
    staged->publish();
    OutputBuffer told;
    told << path << ": " << NumberText(written) << " spectra, " << NumberText(peaksWritten) << " peaks";
    if (leftOut > 0) {
        told << "; " << NumberText(leftOut) << " without peaks left out";
    }
    told << '\n';
    told.flush();
}

}  // namespace kova_tool
