#include "logger/TraceLine.h"

#include <cstdio>
#include <ctime>

#include "logger/HostInfo.h"
#include "wincompat/WideString.h"

namespace logger {
namespace {

const char* CategoryName(MSG_CATEGORY category) {
  switch (category) {
    case MSG_DEBUG: return "DEBUG";
    case MSG_INFO: return "INFO ";
    case MSG_WARNING: return "WARN ";
    case MSG_ERROR: return "ERROR";
  }
  return nullptr;
}

std::wstring EscapeControls(std::wstring_view text) {
  std::wstring out;
  out.reserve(text.size());
  for (const wchar_t c : text) {
    if (c == L'\n') {
      out += L"\\n";
    } else if (c == L'\r') {
      out += L"\\r";
    } else if (const auto code = static_cast<std::uint32_t>(c); (code < 0x20 && c != L'\t') || code == 0x7F) {
      constexpr wchar_t kHex[] = L"0123456789ABCDEF";
      out += L"\\x";
      out.push_back(kHex[(code >> 4) & 0xF]);
      out.push_back(kHex[code & 0xF]);
    } else {
      out.push_back(c);
    }
  }
  return out;
}

}  // namespace

std::string FormatTraceLine(const TraceEntry& entry, std::uint32_t processId) {
  using namespace std::chrono;
  const auto sinceEpoch = entry.time.time_since_epoch();
  const auto wholeSeconds = floor<seconds>(sinceEpoch);
  const auto millis = duration_cast<milliseconds>(sinceEpoch - wholeSeconds).count();
  const std::tm local = host::LocalTime(static_cast<std::time_t>(wholeSeconds.count()));

  char category[16];
  if (const char* name = CategoryName(entry.category)) {
    std::snprintf(category, sizeof(category), "%s", name);
  } else {
    std::snprintf(category, sizeof(category), "CAT%d", static_cast<int>(entry.category));
  }
  char head[128];
  std::snprintf(head, sizeof(head), "%04d-%02d-%02d %02d:%02d:%02d.%03d [%u:%u] %s ", local.tm_year + 1900,
                local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(millis),
                static_cast<unsigned>(processId), static_cast<unsigned>(entry.threadId), category);

  std::string line(head);
  line += wincompat::ToNarrow(EscapeControls(entry.source));
  line += '(';
  line += std::to_string(entry.line);
  line += "): ";
  line += wincompat::ToNarrow(EscapeControls(entry.message));
  line += '\n';
  return line;
}

}  // namespace logger
