#include "logging/settings.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "fixtures/failure.h"
#include "fixtures/temp_directory.h"
#include "logging/settings_source.h"

namespace {

using namespace lumo::logging;
using fixtures::failureOf;

TEST(Settings, EveryKeyIsUnderstood) {
    const Settings settings = parseSettings(
        "; a comment\n# another\n\n[levels]\nroot = warn\nlumo.io = DEBUG\n"
        "[sink.first]\ntype=rolling-file\nfile = /tmp/a b.log\nlevel = error\nmax_size = 3M\nmax_files = 2\n"
        "async = yes\nqueue = 7\noverflow = drop\n[sink.second]\n type = console\n");
    EXPECT_EQ(settings.levels, (decltype(settings.levels){{"", Level::Warn}, {"lumo.io", Level::Debug}}));
    ASSERT_EQ(settings.sinks.size(), 2U);
    const SinkSettings& first = settings.sinks[0];
    EXPECT_EQ(first.type, SinkType::RollingFile);
    EXPECT_EQ(first.file, "/tmp/a b.log");
    EXPECT_EQ(first.level, Level::Error);
    EXPECT_EQ(first.maxSize, 3U << 20);
    EXPECT_EQ(first.maxFiles, 2U);
    EXPECT_TRUE(first.async);
    EXPECT_EQ(first.queue, 7U);
    EXPECT_EQ(first.overflow, Overflow::Drop);
    EXPECT_EQ(settings.sinks[1].type, SinkType::Console);
    EXPECT_FALSE(settings.sinks[1].async);
    std::ostringstream example;
    example << std::ifstream(KOVADATA_LOG_EXAMPLE).rdbuf();
    EXPECT_EQ(parseSettings(example.str()).sinks.size(), 2U);
    EXPECT_EQ(parseSettings("").levels, (decltype(settings.levels){{"", Level::Info}}));
    EXPECT_EQ(parseSettings("").sinks.at(0).type, SinkType::StandardError);
}

TEST(Settings, SaysWhatIsWrong) {
    const std::pair<const char*, const char*> cases[] = {
        {"[levels]\nroot = loud", "[levels] root = loud is not understood, expected trace"},
        {"[levels]\nroot = info\nroot = warn", "line 3: duplicate key name"},
        {"[levels]\nroot", "line 2: '=' character not found in line"},
        {"level = info", "unknown section or key level"},
        {"[sink.]\ntype = stderr", "unknown section or key sink."},
        {"[sink.a]\nlevel = info", "[sink.a] has no type"},
        {"[sink.a]\ntype = file", "[sink.a] type = file is not understood, expected console, stdout"},
        {"[sink.a]\ntype = stderr\nfile = x", "[sink.a] needs a file if, and only if"},
        {"[sink.a]\ntype = stderr\ncolour = x", "unknown key [sink.a] colour"},
        {"[sink.a]\nasync = true", "[sink.a] async = true is not understood, expected yes or no"},
        {"[sink.a]\noverflow = discard", "[sink.a] overflow = discard is not understood"},
        {"[sink.a]\nqueue = 0", "[sink.a] queue = 0 is not understood, expected a number from 1"},
        {"[sink.a]\nmax_size = 1T", "[sink.a] max_size = 1T is not understood, expected a size in bytes"},
        {"[sink.a]\nmax_size = 1025G", "[sink.a] max_size = 1025G is not understood"},
        {"[sink.a]\nmax_size = 18446744073709551617", "[sink.a] max_size = 18446744073709551617 is not"},
        {"[sink.a]\nmax_size = 18014398509481985k", "[sink.a] max_size = 18014398509481985k is not"},
    };
    for (const auto& [text, expected] : cases) {
        const std::string failure = failureOf([&given = text] { parseSettings(given); });
        EXPECT_TRUE(failure.starts_with(expected)) << text << "\n" << failure;
    }
}

class Search : public testing::Test {
protected:
    Search() {
        std::filesystem::create_directory(folder / "here");
        std::ofstream(folder / "here/kovadata-log.ini") << "[levels]\nroot = error\n";
    }

    std::string failure() const {
        return failureOf([this] { findSettings(surroundings); });
    }

    fixtures::TempDirectory folder;
    Surroundings surroundings{{}, {}, folder / "here", folder / "user"};
};

TEST_F(Search, LevelOfTheEnvironmentGoesBeforeThatOfAFile) {
    EXPECT_EQ(findSettings(surroundings)->levels.at(""), Level::Error);
    surroundings.logLevel = "Debug";
    EXPECT_EQ(findSettings(surroundings)->levels.at(""), Level::Debug);
    surroundings.logLevel = "off";
    EXPECT_FALSE(findSettings(surroundings));
    surroundings.logLevel = "everything";
    EXPECT_EQ(failure(),
              "KOVADATA_LOG_LEVEL = everything is not understood, expected trace, debug, info, warn, error, "
              "fatal or off");
}

TEST_F(Search, WhatIsNoFileOfTheUserIsRefused) {
    surroundings.logConfig = folder / "pipe";
    ASSERT_EQ(mkfifo(surroundings.logConfig->c_str(), 0600), 0);
    EXPECT_EQ(failure(), folder.string() + "/pipe: is not a file");
    surroundings.logConfig = folder / "large.ini";
    std::ofstream(*surroundings.logConfig) << std::string((1 << 20) + 1, '\n');
    EXPECT_EQ(failure(), folder.string() + "/large.ini: is too large for a configuration");
    surroundings.logConfig.reset();
    if (chown((folder / "here/kovadata-log.ini").c_str(), 12345, 12345) != 0) {
        GTEST_SKIP() << "only the superuser can give a file away";
    }
    EXPECT_TRUE(failure().ends_with("name it in KOVADATA_LOG_CONFIG to use it"));
    surroundings.logConfig = folder / "here/kovadata-log.ini";
    EXPECT_EQ(findSettings(surroundings)->levels.at(""), Level::Error);
}

}  // namespace
