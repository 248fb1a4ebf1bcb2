#include "ProviderSession.h"

#include <stdexcept>

namespace vantorvss {

ProviderSession::ProviderSession() {
  IVssHardwareSnapshotProviderEx* hardware = nullptr;
  const HRESULT hr =
      CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, reinterpret_cast<void**>(&hardware));
  if (FAILED(hr) || hardware == nullptr) throw std::runtime_error("the provider object could not be created");
  provider_ = static_cast<CVaVssHwProvider*>(hardware);
  Run("OnLoad", [&] { return provider_->OnLoad(nullptr); });
}

ProviderSession::~ProviderSession() {
  provider_->OnUnload(FALSE);
  provider_->Release();
}

bool ProviderSession::AllSucceeded() const {
  for (const auto& call : calls_)
    if (call.hr != S_OK) return false;
  return true;
}

}  // namespace vantorvss
