#include "ProviderSession.h"

#include <stdexcept>

#include "provider/VaVssHwProvider.h"

namespace vantorvss {

ProviderSession::ProviderSession() {
  void* hardware = nullptr;
  if (FAILED(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, &hardware)) || hardware == nullptr)
    throw std::runtime_error("the provider object could not be created");
  hardware_ = static_cast<IVssHardwareSnapshotProviderEx*>(hardware);
  void* snapshotSet = nullptr;
  void* notifications = nullptr;
  const HRESULT sets = hardware_->QueryInterface(wincompat::kIID_IVssProviderCreateSnapshotSet, &snapshotSet);
  const HRESULT notes = hardware_->QueryInterface(wincompat::kIID_IVssProviderNotifications, &notifications);
  snapshotSet_ = static_cast<IVssProviderCreateSnapshotSet*>(snapshotSet);
  notifications_ = static_cast<IVssProviderNotifications*>(notifications);
  if (FAILED(sets) || FAILED(notes) || snapshotSet_ == nullptr || notifications_ == nullptr) {
    Release();
    throw std::runtime_error("the provider object does not offer the VSS interfaces");
  }
}

ProviderSession::~ProviderSession() { Release(); }

void ProviderSession::Release() {
  if (notifications_ != nullptr) notifications_->Release();
  if (snapshotSet_ != nullptr) snapshotSet_->Release();
  if (hardware_ != nullptr) hardware_->Release();
  notifications_ = nullptr;
  snapshotSet_ = nullptr;
  hardware_ = nullptr;
}

}  // namespace vantorvss
