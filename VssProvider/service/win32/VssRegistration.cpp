#include "service/win32/VssRegistration.h"

#include <windows.h>
#include <vsadmin.h>
#include <vsserror.h>

#include <cwchar>
#include <optional>
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

// What VSS holds for one provider: enough to register it again as it was.
struct ProviderRegistration {
  std::wstring name;
  std::wstring version;
  CLSID classId{};
  VSS_ID versionId{};
};

HRESULT Register(IVssAdmin* admin, const ProviderRegistration& provider) {
  std::vector<wchar_t> name = Writable(provider.name);
  std::vector<wchar_t> version = Writable(provider.version);
  return admin->RegisterProvider(kVssProviderId, provider.classId, name.data(), VSS_PROV_HARDWARE, version.data(),
                                 provider.versionId);
}

// The coordinator hands out the strings of each record; they are ours to free.
struct ProviderRecord {
  VSS_OBJECT_PROP prop{};
  ProviderRecord() = default;
  ProviderRecord(const ProviderRecord&) = delete;
  ProviderRecord& operator=(const ProviderRecord&) = delete;
  ~ProviderRecord() {
    if (prop.Type != VSS_OBJECT_PROVIDER) return;
    CoTaskMemFree(prop.Obj.Prov.m_pwszProviderName);
    CoTaskMemFree(prop.Obj.Prov.m_pwszProviderVersion);
  }
};

// How VSS has our provider registered; empty when it cannot tell.
std::optional<ProviderRegistration> QueryRegistration(IVssAdmin* admin) {
  ComPtr<IVssEnumObject> providers;
  HRESULT hr = admin->QueryProviders(reinterpret_cast<IVssEnumObject**>(providers.OutVoid()));
  if (FAILED(hr) || !providers) {
    VA_LOG(MSG_WARNING, L"IVssAdmin::QueryProviders failed, hr = 0x%08x", static_cast<unsigned>(hr));
    return std::nullopt;
  }
  // The coordinator lists a few providers; the bound only keeps a broken enumerator finite.
  constexpr int kMostProviders = 1024;
  for (int count = 0; count < kMostProviders; ++count) {
    ProviderRecord record;
    ULONG fetched = 0;
    hr = providers->Next(1, &record.prop, &fetched);
    if (hr != S_OK || fetched != 1) break;
    if (record.prop.Type != VSS_OBJECT_PROVIDER) continue;
    const VSS_PROVIDER_PROP& prov = record.prop.Obj.Prov;
    if (!IsEqualGUID(prov.m_ProviderId, kVssProviderId)) continue;
    // The coordinator's texts are taken only when they end within a sane length.
    constexpr std::size_t kMostChars = 256;
    const auto tooLong = [](const wchar_t* text) { return text != nullptr && wcsnlen(text, kMostChars) == kMostChars; };
    if (prov.m_pwszProviderVersion == nullptr || tooLong(prov.m_pwszProviderVersion) ||
        tooLong(prov.m_pwszProviderName)) {
      VA_LOG(MSG_WARNING, L"IVssAdmin::QueryProviders lists the provider without a usable name or version");
      return std::nullopt;
    }
    return ProviderRegistration{prov.m_pwszProviderName != nullptr ? prov.m_pwszProviderName : kVssProviderName,
                                prov.m_pwszProviderVersion,
                                prov.m_ClassId, prov.m_ProviderVersionId};
  }
  VA_LOG(MSG_WARNING, L"IVssAdmin::QueryProviders does not list the provider");
  return std::nullopt;
}

}  // namespace

HRESULT RegisterVssProvider(const std::wstring& versionText) {
  CLogger scope(L"VssRegistration::RegisterVssProvider");
  ComPtr<IVssAdmin> admin;
  HRESULT hr = OpenCoordinator(admin);
  if (FAILED(hr)) return hr;
  const ProviderRegistration ours{kVssProviderName, versionText, CLSID_VantorVssHwProvider, kVssProviderVersionId};
  hr = Register(admin.Get(), ours);
  if (hr != VSS_E_PROVIDER_ALREADY_REGISTERED) {
    if (FAILED(hr)) {
      VA_LOG(MSG_ERROR, L"** IVssAdmin::RegisterProvider failed, hr = 0x%08x", static_cast<unsigned>(hr));
      return hr;
    }
    VA_LOG(MSG_INFO, L"VSS provider registered, version %s", versionText);
    return S_OK;
  }
  // Registered already: by this version (a repeated install) or by an earlier one, whose
  // registration VSS would go on reporting unless it is made again.
  const std::optional<ProviderRegistration> before = QueryRegistration(admin.Get());
  if (!before) {
    VA_LOG(MSG_WARNING, L"VSS provider is registered already, its version unknown; the registration stays");
    return S_OK;
  }
  if (before->version == versionText) {
    VA_LOG(MSG_INFO, L"VSS provider is registered already, version %s", versionText);
    return S_OK;
  }
  VA_LOG(MSG_INFO, L"VSS provider is registered with version %s; registering version %s instead", before->version,
         versionText);
  hr = admin->UnregisterProvider(kVssProviderId);
  if (FAILED(hr)) {
    VA_LOG(MSG_ERROR, L"** IVssAdmin::UnregisterProvider failed, hr = 0x%08x; the registration of version %s stays",
           static_cast<unsigned>(hr), before->version);
    return hr;
  }
  hr = Register(admin.Get(), ours);
  if (SUCCEEDED(hr)) {
    VA_LOG(MSG_INFO, L"VSS provider registered again, version %s", versionText);
    return S_OK;
  }
  VA_LOG(MSG_ERROR, L"** IVssAdmin::RegisterProvider failed, hr = 0x%08x; putting back version %s",
         static_cast<unsigned>(hr), before->version);
  const HRESULT back = Register(admin.Get(), *before);
  if (FAILED(back)) {
    VA_LOG(MSG_ERROR, L"** Putting back the registration of version %s failed, hr = 0x%08x", before->version,
           static_cast<unsigned>(back));
  }
  return hr;
}

void UnregisterVssProvider() {
  CLogger scope(L"VssRegistration::UnregisterVssProvider");
  ComPtr<IVssAdmin> admin;
  if (FAILED(OpenCoordinator(admin))) return;
  const HRESULT hr = admin->UnregisterProvider(kVssProviderId);
  VA_LOG(MSG_INFO, L"IVssAdmin::UnregisterProvider returned 0x%08x", static_cast<unsigned>(hr));
}

}  // namespace service
