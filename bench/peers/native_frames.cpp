// Times reading frames as three arrays from C++: the library's and those of HDF5 files with the same peaks.
//
//     native_frames ROUNDS ANALYSIS HDF5... < LINES     one line per frame: its id and its number of scans
//
// Prints per source, in processor time: milliseconds per frame in random order (median), seconds for all frames (fastest
// round); then a checksum of all arrays.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iostream>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include <hdf5.h>
#include <zlib.h>

#include "kovadata/kova.h"

namespace {

struct FrameKey {
    std::int64_t id;
    std::uint32_t scans;
};

// The arrays are reused from frame to frame, as a caller would who cares for speed.
struct Frame {
    std::vector<std::uint32_t> scan;
    std::vector<std::uint32_t> index;
    std::vector<std::uint32_t> intensity;
};

using ReadFrame = std::function<void(const FrameKey& key, Frame& frame)>;

struct Source {
    ReadFrame read;
    std::vector<double> frameSeconds;
    std::vector<double> totalSeconds;
};

void unpack(std::span<const std::uint32_t> words, std::uint32_t scans, Frame& frame) {
    const std::size_t peaks = (words.size() - scans) / 2;
    for (auto* const values : {&frame.scan, &frame.index, &frame.intensity}) {
        values->resize(peaks);
    }
    const std::uint32_t* next = words.data() + scans;
    std::size_t done = 0;
    for (std::uint32_t scan = 0; scan < scans; ++scan) {
        const std::uint32_t count = words[scan];
        std::fill_n(frame.scan.data() + done, count, scan);
        std::copy_n(next, count, frame.index.data() + done);
        std::copy_n(next + count, count, frame.intensity.data() + done);
        next += 2 * std::size_t{count};
        done += count;
    }
}

// Stays open until the program ends.
ReadFrame openAnalysis(const char* directory) {
    const std::uint64_t handle = kova_open(directory, 0);
    if (handle == 0) {
        throw std::runtime_error("the analysis cannot be opened");
    }
    return [handle, buffer = std::vector<std::uint32_t>(1U << 24)](const FrameKey& key,
                                                                   Frame& frame) mutable {
        const std::uint32_t capacity = static_cast<std::uint32_t>(4 * buffer.size());
        const std::uint32_t size = kova_read_scans_v2(handle, key.id, 0, key.scans, buffer.data(), capacity);
        if (size == 0 || size > capacity) {
            throw std::runtime_error("a frame of the analysis cannot be read");
        }
        unpack({buffer.data(), size / 4}, key.scans, frame);
    };
}

void readDataSet(hid_t file, const std::string& name, std::vector<std::uint32_t>& values) {
    const hid_t set = H5Dopen2(file, name.c_str(), H5P_DEFAULT);
    const hid_t space = H5Dget_space(set);
    values.resize(static_cast<std::size_t>(std::max<hssize_t>(0, H5Sget_simple_extent_npoints(space))));
    const herr_t status = H5Dread(set, H5T_NATIVE_UINT32, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data());
    H5Sclose(space);
    H5Dclose(set);
    if (status < 0) {
        throw std::runtime_error("data set " + name + " cannot be read");
    }
}

ReadFrame openHdf5(const char* path) {
    const hid_t file = H5Fopen(path, H5F_ACC_RDONLY, H5P_DEFAULT);
    return [file](const FrameKey& key, Frame& frame) {
        const std::string group = std::to_string(key.id);
        readDataSet(file, group + "/scan", frame.scan);
        readDataSet(file, group + "/index", frame.index);
        readDataSet(file, group + "/intensity", frame.intensity);
    };
}

double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

double secondsOf(const std::function<void()>& work) {
    const double begin = processorSeconds();
    work();
    return processorSeconds() - begin;
}

void runRound(Source& source, const std::vector<FrameKey>& ordered, const std::vector<FrameKey>& shuffled,
              Frame& frame) {
    for (const FrameKey& key : shuffled) {
        source.frameSeconds.push_back(secondsOf([&] { source.read(key, frame); }));
    }
    source.totalSeconds.push_back(secondsOf([&] {
        for (const FrameKey& key : ordered) {
            source.read(key, frame);
        }
    }));
}

unsigned long checksum(const Source& source, const std::vector<FrameKey>& frames, Frame& frame) {
    unsigned long sum = crc32(0, nullptr, 0);
    for (const FrameKey& key : frames) {
        source.read(key, frame);
        for (const auto* const values : {&frame.scan, &frame.index, &frame.intensity}) {
            if (!values->empty()) {
                sum = crc32_z(sum, reinterpret_cast<const Bytef*>(values->data()), 4 * values->size());
            }
        }
    }
    return sum;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values.empty() ? 0 : (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

double fastest(const std::vector<double>& values) {
    return values.empty() ? 0 : *std::min_element(values.begin(), values.end());
}

std::vector<FrameKey> readKeys(std::istream& input) {
    std::vector<FrameKey> keys;
    for (FrameKey key{}; input >> key.id >> key.scans;) {
        keys.push_back(key);
    }
    return keys;
}

void run(int rounds, const char* analysis, std::span<char*> files) {
    std::vector<Source> sources{{openAnalysis(analysis), {}, {}}};
    for (const char* const file : files) {
        sources.push_back({openHdf5(file), {}, {}});
    }
    const std::vector<FrameKey> ordered = readKeys(std::cin);
    std::vector<FrameKey> shuffled = ordered;
    std::mt19937 random(1);
    Frame frame;
    std::vector<unsigned long> sums;
    for (const Source& source : sources) {
        sums.push_back(checksum(source, ordered, frame));
    }
    for (int round = 0; round < rounds; ++round) {
        std::shuffle(shuffled.begin(), shuffled.end(), random);
        for (Source& source : sources) {
            runRound(source, ordered, shuffled, frame);
        }
    }
    for (std::size_t i = 0; i < sources.size(); ++i) {
        std::printf("%.9f %.9f %lu\n", 1e3 * median(sources[i].frameSeconds),
                    fastest(sources[i].totalSeconds), sums[i]);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fputs("native_frames ROUNDS ANALYSIS HDF5... < LINES\n", stderr);
        return 2;
    }
    try {
        run(std::atoi(argv[1]), argv[2], {argv + 3, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "native_frames: %s\n", error.what());
        return 1;
    }
    return 0;
}
