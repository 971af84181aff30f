#include <atomic>
#include <condition_variable>
#include <csignal>
#include <fstream>
#include <mutex>
#include <sstream>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/sinks/sink.h>

#include "fixtures/temp_directory.h"
#include "logging/async_sink.h"
#include "logging/line_formatter.h"
#include "logging/logger.h"
#include "logging/sink_factory.h"

namespace {

using namespace lumo::logging;

std::string contentsOf(const std::filesystem::path& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

spdlog::details::log_msg message(const std::string& text,
                                 spdlog::level::level_enum level = spdlog::level::info) {
    spdlog::details::log_msg result;
    result.logger_name = "lumo.test";
    result.level = level;
    result.payload = text;
    result.thread_id = 77;
    return result;
}

TEST(LineFormatter, KeepsEntriesApartAndTerminalsUnharmed) {
    const std::pair<const char*, const char*> cases[] = {
        {"plain", "plain"},
        {"two\nlines\n\n", "two\n    lines"},
        {"tab\tkept, \x1b[2J not, nor \x7f nor \r", "tab\tkept, \\x1b[2J not, nor \\x7f nor \\x0d"},
        {"\xc3\xa9", "\xc3\xa9"},
        {"\n", ""},
        {"", ""},
    };
    for (const auto& [text, expected] : cases) {
        spdlog::memory_buf_t line;
        LineFormatter().format(message(text, spdlog::level::err), line);
        const std::string written(line.data(), line.size());
        EXPECT_EQ(written, "1970-01-01T00:00:00.000000Z ERROR [" + std::to_string(getpid()) +
                               ":77] lumo.test: " + expected + "\n");
    }
}

class RollingFile : public testing::Test {
protected:
    void configureFile(const std::string& name, std::size_t maxSize, std::size_t maxFiles) {
        SinkSettings sink{
            .type = SinkType::RollingFile, .file = folder / name, .maxSize = maxSize, .maxFiles = maxFiles};
        configure(makeConfiguration({{{"", Level::Info}}, {sink}}));
    }

    void TearDown() override { configure({}); }

    std::size_t filesWritten() const {
        const std::filesystem::directory_iterator files(folder.path());
        return static_cast<std::size_t>(std::distance(begin(files), end(files)));
    }

    fixtures::TempDirectory folder;
    Logger logger = Logger::getLogger("lumo.rolling");
};

TEST_F(RollingFile, KeepsTheNewestMessagesInSoManyFiles) {
    for (const std::size_t files : {1U, 3U}) {
        const std::string name = "log" + std::to_string(files);
        const std::size_t before = filesWritten();
        configureFile(name + ".txt", 1024, files);
        for (int i = 0; i < 200; ++i) {
            LUMO_LOG(logger, Info, "message " << i << ';');
        }
        EXPECT_EQ(filesWritten() - before, files);
        EXPECT_NE(contentsOf(folder / (name + ".txt")).find("message 199;"), std::string::npos);
        for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
            EXPECT_LE(entry.file_size(), 1024U);
        }
    }
    EXPECT_NE(contentsOf(folder / "log3.1.txt").find("lumo.rolling: message "), std::string::npos);
}

TEST_F(RollingFile, GoesOnWhereTheLastProcessEndedAndMayBeNamedAfterThisOne) {
    std::ofstream(folder / "old.log") << "older\n";
    configureFile("old.log", 4096, 2);
    LUMO_LOG(logger, Info, "newer");
    EXPECT_TRUE(contentsOf(folder / "old.log").starts_with("older\n2"));
    configureFile("new/{pid}-{pid}.log", 4096, 2);
    const std::string pid = std::to_string(getpid());
    EXPECT_TRUE(exists(folder / ("new/" + pid + "-" + pid + ".log")));
}

TEST_F(RollingFile, WhatCannotBeWrittenIsRefused) {
    EXPECT_THROW(configureFile(".", 4096, 1), std::exception);
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_THROW(configureFile("pipe", 4096, 1), std::exception);
}

TEST_F(RollingFile, FailureInTheMiddleSilencesTheSink) {
    configureFile("sub/log.txt", 1024, 2);
    LUMO_LOG(logger, Info, "first");
    // The next roll finds no folder to make its file in.
    remove_all(folder / "sub");
    std::ofstream(folder / "sub") << "a file";
    testing::internal::CaptureStderr();
    LUMO_LOG(logger, Info, std::string(2000, 'x'));
    LUMO_LOG(logger, Info, std::string(2000, 'x'));
    LUMO_LOG(logger, Info, "short");
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(complaint.starts_with("kovadata: logging: a sink is closed after a failure: ")) << complaint;
    EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 1) << complaint;
}

// Takes a message only when told to, and notes what the writing thread is like.
class Gate final : public spdlog::sinks::sink {
public:
    void log(const spdlog::details::log_msg& entry) override {
        std::unique_lock lock(mutex);
        ++arrivals;
        changed.notify_all();
        changed.wait(lock, [&] { return open; });
        texts.emplace_back(entry.payload.data(), entry.payload.size());
        thread = std::this_thread::get_id();
        pthread_sigmask(SIG_SETMASK, nullptr, &signals);
    }
    void flush() override {}
    void set_pattern(const std::string&) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

    void waitForArrival() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return arrivals > 0; });
    }
    void letPass() {
        const std::lock_guard lock(mutex);
        open = true;
        changed.notify_all();
    }

    std::vector<std::string> texts;
    std::thread::id thread;
    sigset_t signals{};

private:
    std::mutex mutex;
    std::condition_variable changed;
    bool open = false;
    int arrivals = 0;
};

TEST(AsyncSink, DroppedMessagesAreCountedAndTold) {
    const auto gate = std::make_shared<Gate>();
    AsyncSink sink(gate, 2, Overflow::Drop);
    sink.log(message("0"));
    gate->waitForArrival();  // no longer in the queue
    for (const char* const text : {"1", "2", "3", "4", "5"}) {
        sink.log(message(text));
    }
    gate->letPass();
    sink.stop();
    EXPECT_EQ(gate->texts,
              (std::vector<std::string>{"0", "1", "2", "3 messages dropped, the queue was full"}));
}

TEST(AsyncSink, CallersWaitForRoomAndNothingIsLost) {
    const auto gate = std::make_shared<Gate>();
    std::atomic<int> handedOver = 0;
    {
        AsyncSink sink(gate, 3, Overflow::Block);
        std::vector<std::jthread> callers;
        for (int caller = 0; caller < 4; ++caller) {
            callers.emplace_back([&] {
                for (int i = 0; i < 100; ++i) {
                    sink.log(message(std::to_string(i)));
                    ++handedOver;
                }
            });
        }
        gate->waitForArrival();
        EXPECT_LE(handedOver, 4);
        gate->letPass();
    }
    EXPECT_EQ(gate->texts.size(), 400U);
    EXPECT_NE(gate->thread, std::this_thread::get_id());
}

TEST(AsyncSink, WritingThreadTakesNoSignalsAndIsGoneAfterStop) {
    const auto gate = std::make_shared<Gate>();
    gate->letPass();
    AsyncSink sink(gate, 3, Overflow::Block);
    sink.log(message("by the thread"));
    sink.stop();
    EXPECT_NE(gate->thread, std::this_thread::get_id());
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE}) {
        EXPECT_EQ(sigismember(&gate->signals, signal), 1) << signal;
    }
    sink.log(message("at once"));
    EXPECT_EQ(gate->thread, std::this_thread::get_id());
    EXPECT_EQ(gate->texts.size(), 2U);
}

}  // namespace
