// A stand-in for the VSS coordinator, for Wine prefixes, which have none. The test registers
// this DLL as the in-process server of CLSID_VSSCoordinator. Every RegisterProvider and
// UnregisterProvider call becomes one line in the file that the registry value "CallLog" of
// HKLM\Software\Vantor Test\Coordinator Double names; the DWORD values "RegisterResult" and
// "UnregisterResult" there, when present, are what the calls answer (and "RefusedVersion" a
// version whose registration is refused); otherwise the double
// answers as the coordinator does, from the providers it keeps registered (one subkey each
// under "Providers"): registering one twice is VSS_E_PROVIDER_ALREADY_REGISTERED, removing
// an unknown one VSS_E_PROVIDER_NOT_REGISTERED. Each subkey keeps the registration's class,
// name, version and version id, which QueryProviders lists.
#include <windows.h>
#include <vsadmin.h>
#include <vsserror.h>

#include <atomic>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <string>
#include <vector>

#include "CoordinatorDoubleConfig.h"

namespace {

std::atomic<long> gLiveObjects{0};

std::wstring GetString(const std::wstring& key, const wchar_t* name) {
  wchar_t buffer[MAX_PATH] = {};
  DWORD size = sizeof buffer;
  RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_SZ, nullptr, buffer, &size);
  return buffer;  // empty when there is no such value
}

bool ConfiguredResult(const wchar_t* name, HRESULT& result) {
  DWORD value = 0;
  DWORD size = sizeof value;
  if (RegGetValueW(HKEY_LOCAL_MACHINE, kCoordinatorDoubleKey, name, RRF_RT_REG_DWORD, nullptr, &value, &size) !=
      ERROR_SUCCESS) {
    return false;
  }
  result = static_cast<HRESULT>(value);
  return true;
}

std::wstring GuidText(const GUID& id) {
  wchar_t text[64] = {};
  StringFromGUID2(id, text, 64);
  return text;
}

std::wstring TextOrNull(const wchar_t* text) { return text != nullptr ? text : L"(null)"; }

void AppendLine(const std::wstring& line) {
  const std::wstring path = GetString(kCoordinatorDoubleKey, kCallLogValue);
  if (path.empty()) return;
  const int bytes = WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), nullptr, 0,
                                        nullptr, nullptr);
  std::string utf8(static_cast<std::size_t>(bytes), '\0');
  WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()), utf8.data(), bytes, nullptr, nullptr);
  std::ofstream(std::filesystem::path(path), std::ios::app | std::ios::binary) << utf8 << '\n';
}

