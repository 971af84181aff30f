#include "sys/utf8.h"

#include <gtest/gtest.h>

#include "fixtures/failure.h"
#include "sys/utf8_path.h"

namespace {

using lumo::sys::findInvalidUtf8;
using lumo::sys::repairedUtf8;

TEST(Utf8, FirstInvalidByteIsFound) {
    constexpr std::size_t valid = std::string_view::npos;
    const std::pair<std::string, std::size_t> cases[] = {
        {"", valid},
        {"abc\x7F", valid},
        {"\xC2\x80\xDF\xBF", valid},                  // two bytes, smallest and largest
        {"\xE0\xA0\x80\xEF\xBF\xBF", valid},          // three
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", valid},  // four
        {"\xED\x9F\xBF\xEE\x80\x80", valid},          // around the surrogates
        {"\x80", 0},
        {"\xF8\x88\x80\x80\x80", 0},
        {"\xFF", 0},
        {"\xC1\xBF", 0},  // longer than need be
        {"\xE0\x9F\xBF", 0},
        {"\xF0\x8F\xBF\xBF", 0},
        {"\xED\xA0\x80", 0},  // surrogates
        {"\xED\xBF\xBF", 0},
        {"\xF4\x90\x80\x80", 0},  // beyond the code
        {"\xF7\xBF\xBF\xBF", 0},
        {"\xC2", 1},  // cut
        {"\xF0\x90\x80", 3},
        {"\xE2\x28\xA1", 1},
        {"\xE2\x82\x28", 2},
    };
    const std::string sign = "\xEF\xBF\xBD";
    EXPECT_EQ(repairedUtf8("a\xFF\xE2\x28\xC3\xA4\xA1z\xE2\x82"),
              "a" + sign + sign + "(\xC3\xA4" + sign + "z" + sign);
    for (const auto& [text, invalidAt] : cases) {
        EXPECT_EQ(findInvalidUtf8(text), invalidAt) << text;
        EXPECT_EQ(repairedUtf8(text) == text, invalidAt == valid) << text;
        EXPECT_EQ(findInvalidUtf8("x" + text), invalidAt == valid ? valid : invalidAt + 1) << text;
    }
}

TEST(PathFromUtf8, NamesTheOffendingByte) {
    EXPECT_EQ(fixtures::failureOf([] { lumo::sys::pathFromUtf8("ab\xFF"); }),
              "Invalid UTF-8 code unit at index 2: 0xff");
}

}  // namespace
