#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "sqlite/open_file.h"

namespace lumo::sqlite {

// The index of a write-ahead log as one connection sees it. Its writer maps the file into memory. Here it is
// copied, so a file that is cut costs an error and not the process.
//
// SQLite looks at the header of the index before it locks a place in the log, and again afterwards. Nothing
// that the header speaks of changes until it releases the lock. So the copy is brought up to date before a
// transaction begins and whenever something was locked, which is as good as a view of the file itself.
class LogIndex {
public:
    explicit LogIndex(std::string fileName) : name(std::move(fileName)) {}
    LogIndex(const LogIndex&) = delete;
    LogIndex& operator=(const LogIndex&) = delete;
    ~LogIndex() { close(); }

    bool exists() const noexcept;
    bool isOpen() const noexcept { return file != nullptr; }

    // SQLite's xShmMap, xShmLock and xShmUnmap, for reading. Only what is open is locked.
    int map(int region, int size, void volatile** memory) noexcept;
    int lock(int offset, int count, int flags) noexcept;
    void close() noexcept;

    void update() noexcept;

private:
    int open() noexcept;
    int trust() noexcept;
    bool addRegions(std::size_t count) noexcept;
    void readRegion(std::size_t region) noexcept;

    std::string name;
    OpenFile* file = nullptr;
    bool isTrusted = false;  // somebody who keeps it in order has it open
    std::vector<std::unique_ptr<std::byte[]>> regions;
};

}  // namespace lumo::sqlite
