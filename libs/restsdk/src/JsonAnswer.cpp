#include "JsonAnswer.h"

#include <cstring>

#include "Utf8.h"

namespace VantorStorage::WS::detail {

namespace {
constexpr std::size_t kReadPastEnd = 16;
}  // namespace

std::optional<JsonAnswer> JsonAnswer::parse(std::string_view text) {
  JsonAnswer answer;
  if (text.empty()) {
    answer.mDocument.SetObject();
    return answer;
  }
  // The in-place parser stops at a NUL: text after one would go unread rather than refused.
  if (std::memchr(text.data(), '\0', text.size())) return std::nullopt;
  // Checked here over the whole text at once rather than string by string in the parser.
  if (!isValidUtf8(text)) return std::nullopt;
  // The parser's vector instructions read whole aligned 16-byte blocks, so up to 15 bytes past
  // the closing NUL: those bytes are the answer's own.
  answer.mText.assign(text.size() + 1 + kReadPastEnd, '\0');
  std::memcpy(answer.mText.data(), text.data(), text.size());
  // Iterative: no recursion however deep the text nests.
  constexpr unsigned kFlags = rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag;
  answer.mDocument.ParseInsitu<kFlags>(answer.mText.data());
  if (answer.mDocument.HasParseError()) return std::nullopt;
  return answer;
}

const JsonValue* findMember(const JsonValue& object, const char* key) {
  const auto it = object.FindMember(key);
  return it == object.MemberEnd() ? nullptr : &it->value;
}

std::string stringOf(const JsonValue& value) {
  return std::string(value.GetString(), value.GetStringLength());
}

const char* jsonTypeName(const JsonValue& value) {
  switch (value.GetType()) {
    case rapidjson::kNullType: return "null";
    case rapidjson::kFalseType:
    case rapidjson::kTrueType: return "boolean";
    case rapidjson::kObjectType: return "object";
    case rapidjson::kArrayType: return "array";
    case rapidjson::kStringType: return "string";
    case rapidjson::kNumberType: return "number";
  }
  return "unknown";
}

}  // namespace VantorStorage::WS::detail
