#pragma once
// The event-log seam. Win32EventLog uses RegisterEventSourceW/ReportEventW and the event
// source's registry entry; EmulatedEventLog keeps the records in memory and appends them,
// rendered with the message texts, to a text file beside the trace.
#include <cstddef>
#include <string>
#include <vector>

#include "platform/SeamSlot.h"
#include "wincompat/WinTypes.h"

namespace platform {

struct EventRecord {
  WORD type = 0;
  DWORD eventId = 0;
  std::vector<std::wstring> strings;
  std::wstring source;
};

class EventLog {
 public:
  virtual ~EventLog() = default;
  // Adds the event source to the application log (registration of the service).
  virtual bool InstallSource(const std::wstring& sourceName, const std::wstring& messageFile) = 0;
  // Removing a source that is not installed succeeds: an uninstaller must never fail.
  virtual bool RemoveSource(const std::wstring& sourceName) = 0;
  // The message file registered for `sourceName`; empty when the source is not installed.
  virtual std::wstring SourceMessageFile(const std::wstring& sourceName) const = 0;
  // Reports one event from `sourceName`; insertion strings may be empty.
  virtual bool Report(const std::wstring& sourceName, WORD type, DWORD eventId,
                      const std::vector<std::wstring>& strings) = 0;
  // Records written so far, where the implementation can read them back (empty where it cannot).
  virtual std::vector<EventRecord> Records() const = 0;
};

using EventLogSlot = SeamSlot<EventLog>;
inline EventLog& TheEventLog() { return EventLogSlot::Get(); }

// Where an application-log event source is registered, below HKEY_LOCAL_MACHINE.
inline std::wstring EventSourceKeyPath(const std::wstring& sourceName) {
  return L"SYSTEM\\CurrentControlSet\\Services\\EventLog\\Application\\" + sourceName;
}
// The event types a source of ours declares in TypesSupported.
constexpr DWORD kEventSourceTypesSupported = EVENTLOG_ERROR_TYPE | EVENTLOG_WARNING_TYPE | EVENTLOG_INFORMATION_TYPE;
// Windows refuses an insertion string longer than this; longer ones are cut before reporting.
constexpr std::size_t kMaxEventStringChars = 31839;

// A source name is one registry key name: not empty, no backslash, not absurdly long.
inline bool IsValidEventSourceName(const std::wstring& sourceName) {
  return !sourceName.empty() && sourceName.size() <= 255 && sourceName.find(L'\\') == std::wstring::npos;
}

}  // namespace platform
