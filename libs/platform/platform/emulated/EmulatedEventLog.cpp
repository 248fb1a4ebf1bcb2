#include "platform/emulated/EmulatedEventLog.h"

#include <chrono>
#include <cstdio>
#include <fstream>
#include <utility>

#include "wincompat/WideString.h"

namespace platform {
namespace {

// A long-running emulated host keeps the newest records; the text file keeps them all.
constexpr std::size_t kMaxRecords = 10000;

const wchar_t* TypeName(WORD type) {
  switch (type) {
    case EVENTLOG_SUCCESS: return L"Success";
    case EVENTLOG_ERROR_TYPE: return L"Error";
    case EVENTLOG_WARNING_TYPE: return L"Warning";
    case EVENTLOG_INFORMATION_TYPE: return L"Information";
    default: return L"Type";
  }
}

std::string UtcTimestamp() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const auto day = floor<days>(now);
  const year_month_day date{day};
  const hh_mm_ss time{now - day};
  char text[40];
  std::snprintf(text, sizeof(text), "%04d-%02u-%02uT%02d:%02d:%02d.%03dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
                static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
  return text;
}

// One event is one line of the file: its own line breaks become spaces, the final one goes.
std::wstring OneLine(std::wstring text) {
  while (!text.empty() && (text.back() == L'\n' || text.back() == L'\r')) text.pop_back();
  for (wchar_t& c : text) {
    if (c == L'\n' || c == L'\r') c = L' ';
  }
  return text;
}

}  // namespace

EmulatedEventLog::EmulatedEventLog(std::filesystem::path textFile, Renderer renderer)
    : textFile_(std::move(textFile)), renderer_(std::move(renderer)) {}

bool EmulatedEventLog::InstallSource(const std::wstring& sourceName, const std::wstring& messageFile) {
  if (!IsValidEventSourceName(sourceName) || messageFile.empty()) return false;
  const std::lock_guard lock(mutex_);
  sources_[sourceName] = messageFile;
  return true;
}

bool EmulatedEventLog::RemoveSource(const std::wstring& sourceName) {
  if (!IsValidEventSourceName(sourceName)) return false;
  const std::lock_guard lock(mutex_);
  sources_.erase(sourceName);
  return true;
}

std::wstring EmulatedEventLog::SourceMessageFile(const std::wstring& sourceName) const {
  const std::lock_guard lock(mutex_);
  const auto found = sources_.find(sourceName);
  return found == sources_.end() ? std::wstring() : found->second;
}

bool EmulatedEventLog::Report(const std::wstring& sourceName, WORD type, DWORD eventId,
                              const std::vector<std::wstring>& strings) {
  // Like Windows, an event from a source that was never installed is still logged.
  if (!IsValidEventSourceName(sourceName)) return false;
  EventRecord record{type, eventId, strings, sourceName};
  for (std::wstring& s : record.strings) {
    if (s.size() > kMaxEventStringChars) s.resize(kMaxEventStringChars);
  }
  const std::lock_guard lock(mutex_);
  Append(record);
  if (records_.size() >= kMaxRecords) records_.erase(records_.begin());
  records_.push_back(std::move(record));
  return true;
}

std::vector<EventRecord> EmulatedEventLog::Records() const {
  const std::lock_guard lock(mutex_);
  return records_;
}

std::wstring EmulatedEventLog::Describe(const EventRecord& record) const {
  if (renderer_) {
    try {
      return renderer_(record.eventId, record.strings);
    } catch (...) {
      // Fall through to the plain description.
    }
  }
  std::wstring text = L"(event " + std::to_wstring(record.eventId) + L")";
  for (const std::wstring& s : record.strings) text += L" '" + s + L"'";
  return text;
}

void EmulatedEventLog::Append(const EventRecord& record) const {
  if (textFile_.empty()) return;
  const std::string line = UtcTimestamp() + ' ' + wincompat::ToNarrow(TypeName(record.type)) + ' ' +
                           std::to_string(record.eventId) + " [" + wincompat::ToNarrow(record.source) + "] " +
                           wincompat::ToNarrow(OneLine(Describe(record))) + '\n';
  std::error_code ignored;
  if (textFile_.has_parent_path()) std::filesystem::create_directories(textFile_.parent_path(), ignored);
  std::ofstream out(textFile_, std::ios::binary | std::ios::app);
  out << line;
}

}  // namespace platform
