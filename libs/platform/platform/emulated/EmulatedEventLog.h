#pragma once
// The emulated host's application event log: every report is kept in memory (tests read them
// back through Records) and appended as one line to a text file, rendered with the message
// texts, so that a person can read what the provider reported:
//   2025-01-31T13:02:07.123Z Error 4020 [Vantor VSS Hardware Provider] Failed to create ...
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "platform/EventLog.h"

namespace platform {

class EmulatedEventLog final : public EventLog {
 public:
  // Turns an event id and its insertion strings into the event's text (the message table).
  using Renderer = std::function<std::wstring(DWORD eventId, const std::vector<std::wstring>& strings)>;

  // `textFile` may be empty to keep the records in memory only; without a renderer the file
  // shows the id and the insertion strings.
  explicit EmulatedEventLog(std::filesystem::path textFile = {}, Renderer renderer = {});

  bool InstallSource(const std::wstring& sourceName, const std::wstring& messageFile) override;
  bool RemoveSource(const std::wstring& sourceName) override;
  std::wstring SourceMessageFile(const std::wstring& sourceName) const override;
  bool Report(const std::wstring& sourceName, WORD type, DWORD eventId,
              const std::vector<std::wstring>& strings) override;
  std::vector<EventRecord> Records() const override;

  const std::filesystem::path& TextFile() const { return textFile_; }

 private:
  std::wstring Describe(const EventRecord& record) const;
  void Append(const EventRecord& record) const;

  const std::filesystem::path textFile_;
  const Renderer renderer_;
  mutable std::mutex mutex_;
  std::map<std::wstring, std::wstring> sources_;
  std::vector<EventRecord> records_;
};

}  // namespace platform
