#include "provider/AbandonedSets.h"

#include <array>

#include "discovery/ConfigurationKeys.h"
#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "messages/VantorVssMessages.h"
#include "platform/Registry.h"
#include "wincompat/Guid.h"
#include "wincompat/WideString.h"

namespace provider {
namespace {

constexpr const wchar_t* kLogSource = L"AbandonedSets";

// Bounds on what is read back: a set id, a space and a group id; a decimal time.
constexpr DWORD kMaxNameChars = 256;
constexpr DWORD kMaxDataBytes = 64 * sizeof(wchar_t);
constexpr DWORD kMaxEntries = 4096;

void ReportFailure(const wchar_t* what, LSTATUS status) {
  VA_LOG(MSG_ERROR,
         L"The journal of abandoned snapshot sets under %s cannot be %s (error %ld); snapshots that an array makes "
         L"after a set was given up may be left on it until 'vantor-vss prune' removes them",
         discovery::kAbandonedSetsKey, what, static_cast<long>(status));
  const std::wstring statusText = std::to_wstring(status);
  logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, VA_MSG_ABANDONED_SETS_UNAVAILABLE, discovery::kAbandonedSetsKey,
                              what, statusText.c_str());
}

}  // namespace

std::int64_t JournalNow() {
  return std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now().time_since_epoch()).count();
}

AbandonedSet ParseAbandonedSet(const std::string& valueName, const std::string& data) {
  AbandonedSet entry;
  entry.valueName = valueName;
  const auto space = valueName.find(' ');
  GUID id{};
  if (space == std::string::npos || !wincompat::GuidFromString(valueName.substr(0, space), id) ||
      space + 1 >= valueName.size() || valueName.find(' ', space + 1) != std::string::npos) {
    entry.malformed = true;
  } else {
    entry.setId = wincompat::GuidToString(id);
    entry.groupUid = valueName.substr(space + 1);
  }
  if (data.empty() || data.size() > 18 || data.find_first_not_of("0123456789") != std::string::npos) {
    entry.malformed = true;  // without a time it counts as old as can be
  } else {
    entry.givenUpAt = std::stoll(data);
  }
  return entry;
}

bool RecordAbandonedSet(const std::string& setId, const std::vector<std::string>& groupUids, std::int64_t now) {
  platform::RegKey key;
  if (const LSTATUS created =
          platform::TheRegistry().CreateProtectedKeyW(HKEY_LOCAL_MACHINE, discovery::kAbandonedSetsKey, key.out());
      created != ERROR_SUCCESS) {
    ReportFailure(L"written", created);
    return false;
  }
  const std::wstring time = std::to_wstring(now);
  for (const auto& uid : groupUids) {
    const std::wstring name = wincompat::ToWide(setId + " " + uid);
    const LSTATUS set = platform::TheRegistry().SetValueExW(key.get(), name.c_str(), REG_SZ,
                                                            reinterpret_cast<const BYTE*>(time.c_str()),
                                                            static_cast<DWORD>((time.size() + 1) * sizeof(wchar_t)));
    if (set != ERROR_SUCCESS) {
      ReportFailure(L"written", set);
      return false;
    }
    VA_LOG(MSG_INFO, L"Snapshot set %S given up on group %S: journaled so that late snapshots of it are removed",
           setId, uid);
  }
  return true;
}

std::optional<std::vector<AbandonedSet>> ReadAbandonedSets() {
  std::vector<AbandonedSet> entries;
  platform::RegKey key;
  const LSTATUS opened =
      platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, discovery::kAbandonedSetsKey, 0, KEY_READ, key.out());
  if (opened == ERROR_FILE_NOT_FOUND) return entries;
  if (opened != ERROR_SUCCESS) {
    ReportFailure(L"read", opened);
    return std::nullopt;
  }
  for (DWORD index = 0; index < kMaxEntries; ++index) {
    std::array<wchar_t, kMaxNameChars + 1> name{};
    std::array<wchar_t, kMaxDataBytes / sizeof(wchar_t) + 1> data{};
    DWORD nameChars = kMaxNameChars;
    DWORD dataBytes = kMaxDataBytes;
    DWORD type = 0;
    const LSTATUS status = platform::TheRegistry().EnumValueW(key.get(), index, name.data(), &nameChars, &type,
                                                              reinterpret_cast<BYTE*>(data.data()), &dataBytes);
    if (status == ERROR_NO_MORE_ITEMS) break;
    if (status == ERROR_MORE_DATA) {
      // Too long to be an entry; its name cannot be read whole either, so it stays for the
      // administrator (the journal's own entries are far shorter).
      VA_LOG(MSG_WARNING, L"Entry %d of the journal of abandoned snapshot sets is too long; skipped",
             static_cast<int>(index));
      continue;
    }
    if (status != ERROR_SUCCESS) {
      ReportFailure(L"read", status);
      return std::nullopt;
    }
    const std::string nameText = wincompat::ToNarrow(std::wstring_view(name.data(), std::min(nameChars, kMaxNameChars)));
    const std::string dataText =
        type == REG_SZ ? wincompat::ToNarrow(data.data()) : std::string();  // another type is malformed
    entries.push_back(ParseAbandonedSet(nameText, dataText));
    if (entries.back().malformed)
      VA_LOG(MSG_WARNING, L"The journal entry '%S' of an abandoned snapshot set is malformed; skipped", nameText);
  }
  return entries;
}

bool RemoveAbandonedSet(const std::string& valueName) {
  platform::RegKey key;
  LSTATUS status =
      platform::TheRegistry().OpenKeyExW(HKEY_LOCAL_MACHINE, discovery::kAbandonedSetsKey, 0, KEY_SET_VALUE, key.out());
  if (status == ERROR_SUCCESS) status = platform::TheRegistry().DeleteValueW(key.get(), wincompat::ToWide(valueName).c_str());
  if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND) {
    ReportFailure(L"written", status);
    return false;
  }
  return true;
}

}  // namespace provider
