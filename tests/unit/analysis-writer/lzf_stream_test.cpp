#include "analysis-writer/lzf_stream.h"

#include <gtest/gtest.h>
#include <lzf.h>

#include <functional>
#include <string>

namespace analysis_writer {
namespace {

Bytes expanded(const Bytes& stream, std::size_t size) {
    Bytes content(size + 1, 0x99);
    content.resize(lzf_decompress(stream.data(), static_cast<unsigned>(stream.size()), content.data(),
                                  static_cast<unsigned>(content.size())));
    return content;
}

struct Case {
    std::string name;
    std::function<std::uint8_t(std::uint32_t)> byteAt;
};

void PrintTo(const Case& value, std::ostream* out) { *out << value.name; }

class LzfStream : public testing::TestWithParam<Case> {};

// liblzf's decoder is the judge: what it makes of the streams must be the input, at every length around the
// limits of literal runs (32), short and long matches (8, 264) and the window (8192).
TEST_P(LzfStream, IsReadBackByTheReferenceDecoder) {
    for (const std::size_t size :
         {1U, 2U, 3U, 4U, 31U, 32U, 33U, 64U, 65U, 263U, 264U, 265U, 268U, 530U, 8193U, 8200U, 20000U}) {
        Bytes content(size);
        for (std::size_t i = 0; i < size; ++i)
            content[i] = GetParam().byteAt(static_cast<std::uint32_t>(i));
        EXPECT_EQ(expanded(lzfStream(content), size), content) << size;
        EXPECT_EQ(expanded(lzfLiteralStream(content), size), content) << size;
    }
}

std::uint8_t noise(std::uint32_t i) { return static_cast<std::uint8_t>(((i + 1) * 2654435761U) >> 24); }

INSTANTIATE_TEST_SUITE_P(
    Contents, LzfStream,
    testing::Values(Case{"Constant", [](std::uint32_t) { return std::uint8_t{0}; }},
                    Case{"Period10", [](std::uint32_t i) { return static_cast<std::uint8_t>(i % 10); }},
                    Case{"Period8192", [](std::uint32_t i) { return noise(i % 8192); }},
                    Case{"Period8193", [](std::uint32_t i) { return noise(i % 8193); }}, Case{"Noise", noise},
                    Case{"SparseWords",
                         [](std::uint32_t i) { return i % 4 == 0 ? noise(i / 64) : std::uint8_t{0}; }}),
    [](const auto& item) { return item.param.name; });

TEST(LzfStreamSize, CompressesRepetition) {
    EXPECT_LT(lzfStream(Bytes(26400, 7)).size(), 320U);
    EXPECT_EQ(lzfStream({}), Bytes());
}

}  // namespace
}  // namespace analysis_writer
