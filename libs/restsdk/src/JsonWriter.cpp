#include "JsonWriter.h"

#include "Utf8.h"

namespace VantorStorage::WS::detail {

namespace {
rapidjson::SizeType lengthOf(std::string_view text) { return static_cast<rapidjson::SizeType>(text.size()); }
}  // namespace

JsonWriter& JsonWriter::beginObject() {
  mWriter.StartObject();
  return *this;
}

JsonWriter& JsonWriter::endObject() {
  mWriter.EndObject();
  return *this;
}

JsonWriter& JsonWriter::beginArray() {
  mWriter.StartArray();
  return *this;
}

JsonWriter& JsonWriter::endArray() {
  mWriter.EndArray();
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
  mWriter.Key(name.data(), lengthOf(name));
  return *this;
}

JsonWriter& JsonWriter::string(std::string_view text) {
  if (!isValidUtf8(text)) {
    mValidUtf8 = false;
    text = {};
  }
  mWriter.String(text.data(), lengthOf(text));
  return *this;
}

JsonWriter& JsonWriter::boolean(bool value) {
  mWriter.Bool(value);
  return *this;
}

JsonWriter& JsonWriter::value(const JsonBody& written) {
  mValidUtf8 = mValidUtf8 && written.validUtf8;
  mWriter.RawValue(written.text.data(), written.text.size(), rapidjson::kObjectType);
  return *this;
}

JsonBody JsonWriter::finish() const {
  return JsonBody{std::string(mBuffer.GetString(), mBuffer.GetSize()), mValidUtf8};
}

}  // namespace VantorStorage::WS::detail
