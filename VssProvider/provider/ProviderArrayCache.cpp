// The provider's cache of array groups: one wrapper per group UID, and which group answers at
// each management address, kept in line with what the group finder discovers now.
#include <set>

#include "array/VaVssArrayWrapper.h"
#include "provider/ProviderCall.h"
#include "provider/VaVssHwProvider.h"

namespace {
constexpr const wchar_t* kLogSource = L"VaVssHwProvider";
}  // namespace

void CVaVssHwProvider::UseArrayAccess(provider::ArrayAccess access) {
  const auto lock = LockObject();
  mArrayAccess = std::move(access);
}

std::vector<std::string> CVaVssHwProvider::CachedGroupUids() const {
  const auto lock = LockObject();
  std::vector<std::string> uids;
  for (const auto& [uid, wrapper] : mArrays) uids.push_back(uid);
  return uids;
}

HRESULT CVaVssHwProvider::RefreshArrays() {
  CLogger scope(L"CVaVssHwProvider::RefreshArrays");
  return provider::GuardedCall(L"CVaVssHwProvider::RefreshArrays", [&]() -> HRESULT {
    if (!mArrayAccess.discoverGroups) return E_UNEXPECTED;
    std::map<std::string, Vantor::LoginInfo> discovered = mArrayAccess.discoverGroups();
    CheckAndUpdateArraysLoginInfo(discovered);

    for (auto it = discovered.begin(); it != discovered.end();) {
      const std::string& address = it->first;
      if (mGroupIPToUidMap.count(address) != 0) {
        AddOrUpdateArray(false, address, it->second);
        ++it;
        continue;
      }
      const provider::RestSupport support = mArrayAccess.restSupport
                                                ? mArrayAccess.restSupport(address)
                                                : provider::RestSupport::CheckFailed;
      if (support == provider::RestSupport::NotSupported) {
        VA_LOG(MSG_ERROR,
               L"REST is not supported for array %S. Make sure that this version of QTK is compatible with this "
               L"array. Snapshots will fail if the volumes reside on this array.",
               address);
        it = discovered.erase(it);
        continue;
      }
      if (support == provider::RestSupport::CheckFailed) {
        VA_LOG(MSG_WARNING,
               L"Preliminary check to identify whether REST is supported for array %S failed. This check is done only "
               L"for older versions of arrays. Otherwise this failure will not cause stopping using the array. "
               L"However, if the reason is that the array is unreacheble, snapshots will fail if the volumes reside on "
               L"this array.",
               address);
      }
      AddOrUpdateArray(true, address, it->second);
      ++it;
    }

    // Only a shrink removes groups: an address swapped for another at equal counts stays.
    if (discovered.size() < mGroupIPToUidMap.size()) {
      VA_LOG(MSG_INFO, L"Removing undiscovered arrays - Cached array IP count = %d, Discovered array IP count = %d",
             static_cast<int>(mGroupIPToUidMap.size()), static_cast<int>(discovered.size()));
      RemoveUndiscoveredArrays(discovered);
    }
    return S_OK;
  });
}

