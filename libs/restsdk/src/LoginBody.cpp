#include "LoginBody.h"

#include "Utf8.h"

#include <array>
#include <cstring>
#include <stdexcept>

namespace VantorStorage::WS::detail {

namespace {

// Appends the JSON string literal of `text` to `out`; with `out` null only counts its size.
std::size_t quote(std::string_view text, std::string* out) {
  static constexpr std::array<char, 16> kHex = {'0', '1', '2', '3', '4', '5', '6', '7',
                                                '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
  std::size_t size = 2;
  if (out) out->push_back('"');
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = utf8SequenceLength(text, at);
    if (length == 0) throw std::invalid_argument("text that is not valid UTF-8");
    const auto c = static_cast<unsigned char>(text[at]);
    if (c == '"' || c == '\\') {
      size += 2;
      if (out) {
        out->push_back('\\');
        out->push_back(static_cast<char>(c));
      }
    } else if (c < 0x20) {
      size += 6;
      if (out) {
        out->append("\\u00");
        out->push_back(kHex[c >> 4]);
        out->push_back(kHex[c & 0x0f]);
      }
    } else {
      size += length;
      if (out) out->append(text.substr(at, length));
    }
    at += length;
  }
  if (out) out->push_back('"');
  return size;
}

}  // namespace

std::string loginBody(std::string_view user, std::string_view password, std::string_view appName) {
  static constexpr std::string_view kOpen = R"({"data":{"username":)";
  static constexpr std::string_view kPassword = R"(,"password":)";
  static constexpr std::string_view kAppName = R"(,"app_name":)";
  static constexpr std::string_view kClose = "}}";
  // Sized (and every text checked) before a byte is written: a string that grows leaves its
  // earlier buffers behind unwiped, and a refusal half way would leave a part of the password.
  const std::size_t size = kOpen.size() + quote(user, nullptr) + kPassword.size() + quote(password, nullptr) +
                           kAppName.size() + quote(appName, nullptr) + kClose.size();
  std::string body;
  body.reserve(size);
  body.append(kOpen);
  quote(user, &body);
  body.append(kPassword);
  quote(password, &body);
  body.append(kAppName);
  quote(appName, &body);
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
