#pragma once
// The requests on the group itself: its id (the key of the provider's array cache) and the
// software version the version policy judges.
#include <memory>
#include <string>

#include "array/ArrayRecords.h"
#include "array/RestCall.h"
#include "restsdk/v1/GetParams.h"
#include "restsdk/v1/Group.h"
#include "restsdk/v1/GroupObjectSet.h"

namespace Vantor {

class RestCallGroupBase : public RestCall {
 public:
  using RestCall::RestCall;

 protected:
  void Initialize() override;
  void Call() override;
  // The first group of the answer, or null.
  std::shared_ptr<VantorStorage::WS::v1::Group> FirstGroup() const;

  std::shared_ptr<VantorStorage::WS::v1::GroupObjectSet> mGroupSet;
  std::shared_ptr<VantorStorage::WS::v1::GetParams> mParams;
  VantorStorage::WS::v1::GroupListPtr mGroups;
};

class RestCallGetGroupCurrVer final : public RestCallGroupBase {
 public:
  using RestCallGroupBase::RestCallGroupBase;
  const std::string& GetCurrentVersion() const { return mRecord.mCurrentVersion; }

 protected:
  void Initialize() override;
  bool IsResultValid() const override;
  std::string GetName() const override { return "Get Group's Current Version"; }
  std::string GetFailureMessage() const override { return "Could not find group's current version"; }
  void ProcessResult() override;

 private:
  GroupRecord mRecord;
};

class RestCallGetGroupId final : public RestCallGroupBase {
 public:
  using RestCallGroupBase::RestCallGroupBase;
  const GroupRecord& GetGroup() const { return mRecord; }

 protected:
  void Initialize() override;
  bool IsResultValid() const override;
  std::string GetName() const override { return "Get Group Id"; }
  std::string GetFailureMessage() const override;
  void ProcessResult() override;

 private:
  GroupRecord mRecord;
};

}  // namespace Vantor
