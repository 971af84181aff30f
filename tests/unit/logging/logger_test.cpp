#include "logging/logger.h"

#include <memory>

#include <gtest/gtest.h>

#include "fixtures/logged_lines.h"
#include "logging/backend.h"

namespace {

using lumo::logging::Configuration;
using lumo::logging::Level;
using lumo::logging::Logger;

class Logging : public testing::Test {
protected:
    void configure(std::map<std::string, Level, std::less<>> levels) {
        lumo::logging::configure({std::move(levels), {logged}});
    }

    void TearDown() override { lumo::logging::configure({}); }

    const std::shared_ptr<fixtures::LoggedLines> logged = std::make_shared<fixtures::LoggedLines>();
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
    EXPECT_EQ(logged->text(), "test.quiet warning but this 1\n");
}

TEST_F(Logging, LongestDottedPrefixSetsTheLevelOfLoggersThatExistAlready) {
    const std::pair<Logger, Level> cases[] = {{Logger::getLogger("lumo"), Level::Error},
                                              {Logger::getLogger("lumo.io"), Level::Info},
                                              {Logger::getLogger("lumo.iota"), Level::Error},
                                              {Logger::getLogger("lumo.io.kovadata_dll"), Level::Info},
                                              {Logger::getLogger("lumo.io.kova"), Level::Debug},
                                              {Logger::getLogger("lumo.io.kova.KvdReader"), Level::Debug}};
    configure({{"", Level::Error},
               {"lumo.io", Level::Info},
               {"lumo.io.kova", Level::Debug},
               {"lumo.io.kov", Level::Off}});
    for (const auto& [logger, lowest] : cases) {
        EXPECT_TRUE(logger.isEnabled(lowest));
        EXPECT_FALSE(logger.isEnabled(static_cast<Level>(static_cast<int>(lowest) - 1)));
    }
    lumo::logging::configure({});
    EXPECT_FALSE(cases[0].first.isEnabled(Level::Fatal));
}

}  // namespace
