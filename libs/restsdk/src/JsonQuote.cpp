#include "JsonQuote.h"

#include <cstdint>
#include <cstring>

namespace VantorStorage::WS::detail {

namespace {

bool needsEscape(unsigned char c) { return c < 0x20 || c == '"' || c == '\\'; }

// Where the first byte that needs an escape is, or the text's size: eight bytes at a time while
// none of them can be one.
std::size_t firstToEscape(std::string_view text) {
  constexpr std::uint64_t kOnes = 0x0101010101010101ULL;
  constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;
  const auto hasZeroByte = [](std::uint64_t word) { return ((word - kOnes) & ~word & kHighBits) != 0; };
  std::size_t at = 0;
  for (; text.size() - at >= 8; at += 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, sizeof word);
    // A byte below 0x20 has its top three bits clear: masked to them it is zero.
    const bool maybe = hasZeroByte(word & (0xE0 * kOnes)) || hasZeroByte(word ^ ('"' * kOnes)) ||
                       hasZeroByte(word ^ ('\\' * kOnes));
    if (maybe) break;
  }
  while (at < text.size() && !needsEscape(static_cast<unsigned char>(text[at]))) ++at;
  return at;
}

}  // namespace

std::size_t quotedSize(std::string_view text) {
  std::size_t size = 2 + text.size();
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (needsEscape(byte)) size += byte < 0x20 ? 5 : 1;
  }
  return size;
}

void appendQuoted(std::string& out, std::string_view text) {
  const std::size_t first = firstToEscape(text);
  if (first == text.size()) {
    // Nothing to escape, as in almost every text: one piece.
    const std::size_t at = out.size();
    out.resize(at + text.size() + 2);
    char* const literal = out.data() + at;
    literal[0] = '"';
    if (!text.empty()) std::memcpy(literal + 1, text.data(), text.size());  // an empty view may hold no pointer
    literal[text.size() + 1] = '"';
    return;
  }
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  std::size_t plain = 0;  // start of the run of bytes that go as they are
  for (std::size_t at = first; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (!needsEscape(byte)) continue;
    out.append(text.substr(plain, at - plain));
    if (byte < 0x20) {
      const char escape[] = {'\\', 'u', '0', '0', kHex[byte >> 4], kHex[byte & 0x0f]};
      out.append(escape, sizeof escape);
    } else {
      const char escape[] = {'\\', static_cast<char>(byte)};
      out.append(escape, sizeof escape);
    }
    plain = at + 1;
  }
  out.append(text.substr(plain));
  out.push_back('"');
}

}  // namespace VantorStorage::WS::detail
