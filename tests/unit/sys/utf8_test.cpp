#include "sys/utf8.h"

#include <clocale>

#include <gtest/gtest.h>

#include "sys/utf8_path.h"

namespace {

using lumo::sys::findInvalidUtf8;

struct Utf8Case {
    const char* name;
    std::string text;
    std::size_t invalidAt;
};

constexpr std::size_t kValid = std::string_view::npos;

class Utf8 : public testing::TestWithParam<Utf8Case> {};

TEST_P(Utf8, FirstInvalidByteIsFound) {
    const Utf8Case& c = GetParam();
    EXPECT_EQ(findInvalidUtf8(c.text), c.invalidAt);
    const std::size_t shifted = c.invalidAt == kValid ? kValid : c.invalidAt + 1;
    EXPECT_EQ(findInvalidUtf8("x" + c.text), shifted);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Utf8,
    testing::Values(
        Utf8Case{"Empty", "", kValid}, Utf8Case{"Ascii", "abc\x7F", kValid},
        Utf8Case{"SmallestTwoBytes", "\xC2\x80", kValid}, Utf8Case{"LargestTwoBytes", "\xDF\xBF", kValid},
        Utf8Case{"SmallestThreeBytes", "\xE0\xA0\x80", kValid},
        Utf8Case{"BelowSurrogates", "\xED\x9F\xBF", kValid},
        Utf8Case{"AboveSurrogates", "\xEE\x80\x80", kValid},
        Utf8Case{"SmallestFourBytes", "\xF0\x90\x80\x80", kValid},
        Utf8Case{"LargestCodePoint", "\xF4\x8F\xBF\xBF", kValid}, Utf8Case{"LoneContinuation", "\x80", 0},
        Utf8Case{"FiveByteLead", "\xF8\x88\x80\x80\x80", 0}, Utf8Case{"FF", "\xFF", 0},
        Utf8Case{"OverlongTwo", "\xC1\xBF", 0}, Utf8Case{"OverlongThree", "\xE0\x9F\xBF", 0},
        Utf8Case{"OverlongFour", "\xF0\x8F\xBF\xBF", 0}, Utf8Case{"FirstSurrogate", "\xED\xA0\x80", 0},
        Utf8Case{"LastSurrogate", "\xED\xBF\xBF", 0}, Utf8Case{"BeyondUnicode", "\xF4\x90\x80\x80", 0},
        Utf8Case{"FarBeyond", "\xF7\xBF\xBF\xBF", 0}, Utf8Case{"CutAfterLead", "\xC2", 1},
        Utf8Case{"CutInside", "\xF0\x90\x80", 3}, Utf8Case{"WrongContinuation", "\xE2\x28\xA1", 1},
        Utf8Case{"SecondContinuationWrong", "\xE2\x82\x28", 2}),
    [](const auto& each) { return each.param.name; });

TEST(PathFromUtf8, KeepsTheBytesWhateverTheLocale) {
    const std::string before = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "C.UTF-8", ""}) {
        std::setlocale(LC_ALL, locale);
        EXPECT_EQ(lumo::sys::pathFromUtf8("Prob\u00E9/\U0001F9EA").string(), "Prob\u00E9/\U0001F9EA");
    }
    std::setlocale(LC_ALL, before.c_str());
}

TEST(PathFromUtf8, NamesTheOffendingByte) {
    try {
        lumo::sys::pathFromUtf8("ab\xFF");
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_STREQ(e.what(), "Invalid UTF-8 code unit at index 2: 0xff");
    }
}

}  // namespace
