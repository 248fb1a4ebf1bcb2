#include "wincompat/Guid.h"

#include <cstdio>
#include <random>

#include "wincompat/WideString.h"

namespace wincompat {

std::string GuidToString(const GUID& g) {
  char text[64];
  std::snprintf(text, sizeof text, "{%.8x-%.4x-%.4x-%.2x%.2x-%.2x%.2x%.2x%.2x%.2x%.2x}",
                static_cast<unsigned>(g.Data1), static_cast<unsigned>(g.Data2),
                static_cast<unsigned>(g.Data3), g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3],
                g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return text;
}

std::wstring GuidToWString(const GUID& guid) { return ToWide(GuidToString(guid)); }

bool GuidFromString(const std::string& text, GUID& out) {
  std::string s = text;
  if (s.size() == 38 && s.front() == '{' && s.back() == '}') s = s.substr(1, 36);
  if (s.size() != 36 || s[8] != '-' || s[13] != '-' || s[18] != '-' || s[23] != '-') return false;
  std::string hex;
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (i == 8 || i == 13 || i == 18 || i == 23) continue;
    const char c = s[i];
    const bool isHex = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
    if (!isHex) return false;
    hex += c;
  }
  auto field = [&hex](std::size_t pos, std::size_t len) {
    return static_cast<std::uint32_t>(std::stoul(hex.substr(pos, len), nullptr, 16));
  };
  GUID g{};
  g.Data1 = field(0, 8);
  g.Data2 = static_cast<std::uint16_t>(field(8, 4));
  g.Data3 = static_cast<std::uint16_t>(field(12, 4));
  for (std::size_t i = 0; i < 8; ++i) g.Data4[i] = static_cast<std::uint8_t>(field(16 + 2 * i, 2));
  out = g;
  return true;
}

GUID NewGuid() {
  thread_local std::mt19937_64 engine{std::random_device{}()};
  std::uniform_int_distribution<std::uint32_t> byte(0, 255);
  std::uint8_t b[16];
  for (auto& v : b) v = static_cast<std::uint8_t>(byte(engine));
  b[6] = static_cast<std::uint8_t>((b[6] & 0x0F) | 0x40);
  b[8] = static_cast<std::uint8_t>((b[8] & 0x3F) | 0x80);
  GUID g{};
  g.Data1 = (std::uint32_t{b[0]} << 24) | (std::uint32_t{b[1]} << 16) | (std::uint32_t{b[2]} << 8) | b[3];
  g.Data2 = static_cast<std::uint16_t>((b[4] << 8) | b[5]);
  g.Data3 = static_cast<std::uint16_t>((b[6] << 8) | b[7]);
  for (int i = 0; i < 8; ++i) g.Data4[i] = b[8 + i];
  return g;
}

}  // namespace wincompat
