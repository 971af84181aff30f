#include "logging/logger.h"

#include <sstream>

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>

#include "logging/backend.h"

namespace {

using lumo::logging::Configuration;
using lumo::logging::Level;
using lumo::logging::Logger;

class Logging : public testing::Test {
protected:
    void configure(std::map<std::string, Level, std::less<>> levels) {
        auto sink = std::make_shared<spdlog::sinks::ostream_sink_mt>(written);
        sink->set_pattern("%n %l %v");
        lumo::logging::configure({std::move(levels), {sink}});
    }

    void TearDown() override { lumo::logging::configure({}); }

    std::ostringstream written;
};

TEST_F(Logging, DisabledMessageEvaluatesNothing) {
    const Logger logger = Logger::getLogger("test.quiet");
    int evaluated = 0;
    LUMO_LOG(logger, Fatal, "never " << ++evaluated);
    configure({{"", Level::Warn}});
    LUMO_LOG(logger, Info, "neither " << ++evaluated);
    EXPECT_EQ(evaluated, 0);
    LUMO_LOG(logger, Warn, "but this " << ++evaluated);
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(written.str(), "test.quiet warning but this 1\n");
}

TEST_F(Logging, LongestDottedPrefixSetsTheLevel) {
    configure({{"", Level::Off},
               {"lumo.io", Level::Info},
               {"lumo.io.kova", Level::Trace},
               {"lumo.io.kov", Level::Off}});
    const std::pair<const char*, Level> cases[] = {
        {"lumo", Level::Off},           {"lumo.io", Level::Info},
        {"lumo.iota", Level::Off},      {"lumo.io.kovadata_dll", Level::Info},
        {"lumo.io.kova", Level::Trace}, {"lumo.io.kova.KvdReader", Level::Trace}};
    for (const auto& [name, lowest] : cases) {
        const Logger logger = Logger::getLogger(name);
        for (int level = 0; level < static_cast<int>(Level::Off); ++level) {
            EXPECT_EQ(logger.isEnabled(static_cast<Level>(level)), level >= static_cast<int>(lowest))
                << name << level;
        }
    }
}

TEST_F(Logging, ConfigurationReachesLoggersThatExistAlready) {
    const Logger logger = Logger::getLogger("test.early");
    EXPECT_FALSE(logger.isEnabled(Level::Fatal));
    configure({{"test", Level::Debug}});
    EXPECT_TRUE(logger.isEnabled(Level::Debug));
    lumo::logging::configure({});
    EXPECT_FALSE(logger.isEnabled(Level::Fatal));
}

}  // namespace
