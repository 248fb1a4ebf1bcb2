#include "AnswerLimits.h"

#include <cstring>
#include <stdexcept>
#include <string>

namespace VantorStorage::WS::detail {

void JsonDepthGuard::feed(std::string_view piece) {
  const char* p = piece.data();
  const char* const end = p + piece.size();
  // The next quote at or after p once looked for (nullptr: none in the rest of the piece), so
  // that no byte is searched twice however many escapes a string holds.
  const char* quote = nullptr;
  bool quoteLooked = false;
  while (p != end) {
    if (mEscaped) {
      mEscaped = false;
      ++p;
      continue;
    }
    if (mInString) {
      // Most of an answer is string text: jump to its closing quote, stopping at an escape first.
      if (!quoteLooked || (quote && quote < p)) {
        quote = static_cast<const char*>(std::memchr(p, '"', static_cast<std::size_t>(end - p)));
        quoteLooked = true;
      }
      const char* const stop = quote ? quote : end;
      if (const auto* escape = static_cast<const char*>(std::memchr(p, '\\', static_cast<std::size_t>(stop - p)))) {
        mEscaped = true;
        p = escape + 1;
        continue;
      }
      if (!quote) return;
      mInString = false;
      p = quote + 1;
      continue;
    }
    const char c = *p++;
    switch (c) {
      case '"':
        mInString = true;
        break;
      case '[':
      case '{':
        if (++mDepth > mMaxDepth)
          throw std::runtime_error("the answer nests deeper than the JSON nesting limit of " +
                                   std::to_string(mMaxDepth) + " levels");
        break;
      case ']':
      case '}':
        if (mDepth > 0) --mDepth;
        break;
      default:
        break;
    }
  }
}

}  // namespace VantorStorage::WS::detail
