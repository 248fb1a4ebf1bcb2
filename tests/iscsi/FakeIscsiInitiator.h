#pragma once
// A scripted iSCSI initiator: a fixed session list laid out as the Windows API lays it out,
// logout and login answers chosen by the test, and a record of every call.
#include <cstring>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "platform/IscsiInitiator.h"

namespace iscsitest {

class FakeIscsiInitiator final : public platform::IscsiInitiator {
 public:
  struct Session {
    std::wstring target;
    ULONG connections;
    ULONGLONG id;
  };

  std::vector<Session> sessions;
  platform::ISDSC_STATUS firstListStatus = ERROR_INSUFFICIENT_BUFFER;  // the size query
  platform::ISDSC_STATUS secondListStatus = ERROR_SUCCESS;
  // Logout answers per session id, consumed in order; success once a list runs out.
  std::map<ULONGLONG, std::deque<platform::ISDSC_STATUS>> logoutAnswers;
  platform::ISDSC_STATUS reportStatus = ERROR_INSUFFICIENT_BUFFER;
  platform::ISDSC_STATUS loginStatus = ERROR_SUCCESS;

  int listCalls = 0;
  std::vector<ULONGLONG> logoutCalls;
  int reportCalls = 0;
  bool reportForced = false;
  struct LoginCall {
    std::string target;
    bool informational;
    bool initiatorGiven;
    ULONG port;
    bool portalGiven;
    bool mappingsGiven;
    bool persistent;
    bool optionsGiven;
    platform::ISCSI_LOGIN_OPTIONS options;
  };
  std::vector<LoginCall> loginCalls;

  platform::ISDSC_STATUS GetSessionListW(ULONG* bufferSize, ULONG* sessionCount,
                                         platform::ISCSI_SESSION_INFOW* info) override {
    ++listCalls;
    std::size_t needed = sessions.size() * sizeof(platform::ISCSI_SESSION_INFOW);
    for (const auto& s : sessions) needed += (s.target.size() + 1) * sizeof(wchar_t);
    *sessionCount = static_cast<ULONG>(sessions.size());
    if (listCalls == 1) {
      *bufferSize = static_cast<ULONG>(needed);
      return firstListStatus;
    }
    if (secondListStatus != ERROR_SUCCESS) return secondListStatus;
    if (*bufferSize < needed) return ERROR_INSUFFICIENT_BUFFER;
    auto* strings = reinterpret_cast<wchar_t*>(info + sessions.size());
    for (std::size_t i = 0; i < sessions.size(); ++i) {
      info[i] = {};
      info[i].SessionId = {sessions[i].id, 7};
      info[i].ConnectionCount = sessions[i].connections;
      std::memcpy(strings, sessions[i].target.c_str(), (sessions[i].target.size() + 1) * sizeof(wchar_t));
      info[i].TargetName = info[i].TargetNodeName = strings;
      strings += sessions[i].target.size() + 1;
    }
    *bufferSize = static_cast<ULONG>(needed);
    return ERROR_SUCCESS;
  }

  platform::ISDSC_STATUS LoginTargetA(const char* targetName, bool informational, const char* initiatorInstance,
                                      ULONG port, const platform::ISCSI_TARGET_PORTALA* portal,
                                      platform::ISCSI_SECURITY_FLAGS, const platform::ISCSI_TARGET_MAPPINGA* mappings,
                                      const platform::ISCSI_LOGIN_OPTIONS* options, ULONG, const char*, bool persistent,
                                      platform::ISCSI_UNIQUE_SESSION_ID*, platform::ISCSI_UNIQUE_CONNECTION_ID*) override {
    loginCalls.push_back({targetName, informational, initiatorInstance != nullptr, port, portal != nullptr,
                          mappings != nullptr, persistent, options != nullptr, options ? *options : platform::ISCSI_LOGIN_OPTIONS{}});
    return loginStatus;
  }

  platform::ISDSC_STATUS LogoutTarget(const platform::ISCSI_UNIQUE_SESSION_ID* id) override {
    logoutCalls.push_back(id->AdapterUnique);
    auto& answers = logoutAnswers[id->AdapterUnique];
    if (answers.empty()) return ERROR_SUCCESS;
    const platform::ISDSC_STATUS status = answers.front();
    answers.pop_front();
    return status;
  }

  platform::ISDSC_STATUS ReportTargetsW(bool forceUpdate, ULONG* bufferSize, wchar_t*) override {
    ++reportCalls;
    reportForced = forceUpdate;
    *bufferSize = 64;
    return reportStatus;
  }
  platform::ISDSC_STATUS GetInitiatorNodeNameW(wchar_t* nodeName) override {
    nodeName[0] = L'\0';
    return ERROR_SUCCESS;
  }
};

}  // namespace iscsitest
