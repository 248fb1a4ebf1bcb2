#pragma once
// UTF-8 as the array's API demands it: shortest forms only, no surrogates, nothing past U+10FFFF.
#include <cstddef>
#include <string_view>

namespace VantorStorage::WS::detail {

// Length of the UTF-8 sequence that starts at `at`, or 0 when it is not a valid one.
std::size_t utf8SequenceLength(std::string_view text, std::size_t at);

// Whether the whole text is valid UTF-8.
bool isValidUtf8(std::string_view text);

}  // namespace VantorStorage::WS::detail
