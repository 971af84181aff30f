#pragma once

namespace lumo::io {

// The families of exported functions. They share all code below, and differ in the logger that they write to
// and in the slot of their last error: a failure in one family never replaces the text of another.
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
