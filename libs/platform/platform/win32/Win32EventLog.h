#pragma once
// The application event log of Windows: sources registered under
// HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\<source>, events written with
// ReportEventW. Windows keeps the records, so Records() is empty here.
#include "platform/EventLog.h"

namespace platform {

class Win32EventLog final : public EventLog {
 public:
  bool InstallSource(const std::wstring& sourceName, const std::wstring& messageFile) override;
  bool RemoveSource(const std::wstring& sourceName) override;
  std::wstring SourceMessageFile(const std::wstring& sourceName) const override;
  bool Report(const std::wstring& sourceName, WORD type, DWORD eventId,
              const std::vector<std::wstring>& strings) override;
  std::vector<EventRecord> Records() const override { return {}; }
};

}  // namespace platform
