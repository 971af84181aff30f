// The decoder of well-formed streams, held against the one that defines the result.
#include <algorithm>

#include <gtest/gtest.h>

#include "analysis-writer/lzf_stream.h"
#include "fixtures/random.h"
#include "kova-data-reader/blob/lzf.h"
#include "kova-data-reader/blob/lzf_decoder.h"

namespace {

namespace uimf = lumo::io::kova::uimf;
using analysis_writer::Bytes;

struct Case {
    const char* name;
    Bytes stream;
    bool isDecoded = true;
    std::size_t room = 0;  // 0: as much as is sure to do
};

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

// Few kinds of bytes, so that there are matches of all short lengths and distances.
Bytes noise(std::size_t size) {
    fixtures::Random random(7);
    Bytes bytes(size);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random() % 5); });
    return bytes;
}

const Bytes kFive{4, 1, 2, 3, 4, 5};

const std::vector<Case> kCases = {
    {"many matches", analysis_writer::lzfStream(noise(12000))},
    {"few matches", analysis_writer::lzfStream(noise(80))},
    {"nothing", {}, false},
    {"literals of all lengths", analysis_writer::lzfLiteralStream(Bytes(16, 1)) +
                                    analysis_writer::lzfLiteralStream(Bytes(17, 2)) +
                                    analysis_writer::lzfLiteralStream(Bytes(65, 3))},
    {"match of all there is", kFive + Bytes{0x60, 4}},
    {"match before the start", kFive + Bytes{0x60, 5}, false},
    {"match first", {0x20, 0}, false},
    {"match that ends where it begins", kFive + Bytes{0x40, 3}},
    {"matches that overlap", kFive + Bytes{0x60, 3, 0xC0, 0, 0x20, 1}},
    {"longest match", kFive + Bytes{0xE0, 0xFF, 4}, true, 400},
    {"longest match without room", kFive + Bytes{0xE0, 0xFF, 4}, false, 100},
    {"match cut short", kFive + Bytes{0x60}, false},
    {"long match cut short", kFive + Bytes{0xE0, 0xFF}, false},
    {"literals cut short", kFive + Bytes{3, 1, 2}, false},
    {"little room", kFive, false, 5},
};

// An input with what may be read after it, an output with what must not be touched after it.
struct Memory {
    explicit Memory(const Case& c) : input(c.stream + Bytes(uimf::kLzfReadAhead, 0x20)) {
        output.resize((c.room != 0 ? c.room : uimf::lzfRoom(c.stream.size())) + 16, 0x99);
        stream = {std::as_bytes(std::span(input)).first(c.stream.size()),
                  std::as_writable_bytes(std::span(output)).first(output.size() - 16)};
    }

    Bytes input;
    Bytes output;
    uimf::LzfStream stream;
};

void expectResult(const Case& c, const Memory& memory, const uimf::LzfStream& stream) {
    EXPECT_EQ(stream.produced != 0, c.isDecoded) << c.name;
    EXPECT_EQ(Bytes(memory.output.end() - 16, memory.output.end()), Bytes(16, 0x99)) << c.name;
    if (stream.produced != 0) {
        std::vector<std::byte> expected(stream.output.size());
        expected.resize(
            uimf::decompressLzf(stream.input.data(), stream.input.size(), expected.data(), expected.size()));
        EXPECT_TRUE(std::ranges::equal(stream.output.first(stream.produced), expected)) << c.name;
    }
}

TEST(LzfDecoder, StreamsAloneAndTogetherAreWhatTheyAre) {
    std::vector<Memory> together;
    std::vector<uimf::LzfStream> streams;
    together.reserve(kCases.size());
    for (const Case& c : kCases) {
        Memory alone(c);
        uimf::decodeLzfStreams({&alone.stream, 1});
        expectResult(c, alone, alone.stream);
        streams.push_back(together.emplace_back(c).stream);
    }
    uimf::decodeLzfStreams(streams);
    for (std::size_t i = 0; i < kCases.size(); ++i) {
        expectResult(kCases[i], together[i], streams[i]);
    }
}

}  // namespace
