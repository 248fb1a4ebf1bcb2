#pragma once
// Request bodies written straight into their text, with no document built first. Texts that
// are not valid UTF-8 are not written (an empty string stands in for them) and the body says
// so: the caller refuses to send it, naming the request but quoting nothing.
#include <string>
#include <string_view>

#include "JsonAnswer.h"
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace VantorStorage::WS::detail {

struct JsonBody {
  std::string text;
  bool validUtf8 = true;
};

class JsonWriter {
 public:
  JsonWriter() : mWriter(mBuffer) {}
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

  JsonBody finish() const;

 private:
  rapidjson::StringBuffer mBuffer;
  rapidjson::Writer<rapidjson::StringBuffer> mWriter;
  bool mValidUtf8 = true;
};

}  // namespace VantorStorage::WS::detail
