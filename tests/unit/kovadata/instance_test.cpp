#include "kovadata/instance.h"

#include <sstream>

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>

#include "fixtures/analysis_builder.h"
#include "fixtures/temp_directory.h"
#include "kovadata/interface_family.h"
#include "kovadata/last_error.h"
#include "logging/backend.h"

namespace {

using lumo::io::Instance;
using lumo::io::KovaInterface;
using lumo::io::KvsInterface;
using lumo::io::LastError;

// Each fetch of a mass transformator leaves one line in this log.
class Instances : public testing::Test {
protected:
    Instances() {
        auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(log);
        sink->set_pattern("%v");
        const char* const reader = "lumo.io.kova_calibration.KvdCalibrationReaderImpl";
        lumo::logging::configure({{{reader, lumo::logging::Level::Trace}}, {sink}});
    }
    ~Instances() override { lumo::logging::configure({}); }

    std::size_t fetches() const {
        const std::string text = log.str();
        return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
    }

    std::string convert(Instance& instance, std::int64_t frame) {
        std::vector<double> value = {1.0};
        try {
            instance.mzConversionFunc(frame, value, value,
                                      &lumo::calibration::ICalibrationTransformator::DIndexToMass);
            return "";
        } catch (const std::exception& e) {
            return e.what();
        }
    }

    fixtures::TempDirectory directory;
    std::ostringstream log;
};

TEST_F(Instances, MassTransformatorOfTheLastFrameIsKept) {
    Instance instance(fixtures::AnalysisBuilder().frame({}).frame({}).write(directory.path()), std::nullopt);
    EXPECT_EQ(convert(instance, 1), "");
    EXPECT_EQ(convert(instance, 1), "");
    EXPECT_EQ(fetches(), 1U);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(convert(instance, 2), "");
        EXPECT_EQ(convert(instance, 1), "");
    }
    EXPECT_EQ(fetches(), 7U);
}

TEST_F(Instances, MissingTransformatorIsRememberedAndAFailedFetchIsNot) {
    Instance instance(
        fixtures::AnalysisBuilder().frame({}).frame({}, {.mzCalibration = 9}).write(directory.path()),
        std::nullopt);
    EXPECT_EQ(convert(instance, 1), "");
    EXPECT_EQ(convert(instance, 99), "Frame 99 does not exists or is missing MzCalibration/Polarity");
    EXPECT_EQ(convert(instance, 1), "");  // still cached
    EXPECT_EQ(convert(instance, 2), "No m/z trafo available.");
    EXPECT_EQ(convert(instance, 2), "No m/z trafo available.");
    EXPECT_EQ(convert(instance, 1), "");
    EXPECT_EQ(fetches() - 1U, 2U) << "one of them is the error line of frame 99";
}

TEST(LastError, FamiliesHaveSlotsOfTheirOwn) {
    const auto text = [](auto copy) {
        std::array<char, 32> buffer{};
        copy(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
        return std::string(buffer.data());
    };
    LastError<KovaInterface>::set(std::runtime_error("one"));
    EXPECT_EQ(text(LastError<KvsInterface>::copyTo), "<no error>");
    LastError<KvsInterface>::set(std::runtime_error("two"));
    EXPECT_EQ(text(LastError<KovaInterface>::copyTo), "one");
    EXPECT_EQ(text(LastError<KvsInterface>::copyTo), "two");
}

TEST(LastError, DiagnosticsAreLoggedAtDebugWithPlaceAndTrace) {
    std::ostringstream log;
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(log);
    lumo::logging::configure({{{"lumo.io.kovadata_dll", lumo::logging::Level::Debug}}, {sink}});
    try {
        Instance("no/such/directory", std::nullopt);
    } catch (const std::exception& e) {
        LastError<KovaInterface>::set(e);
    }
    lumo::logging::configure({});
    for (const char* part : {"Caught std::exception with boost::diagnostic_information = \n",
                             "analysis_files.cpp", "locateAnalysisFiles", "[stack trace]\n#0 0x"}) {
        EXPECT_NE(log.str().find(part), std::string::npos) << part << " is missing in\n" << log.str();
    }
}

}  // namespace