void CVaVssHwProvider::AddOrUpdateArray(bool addMode, const std::string& address, const Vantor::LoginInfo& loginInfo) {
  CLogger scope(L"CVaVssHwProvider::AddOrUpdateArray");
  // One group that cannot be reached must not keep the others out of the cache: its failure is
  // logged here and the refresh goes on with the next address.
  try {
    std::string uid;
    std::shared_ptr<VaVssArrayWrapper> connected;  // add mode: the connection made to `address` now
    if (!addMode) {
      VA_LOG(MSG_INFO, L"*** in Array Update mode for the IP address = %S ****", address);
      uid = mGroupIPToUidMap[address];
    } else {
      VA_LOG(MSG_INFO, L"*** in Array ADD mode for the IP address = %S ****", address);
      std::shared_ptr<VaVssArrayWrapper> wrapper;
      try {
        wrapper = mArrayAccess.connect(address, loginInfo);
      } catch (const std::exception& e) {
        if (!loginInfo.IsEmpty()) {
          VA_LOG(MSG_ERROR,
                 L"Failed to Authenticate the user for Group Mgmt Array. IP: %S. Array Username = %S .Error : %S",
                 address, loginInfo.GetUser(), e.what());
        }
        VA_LOG(MSG_ERROR, L"Failed to initialize array %S. Reason: %S", address, e.what());
        return;
      }
      if (!wrapper) return;
      connected = wrapper;
      uid = wrapper->GetGroupUid();
      if (mArrays.count(uid) != 0) {
        VA_LOG(MSG_INFO, L"Array %S is already discovered, group UID = %S", address, uid);
      } else {
        mArrays.emplace(uid, wrapper);
        VA_LOG(MSG_INFO, L"Discovered new array: %S, group UID = %S", address, uid);
      }
      mGroupIPToUidMap[address] = uid;
    }

    const auto found = mArrays.find(uid);
    if (found == mArrays.end()) return;
    std::shared_ptr<VaVssArrayWrapper>& cached = found->second;
    if (cached->GetConfiguredAddress().empty() && loginInfo.IsEmpty()) {
      VA_LOG(MSG_INFO, L"Input LoginInfo and array LoginInfo are empty. Hence returning without any operation.");
      return;
    }
    if (cached->GetConfiguredAddress() == address || cached->GetConfiguredAddress().empty()) {
      if (loginInfo.IsEmpty()) {
        VA_LOG(MSG_INFO, L"Changing array state from configured to unconfigured.");
        cached->SetConfiguredAddress("");
      } else {
        VA_LOG(MSG_INFO, L"Either Changing the array state from unconfigured to configured or updating the array status.");
        if (!UseOwnConnection(cached, connected, address, loginInfo)) return;
        cached->SetConfiguredAddress(address);
      }
      cached->SetLoginInfo(loginInfo);
    }
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Some exception coaught in Array update for the IP : %S. Reason: %S", address, e.what());
  }
}

bool CVaVssHwProvider::UseOwnConnection(std::shared_ptr<VaVssArrayWrapper>& cached,
                                        std::shared_ptr<VaVssArrayWrapper> connected, const std::string& address,
                                        const Vantor::LoginInfo& loginInfo) {
  // A stored credential goes only to the address it was stored for. The group's wrapper may
  // talk to another address (one that only the driver reported and that answered with this
  // group's id), or to this one on a session opened without any credential: then a connection
  // made to this address with its credential takes the wrapper's place in the cache. The other
  // addresses of the group keep mapping to the group's one wrapper.
  if (cached->GetGroupAddress() == address && !cached->GetLoginInfo().IsEmpty()) return true;
  if (!connected) connected = mArrayAccess.connect(address, loginInfo);
  if (!connected || connected->GetGroupUid() != cached->GetGroupUid()) {
    VA_LOG(MSG_ERROR, L"The array at %S no longer answers as group %S; its credential is not used.", address,
           cached->GetGroupUid());
    return false;
  }
  if (connected != cached) {
    VA_LOG(MSG_INFO, L"Group %S: the session of configured address %S replaces the one with %S.",
           cached->GetGroupUid(), address, cached->GetGroupAddress());
    cached = std::move(connected);
  }
  return true;
}

void CVaVssHwProvider::RemoveUndiscoveredArrays(const std::map<std::string, Vantor::LoginInfo>& discovered) {
  CLogger scope(L"CVaVssHwProvider::RemoveUndiscoveredArrays");
  std::set<std::string> keptUids;
  for (auto it = mGroupIPToUidMap.begin(); it != mGroupIPToUidMap.end();) {
    if (discovered.count(it->first) != 0) {
      keptUids.insert(it->second);
      ++it;
    } else {
      VA_LOG(MSG_INFO, L"Removing array address: %S", it->first);
      it = mGroupIPToUidMap.erase(it);
    }
  }
  for (auto it = mArrays.begin(); it != mArrays.end();) {
    if (keptUids.count(it->first) != 0) {
      ++it;
    } else {
      VA_LOG(MSG_INFO, L"Removing group: %S", it->first);
      it = mArrays.erase(it);
    }
  }
}

void CVaVssHwProvider::CheckAndUpdateArraysLoginInfo(const std::map<std::string, Vantor::LoginInfo>& discovered) {
  CLogger scope(L"CVaVssHwProvider::CheckAndUpdateArraysLoginInfo");
  for (const auto& [uid, wrapper] : mArrays) {
    const std::string configured = wrapper->GetConfiguredAddress();
    if (configured.empty() || discovered.count(configured) != 0) continue;
    VA_LOG(MSG_INFO,
           L"Updating the mArray object to default credentials because configured IP : %S is not discovered anymore",
           configured);
    wrapper->SetConfiguredAddress("");
    wrapper->SetLoginInfo(Vantor::LoginInfo());
  }
}
