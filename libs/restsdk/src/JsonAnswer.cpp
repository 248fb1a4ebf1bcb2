#include "JsonAnswer.h"

#include <cstring>

#include "AnswerLimits.h"
#include "Utf8.h"

namespace VantorStorage::WS::detail {

namespace {

constexpr std::size_t kReadPastEnd = 16;

// Passes the parser's events on to the document, refusing to nest deeper than kMaxAnswerDepth:
// the parser recurses once per level, so this bounds its stack whatever the text.
class DepthLimitedHandler {
 public:
  explicit DepthLimitedHandler(rapidjson::Document& document) : mDocument(document) {}

  bool Null() { return mDocument.Null(); }
  bool Bool(bool b) { return mDocument.Bool(b); }
  bool Int(int i) { return mDocument.Int(i); }
  bool Uint(unsigned u) { return mDocument.Uint(u); }
  bool Int64(std::int64_t i) { return mDocument.Int64(i); }
  bool Uint64(std::uint64_t u) { return mDocument.Uint64(u); }
  bool Double(double d) { return mDocument.Double(d); }
  bool RawNumber(const char* text, rapidjson::SizeType length, bool copy) {
    return mDocument.RawNumber(text, length, copy);
  }
  bool String(const char* text, rapidjson::SizeType length, bool copy) { return mDocument.String(text, length, copy); }
  bool Key(const char* text, rapidjson::SizeType length, bool copy) { return mDocument.Key(text, length, copy); }
  bool StartObject() { return ++mDepth <= kMaxAnswerDepth && mDocument.StartObject(); }
  bool EndObject(rapidjson::SizeType members) {
    --mDepth;
    return mDocument.EndObject(members);
  }
  bool StartArray() { return ++mDepth <= kMaxAnswerDepth && mDocument.StartArray(); }
  bool EndArray(rapidjson::SizeType elements) {
    --mDepth;
    return mDocument.EndArray(elements);
  }

 private:
  rapidjson::Document& mDocument;
  std::size_t mDepth = 0;
};

// Fills a document from text parsed in place (see GenericDocument::Populate).
struct InPlaceParse {
  char* text;
  bool parsed = false;
  bool operator()(rapidjson::Document& document) {
    DepthLimitedHandler handler(document);
    rapidjson::InsituStringStream stream(text);
    rapidjson::Reader reader;
    parsed = !reader.Parse<rapidjson::kParseInsituFlag>(stream, handler).IsError();
    return parsed;
  }
};

}  // namespace

std::optional<JsonAnswer> JsonAnswer::parse(std::string text) {
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
  answer.mText = std::move(text);
  answer.mText.append(1 + kReadPastEnd, '\0');
  InPlaceParse parse{answer.mText.data()};
  answer.mDocument.Populate(parse);
  if (!parse.parsed) return std::nullopt;
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
