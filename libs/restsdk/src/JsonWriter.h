#pragma once
// Request bodies written straight into their text, with no document built first. Texts that
// are not valid UTF-8 are not written (an empty string stands in for them) and the body says
// so: the caller refuses to send it, naming the request but quoting nothing. The caller writes
// well-formed JSON (a key before each value of an object); the writer adds the commas.
#include <string>
#include <string_view>
#include <vector>

namespace VantorStorage::WS::detail {

struct JsonBody {
  std::string text;
  bool validUtf8 = true;
};

class JsonWriter {
 public:
  JsonWriter() = default;
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  JsonWriter& beginObject();
  JsonWriter& endObject();
  JsonWriter& beginArray();
  JsonWriter& endArray();
  JsonWriter& key(std::string_view name);
  JsonWriter& string(std::string_view text);
  JsonWriter& boolean(bool value);
  // A complete JSON value written by another writer (`finish()` of it), copied as it stands.
  JsonWriter& value(const JsonBody& written);

  // The body written; the writer is empty afterwards.
  JsonBody finish();

 private:
  // Before a value: a comma when it follows another value of its array or object.
  void separate();
  void open(char bracket);
  void close(char bracket);

  std::string mText;
  std::vector<bool> mHasValue;  // per open array or object: whether it holds a value yet
  bool mAfterKey = false;
  bool mValidUtf8 = true;
};

}  // namespace VantorStorage::WS::detail
