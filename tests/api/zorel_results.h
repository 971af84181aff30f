#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "api/analysis.h"

// Spectra of precursors, read through the exported functions and kept.
namespace zorel {

struct Line {
    std::int64_t id;
    std::vector<double> mz;
    std::vector<float> intensities;

    friend bool operator==(const Line&, const Line&) = default;
};

struct Profile {
    std::int64_t id;
    std::vector<std::int32_t> bins;

    friend bool operator==(const Profile&, const Profile&) = default;
};

inline std::ostream& operator<<(std::ostream& out, const Line& line) {
    return out << "precursor " << line.id << " with " << line.mz.size() << " peaks";
}

inline std::ostream& operator<<(std::ostream& out, const Profile& profile) {
    return out << "precursor " << profile.id << " with " << profile.bins.size() << " bins";
}

// Callbacks that append to the std::vector of lines or profiles that the context points to.
void storeLine(std::int64_t id, std::uint32_t count, const double* mz, const float* intensities,
               void* context);
void storeProfile(std::int64_t id, std::uint32_t count, const std::int32_t* bins, void* context);

struct Result {
    std::string error;  // empty when the calls succeeded
    std::vector<Line> lines;
    std::vector<Profile> profiles;
};

// Lines and profiles of a selection; both calls must end in the same way.
Result readList(const api::Analysis& analysis, const std::vector<std::int64_t>& ids);
Result readFrame(const api::Analysis& analysis, std::int64_t frame);

}  // namespace zorel