void SetString(HKEY key, const wchar_t* name, const std::wstring& value) {
  RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                 static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

wchar_t* TaskString(const std::wstring& text) {
  const std::size_t bytes = (text.size() + 1) * sizeof(wchar_t);
  auto* copy = static_cast<wchar_t*>(CoTaskMemAlloc(bytes));
  if (copy != nullptr) std::memcpy(copy, text.c_str(), bytes);
  return copy;
}

// IUnknown of the double's objects: `Interface` and IUnknown, counted, deleted at the last
// release; every live object keeps the DLL loaded.
template <typename Interface>
class Counted : public Interface {
 public:
  explicit Counted(const IID& iid) : mIid(iid) { ++gLiveObjects; }
  virtual ~Counted() { --gLiveObjects; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = IsEqualIID(riid, IID_IUnknown) || IsEqualIID(riid, mIid) ? static_cast<Interface*>(this) : nullptr;
    if (*ppv == nullptr) return E_NOINTERFACE;
    this->AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++mRefs; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --mRefs;
    if (left == 0) delete this;
    return left;
  }

 private:
  const IID& mIid;
  std::atomic<ULONG> mRefs{1};
};

// The registered providers, one record each, as the coordinator's QueryProviders lists them.
class ProviderList final : public Counted<IVssEnumObject> {
 public:
  ProviderList() : Counted(IID_IVssEnumObject) {
    wchar_t name[64];
    for (DWORD length = 64; RegEnumKeyExW(mKey, static_cast<DWORD>(mIds.size()), name, &length, nullptr, nullptr,
                                          nullptr, nullptr) == ERROR_SUCCESS;
         length = 64) {
      mIds.emplace_back(name, length);
    }
  }
  ~ProviderList() override {
    if (mKey != nullptr) RegCloseKey(mKey);
  }

  HRESULT STDMETHODCALLTYPE Next(ULONG count, VSS_OBJECT_PROP* records, ULONG* fetched) override {
    if (records == nullptr || fetched == nullptr) return E_POINTER;
    for (*fetched = 0; *fetched < count && mNext < mIds.size(); ++mNext, ++*fetched) {
      const std::wstring key = std::wstring(kProvidersKey) + L"\\" + mIds[mNext];
      VSS_OBJECT_PROP& record = records[*fetched];
      record = VSS_OBJECT_PROP{};
      record.Type = VSS_OBJECT_PROVIDER;
      VSS_PROVIDER_PROP& provider = record.Obj.Prov;
      CLSIDFromString(mIds[mNext].c_str(), &provider.m_ProviderId);
      CLSIDFromString(GetString(key, L"Class").c_str(), &provider.m_ClassId);
      CLSIDFromString(GetString(key, L"VersionId").c_str(), &provider.m_ProviderVersionId);
      provider.m_eProviderType = VSS_PROV_HARDWARE;
      provider.m_pwszProviderName = TaskString(GetString(key, L"Name"));
      provider.m_pwszProviderVersion = TaskString(GetString(key, L"Version"));
    }
    return *fetched == count ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override {
    mNext += count;
    return mNext <= mIds.size() ? S_OK : S_FALSE;
  }
  HRESULT STDMETHODCALLTYPE Reset() override {
    mNext = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Clone(IVssEnumObject** /*copy*/) override { return E_NOTIMPL; }

 private:
  HKEY mKey = OpenProviders();
  std::vector<std::wstring> mIds;
  std::size_t mNext = 0;

  static HKEY OpenProviders() {
    HKEY key = nullptr;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, kProvidersKey, 0, KEY_READ, &key) == ERROR_SUCCESS ? key : nullptr;
  }
};

class CoordinatorDouble final : public Counted<IVssAdmin> {
 public:
  CoordinatorDouble() : Counted(IID_IVssAdmin) {}

  HRESULT STDMETHODCALLTYPE RegisterProvider(VSS_ID providerId, CLSID classId, VSS_PWSZ name,
                                             VSS_PROVIDER_TYPE type, VSS_PWSZ version,
                                             VSS_ID versionId) override {
    AppendLine(L"RegisterProvider|" + GuidText(providerId) + L"|" + GuidText(classId) + L"|" + TextOrNull(name) +
               L"|" + std::to_wstring(static_cast<int>(type)) + L"|" + TextOrNull(version) + L"|" +
               GuidText(versionId));
    HRESULT result = S_OK;
    if (ConfiguredResult(kRegisterResultValue, result)) return result;
    const std::wstring key = std::wstring(kProvidersKey) + L"\\" + GuidText(providerId);
    HKEY existing = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, KEY_READ, &existing) == ERROR_SUCCESS) {
      RegCloseKey(existing);
      return VSS_E_PROVIDER_ALREADY_REGISTERED;
    }
    const std::wstring refused = GetString(kCoordinatorDoubleKey, kRefusedVersionValue);
    if (!refused.empty() && refused == TextOrNull(version)) return E_ACCESSDENIED;
    HKEY created = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &created, nullptr) !=
        ERROR_SUCCESS) {
      return E_FAIL;
    }
    SetString(created, L"Class", GuidText(classId));
    SetString(created, L"Name", TextOrNull(name));
    SetString(created, L"Version", TextOrNull(version));
    SetString(created, L"VersionId", GuidText(versionId));
    RegCloseKey(created);
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE UnregisterProvider(VSS_ID providerId) override {
    AppendLine(L"UnregisterProvider|" + GuidText(providerId));
    HRESULT result = S_OK;
    if (ConfiguredResult(kUnregisterResultValue, result)) return result;
    const std::wstring key = std::wstring(kProvidersKey) + L"\\" + GuidText(providerId);
    return RegDeleteTreeW(HKEY_LOCAL_MACHINE, key.c_str()) == ERROR_SUCCESS ? S_OK : VSS_E_PROVIDER_NOT_REGISTERED;
  }
  HRESULT STDMETHODCALLTYPE QueryProviders(IVssEnumObject** enumerator) override {
    if (enumerator == nullptr) return E_POINTER;
    *enumerator = new (std::nothrow) ProviderList();
    return *enumerator != nullptr ? S_OK : E_OUTOFMEMORY;
  }
  HRESULT STDMETHODCALLTYPE AbortAllSnapshotsInProgress() override { return E_NOTIMPL; }
};

class CoordinatorFactory final : public IClassFactory {
 public:
  virtual ~CoordinatorFactory() = default;
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IClassFactory)) return E_NOINTERFACE;
    *ppv = static_cast<IClassFactory*>(this);
    return S_OK;
  }
  // A static object: the counts do not decide its lifetime.
  ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    auto* object = new (std::nothrow) CoordinatorDouble();
    if (object == nullptr) return E_OUTOFMEMORY;
    const HRESULT hr = object->QueryInterface(riid, ppv);
    object->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL /*lock*/) override { return S_OK; }
};

CoordinatorFactory gFactory;

}  // namespace

extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID riid, LPVOID* ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  if (!IsEqualCLSID(clsid, CLSID_VSSCoordinator)) return CLASS_E_CLASSNOTAVAILABLE;
  return gFactory.QueryInterface(riid, ppv);
}

extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() { return gLiveObjects.load() == 0 ? S_OK : S_FALSE; }
