#pragma once
// The provider's door to the application event log: one event source (the service name) whose
// message texts live in the executable's message table. Reports go through the event-log seam,
// so the emulated host and the tests read back what was reported. Copyable: it holds names only.
#include <string>

#include "wincompat/WinTypes.h"

class CWindowsEventLogWrapper {
 public:
  void Init(const wchar_t* sourceName, const wchar_t* messageFile);
  // Registers the source with its message file (service installation).
  bool Register();
  // Removes the source again (service removal); never fails the caller.
  void Unregister();
  // Reports event `eventId` of `type` (EVENTLOG_ERROR_TYPE, EVENTLOG_INFORMATION_TYPE, ...) with
  // the insertion strings %1..%5; unneeded ones are null. A null before a later string becomes
  // an empty string, so that %n keeps its number.
  bool ReportEventW(unsigned short type, unsigned long eventId, const wchar_t* s1 = nullptr,
                    const wchar_t* s2 = nullptr, const wchar_t* s3 = nullptr, const wchar_t* s4 = nullptr,
                    const wchar_t* s5 = nullptr);

  const std::wstring& SourceName() const { return sourceName_; }
  const std::wstring& MessageFile() const { return messageFile_; }

 private:
  std::wstring sourceName_;
  std::wstring messageFile_;
};
