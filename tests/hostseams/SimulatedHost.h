#pragma once
// An emulated Windows host attached to an in-process array simulator (native build): the
// storage-device, DSM and iSCSI seams of the emulated host are installed for the object's
// life and talk to the simulator's host channel as `initiator`.
#include <memory>
#include <string>

#include "HostTestSupport.h"
#include "arraysim/Simulator.h"
#include "platform/DsmDevice.h"
#include "platform/IscsiInitiator.h"
#include "platform/StorageDevices.h"
#include "platform/emulated/EmulatedDsmDevice.h"
#include "platform/emulated/EmulatedIscsiInitiator.h"
#include "platform/emulated/EmulatedStorageDevices.h"

namespace hosttest {

class SimulatedHost {
 public:
  explicit SimulatedHost(std::string initiator = "iqn.1991-05.com.example:host-h6")
      : mInitiator(std::move(initiator)),
        mEndpoint{mSim.controlUrl(), mInitiator},
        mStorage(std::make_unique<platform::EmulatedStorageDevices>(mEndpoint)),
        mDsm(std::make_unique<platform::EmulatedDsmDevice>(mEndpoint)),
        mIscsi(std::make_unique<platform::EmulatedIscsiInitiator>(mEndpoint)) {}

  arraysim::Simulator& sim() { return mSim; }
  const std::string& initiator() const { return mInitiator; }
  const platform::EmulatedHostEndpoint& endpoint() const { return mEndpoint; }

  arraysim::GroupInfo AddGroup(const std::string& name = "group") {
    arraysim::GroupSpec spec;
    spec.name = name;
    return mSim.addGroup(spec);
  }
  // A volume this host may reach over iSCSI.
  arraysim::VolumeInfo AddVolume(const std::string& groupId, const std::string& name,
                                 const std::string& scope = "volume") {
    arraysim::VolumeSpec spec;
    spec.name = name;
    spec.iscsiTargetScope = scope;
    spec.acl.push_back({"iscsi", mInitiator});
    return mSim.addVolume(groupId, spec);
  }

 private:
  arraysim::Simulator mSim;
  std::string mInitiator;
  platform::EmulatedHostEndpoint mEndpoint;
  ScopedSeam<platform::StorageDevices> mStorage;
  ScopedSeam<platform::DsmDevice> mDsm;
  ScopedSeam<platform::IscsiInitiator> mIscsi;
};

}  // namespace hosttest
