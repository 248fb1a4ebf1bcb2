#include "Utf8.h"

#include <cstdint>
#include <cstring>

namespace VantorStorage::WS::detail {

std::size_t utf8SequenceLength(std::string_view text, std::size_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  const unsigned char lead = byte(at);
  if (lead < 0x80) return 1;
  std::size_t length = 0;
  unsigned char low = 0x80;
  unsigned char high = 0xBF;
  if (lead >= 0xC2 && lead <= 0xDF) {
    length = 2;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    length = 3;
    if (lead == 0xE0) low = 0xA0;
    if (lead == 0xED) high = 0x9F;  // no surrogates
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    length = 4;
    if (lead == 0xF0) low = 0x90;
    if (lead == 0xF4) high = 0x8F;
  } else {
    return 0;
  }
  if (text.size() - at < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    const unsigned char next = byte(at + i);
    if (next < (i == 1 ? low : 0x80) || next > (i == 1 ? high : 0xBF)) return 0;
  }
  return length;
}

bool isValidUtf8(std::string_view text) {
  std::size_t at = 0;
  constexpr std::uint64_t kHighBits = 0x8080808080808080ULL;
  while (at < text.size()) {
    // Answers are nearly all ASCII: pass 32 such bytes at a time, then eight.
    while (text.size() - at >= 32) {
      std::uint64_t words[4];
      std::memcpy(words, text.data() + at, sizeof(words));
      if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0) break;
      at += 32;
    }
    if (text.size() - at >= 8) {
      std::uint64_t word = 0;
      std::memcpy(&word, text.data() + at, sizeof(word));
      if ((word & kHighBits) == 0) {
        at += 8;
        continue;
      }
    }
    const std::size_t length = utf8SequenceLength(text, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

}  // namespace VantorStorage::WS::detail
