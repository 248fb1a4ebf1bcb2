#include "http/CertificatePin.h"

#include <cctype>
#include <ctime>

namespace vantor::http {

namespace {

constexpr std::size_t kSha256HexDigits = 64;

std::string utcText(std::chrono::system_clock::time_point when) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(when);
  std::tm parts{};
#ifdef _WIN32
  gmtime_s(&parts, &seconds);
#else
  gmtime_r(&seconds, &parts);
#endif
  char text[32] = {};
  std::strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S UTC", &parts);
  return text;
}

}  // namespace

std::optional<std::string> normalizeSha256Hex(std::string_view text) {
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto c = static_cast<unsigned char>(text[i]);
    if (c == ':') {
      // Separators only between pairs: "ab:cd", never "a:bcd", "::" or a leading/trailing one.
      if (digits.empty() || digits.size() % 2 != 0 || i + 1 == text.size() || text[i + 1] == ':') return std::nullopt;
      continue;
    }
    if (!std::isxdigit(c)) return std::nullopt;
    digits += static_cast<char>(std::tolower(c));
    if (digits.size() > kSha256HexDigits) return std::nullopt;
  }
  if (digits.size() != kSha256HexDigits) return std::nullopt;
  return digits;
}

std::string pinRefusal(const std::string& presentedSha256, const std::string& pinnedSha256,
                       std::chrono::system_clock::time_point notBefore, std::chrono::system_clock::time_point notAfter,
                       std::chrono::system_clock::time_point now) {
  if (presentedSha256 != pinnedSha256)
    return "the server presents certificate SHA-256 " + presentedSha256 + ", not the pinned " + pinnedSha256 +
           " (trust the new certificate again if the array's certificate was replaced)";
  if (now < notBefore) return "the pinned certificate " + pinnedSha256 + " is not valid before " + utcText(notBefore);
  if (now > notAfter) return "the pinned certificate " + pinnedSha256 + " expired on " + utcText(notAfter);
  return {};
}

}  // namespace vantor::http
