#include "logger/WindowsEventLogWrapper.h"

#include <array>
#include <vector>

#include "logger/FileLog.h"
#include "platform/EventLog.h"

namespace {
constexpr const wchar_t* kLogSource = L"CWindowsEventLogWrapper";
}  // namespace

void CWindowsEventLogWrapper::Init(const wchar_t* sourceName, const wchar_t* messageFile) {
  sourceName_ = sourceName ? sourceName : L"";
  messageFile_ = messageFile ? messageFile : L"";
}

bool CWindowsEventLogWrapper::Register() {
  try {
    if (!platform::EventLogSlot::Installed()) {
      VA_LOG(MSG_ERROR, L"Cannot register event source '%s': no event log on this host", sourceName_);
      return false;
    }
    const bool registered = platform::TheEventLog().InstallSource(sourceName_, messageFile_);
    if (registered) {
      VA_LOG(MSG_INFO, L"Registered event source '%s' with message file '%s'", sourceName_, messageFile_);
    } else {
      VA_LOG(MSG_ERROR, L"Failed to register event source '%s' with message file '%s'", sourceName_, messageFile_);
    }
    return registered;
  } catch (...) {
    return false;
  }
}

void CWindowsEventLogWrapper::Unregister() {
  try {
    if (!platform::EventLogSlot::Installed()) return;
    if (platform::TheEventLog().RemoveSource(sourceName_)) {
      VA_LOG(MSG_INFO, L"Removed event source '%s'", sourceName_);
    } else {
      VA_LOG(MSG_WARNING, L"Failed to remove event source '%s'", sourceName_);
    }
  } catch (...) {
  }
}

bool CWindowsEventLogWrapper::ReportEventW(unsigned short type, unsigned long eventId, const wchar_t* s1,
                                           const wchar_t* s2, const wchar_t* s3, const wchar_t* s4,
                                           const wchar_t* s5) {
  try {
    const std::array<const wchar_t*, 5> given{s1, s2, s3, s4, s5};
    std::size_t count = given.size();
    while (count > 0 && given[count - 1] == nullptr) --count;
    std::vector<std::wstring> strings;
    strings.reserve(count);
    for (std::size_t i = 0; i < count; ++i) strings.emplace_back(given[i] ? given[i] : L"");

    // The trace keeps every event too, so that the two logs can be read side by side.
    std::wstring joined;
    for (const std::wstring& s : strings) joined += (joined.empty() ? L"" : L" | ") + s;
    VA_LOG(MSG_INFO, L"Event %lu (type %u): %s", eventId, type, joined);

    if (!platform::EventLogSlot::Installed()) {
      VA_LOG(MSG_WARNING, L"Event %lu not reported: no event log on this host", eventId);
      return false;
    }
    const bool reported =
        platform::TheEventLog().Report(sourceName_, static_cast<WORD>(type), static_cast<DWORD>(eventId), strings);
    if (!reported) VA_LOG(MSG_WARNING, L"Event %lu could not be reported to source '%s'", eventId, sourceName_);
    return reported;
  } catch (...) {
    return false;
  }
}
