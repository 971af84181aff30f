#include <atomic>
#include <csignal>
#include <fstream>
#include <semaphore>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <spdlog/sinks/sink.h>

#include "fixtures/temp_directory.h"
#include "logging/async_sink.h"
#include "logging/backend.h"
#include "logging/line_formatter.h"
#include "logging/logger.h"
#include "logging/sink_factory.h"

namespace {

using namespace lumo::logging;

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
    void configureFile(const std::string& name, std::size_t maxFiles = 2) {
        SinkSettings sink{
            .type = SinkType::RollingFile, .file = folder / name, .maxSize = 1024, .maxFiles = maxFiles};
        configure(makeConfiguration({{{"", Level::Info}}, {sink}}));
    }

    std::string contentsOf(const std::string& name) const {
        const auto bytes = fixtures::contentOf(folder / name);
        return {bytes.begin(), bytes.end()};
    }

    void TearDown() override { configure({}); }

    fixtures::TempDirectory folder;
    Logger logger = Logger::getLogger("lumo.rolling");
};

TEST_F(RollingFile, KeepsTheNewestMessagesInSoManyFilesAfterThoseOfTheLastProcess) {
    std::ofstream(folder / "log.txt") << "older\n";
    configureFile("log.txt", 3);
    LUMO_LOG(logger, Info, "newer");
    EXPECT_TRUE(contentsOf("log.txt").starts_with("older\n2"));
    for (int i = 0; i < 200; ++i) {
        LUMO_LOG(logger, Info, "message " << i << ';');
    }
    EXPECT_NE(contentsOf("log.txt").find("message 199;"), std::string::npos);
    EXPECT_NE(contentsOf("log.1.txt").find("lumo.rolling: message "), std::string::npos);
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.path())) {
        EXPECT_LE(entry.file_size(), 1024U);
        ++files;
    }
    EXPECT_EQ(files, 3U);
}

TEST_F(RollingFile, OpensNoPipe) {
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    EXPECT_THROW(configureFile("pipe"), std::exception);
}

TEST_F(RollingFile, FailureInTheMiddleSilencesTheSink) {
    configureFile("sub/log.txt");
    LUMO_LOG(logger, Info, "first");
    // The next roll finds no folder to make its file in.
    remove_all(folder / "sub");
    std::ofstream(folder / "sub") << "a file";
    testing::internal::CaptureStderr();
    for (const std::size_t size : {2000U, 2000U, 5U}) {
        LUMO_LOG(logger, Info, std::string(size, 'x'));
    }
    const std::string complaint = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(complaint.starts_with("kovadata: logging: a sink is closed after a failure: ")) << complaint;
    EXPECT_EQ(std::count(complaint.begin(), complaint.end(), '\n'), 1) << complaint;
}

// Takes messages only after it was told to, and notes what the writing thread is like.
class Gate final : public spdlog::sinks::sink {
public:
    void log(const spdlog::details::log_msg& entry) override {
        arrived.release();
        allowed.acquire();
        texts.emplace_back(entry.payload.data(), entry.payload.size());
        pthread_sigmask(SIG_SETMASK, nullptr, &blockedSignals);
    }
    void flush() override {}
    void set_pattern(const std::string&) override {}
    void set_formatter(std::unique_ptr<spdlog::formatter>) override {}

    std::counting_semaphore<> arrived{0};
    std::counting_semaphore<> allowed{0};
    std::vector<std::string> texts;
    sigset_t blockedSignals{};
};

TEST(AsyncSink, DroppedMessagesAreCountedAndTold) {
    const auto gate = std::make_shared<Gate>();
    AsyncSink sink(gate, 2, Overflow::Drop);
    sink.log(message("0"));
    gate->arrived.acquire();  // no longer in the queue
    for (const char* const text : {"1", "2", "3", "4", "5"}) {
        sink.log(message(text));
    }
    gate->allowed.release(4);
    sink.stop();
    EXPECT_EQ(gate->texts,
              (std::vector<std::string>{"0", "1", "2", "3 messages dropped, the queue was full"}));
}

TEST(AsyncSink, CallersWaitForRoomAndTheWritingThreadTakesNoSignals) {
    const auto gate = std::make_shared<Gate>();
    AsyncSink sink(gate, 3, Overflow::Block);
    std::atomic<int> handedOver = 0;
    const std::jthread caller([&] {
        for (; handedOver < 50; ++handedOver) {
            sink.log(message("a message"));
        }
    });
    for (int taken = 1; taken <= 50; ++taken) {
        gate->arrived.acquire();
        EXPECT_LE(handedOver, taken + 3);
        gate->allowed.release();
    }
    sink.stop();
    for (const int signal : {SIGINT, SIGTERM, SIGALRM, SIGUSR1, SIGCHLD, SIGPIPE}) {
        EXPECT_EQ(sigismember(&gate->blockedSignals, signal), 1) << signal;
    }
}

}  // namespace
