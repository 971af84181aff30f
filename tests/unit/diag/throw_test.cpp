#include "diag/throw.h"

#include <gtest/gtest.h>
#include <boost/exception/diagnostic_information.hpp>

#include "diag/errors.h"

namespace {

using lumo::diag::StackTrace;
using lumo::io::calibration::CorruptDataError;
using lumo::io::kova::CorruptFrameDataError;
using lumo::io::kova::CorruptScanDataError;

[[gnu::noinline]] void raiseFrameError() { LUMO_THROW(CorruptFrameDataError(-9'000'000'000, "text")); }

TEST(Throw, KeepsTypeAndPlainText) {
    try {
        raiseFrameError();
        FAIL();
    } catch (const CorruptDataError& e) {
        EXPECT_STREQ(e.what(), "CorruptFrameDataError for FrameId=-9000000000: text");
        EXPECT_NE(dynamic_cast<const CorruptFrameDataError*>(&e), nullptr);
    }
}

TEST(Throw, AttachesPlaceAndStackTrace) {
    try {
        raiseFrameError();
        FAIL();
    } catch (const std::exception& e) {
        const std::string text = boost::diagnostic_information(e);
        for (const char* part : {"throw_test.cpp", "raiseFrameError",
                                 "CorruptFrameDataError for FrameId=", "\n#0 0x", "\n#1 0x"}) {
            EXPECT_NE(text.find(part), std::string::npos) << part << " is missing in\n" << text;
        }
        EXPECT_EQ(text.find(" /"), std::string::npos) << "the source path should be relative to the project\n"
                                                      << text;
    }
}

TEST(CorruptScanDataError, NamesFrameAndScan) {
    EXPECT_STREQ(CorruptScanDataError(7, 4294967295U, "text").what(),
                 "CorruptScanDataError for FrameId=7, Scan=4294967295: text");
}

int depthLimit(int depth) {
    volatile int keepsTheFrame = depth;
    return depth == 0 ? static_cast<int>(StackTrace::capture().toString().size())
                      : depthLimit(depth - 1) + keepsTheFrame * 0;
}

TEST(StackTrace, DeepRecursionIsCutNotFatal) {
    EXPECT_GT(depthLimit(5000), 0);
    EXPECT_TRUE(StackTrace::capture(StackTrace::kMaxFrames).empty());
    EXPECT_EQ(StackTrace().toString(), "");
}

}  // namespace
