#include "JsonQuote.h"

#include <algorithm>
#include <cstring>

namespace VantorStorage::WS::detail {

namespace {

bool needsEscape(unsigned char c) { return c < 0x20 || c == '"' || c == '\\'; }

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
  const auto first = std::find_if(text.begin(), text.end(), [](char c) { return needsEscape(static_cast<unsigned char>(c)); });
  if (first == text.end()) {
    // Nothing to escape, as in almost every text: one piece.
    const std::size_t at = out.size();
    out.resize(at + text.size() + 2);
    char* const literal = out.data() + at;
    literal[0] = '"';
    std::memcpy(literal + 1, text.data(), text.size());
    literal[text.size() + 1] = '"';
    return;
  }
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  std::size_t plain = 0;  // start of the run of bytes that go as they are
  for (std::size_t at = 0; at < text.size(); ++at) {
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
