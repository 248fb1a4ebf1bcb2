#include "platform/emulated/RegUtf16.h"

#include <cstddef>
#include <cstdint>

namespace platform::regfile {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char32_t u) { return u >= 0xD800 && u <= 0xDBFF; }
bool IsLowSurrogate(char32_t u) { return u >= 0xDC00 && u <= 0xDFFF; }

void AppendUnit(std::vector<BYTE>& out, char32_t unit) {
  out.push_back(static_cast<BYTE>(unit & 0xFF));
  out.push_back(static_cast<BYTE>((unit >> 8) & 0xFF));
}

void AppendCodePoint(std::vector<BYTE>& out, char32_t cp) {
  if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = kReplacement;
  if (cp >= 0x10000) {
    cp -= 0x10000;
    AppendUnit(out, 0xD800 + (cp >> 10));
    AppendUnit(out, 0xDC00 + (cp & 0x3FF));
  } else {
    AppendUnit(out, cp);
  }
}

void AppendWide(std::wstring& out, char32_t cp) {
  if constexpr (sizeof(wchar_t) == 2) {
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.push_back(static_cast<wchar_t>(0xD800 + (cp >> 10)));
      out.push_back(static_cast<wchar_t>(0xDC00 + (cp & 0x3FF)));
      return;
    }
  }
  out.push_back(static_cast<wchar_t>(cp));
}

// Reads unit `i` of `bytes`; an odd last byte is a unit with a zero high byte.
char32_t UnitAt(std::span<const BYTE> bytes, std::size_t i) {
  const std::size_t lo = 2 * i;
  const char32_t low = bytes[lo];
  const char32_t high = lo + 1 < bytes.size() ? bytes[lo + 1] : 0;
  return low | (high << 8);
}

}  // namespace

std::vector<BYTE> EncodeUtf16Le(std::wstring_view text) {
  std::vector<BYTE> out;
  out.reserve(text.size() * 2);
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t cp = static_cast<char32_t>(text[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      cp &= 0xFFFF;
      if (IsHighSurrogate(cp) && i + 1 < text.size() && IsLowSurrogate(static_cast<char32_t>(text[i + 1]) & 0xFFFF)) {
        cp = 0x10000 + ((cp - 0xD800) << 10) + ((static_cast<char32_t>(text[i + 1]) & 0xFFFF) - 0xDC00);
        ++i;
      }
    }
    AppendCodePoint(out, cp);
  }
  return out;
}

std::wstring DecodeUtf16Le(std::span<const BYTE> bytes) {
  const std::size_t units = (bytes.size() + 1) / 2;
  std::wstring out;
  out.reserve(units);
  for (std::size_t i = 0; i < units; ++i) {
    const char32_t unit = UnitAt(bytes, i);
    if (IsHighSurrogate(unit) && i + 1 < units && IsLowSurrogate(UnitAt(bytes, i + 1))) {
      AppendWide(out, 0x10000 + ((unit - 0xD800) << 10) + (UnitAt(bytes, i + 1) - 0xDC00));
      ++i;
    } else if (IsHighSurrogate(unit) || IsLowSurrogate(unit)) {
      AppendWide(out, kReplacement);
    } else {
      AppendWide(out, unit);
    }
  }
  return out;
}

bool IsWellFormedUtf16Le(std::span<const BYTE> bytes) {
  if (bytes.size() % 2 != 0) return false;
  const std::size_t units = bytes.size() / 2;
  for (std::size_t i = 0; i < units; ++i) {
    const char32_t unit = UnitAt(bytes, i);
    if (IsHighSurrogate(unit)) {
      if (i + 1 >= units || !IsLowSurrogate(UnitAt(bytes, i + 1))) return false;
      ++i;
    } else if (IsLowSurrogate(unit)) {
      return false;
    }
  }
  return true;
}

}  // namespace platform::regfile
