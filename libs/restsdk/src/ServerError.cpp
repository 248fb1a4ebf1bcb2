#include "ServerError.h"

#include <nlohmann/json.hpp>

namespace VantorStorage::WS::detail {

namespace {
// A broken server must not make us keep (or print) megabytes of error text.
constexpr std::size_t kMaxMessages = 64;
constexpr std::size_t kMaxTextInWhat = 512;

std::string stringMember(const nlohmann::json& entry, const char* key) {
  const auto it = entry.find(key);
  if (it == entry.end() || !it->is_string()) return {};
  return it->get<std::string>();
}
}  // namespace

std::vector<ServerMessage> parseServerMessages(const std::string& body) {
  std::vector<ServerMessage> messages;
  const nlohmann::json answer = nlohmann::json::parse(body, nullptr, false);
  if (answer.is_discarded() || !answer.is_object()) return messages;
  const auto list = answer.find("messages");
  if (list == answer.end() || !list->is_array()) return messages;
  for (const nlohmann::json& entry : *list) {
    if (messages.size() == kMaxMessages) break;
    if (!entry.is_object()) continue;
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
