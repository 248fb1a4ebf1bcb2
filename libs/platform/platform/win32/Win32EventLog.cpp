#include "platform/win32/Win32EventLog.h"

#include <windows.h>

#include <utility>

namespace platform {
namespace {

// A registry key handle of the real registry that closes itself.
class Win32Key {
 public:
  Win32Key() = default;
  ~Win32Key() {
    if (key_) RegCloseKey(key_);
  }
  Win32Key(const Win32Key&) = delete;
  Win32Key& operator=(const Win32Key&) = delete;
  HKEY* out() { return &key_; }
  HKEY get() const { return key_; }

 private:
  HKEY key_ = nullptr;
};

// An event source handle that deregisters itself.
class EventSourceHandle {
 public:
  explicit EventSourceHandle(const std::wstring& sourceName) : handle_(RegisterEventSourceW(nullptr, sourceName.c_str())) {}
  ~EventSourceHandle() {
    if (handle_) DeregisterEventSource(handle_);
  }
  EventSourceHandle(const EventSourceHandle&) = delete;
  EventSourceHandle& operator=(const EventSourceHandle&) = delete;
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

LSTATUS SetString(HKEY key, const wchar_t* name, DWORD type, const std::wstring& value) {
  const DWORD bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  return RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
}

}  // namespace

bool Win32EventLog::InstallSource(const std::wstring& sourceName, const std::wstring& messageFile) {
  if (!IsValidEventSourceName(sourceName) || messageFile.empty()) return false;
  const std::wstring path = EventSourceKeyPath(sourceName);
  Win32Key key;
  DWORD disposition = 0;
  if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                      key.out(), &disposition) != ERROR_SUCCESS) {
    return false;
  }
  const DWORD types = kEventSourceTypesSupported;
  const bool written =
      SetString(key.get(), L"EventMessageFile", REG_EXPAND_SZ, messageFile) == ERROR_SUCCESS &&
      RegSetValueExW(key.get(), L"TypesSupported", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&types),
                     sizeof(types)) == ERROR_SUCCESS;
  // A half-written source we created ourselves is taken away again; one that was there before
  // is left as it was found.
  if (!written && disposition == REG_CREATED_NEW_KEY) RegDeleteTreeW(HKEY_LOCAL_MACHINE, path.c_str());
  return written;
}

bool Win32EventLog::RemoveSource(const std::wstring& sourceName) {
  if (!IsValidEventSourceName(sourceName)) return false;
  const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, EventSourceKeyPath(sourceName).c_str());
  return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

std::wstring Win32EventLog::SourceMessageFile(const std::wstring& sourceName) const {
  if (!IsValidEventSourceName(sourceName)) return {};
  const std::wstring path = EventSourceKeyPath(sourceName);
  constexpr DWORD kFlags = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
  // The value may change between the size query and the read; a few rounds settle it.
  for (int attempt = 0; attempt < 3; ++attempt) {
    DWORD bytes = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), L"EventMessageFile", kFlags, nullptr, nullptr, &bytes) !=
            ERROR_SUCCESS ||
        bytes < sizeof(wchar_t)) {
      return {};
    }
    std::wstring value(bytes / sizeof(wchar_t), L'\0');
    const LSTATUS status =
        RegGetValueW(HKEY_LOCAL_MACHINE, path.c_str(), L"EventMessageFile", kFlags, nullptr, value.data(), &bytes);
    if (status == ERROR_MORE_DATA) continue;
    if (status != ERROR_SUCCESS) return {};
    value.resize(bytes / sizeof(wchar_t));
    while (!value.empty() && value.back() == L'\0') value.pop_back();
    return value;
  }
  return {};
}

bool Win32EventLog::Report(const std::wstring& sourceName, WORD type, DWORD eventId,
                           const std::vector<std::wstring>& strings) {
  if (!IsValidEventSourceName(sourceName)) return false;
  std::vector<std::wstring> bounded(strings);
  for (std::wstring& s : bounded) {
    if (s.size() > kMaxEventStringChars) s.resize(kMaxEventStringChars);
  }
  std::vector<const wchar_t*> pointers;
  pointers.reserve(bounded.size());
  for (const std::wstring& s : bounded) pointers.push_back(s.c_str());
  if (pointers.size() > 0xFFFF) return false;

  const EventSourceHandle source(sourceName);
  if (!source.get()) return false;
  return ReportEventW(source.get(), type, 0, eventId, nullptr, static_cast<WORD>(pointers.size()), 0,
                      pointers.empty() ? nullptr : pointers.data(), nullptr) != FALSE;
}

}  // namespace platform
