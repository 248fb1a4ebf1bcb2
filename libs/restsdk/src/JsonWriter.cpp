#include "JsonWriter.h"

#include <utility>

#include "JsonQuote.h"
#include "Utf8.h"

namespace VantorStorage::WS::detail {

void JsonWriter::separate() {
  if (mAfterKey) {
    mAfterKey = false;
    return;
  }
  if (mHasValue.empty()) return;
  if (mHasValue.back()) mText.push_back(',');
  mHasValue.back() = true;
}

void JsonWriter::open(char bracket) {
  separate();
  mText.push_back(bracket);
  mHasValue.push_back(false);
}

void JsonWriter::close(char bracket) {
  mText.push_back(bracket);
  if (!mHasValue.empty()) mHasValue.pop_back();
}

JsonWriter& JsonWriter::beginObject() {
  open('{');
  return *this;
}

JsonWriter& JsonWriter::endObject() {
  close('}');
  return *this;
}

JsonWriter& JsonWriter::beginArray() {
  open('[');
  return *this;
}

JsonWriter& JsonWriter::endArray() {
  close(']');
  return *this;
}

JsonWriter& JsonWriter::key(std::string_view name) {
  separate();
  appendQuoted(mText, name);  // the library's own names
  mText.push_back(':');
  mAfterKey = true;
  return *this;
}

JsonWriter& JsonWriter::string(std::string_view text) {
  if (!isValidUtf8(text)) {
    mValidUtf8 = false;
    text = {};
  }
  separate();
  appendQuoted(mText, text);
  return *this;
}

JsonWriter& JsonWriter::boolean(bool value) {
  separate();
  mText.append(value ? "true" : "false");
  return *this;
}

JsonWriter& JsonWriter::value(const JsonBody& written) {
  mValidUtf8 = mValidUtf8 && written.validUtf8;
  separate();
  mText.append(written.text);
  return *this;
}

JsonBody JsonWriter::finish() {
  mHasValue.clear();
  mAfterKey = false;
  return JsonBody{std::exchange(mText, {}), std::exchange(mValidUtf8, true)};
}

}  // namespace VantorStorage::WS::detail
