#pragma once

#include <stdexcept>
#include <string>

// A call of SQLite failed. Carries SQLite's own message, and what can be done, as what().
class CppSQLite3Exception : public std::runtime_error {
public:
    CppSQLite3Exception(int errorCode, const std::string& message)
        : std::runtime_error(message), code(errorCode) {}

    int errorCode() const { return code; }

private:
    int code;
};
