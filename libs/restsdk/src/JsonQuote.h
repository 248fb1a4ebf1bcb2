#pragma once
// JSON string literals: the text between quotes, with the quote, the backslash and the control
// characters escaped. The text must be valid UTF-8 already (see Utf8.h); other bytes pass as
// they are.
#include <cstddef>
#include <string>
#include <string_view>

namespace VantorStorage::WS::detail {

// The size of the literal, quotes included.
std::size_t quotedSize(std::string_view text);
// Appends the literal to `out`.
void appendQuoted(std::string& out, std::string_view text);

}  // namespace VantorStorage::WS::detail
