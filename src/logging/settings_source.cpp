#include "logging/settings_source.h"

#include <array>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "diag/throw.h"
#include "sys/environment.h"
#include "sys/interrupted_calls.h"
#include "sys/well_known_directories.h"

// Where a configuration comes from. It is looked for once, when the first logger is asked for, in this order:
// the file that the environment names, the current directory, the user's configuration directory.
namespace lumo::logging {

namespace {

namespace fs = std::filesystem;

// A configuration has a few lines; the limit keeps a wrong name from filling the memory of the host program.
constexpr std::size_t kMaxFileSize = 1 << 20;

class Descriptor {
public:
    // Does not wait for anything, should the file be a pipe or a device.
    explicit Descriptor(const fs::path& file)
        : number(sys::repeatInterrupted(
              [&] { return open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); })) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number >= 0) {
            close(number);
        }
    }

    const int number;
};

[[noreturn]] void raiseUnreadable(const fs::path& file, const std::string& reason) {
    LUMO_THROW(ConfigurationError(file.string() + ": " + reason));
}

std::string contentsOf(const Descriptor& descriptor, const fs::path& file) {
    std::string text;
    std::array<char, 4096> piece{};
    const auto readPiece = [&] { return read(descriptor.number, piece.data(), piece.size()); };
    for (ssize_t count = 0; (count = sys::repeatInterrupted(readPiece)) != 0;) {
        if (count < 0) {
            raiseUnreadable(file, std::strerror(errno));
        }
        text.append(piece.data(), static_cast<std::size_t>(count));
        if (text.size() > kMaxFileSize) {
            raiseUnreadable(file, "is too large for a configuration");
        }
    }
    return text;
}

// Where a file was looked for decides what is an error: a file that was named must be there, the others need
// not be.
enum class Place { Named, CurrentDirectory, UserDirectory };

std::optional<std::string> readFile(const fs::path& file, Place place) {
    const Descriptor descriptor(file);
    if (descriptor.number < 0) {
        const int error = errno;
        if (place != Place::Named && access(file.c_str(), F_OK) != 0) {
            return std::nullopt;
        }
        raiseUnreadable(file, std::strerror(error));
    }
    struct stat status {};
    if (fstat(descriptor.number, &status) != 0 || !S_ISREG(status.st_mode)) {
        raiseUnreadable(file, "is not a file");
    }
    // The current directory may be anyone's, and a configuration says which files are written.
    if (place == Place::CurrentDirectory && status.st_uid != geteuid() && status.st_uid != 0) {
        raiseUnreadable(file, "belongs to another user, name it in KOVADATA_LOG_CONFIG to use it");
    }
    return contentsOf(descriptor, file);
}

// Mistakes are reported with the name of the file.
std::optional<Settings> settingsFrom(const fs::path& file, Place place) {
    const std::optional<std::string> text = readFile(file, place);
    if (!text) {
        return std::nullopt;
    }
    try {
        return parseSettings(*text);
    } catch (const ConfigurationError& error) {
        raiseUnreadable(file, error.what());
    }
}

// The first file that is there counts, even if it is wrong: a mistake in it must not activate another one.
std::optional<Settings> settingsFromFiles(const Surroundings& surroundings) {
    if (surroundings.logConfig) {
        return settingsFrom(*surroundings.logConfig, Place::Named);
    }
    if (auto found =
            settingsFrom(surroundings.currentDirectory / kConfigurationFileName, Place::CurrentDirectory)) {
        return found;
    }
    if (!surroundings.userConfigurationDirectory) {
        return std::nullopt;
    }
    return settingsFrom(*surroundings.userConfigurationDirectory / "kovadata" / kConfigurationFileName,
                        Place::UserDirectory);
}

std::optional<Level> levelFrom(const Surroundings& surroundings) {
    if (!surroundings.logLevel) {
        return std::nullopt;
    }
    const std::optional<Level> level = levelFromName(*surroundings.logLevel);
    if (!level) {
        LUMO_THROW(ConfigurationError("KOVADATA_LOG_LEVEL = " + *surroundings.logLevel +
                                      " is not understood, expected " + levelNames()));
    }
    return level;
}

}  // namespace

Surroundings Surroundings::ofThisProcess() {
    return {sys::environmentVariable("KOVADATA_LOG_CONFIG"),
            sys::environmentVariable("KOVADATA_LOG_LEVEL"),
            {},
            sys::userConfigurationDirectory()};
}

// A level from the environment changes the root alone, so levels that the file gives to parts of the library
// stay.
std::optional<Settings> findSettings(const Surroundings& surroundings) {
    const std::optional<Level> level = levelFrom(surroundings);
    if (level == Level::Off) {
        return std::nullopt;
    }
    std::optional<Settings> settings = settingsFromFiles(surroundings);
    if (level) {
        settings = settings ? std::move(settings) : parseSettings("");
        settings->levels[""] = *level;
    }
    return settings;
}

}  // namespace lumo::logging
