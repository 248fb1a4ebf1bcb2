#include "array/IscsiTargets.h"

#include <chrono>
#include <cstdio>
#include <cwctype>
#include <memory>
#include <new>
#include <string_view>
#include <thread>

#include "logger/EventReporter.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "wincompat/WideString.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

constexpr DWORD kIscsiLoginFailedEvent = 4060;
constexpr DWORD kIscsiLogoutFailedEvent = 4070;
constexpr int kLogoutAttempts = 3;
constexpr auto kLogoutRetryPause = std::chrono::milliseconds(10);

using platform::ISCSI_SESSION_INFOW;
using platform::ISDSC_STATUS;

enum class WalkMode { Count, Logout };

bool SameTargetName(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::towlower(static_cast<wint_t>(a[i])) != std::towlower(static_cast<wint_t>(b[i]))) return false;
  }
  return true;
}

// The session list is the initiator's answer: its strings must lie inside the buffer it was
// written to and end there, or the session is not looked at.
std::wstring_view StringInBuffer(const wchar_t* text, const void* buffer, std::size_t bufferSize) {
  const auto* begin = static_cast<const unsigned char*>(buffer);
  const auto* at = reinterpret_cast<const unsigned char*>(text);
  if (!text || at < begin || at >= begin + bufferSize ||
      static_cast<std::size_t>(at - begin) % alignof(wchar_t) != 0) {
    return {};
  }
  const std::size_t room = (bufferSize - static_cast<std::size_t>(at - begin)) / sizeof(wchar_t);
  for (std::size_t i = 0; i < room; ++i) {
    if (text[i] == L'\0') return std::wstring_view(text, i);
  }
  return {};
}

std::wstring Reason(const std::string& targetName, const IscsiException& e) {
  return wincompat::ToWide(std::string(e.what()) + ", target " + targetName);
}

// Walks this host's iSCSI sessions once. Count mode stops at the first session to the target
// that has connections and answers 1; logout mode logs out of every such session.
int WalkSessions(const std::string& targetName, WalkMode mode) {
  const std::wstring wideTarget = wincompat::ToWide(targetName);
  platform::IscsiInitiator& initiator = platform::TheIscsiInitiator();

  ULONG size = 0;
  ULONG count = 0;
  ISDSC_STATUS status = initiator.GetSessionListW(&size, &count, nullptr);
  if (status != ERROR_SUCCESS && status != static_cast<ISDSC_STATUS>(ERROR_INSUFFICIENT_BUFFER)) {
    VA_LOG(MSG_ERROR, L"** GetIScsiSessionList Failed 0x%x", status);
    throw IscsiException(status);
  }
  VA_LOG(MSG_INFO, L"GetIScsiSessionList-1: session size = %lu, session count = %lu", size, count);

  // 8-byte units keep the records aligned; one unit at least so that an empty list still has
  // a buffer to name.
  const std::size_t units = size / sizeof(ULONGLONG) + 1;
  const std::unique_ptr<ULONGLONG[]> buffer(new (std::nothrow) ULONGLONG[units]);
  if (!buffer) {
    VA_LOG(MSG_ERROR, L"** Failed to get memory for session is logoutIScsiTarget");
    throw IscsiException(ERROR_INSUFFICIENT_BUFFER);
  }
  const std::size_t bufferBytes = units * sizeof(ULONGLONG);
  size = static_cast<ULONG>(bufferBytes);
  count = 0;
  auto* sessions = reinterpret_cast<ISCSI_SESSION_INFOW*>(buffer.get());
  status = initiator.GetSessionListW(&size, &count, sessions);
  VA_LOG(MSG_INFO, L"GetIScsiSessionList-2: session size = %lu, session count = %lu", size, count);
  if (status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** GetIScsiSessionList Failed 0x%x", status);
    throw IscsiException(status);
  }

  // Never walk past the records the buffer can hold, whatever count came back.
  const std::size_t walkable = std::min<std::size_t>(count, bufferBytes / sizeof(ISCSI_SESSION_INFOW));
  int matches = 0;
  for (std::size_t i = 0; i < walkable; ++i) {
    ISCSI_SESSION_INFOW& session = sessions[i];
    if (session.ConnectionCount == 0 || !SameTargetName(StringInBuffer(session.TargetName, buffer.get(), bufferBytes), wideTarget)) {
      continue;
    }
    ++matches;
    if (mode == WalkMode::Count) break;

    for (int attempt = 0; attempt < kLogoutAttempts; ++attempt) {
      status = initiator.LogoutTarget(&session.SessionId);
      if (status == ERROR_SUCCESS) break;
      VA_LOG(MSG_ERROR, L"LogoutIScsiTarget() failed for target %s, Error=0x%x, attempt=%d of %d", wideTarget, status,
             attempt, kLogoutAttempts);
      std::this_thread::sleep_for(kLogoutRetryPause);
    }
    if (status != ERROR_SUCCESS) {
      const std::wstring reason = Reason(targetName, IscsiException(status));
      logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, kIscsiLogoutFailedEvent, reason.c_str());
    }
  }
  return matches;
}

}  // namespace

