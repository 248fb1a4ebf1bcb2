#include "ServerError.h"

#include "JsonAnswer.h"

namespace VantorStorage::WS::detail {

namespace {
// A broken server must not make us keep (or print) megabytes of error text.
constexpr std::size_t kMaxMessages = 64;
constexpr std::size_t kMaxTextInWhat = 512;

std::string stringMember(const JsonValue& entry, const char* key) {
  const JsonValue* value = findMember(entry, key);
  return value && value->IsString() ? stringOf(*value) : std::string();
}
}  // namespace

std::vector<ServerMessage> parseServerMessages(const std::string& body) {
  std::vector<ServerMessage> messages;
  const std::optional<JsonAnswer> answer = JsonAnswer::parse(body);
  if (!answer || !answer->root().IsObject()) return messages;
  const JsonValue* list = findMember(answer->root(), "messages");
  if (!list || !list->IsArray()) return messages;
  for (const JsonValue& entry : list->GetArray()) {
    if (messages.size() == kMaxMessages) break;
    if (!entry.IsObject()) continue;
    messages.emplace_back(stringMember(entry, "code"), stringMember(entry, "text"), stringMember(entry, "severity"));
  }
  return messages;
}

std::string describeServerError(const std::string& request, int httpStatus, const std::vector<ServerMessage>& messages) {
  std::string text = request + " failed with HTTP status " + std::to_string(httpStatus);
  if (messages.empty()) return text + ": the answer carried no error messages";
  const char* separator = ": ";
  for (const ServerMessage& message : messages) {
    text += separator;
    text += message.getCode().empty() ? std::string("(no code)") : message.getCode();
    if (!message.getText().empty()) {
      std::string shown = message.getText().substr(0, kMaxTextInWhat);
      if (shown.size() < message.getText().size()) shown += "...";
      text += " (" + shown + ")";
    }
    separator = "; ";
  }
  return text;
}

}  // namespace VantorStorage::WS::detail
