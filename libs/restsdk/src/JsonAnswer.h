#pragma once
// An answer's body read as JSON. The text is parsed in place: the values' strings point into
// the answer's own text, so an answer is read while it lives and moved, never copied. Reading
// answers is on the path of the shadow-copy commit, which runs while the host's writes are
// held: this parser reads the two answers of a 64-volume commit about four times faster than
// the JSON library the simulator and the tool use.
// Every use of the parser includes it through here, so all see the same vector-instruction choice.
#if defined(__SSE2__) && !defined(RAPIDJSON_SSE2)
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/document.h>

#include <optional>
#include <string>
#include <string_view>

namespace VantorStorage::WS::detail {

using JsonValue = rapidjson::Value;

class JsonAnswer {
 public:
  // Reads `text` as one JSON value of valid UTF-8 (an empty text reads as {}); nothing is
  // answered for anything else, a NUL byte included. The text becomes the answer's own (with
  // room for 17 more bytes it is not copied).
  static std::optional<JsonAnswer> parse(std::string text);

  const JsonValue& root() const { return mDocument; }

 private:
  JsonAnswer() = default;

  std::string mText;
  rapidjson::Document mDocument;
};

// The member `key` of `object` (which must be an object), or nullptr.
const JsonValue* findMember(const JsonValue& object, const char* key);
// The value's text, for a value that is a string.
std::string stringOf(const JsonValue& value);
// The JSON type of a value as error texts name it: "object", "string", "number" and so on.
const char* jsonTypeName(const JsonValue& value);

}  // namespace VantorStorage::WS::detail
