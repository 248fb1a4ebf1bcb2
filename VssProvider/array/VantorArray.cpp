#include "array/VantorArray.h"

#include <exception>
#include <stdexcept>

#include "array/RestCallGroup.h"
#include "array/RestSdkInit.h"
#include "discovery/ConfigurationKeys.h"
#include "discovery/ConfigurationValues.h"
#include "logger/FileLog.h"
#include "logger/Logger.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"VantorArray";

}  // namespace

Array::Array(const std::string& groupAddress, const LoginInfo& loginInfo) : RestConnection(groupAddress, loginInfo) {
  RestCallGetGroupId call(*this);
  call.Execute();
  mGroupId = call.GetGroup().mId;
  // The array answered, with the login, over the certificate met first: that is its pin now.
  KeepFirstUsePin();
}

Array::Array(const Array& other) : RestConnection(other.GetGroupMgmtIp(), other.GetLoginInfo()), mGroupId(other.mGroupId) {}

Array::~Array() {
  mGroupId.clear();
  mCapabilities.clear();
}

void Array::InitRest(const std::string& appName) {
  CLogger scope(L"Vantor::Array::InitRest");
  try {
    InitRestSDK(appName);
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"Array::InitRest error: %S", e.what());
    throw std::runtime_error(e.what());
  }
}

bool Array::CheckArrayVersion(std::string& versionString) {
  std::string current;
  try {
    RestCallGetGroupCurrVer call(*this);
    call.Execute();
    current = call.GetCurrentVersion();
  } catch (const std::exception&) {
    VA_LOG(MSG_ERROR, L"Failed to get the version of the array %S. Do not support the array", GetGroupMgmtIp());
    return false;
  }
  VA_LOG(MSG_INFO, L"The version of the array (%S) is: [%S].", GetGroupMgmtIp(), current);
  versionString = current;

  ArrayVersion currentVersion;
  ArrayVersion minVersion;
  ArrayVersion maxVersion;
  std::string reason;
  bool supported = false;
  if (!ParseArrayVersion(current, currentVersion)) {
    reason = "Failed to set current version.";
  } else {
    std::string minText = discovery::kBuiltInMinArrayVersion;
    std::string maxText;
    if (minText.empty()) minText = kLowestArrayVersion;
    if (maxText.empty()) maxText = DefaultMaxArrayVersion();
    if (const auto configured = discovery::ReadMinArrayVerSupported()) minText = *configured;
    if (const auto configured = discovery::ReadMaxArrayVerSupported()) maxText = *configured;

    if (!ParseArrayVersion(maxText, maxVersion)) {
      reason = "Failed to set MAX version.";
    } else if (!ParseArrayVersion(minText, minVersion)) {
      reason = "Failed to set MIN version.";
    } else if (!IsVersionSupported(currentVersion, minVersion, maxVersion)) {
      reason = "The version is not in the supported range [" + minText + " to " + maxText + "]";
    } else {
      supported = true;
    }
  }
  if (supported) {
    mCapabilities = CapabilitiesForVersion(currentVersion);
    return true;
  }

  VA_LOG(MSG_ERROR, L"Current array version [%S] is not supported. The reason: \"%S\".", current, reason);
  const DWORD skip = discovery::ReadSkipVersionCheck();
  if (skip == 0) return false;
  // The location names the product key although the value is read from the configuration key
  // beneath it; administrators' notes quote this line as it stands.
  VA_LOG(MSG_INFO, L"Found Skip Version Checking flag: %d. Registry location: \"%s\".", skip, discovery::kProductKey);
  VA_LOG(MSG_WARNING,
         L"However, the user has selected to skip version checking! It may lead to failure in creating snapshots!");
  VA_LOG(MSG_WARNING, L"If this is not what the user intended, the option should be removed.");
  mCapabilities = CapabilitiesForVersion(currentVersion);
  return true;
}

}  // namespace Vantor
