#pragma once

namespace lumo::io {

// The families of exported functions differ in the logger they write to and in the slot of their last
// error.
struct KovaInterface {
    static constexpr const char* kLoggerName = "lumo.io.kovadata_dll";
};

struct KvsInterface {
    static constexpr const char* kLoggerName = "lumo.io.kvsdata_dll";
};

struct KvrInterface {
    static constexpr const char* kLoggerName = "lumo.io.kovarun_dll";
};

}  // namespace lumo::io
