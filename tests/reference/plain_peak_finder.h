#pragma once

#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <vector>

// The peak finder of summed profiles in its plainest form, which touches every bin, to hold the fast one
// against.
namespace reference {

struct WidthSegment {
    std::uint64_t start;
    std::uint64_t end;  // inclusive
    std::uint64_t width;

    friend bool operator==(const WidthSegment&, const WidthSegment&) = default;
};

struct WidthModel {
    double tA;
    double tDelay;
    double tBase;
    double D;
};

inline std::vector<WidthSegment> widthSegments(std::uint64_t n, const WidthModel& model) {
    const double intercept = (model.tA - model.tDelay) / model.tBase;
    const double slope = 2.0 * model.D;
    std::vector<WidthSegment> segments;
    std::uint64_t p = 0;
    int k = 1;
    while (p < n + 5000 && k <= 201) {
        const double x = k * slope + intercept;
        if (std::isfinite(x) && x >= 0) {
            const auto e = static_cast<std::uint64_t>(std::floor(std::fmin(x, 4e18)));
            if (e >= p) {
                segments.push_back({p, e, static_cast<std::uint64_t>(k)});
                p = e + 1;
            }
        }
        k += 2;
    }
    if (k == 201) {
        throw std::runtime_error("setWidths() reached maximum width.");
    }
    return segments;
}

struct Peaks {
    std::vector<double> positions;
    std::vector<float> intensities;
    std::vector<float> areas;

    friend bool operator==(const Peaks&, const Peaks&) = default;
};

struct Smoothed {
    std::vector<double> differences;
    std::vector<double> areas;
};

inline Smoothed smooth(const std::vector<int>& y, const std::vector<WidthSegment>& segments) {
    const auto n = static_cast<std::int64_t>(y.size());
    std::vector<double> S(y.size());
    std::uint32_t total = 0;
    for (std::size_t i = 0; i < y.size(); ++i) {
        total += static_cast<std::uint32_t>(y[i]);
        S[i] = static_cast<double>(static_cast<std::int32_t>(total));
    }
    Smoothed result{std::vector<double>(y.size()), std::vector<double>(y.size())};
    const auto at = [](std::vector<double>& values, std::int64_t i) -> double& {
        return values.at(static_cast<std::size_t>(i));
    };
    for (const WidthSegment& segment : segments) {
        const auto h = static_cast<std::int64_t>(segment.width / 2 + 1);
        if (n < 2 * h + 1) {
            return {std::vector<double>(y.size()), std::vector<double>(y.size())};
        }
        std::int64_t lo = std::max(static_cast<std::int64_t>(segment.start), h);
        lo = lo == 1 ? 2 : lo;
        std::int64_t hi = std::min(static_cast<std::int64_t>(segment.end), n - 1);
        hi = n > hi + h + 1 ? hi : n - 2 - h;
        if (lo > hi) {
            break;
        }
        const std::int64_t m = std::max<std::int64_t>(h, 3);
        for (std::int64_t i = lo; i <= hi; ++i) {
            at(result.differences, i) = (at(S, i + h) + at(S, i - h) - 2 * at(S, i)) / static_cast<double>(h);
            at(result.areas, i) = at(S, i + m - 1) - at(S, i + 1 - m);
        }
    }
    return result;
}

inline std::size_t startOfWideWindows(const std::vector<WidthSegment>& segments) {
    std::size_t start = 0;
    for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
        start = segment->width >= 3 ? segment->start : start;
    }
    return start;
}

inline double positionOf(std::int32_t lastPos, double posVal, std::int32_t lastNeg, double negVal) {
    if (lastPos == lastNeg) {
        return lastPos + 0.5 + posVal / (posVal - negVal);
    }
    if (lastNeg == lastPos + 1) {
        return lastPos + 0.5 + 2 * posVal / (posVal - negVal);
    }
    return lastPos + 1.0 + (lastNeg - lastPos) * 0.5;
}

inline Peaks maxima(const std::vector<int>& y, const Smoothed& smoothed,
                    const std::vector<WidthSegment>& segments, std::size_t shift, float threshold) {
    const std::size_t n = y.size();
    Peaks peaks;
    const auto report = [&](double position, float intensity, double area) {
        if (intensity > threshold) {
            peaks.positions.push_back(position);
            peaks.intensities.push_back(intensity);
            peaks.areas.push_back(static_cast<float>(area));
        }
    };
    if (n == 0 || 2 * shift > n) {
        return peaks;
    }
    if (n == 2 * shift + 1) {
        report(0.0, static_cast<float>(y[shift]), y[shift]);
        return peaks;
    }
    const std::size_t wideStart = startOfWideWindows(segments);
    std::int32_t lastPos = -1;
    std::int32_t lastNeg = -1;
    double posVal = 0;
    double negVal = 0;
    for (std::size_t i = 0; i + shift < n;) {
        const double d = smoothed.differences[i];
        if (d < 0) {
            lastNeg = static_cast<std::int32_t>(i) - 1;
            negVal = d;
        } else if (d > 0) {
            lastPos = static_cast<std::int32_t>(i);
            posVal = d;
        }
        ++i;
        if (lastPos == -1 || lastNeg == -1 || lastPos > lastNeg) {
            continue;
        }
        const double position = positionOf(lastPos, posVal, lastNeg, negVal) - static_cast<double>(shift);
        const auto k = static_cast<std::uint64_t>(static_cast<std::int64_t>(position));
        std::uint64_t first = k + shift;
        std::uint64_t last = k + shift + 1;
        if (wideStart < i) {
            first = shift + std::max<std::uint64_t>(k, 1) - 1;
            last = shift + (k + 1 < n ? k + 1 : k);
        }
        int intensity = y.at(first);
        double area = smoothed.areas.at(first);
        for (std::uint64_t j = first; j <= last; ++j) {
            intensity = std::max(intensity, y.at(j));
            area = std::max(area, smoothed.areas.at(j));
        }
        report(position, static_cast<float>(intensity), area);
        lastPos = lastNeg = -1;
    }
    return peaks;
}

inline Peaks findPeaks(const std::vector<int>& profile, const WidthModel& model, float threshold = 0.0F) {
    const std::vector<WidthSegment> segments =
        profile.empty() ? std::vector<WidthSegment>() : widthSegments(profile.size(), model);
    if (segments.empty()) {
        return {};
    }
    const std::size_t padding = 3 * segments.back().width + 3;
    if (profile.size() >= padding) {
        return maxima(profile, smooth(profile, segments), segments, 0, threshold);
    }
    std::vector<int> padded(profile.size() + 2 * padding);
    std::copy(profile.begin(), profile.end(), padded.begin() + static_cast<std::ptrdiff_t>(padding));
    return maxima(padded, smooth(padded, segments), segments, padding, threshold);
}

}  // namespace reference
