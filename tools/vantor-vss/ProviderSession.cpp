#include "ProviderSession.h"

#include <stdexcept>

#include "Report.h"
#include "provider/VaVssHwProvider.h"
#ifdef _WIN32
#include <objbase.h>
#endif

namespace vantorvss {
namespace {
ProviderSource gSource = ProviderSource::InProcess;
}  // namespace

// COM for the calling thread while a session talks to the installed service.
class ProviderSession::Apartment {
 public:
#ifdef _WIN32
  Apartment() {
    const HRESULT hr = CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(hr)) throw std::runtime_error("COM could not be initialised: " + HresultText(hr));
  }
  ~Apartment() { CoUninitialize(); }
#endif
};

ProviderSource ParseProviderSource(const std::string& text) {
  if (text == "in-process") return ProviderSource::InProcess;
  if (text == "installed") return ProviderSource::Installed;
  throw std::invalid_argument("--provider is in-process or installed, not '" + text + "'");
}

void ProviderSession::UseSource(ProviderSource source) { gSource = source; }

ProviderSession::ProviderSession() {
  void* hardware = nullptr;
  if (gSource == ProviderSource::InProcess) {
    if (FAILED(CreateVaVssHwProvider(wincompat::kIID_IVssHardwareSnapshotProviderEx, &hardware)) ||
        hardware == nullptr)
      throw std::runtime_error("the provider object could not be created");
  } else {
#ifdef _WIN32
    apartment_ = std::make_unique<Apartment>();
    const HRESULT hr = CoCreateInstance(CLSID_VantorVssHwProvider, nullptr, CLSCTX_LOCAL_SERVER,
                                        wincompat::kIID_IVssHardwareSnapshotProviderEx, &hardware);
    if (FAILED(hr) || hardware == nullptr)
      throw std::runtime_error("the installed provider could not be created through COM: " + HresultText(hr));
#else
    throw std::runtime_error("--provider installed needs Windows: there is no installed service here");
#endif
  }
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
