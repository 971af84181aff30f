#include "logging/sink_factory.h"

#include <filesystem>
#include <string>

#include <spdlog/sinks/ansicolor_sink.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <unistd.h>

#include "diag/assert.h"
#include "diag/throw.h"
#include "logging/async_sink.h"
#include "logging/locked_sink.h"
#include "logging/spdlog_level.h"
#include "logging/stream_sink.h"
#include "sys/environment.h"
#include "sys/well_known_directories.h"

// From settings to open sinks. Every file is opened while the configuration is made, so a name that cannot be
// written is reported then and not at the first message.
namespace lumo::logging {

namespace {

namespace fs = std::filesystem;
namespace sinks = spdlog::sinks;

// Stands for the number of the process in the name of a file.
constexpr std::string_view kProcessId = "{pid}";

// Absolute, since the host may change its current directory.
fs::path absoluteFile(const std::string& file) {
    const auto home = sys::homeDirectory();
    return file.starts_with("~/") && home ? *home / file.substr(2) : fs::absolute(file);
}

// Such a file belongs to one process, so a forked child opens its own; all other sinks are shared with the
// parent.
bool namesProcess(const std::string& file) { return file.find(kProcessId) != std::string::npos; }

std::string withProcessId(std::string file) {
    for (std::size_t at = 0; (at = file.find(kProcessId, at)) != std::string::npos;) {
        file.replace(at, kProcessId.size(), std::to_string(getpid()));
    }
    return file;
}

std::unique_ptr<sinks::sink> openRollingFile(const std::string& pattern, std::size_t maxSize,
                                             std::size_t maxFiles) {
    LUMO_ASSERT(maxFiles >= 1);
    const std::string file = withProcessId(pattern);
    std::error_code error;
    // Opening a pipe would wait for its reader.
    if (fs::exists(file, error) && !fs::is_regular_file(file, error)) {
        LUMO_THROW(ConfigurationError(file + ": is not a file"));
    }
    return std::make_unique<sinks::rotating_file_sink_st>(file, maxSize, maxFiles - 1);
}

std::shared_ptr<sinks::sink> makeRollingFile(const SinkSettings& settings) {
    const std::string file = absoluteFile(settings.file).string();
    return std::make_shared<LockedSink>(
        [file, maxSize = settings.maxSize, maxFiles = settings.maxFiles] {
            return openRollingFile(file, maxSize, maxFiles);
        },
        namesProcess(file) ? LockedSink::InChild::Reopen : LockedSink::InChild::Share);
}

template <class Sink, class... Arguments>
std::shared_ptr<sinks::sink> makeShared(Arguments... arguments) {
    return std::make_shared<LockedSink>([=] { return std::make_unique<Sink>(arguments...); },
                                        LockedSink::InChild::Share);
}

// Colours only where someone looks at them: a file or a pipe would get the escape codes as text.
std::shared_ptr<sinks::sink> makeEnd(const SinkSettings& settings) {
    switch (settings.type) {
        case SinkType::Console:
            if (isatty(STDERR_FILENO) != 0 && !sys::environmentVariable("NO_COLOR")) {
                return makeShared<sinks::ansicolor_stderr_sink_st>();
            }
            return makeShared<StreamSink>(stderr);
        case SinkType::StandardOutput:
            return makeShared<StreamSink>(stdout);
        case SinkType::StandardError:
            return makeShared<StreamSink>(stderr);
        case SinkType::RollingFile:
            return makeRollingFile(settings);
    }
    return nullptr;  // the enumeration is complete
}

// The queue is outermost: a message that is below the level does not even enter it.
std::shared_ptr<sinks::sink> makeSink(const SinkSettings& settings) {
    LUMO_ASSERT(settings.queue >= 1);
    std::shared_ptr<sinks::sink> sink = makeEnd(settings);
    if (settings.async) {
        sink = std::make_shared<AsyncSink>(std::move(sink), settings.queue, settings.overflow);
    }
    sink->set_level(toSpdlog(settings.level));
    return sink;
}

}  // namespace

Configuration makeConfiguration(const Settings& settings) {
    Configuration configuration{settings.levels, {}};
    for (const SinkSettings& sink : settings.sinks) {
        configuration.sinks.push_back(makeSink(sink));
    }
    return configuration;
}

}  // namespace lumo::logging
