#include "AnswerLimits.h"

#include <bit>
#include <stdexcept>
#include <string>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace VantorStorage::WS::detail {

// Takes one byte that may matter: a quote, a backslash or a bracket. `skip` is the byte an
// escape stands before; it is string text whatever it is.
inline void JsonDepthGuard::take(const char* at, const char*& skip) {
  if (at == skip) return;
  const char c = *at;
  if (mInString) {
    if (c == '\\') skip = at + 1;
    else if (c == '"') mInString = false;
    return;
  }
  switch (c) {
    case '"':
      mInString = true;
      break;
    case '[':
    case '{':
      if (++mDepth > mMaxDepth)
        throw std::runtime_error("the answer nests deeper than the JSON nesting limit of " + std::to_string(mMaxDepth) +
                                 " levels");
      break;
    case ']':
    case '}':
      if (mDepth > 0) --mDepth;
      break;
    default:
      break;
  }
}

namespace {
// Few bits are set in a block's bracket masks: cheaper than a library call where the processor
// has no population count instruction.
std::size_t bitCount(unsigned bits) {
  std::size_t n = 0;
  for (; bits != 0; bits &= bits - 1) ++n;
  return n;
}
}  // namespace

void JsonDepthGuard::feed(std::string_view piece) {
  const char* p = piece.data();
  const char* const end = p + piece.size();
  // An escape at the end of the last piece stands before this piece's first byte.
  const char* skip = mEscaped ? p : nullptr;
#if defined(__SSE2__)
  // Sixteen bytes at a time. Without an escape in the block, the quotes alone say which bytes
  // are string text (a running XOR of the quote bits), and the brackets outside strings can be
  // counted at once unless the block could cross the limit or close more than is open; such a
  // block, or one with an escape, is taken byte by byte from its first byte that matters.
  const auto matches = [](__m128i block, char a, char b) {
    const __m128i isA = _mm_cmpeq_epi8(block, _mm_set1_epi8(a));
    const __m128i either = _mm_or_si128(isA, _mm_cmpeq_epi8(block, _mm_set1_epi8(b)));
    return static_cast<unsigned>(_mm_movemask_epi8(either));
  };
  for (; end - p >= 16; p += 16) {
    const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const unsigned quotes = matches(block, '"', '"');
    const unsigned escapes = matches(block, '\\', '\\');
    const unsigned opens = matches(block, '[', '{');
    const unsigned closes = matches(block, ']', '}');
    const unsigned anything = quotes | escapes | opens | closes;
    if (anything == 0) continue;
    if (escapes == 0 && skip != p) {
      unsigned inString = quotes;
      inString ^= inString << 1;
      inString ^= inString << 2;
      inString ^= inString << 4;
      inString ^= inString << 8;
      if (mInString) inString = ~inString;
      const std::size_t opened = bitCount(opens & ~inString);
      const std::size_t closed = bitCount(closes & ~inString);
      if (mDepth + opened <= mMaxDepth && closed <= mDepth) {
        mDepth = mDepth + opened - closed;
        mInString = (inString >> 15 & 1U) != 0;
        continue;
      }
    }
    for (const char* at = p + std::countr_zero(anything); at != p + 16; ++at) take(at, skip);
  }
#endif
  for (; p != end; ++p) take(p, skip);
  mEscaped = skip == end;
}

}  // namespace VantorStorage::WS::detail
