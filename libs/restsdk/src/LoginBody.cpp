#include "LoginBody.h"

#include "JsonQuote.h"
#include "Utf8.h"

#include <cstring>
#include <stdexcept>

namespace VantorStorage::WS::detail {

namespace {

std::size_t checkedQuotedSize(std::string_view text) {
  if (!isValidUtf8(text)) throw std::invalid_argument("text that is not valid UTF-8");
  return quotedSize(text);
}

}  // namespace

std::string loginBody(std::string_view user, std::string_view password, std::string_view appName) {
  static constexpr std::string_view kOpen = R"({"data":{"username":)";
  static constexpr std::string_view kPassword = R"(,"password":)";
  static constexpr std::string_view kAppName = R"(,"app_name":)";
  static constexpr std::string_view kClose = "}}";
  // Sized (and every text checked) before a byte is written: a string that grows leaves its
  // earlier buffers behind unwiped, and a refusal half way would leave a part of the password.
  const std::size_t size = kOpen.size() + checkedQuotedSize(user) + kPassword.size() + checkedQuotedSize(password) +
                           kAppName.size() + checkedQuotedSize(appName) + kClose.size();
  std::string body;
  body.reserve(size);
  body.append(kOpen);
  appendQuoted(body, user);
  body.append(kPassword);
  appendQuoted(body, password);
  body.append(kAppName);
  appendQuoted(body, appName);
  body.append(kClose);
  return body;
}

void wipeText(std::string& text) {
  std::memset(text.data(), 0, text.size());
  // The compiler must assume the cleared bytes are read here, so the clearing stays although
  // the text is freed soon after.
  asm volatile("" : : "r"(text.data()) : "memory");
  text.clear();
}

}  // namespace VantorStorage::WS::detail
