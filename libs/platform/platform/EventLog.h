#pragma once
// The event-log seam. Win32EventLog uses RegisterEventSourceW/ReportEventW and the event
// source's registry entry; EmulatedEventLog keeps the records in memory and appends them,
// rendered with the message texts, to a text file beside the trace.
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
  virtual bool RemoveSource(const std::wstring& sourceName) = 0;
  // Reports one event from `sourceName`; insertion strings may be empty.
  virtual bool Report(const std::wstring& sourceName, WORD type, DWORD eventId,
                      const std::vector<std::wstring>& strings) = 0;
  // Records written so far, where the implementation can read them back (empty where it cannot).
  virtual std::vector<EventRecord> Records() const = 0;
};

using EventLogSlot = SeamSlot<EventLog>;
inline EventLog& TheEventLog() { return EventLogSlot::Get(); }

}  // namespace platform
