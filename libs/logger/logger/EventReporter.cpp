#include "logger/EventReporter.h"

#include <atomic>

#include "logger/WindowsEventLogWrapper.h"

namespace logger {
namespace {
// The owner installs its wrapper at start and clears it before the wrapper goes away.
std::atomic<CWindowsEventLogWrapper*> gProcessEventLog{nullptr};
}  // namespace

void SetProcessEventLog(CWindowsEventLogWrapper* wrapper) { gProcessEventLog.store(wrapper); }

void ReportProviderEvent(WORD type, DWORD eventId, const wchar_t* s1, const wchar_t* s2, const wchar_t* s3,
                         const wchar_t* s4, const wchar_t* s5) {
  if (CWindowsEventLogWrapper* wrapper = gProcessEventLog.load()) wrapper->ReportEventW(type, eventId, s1, s2, s3, s4, s5);
}

}  // namespace logger
