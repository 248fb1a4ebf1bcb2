#include "wincompat/WideString.h"

#include <cstdint>
#include <cstring>

namespace wincompat {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendCodePoint(std::wstring& out, char32_t cp) {
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

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

}  // namespace

std::wstring ToWide(std::string_view in) {
  std::wstring out;
  AppendWide(out, in);
  return out;
}

void AppendWide(std::wstring& out, std::string_view in) {
  out.reserve(out.size() + in.size());
  std::size_t i = 0;
  while (i < in.size()) {
    // Most text is ASCII: find the end of a run of it eight bytes at a time, and widen the run
    // in one piece.
    std::size_t run = i;
    while (in.size() - run >= 8) {
      std::uint64_t word;
      std::memcpy(&word, in.data() + run, sizeof word);
      if ((word & 0x8080808080808080ULL) != 0) break;
      run += 8;
    }
    while (run < in.size() && static_cast<unsigned char>(in[run]) < 0x80) ++run;
    if (run != i) {
      const std::size_t at = out.size();
      out.resize(at + (run - i));  // within the reserved room: no allocation, no temporary
      wchar_t* const to = out.data() + at;
      const char* const from = in.data() + i;
      for (std::size_t k = 0; k < run - i; ++k) to[k] = static_cast<wchar_t>(from[k]);
      i = run;
      continue;
    }
    const auto lead = static_cast<unsigned char>(in[i]);
    std::size_t len = lead < 0x80 ? 1 : (lead >> 5) == 0x6 ? 2 : (lead >> 4) == 0xE ? 3 : (lead >> 3) == 0x1E ? 4 : 0;
    if (len == 0 || i + len > in.size()) {
      AppendCodePoint(out, kReplacement);
      ++i;
      continue;
    }
    char32_t cp = len == 1 ? lead : lead & (0xFF >> (len + 1));
    bool valid = true;
    for (std::size_t k = 1; k < len; ++k) {
      const auto c = static_cast<unsigned char>(in[i + k]);
      if ((c & 0xC0) != 0x80) { valid = false; break; }
      cp = (cp << 6) | (c & 0x3F);
    }
    if (!valid || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) {
      AppendCodePoint(out, kReplacement);
      ++i;
      continue;
    }
    AppendCodePoint(out, cp);
    i += len;
  }
}

std::string ToNarrow(std::wstring_view in) {
  std::string out;
  out.reserve(in.size());
  for (std::size_t i = 0; i < in.size(); ++i) {
    char32_t cp = static_cast<char32_t>(in[i]);
    if constexpr (sizeof(wchar_t) == 2) {
      cp &= 0xFFFF;
      if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < in.size()) {
        const char32_t low = static_cast<char32_t>(in[i + 1]) & 0xFFFF;
        if (low >= 0xDC00 && low <= 0xDFFF) {
          cp = 0x10000 + ((cp - 0xD800) << 10) + (low - 0xDC00);
          ++i;
        }
      }
    }
    if (cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) cp = kReplacement;
    AppendUtf8(out, cp);
  }
  return out;
}

}  // namespace wincompat
