#pragma once
// The process's event forwarder. The service module (or vantor-vss, or a test fixture) owns a
// CWindowsEventLogWrapper and installs it here; every part of the program reports numbered
// events through ReportProviderEvent. Without an installed wrapper the event is dropped.
#include "wincompat/WinTypes.h"

class CWindowsEventLogWrapper;

namespace logger {
void SetProcessEventLog(CWindowsEventLogWrapper* wrapper);
void ReportProviderEvent(WORD type, DWORD eventId, const wchar_t* s1 = nullptr, const wchar_t* s2 = nullptr,
                         const wchar_t* s3 = nullptr, const wchar_t* s4 = nullptr, const wchar_t* s5 = nullptr);
}  // namespace logger
