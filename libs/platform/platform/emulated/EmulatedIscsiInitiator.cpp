#include "platform/emulated/EmulatedIscsiInitiator.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

#include "wincompat/WideString.h"

namespace platform {
namespace {

// Marks identifiers handed out by the emulated initiator (AdapterSpecific).
constexpr ULONGLONG kEmulatedAdapter = 0x56414E544F520001ull;

struct SessionRow {
  std::string simulatorId;
  std::wstring targetName;
  ULONG connections = 0;
};

// The simulator may name a session by a text or a number; both are kept as text.
bool ReadSessionId(const nlohmann::json& value, std::string& id) {
  if (value.is_string()) {
    id = value.get<std::string>();
  } else if (value.is_number_unsigned() || value.is_number_integer()) {
    id = value.dump();
  } else {
    return false;
  }
  return !id.empty();
}

bool ReadSessions(const nlohmann::json& answer, std::vector<SessionRow>& rows) {
  if (!answer.is_array()) return false;
  for (const auto& item : answer) {
    if (!item.is_object()) return false;
    SessionRow row;
    const auto id = item.find("session_id");
    const auto target = item.find("target_name");
    const auto connections = item.find("connections");
    if (id == item.end() || !ReadSessionId(*id, row.simulatorId)) return false;
    if (target == item.end() || !target->is_string()) return false;
    if (connections == item.end() || !connections->is_number_integer() || connections->get<long long>() < 0 ||
        connections->get<long long>() > 0xFFFF) {
      return false;
    }
    row.targetName = wincompat::ToWide(target->get<std::string>());
    row.connections = static_cast<ULONG>(connections->get<long long>());
    rows.push_back(std::move(row));
  }
  return true;
}

std::size_t WideBytes(const std::wstring& text) { return (text.size() + 1) * sizeof(wchar_t); }

// Answers a status the simulator put in {"status": N}; a missing or bad one is a failure of
// the initiator service.
ISDSC_STATUS StatusOf(const nlohmann::json& answer) {
  const auto it = answer.is_object() ? answer.find("status") : answer.end();
  if (it == answer.end() || !it->is_number_integer()) return ISDSC_NON_SPECIFIC_ERROR;
  const long long status = it->get<long long>();
  if (status < 0 || status > std::numeric_limits<ULONG>::max()) return ISDSC_NON_SPECIFIC_ERROR;
  return static_cast<ISDSC_STATUS>(status);
}

}  // namespace

EmulatedIscsiInitiator::EmulatedIscsiInitiator(EmulatedHostEndpoint endpoint) : mChannel(std::move(endpoint)) {}

ISCSI_UNIQUE_SESSION_ID EmulatedIscsiInitiator::IdFor(const std::string& simulatorSessionId) {
  const std::lock_guard lock(mMutex);
  auto [it, inserted] = mIdsBySimulatorId.try_emplace(simulatorSessionId, mIdsBySimulatorId.size() + 1);
  if (inserted) mSimulatorIdsById.emplace(it->second, simulatorSessionId);
  return ISCSI_UNIQUE_SESSION_ID{it->second, kEmulatedAdapter};
}

bool EmulatedIscsiInitiator::SimulatorIdOf(const ISCSI_UNIQUE_SESSION_ID& id, std::string& simulatorSessionId) {
  const std::lock_guard lock(mMutex);
  if (id.AdapterSpecific != kEmulatedAdapter) return false;
  const auto it = mSimulatorIdsById.find(id.AdapterUnique);
  if (it == mSimulatorIdsById.end()) return false;
  simulatorSessionId = it->second;
  return true;
}

ISDSC_STATUS EmulatedIscsiInitiator::GetSessionListW(ULONG* bufferSize, ULONG* sessionCount,
                                                     ISCSI_SESSION_INFOW* sessionInfo) {
  if (!bufferSize || !sessionCount) return ERROR_INVALID_PARAMETER;
  std::vector<SessionRow> rows;
  try {
    if (!ReadSessions(mChannel.Get("iscsi/sessions"), rows)) return ISDSC_NON_SPECIFIC_ERROR;
  } catch (const HostChannelError&) {
    return ISDSC_NON_SPECIFIC_ERROR;
  }

  // Layout as the initiator service answers it: the session records, then every session's
  // connection records, then the strings they point to.
  const std::wstring initiator = wincompat::ToWide(mChannel.endpoint().initiatorName);
  const std::wstring emptyAddress;
  std::size_t connectionRecords = 0;
  std::size_t stringBytes = 0;
  for (const auto& row : rows) {
    connectionRecords += row.connections;
    stringBytes += WideBytes(initiator) + 2 * WideBytes(row.targetName) + row.connections * 2 * WideBytes(emptyAddress);
  }
  const std::size_t needed =
      rows.size() * sizeof(ISCSI_SESSION_INFOW) + connectionRecords * sizeof(ISCSI_CONNECTION_INFOW) + stringBytes;
  if (needed > std::numeric_limits<ULONG>::max()) return ISDSC_NON_SPECIFIC_ERROR;

  *sessionCount = static_cast<ULONG>(rows.size());
  if (needed == 0) {
    *bufferSize = 0;
    return ERROR_SUCCESS;
  }
  if (!sessionInfo || *bufferSize < needed) {
    *bufferSize = static_cast<ULONG>(needed);
    return ERROR_INSUFFICIENT_BUFFER;
  }
  if (reinterpret_cast<std::uintptr_t>(sessionInfo) % alignof(ISCSI_SESSION_INFOW) != 0) return ERROR_INVALID_PARAMETER;
  *bufferSize = static_cast<ULONG>(needed);

  auto* base = reinterpret_cast<BYTE*>(sessionInfo);
  std::memset(base, 0, needed);
  auto* connections = reinterpret_cast<ISCSI_CONNECTION_INFOW*>(base + rows.size() * sizeof(ISCSI_SESSION_INFOW));
  BYTE* strings = reinterpret_cast<BYTE*>(connections + connectionRecords);
  const auto place = [&strings](const std::wstring& text) {
    auto* at = reinterpret_cast<wchar_t*>(strings);
    std::memcpy(at, text.c_str(), WideBytes(text));
    strings += WideBytes(text);
    return at;
  };
  for (std::size_t i = 0; i < rows.size(); ++i) {
    ISCSI_SESSION_INFOW& session = sessionInfo[i];
    session.SessionId = IdFor(rows[i].simulatorId);
    session.InitiatorName = place(initiator);
    session.TargetNodeName = place(rows[i].targetName);
    session.TargetName = place(rows[i].targetName);
    session.ConnectionCount = rows[i].connections;
    session.Connections = rows[i].connections ? connections : nullptr;
    for (ULONG c = 0; c < rows[i].connections; ++c, ++connections) {
      connections->ConnectionId = ISCSI_UNIQUE_CONNECTION_ID{session.SessionId.AdapterUnique, c + 1};
      connections->InitiatorAddress = place(emptyAddress);
      connections->TargetAddress = place(emptyAddress);
    }
  }
  return ERROR_SUCCESS;
}

ISDSC_STATUS EmulatedIscsiInitiator::LoginTargetA(const char* targetName, bool isInformationalSession,
                                                  const char* /*initiatorInstance*/, ULONG /*initiatorPortNumber*/,
                                                  const ISCSI_TARGET_PORTALA* /*targetPortal*/,
                                                  ISCSI_SECURITY_FLAGS /*securityFlags*/,
                                                  const ISCSI_TARGET_MAPPINGA* /*mappings*/,
                                                  const ISCSI_LOGIN_OPTIONS* loginOptions, ULONG /*keySize*/,
                                                  const char* /*key*/, bool /*isPersistent*/,
                                                  ISCSI_UNIQUE_SESSION_ID* uniqueSessionId,
                                                  ISCSI_UNIQUE_CONNECTION_ID* uniqueConnectionId) {
  if (!targetName || !*targetName) return ERROR_INVALID_PARAMETER;
  if (isInformationalSession) return ERROR_NOT_SUPPORTED;
  // The initiator only honours a digest whose bit in InformationSpecified is set.
  const auto crc32c = [loginOptions](ULONG specifiedBit, ISCSI_DIGEST_TYPES ISCSI_LOGIN_OPTIONS::*field) {
    return loginOptions && (loginOptions->InformationSpecified & specifiedBit) &&
           loginOptions->*field == ISCSI_DIGEST_TYPE_CRC32C;
  };
  const nlohmann::json body{{"target_name", targetName},
                            {"header_digest", crc32c(ISCSI_LOGIN_OPTIONS_HEADER_DIGEST, &ISCSI_LOGIN_OPTIONS::HeaderDigest)},
                            {"data_digest", crc32c(ISCSI_LOGIN_OPTIONS_DATA_DIGEST, &ISCSI_LOGIN_OPTIONS::DataDigest)}};
  nlohmann::json answer;
  try {
    answer = mChannel.Post("iscsi/login", body);
  } catch (const HostChannelError&) {
    return ISDSC_NON_SPECIFIC_ERROR;
  }
  const ISDSC_STATUS status = StatusOf(answer);
  if (status != ERROR_SUCCESS) return status;
  std::string simulatorId;
  const auto id = answer.find("session_id");
  if (id == answer.end() || !ReadSessionId(*id, simulatorId)) return ISDSC_NON_SPECIFIC_ERROR;
  const ISCSI_UNIQUE_SESSION_ID session = IdFor(simulatorId);
  if (uniqueSessionId) *uniqueSessionId = session;
  if (uniqueConnectionId) *uniqueConnectionId = ISCSI_UNIQUE_CONNECTION_ID{session.AdapterUnique, 1};
  return ERROR_SUCCESS;
}

ISDSC_STATUS EmulatedIscsiInitiator::LogoutTarget(const ISCSI_UNIQUE_SESSION_ID* uniqueSessionId) {
  if (!uniqueSessionId) return ERROR_INVALID_PARAMETER;
  std::string simulatorId;
  if (!SimulatorIdOf(*uniqueSessionId, simulatorId)) return ISDSC_NOT_FOUND;
  try {
    return StatusOf(mChannel.Post("iscsi/logout", nlohmann::json{{"session_id", simulatorId}}));
  } catch (const HostChannelError&) {
    return ISDSC_NON_SPECIFIC_ERROR;
  }
}

ISDSC_STATUS EmulatedIscsiInitiator::ReportTargetsW(bool /*forceUpdate*/, ULONG* bufferSize, wchar_t* buffer) {
  if (!bufferSize) return ERROR_INVALID_PARAMETER;
  ISDSC_STATUS status = ERROR_SUCCESS;
  try {
    status = StatusOf(mChannel.Post("iscsi/refresh", nlohmann::json::object()));
  } catch (const HostChannelError&) {
    return ISDSC_NON_SPECIFIC_ERROR;
  }
  if (status != ERROR_SUCCESS && status != static_cast<ISDSC_STATUS>(ERROR_INSUFFICIENT_BUFFER)) return status;
  // The host channel does not list the target names; a caller with room gets the empty list
  // (one terminator), a caller without room the simulator's answer.
  if (buffer && *bufferSize >= 1) {
    buffer[0] = L'\0';
    *bufferSize = 1;
    return ERROR_SUCCESS;
  }
  *bufferSize = 1;
  return status;
}

ISDSC_STATUS EmulatedIscsiInitiator::GetInitiatorNodeNameW(wchar_t* nodeName) {
  if (!nodeName) return ERROR_INVALID_PARAMETER;
  const std::string& name = mChannel.endpoint().initiatorName;
  if (name.empty() || name.size() > MAX_ISCSI_NAME_LEN) return ISDSC_NOT_FOUND;
  std::copy(name.begin(), name.end(), nodeName);  // iSCSI names are ASCII
  nodeName[name.size()] = L'\0';
  return ERROR_SUCCESS;
}

}  // namespace platform
