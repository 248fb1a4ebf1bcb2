#pragma once
// The one shape of every provider operation: lock, scope trace, work, and a catch ladder that
// lets no exception reach VSS.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <mutex>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "wincompat/VssTypes.h"

namespace provider {

// Runs `work` (returning an HRESULT) and turns anything it throws into VSS_E_PROVIDER_VETO with
// one error line naming the operation.
// A dump of designator bytes in the trace (detail level).
inline void DumpBytes(const std::uint8_t* bytes, std::size_t size) {
  if (CFileLog* log = CFileLog::GetInstance())
    log->LogBuffer(MSG_DEBUG, L"VaVssHwProvider", static_cast<unsigned long>(__LINE__), bytes, static_cast<int>(size));
}

template <class Work>
HRESULT GuardedCall(const wchar_t* operation, Work&& work) noexcept {
  static constexpr const wchar_t* kLogSource = L"VaVssHwProvider";
  try {
    return work();
  } catch (const std::exception& e) {
    try {
      VA_LOG(MSG_ERROR, L"** %s failed with an exception: %S", operation, e.what());
    } catch (...) {
    }
  } catch (...) {
    try {
      VA_LOG(MSG_ERROR, L"** %s failed with an unknown exception", operation);
    } catch (...) {
    }
  }
  return VSS_E_PROVIDER_VETO;
}

}  // namespace provider
