#include "service/win32/VssRegistration.h"

#include <windows.h>
#include <vsadmin.h>
#include <vsserror.h>

#include <vector>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "provider/VaVssHwProvider.h"
#include "service/ComPtr.h"
#include "service/ServiceIdentity.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"VssRegistration";
// Local server, in-process server and handler, remote server: wherever the coordinator lives.
constexpr DWORD kCoordinatorContext = CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER |
                                      CLSCTX_REMOTE_SERVER;

HRESULT OpenCoordinator(ComPtr<IVssAdmin>& admin) {
  const HRESULT hr = CoCreateInstance(CLSID_VSSCoordinator, nullptr, kCoordinatorContext, IID_IVssAdmin,
                                      admin.OutVoid());
  if (FAILED(hr)) VA_LOG(MSG_ERROR, L"** Creating the VSS coordinator failed, hr = 0x%08x", static_cast<unsigned>(hr));
  return hr;
}

// IVssAdmin takes non-const strings; hand it copies it may not keep.
std::vector<wchar_t> Writable(const std::wstring& text) { return {text.c_str(), text.c_str() + text.size() + 1}; }

}  // namespace

HRESULT RegisterVssProvider(const std::wstring& versionText) {
  CLogger scope(L"VssRegistration::RegisterVssProvider");
  ComPtr<IVssAdmin> admin;
  HRESULT hr = OpenCoordinator(admin);
  if (FAILED(hr)) return hr;
  std::vector<wchar_t> name = Writable(kVssProviderName);
  std::vector<wchar_t> version = Writable(versionText);
  hr = admin->RegisterProvider(kVssProviderId, CLSID_VantorVssHwProvider, name.data(), VSS_PROV_HARDWARE,
                               version.data(), kVssProviderVersionId);
  if (hr == VSS_E_PROVIDER_ALREADY_REGISTERED) {
    VA_LOG(MSG_INFO, L"VSS provider is registered already");
    return S_OK;
  }
  if (FAILED(hr)) {
    VA_LOG(MSG_ERROR, L"** IVssAdmin::RegisterProvider failed, hr = 0x%08x", static_cast<unsigned>(hr));
    return hr;
  }
  VA_LOG(MSG_INFO, L"VSS provider registered, version %s", versionText);
  return S_OK;
}

void UnregisterVssProvider() {
  CLogger scope(L"VssRegistration::UnregisterVssProvider");
  ComPtr<IVssAdmin> admin;
  if (FAILED(OpenCoordinator(admin))) return;
  const HRESULT hr = admin->UnregisterProvider(kVssProviderId);
  VA_LOG(MSG_INFO, L"IVssAdmin::UnregisterProvider returned 0x%08x", static_cast<unsigned>(hr));
}

}  // namespace service