IscsiException::IscsiException(std::uint32_t status) : mStatus(status) {
  std::snprintf(mText, sizeof(mText), "iSCSI API error 0x%08X", static_cast<unsigned>(status));
}

platform::ISCSI_LOGIN_OPTIONS MakeLoginOptions(DWORD digestFlags) {
  platform::ISCSI_LOGIN_OPTIONS options{};
  options.Version = platform::ISCSI_LOGIN_OPTIONS_VERSION;
  options.LoginFlags = platform::ISCSI_LOGIN_FLAG_MULTIPATH_ENABLED;
  options.AuthType = platform::ISCSI_NO_AUTH_TYPE;
  options.HeaderDigest = platform::ISCSI_DIGEST_TYPE_NONE;
  options.DataDigest = platform::ISCSI_DIGEST_TYPE_NONE;
  if (digestFlags & kDigestPolicyHeaderCrc32c) {
    options.InformationSpecified |= platform::ISCSI_LOGIN_OPTIONS_HEADER_DIGEST;
    options.HeaderDigest = platform::ISCSI_DIGEST_TYPE_CRC32C;
  }
  if (digestFlags & kDigestPolicyDataCrc32c) {
    options.InformationSpecified |= platform::ISCSI_LOGIN_OPTIONS_DATA_DIGEST;
    options.DataDigest = platform::ISCSI_DIGEST_TYPE_CRC32C;
  }
  return options;
}

bool IsTargetConnected(const std::string& targetName) {
  CLogger scope(L"Vantor::Array::IsTargetConnected");
  return WalkSessions(targetName, WalkMode::Count) > 0;
}

void LogoutTarget(const std::string& targetName) {
  CLogger scope(L"Vantor::Array::LogoutTarget");
  WalkSessions(targetName, WalkMode::Logout);
}

void LoginIScsiTarget(const std::string& targetName, DWORD digestFlags) {
  CLogger scope(L"Vantor::Array::LoginIScsiTarget");
  platform::IscsiInitiator& initiator = platform::TheIscsiInitiator();
  const auto fail = [&](ISDSC_STATUS status) {
    VA_LOG(MSG_ERROR, L"** LoginIScsiTarget failed with error 0x%x for target %S with digest 0x%x", status, targetName,
           digestFlags);
    const IscsiException error(status);
    const std::wstring reason = Reason(targetName, error);
    logger::ReportProviderEvent(EVENTLOG_ERROR_TYPE, kIscsiLoginFailedEvent, reason.c_str());
    throw error;
  };

  // A zero-sized buffer makes the initiator ask its portals again and answer how much room
  // the target list needs; only an initiator that knows targets is asked to log in.
  ULONG size = 0;
  const ISDSC_STATUS refresh = initiator.ReportTargetsW(true, &size, nullptr);
  if (refresh == ERROR_SUCCESS) return;
  if (refresh != static_cast<ISDSC_STATUS>(ERROR_INSUFFICIENT_BUFFER)) fail(refresh);

  const platform::ISCSI_LOGIN_OPTIONS options = MakeLoginOptions(digestFlags);
  platform::ISCSI_UNIQUE_SESSION_ID sessionId{};
  platform::ISCSI_UNIQUE_CONNECTION_ID connectionId{};
  const ISDSC_STATUS status =
      initiator.LoginTargetA(targetName.c_str(), false, nullptr, platform::ISCSI_ANY_INITIATOR_PORT, nullptr, 0, nullptr,
                             &options, 0, nullptr, false, &sessionId, &connectionId);
  if (status != ERROR_SUCCESS) fail(status);
}

}  // namespace Vantor
