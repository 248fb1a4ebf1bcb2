#pragma once
// Limits on the shape of an array's answer, checked piece by piece while the answer arrives
// (see vantor::http::BodyInspector), so that nothing is built from an answer that breaks them.
#include <cstddef>
#include <string_view>

namespace VantorStorage::WS::detail {

// No answer of the management API nests deeper than a handful of levels.
inline constexpr std::size_t kMaxAnswerDepth = 64;

// Follows the nesting of JSON text across pieces (brackets inside strings do not count) and
// throws std::runtime_error, naming the limit, once it goes deeper than `maxDepth`. It does not
// judge whether the text is JSON otherwise; the parser does that afterwards.
class JsonDepthGuard {
 public:
  explicit JsonDepthGuard(std::size_t maxDepth = kMaxAnswerDepth) : mMaxDepth(maxDepth) {}
  void feed(std::string_view piece);

 private:
  void take(const char* at, const char*& skip);

  std::size_t mMaxDepth;
  std::size_t mDepth = 0;
  bool mInString = false;
  bool mEscaped = false;
};

}  // namespace VantorStorage::WS::detail
