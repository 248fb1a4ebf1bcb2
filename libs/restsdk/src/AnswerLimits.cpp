#include "AnswerLimits.h"

#include <stdexcept>
#include <string>

namespace VantorStorage::WS::detail {

void JsonDepthGuard::feed(std::string_view piece) {
  for (const char c : piece) {
    if (mInString) {
      if (mEscaped) {
        mEscaped = false;
      } else if (c == '\\') {
        mEscaped = true;
      } else if (c == '"') {
        mInString = false;
      }
      continue;
    }
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
