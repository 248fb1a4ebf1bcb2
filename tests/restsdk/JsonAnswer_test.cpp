// The answer parser on its own: it must stay safe for any text, not only for answers that the
// transport's nesting check let through.
#include <gtest/gtest.h>

#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "AnswerLimits.h"
#include "JsonAnswer.h"
#include "JsonQuote.h"

namespace restsdk_test {
namespace {

using VantorStorage::WS::detail::JsonAnswer;
using VantorStorage::WS::detail::JsonDepthGuard;
using VantorStorage::WS::detail::kMaxAnswerDepth;

std::string Nested(std::size_t depth, char open, char close) {
  return std::string(depth, open) + std::string(depth, close);
}

TEST(JsonAnswer, NestingBeyondTheLimitIsRefusedWithoutRecursingIntoIt) {
  EXPECT_TRUE(JsonAnswer::parse(Nested(kMaxAnswerDepth, '[', ']')));
  EXPECT_FALSE(JsonAnswer::parse(Nested(kMaxAnswerDepth + 1, '[', ']')));
  std::string objects;
  for (std::size_t i = 0; i <= kMaxAnswerDepth; ++i) objects += "{\"a\":";
  objects += "1" + std::string(kMaxAnswerDepth + 1, '}');
  EXPECT_FALSE(JsonAnswer::parse(objects));
  // Deep enough to overflow any thread's stack if the parser recursed level by level.
  EXPECT_FALSE(JsonAnswer::parse(Nested(std::size_t{1} << 24, '[', ']')));

  const auto answer = JsonAnswer::parse(R"({"data":[{"id":"a"},[[]]],"n":null})");
  ASSERT_TRUE(answer);
  EXPECT_EQ(answer->root()["data"][0]["id"].GetString(), std::string("a"));
  EXPECT_FALSE(JsonAnswer::parse(R"({"data":[]} {})"));
  EXPECT_FALSE(JsonAnswer::parse(R"({"data":[})"));
}

// Whether `text` nests deeper than `limit`, byte by byte: brackets count outside strings only,
// and a backslash in a string makes the next byte text.
bool NestsDeeper(std::string_view text, std::size_t limit) {
  std::size_t depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if (inString) {
      if (c == '\\') ++i;
      else if (c == '"') inString = false;
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > limit) return true;
    } else if ((c == ']' || c == '}') && depth > 0) {
      --depth;
    }
  }
  return false;
}

// The guard reads sixteen bytes at a time where it can; whatever the text and wherever it is
// cut into pieces, it must judge as the byte-by-byte reading does.
TEST(JsonDepthGuard, JudgesEveryTextAsAByteByByteReadingInAnyPieces) {
  std::mt19937 random(20261124);
  const std::string_view alphabet = "[]{}\"\\aaaaaaaaaa";
  int deeper = 0;
  for (int round = 0; round < 20000; ++round) {
    std::string text(random() % 120, ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    const std::size_t limit = 1 + random() % 4;
    JsonDepthGuard guard(limit);
    bool threw = false;
    try {
      for (std::size_t at = 0; at < text.size();) {
        const std::size_t piece = std::min<std::size_t>(text.size() - at, 1 + random() % 40);
        guard.feed(std::string_view(text).substr(at, piece));
        at += piece;
      }
    } catch (const std::runtime_error&) {
      threw = true;
    }
    ASSERT_EQ(threw, NestsDeeper(text, limit)) << "limit " << limit << ": " << text;
    deeper += threw ? 1 : 0;
  }
  EXPECT_GT(deeper, 1000);
  EXPECT_LT(deeper, 19000);
}

// Texts are scanned eight bytes at a time for what needs an escape: wherever such a byte sits,
// the literal must read back as the text, and be as long as announced.
TEST(JsonQuote, EveryTextReadsBackWhereverItsEscapesSit) {
  using VantorStorage::WS::detail::appendQuoted;
  using VantorStorage::WS::detail::quotedSize;
  std::mt19937 random(4711);
  const std::string_view alphabet = "\"\\\n\x01\x1f\x7f abcdefghijklmnopqrstuvwxyz_ABC";
  for (int round = 0; round < 5000; ++round) {
    std::string text(random() % 40, 'x');
    // Mostly plain, with a byte of the alphabet here and there.
    for (char& c : text)
      if (random() % 6 == 0) c = alphabet[random() % alphabet.size()];
    std::string literal = "prefix";
    appendQuoted(literal, text);
    ASSERT_EQ(literal.size(), 6 + quotedSize(text));
    ASSERT_EQ(nlohmann::json::parse(literal.substr(6)).get<std::string>(), text);
  }
}

}  // namespace
}  // namespace restsdk_test
