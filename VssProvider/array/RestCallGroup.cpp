#include "array/RestCallGroup.h"

#include "array/RestConnection.h"
#include "array/RestSearch.h"
#include "logger/FileLog.h"
#include "restsdk/v1/ObjectSetFactory.h"

namespace Vantor {
namespace {
static constexpr const wchar_t* kLogSource = L"RestCall";
}  // namespace

void RestCallGroupBase::Initialize() { mGroupSet = mRestConn.getV1ObjectSetFactory()->getGroupObjectSet(); }

void RestCallGroupBase::Call() { mGroups = mGroupSet->getObjectList(mParams); }

std::shared_ptr<VantorStorage::WS::v1::Group> RestCallGroupBase::FirstGroup() const {
  return mGroups && !mGroups->empty() ? mGroups->front() : nullptr;
}

void RestCallGetGroupCurrVer::Initialize() {
  RestCallGroupBase::Initialize();
  mParams = MakeGetParams(nullptr, {"version_current"});
}

bool RestCallGetGroupCurrVer::IsResultValid() const {
  const auto group = FirstGroup();
  return group && !group->getVersionCurrent().empty();
}

void RestCallGetGroupCurrVer::ProcessResult() { mRecord.mCurrentVersion = FirstGroup()->getVersionCurrent(); }

void RestCallGetGroupId::Initialize() {
  RestCallGroupBase::Initialize();
  mParams = MakeGetParams(nullptr, {"id", "name"});
}

bool RestCallGetGroupId::IsResultValid() const {
  const auto group = FirstGroup();
  return group && !group->getId().empty();
}

std::string RestCallGetGroupId::GetFailureMessage() const {
  return GetName() + (FirstGroup() ? " returned empty Group ID." : " returned NULL group information.");
}

void RestCallGetGroupId::ProcessResult() {
  const auto group = FirstGroup();
  mRecord.mId = group->getId();
  mRecord.mName = group->getName();
  VA_LOG(MSG_INFO, L"Group name: %S, group uid: %S, IP: %S", mRecord.mName, mRecord.mId, mRestConn.GetGroupMgmtIp());
}

}  // namespace Vantor
