#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

namespace fuzz {

// Takes values off the front of the fuzzer's bytes; at the end everything is 0.
class ByteSource {
public:
    ByteSource(const std::uint8_t* data, std::size_t size) : rest(data, size) {}

    bool empty() const { return rest.empty(); }

    template <class Number>
    Number take() {
        Number value{};
        const std::size_t count = std::min(sizeof value, rest.size());
        std::memcpy(&value, rest.data(), count);
        rest = rest.subspan(count);
        return value;
    }

    std::uint32_t below(std::uint32_t end) { return take<std::uint32_t>() % end; }

    template <class Number>
    std::vector<Number> takeMany(std::size_t most) {
        std::vector<Number> values(std::min(most, rest.size() / sizeof(Number)));
        for (Number& value : values) {
            value = take<Number>();
        }
        return values;
    }

    std::vector<std::uint8_t> takeRest() { return takeMany<std::uint8_t>(rest.size()); }
    std::string takeText(std::size_t most) {
        const std::vector<char> text = takeMany<char>(most);
        return {text.begin(), text.end()};
    }

private:
    std::span<const std::uint8_t> rest;
};

}  // namespace fuzz
