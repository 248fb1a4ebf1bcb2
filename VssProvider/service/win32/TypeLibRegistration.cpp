#include "service/win32/TypeLibRegistration.h"

#include <windows.h>
#include <oleauto.h>

#include <vector>

#include "logger/FileLog.h"
#include "service/ComPtr.h"
#include "service/ServiceIdentity.h"

// oleaut32 exports the per-user forms, but mingw's <oleauto.h> does not declare them.
extern "C" HRESULT WINAPI RegisterTypeLibForUser(ITypeLib* typeLib, OLECHAR* fullPath, OLECHAR* helpDir);
extern "C" HRESULT WINAPI UnRegisterTypeLibForUser(REFGUID libId, WORD major, WORD minor, LCID lcid, SYSKIND kind);

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"TypeLibRegistration";
constexpr WORD kTypeLibMajor = 1;
constexpr WORD kTypeLibMinor = 0;

std::wstring DirectoryOf(const std::wstring& path) {
  const auto slash = path.find_last_of(L"\\/");
  return slash == std::wstring::npos ? std::wstring() : path.substr(0, slash);
}

}  // namespace

HRESULT RegisterModuleTypeLib(const std::wstring& modulePath, bool perUser) {
  ComPtr<ITypeLib> typeLib;
  HRESULT hr = LoadTypeLibEx(modulePath.c_str(), REGKIND_NONE, reinterpret_cast<ITypeLib**>(typeLib.OutVoid()));
  if (FAILED(hr)) {
    VA_LOG(MSG_ERROR, L"** Loading the type library of %s failed, hr = 0x%08x", modulePath,
           static_cast<unsigned>(hr));
    return hr;
  }
  std::vector<wchar_t> path(modulePath.c_str(), modulePath.c_str() + modulePath.size() + 1);
  std::wstring helpDirText = DirectoryOf(modulePath);
  std::vector<wchar_t> helpDir(helpDirText.c_str(), helpDirText.c_str() + helpDirText.size() + 1);
  hr = perUser ? RegisterTypeLibForUser(typeLib.Get(), path.data(), helpDir.data())
               : RegisterTypeLib(typeLib.Get(), path.data(), helpDir.data());
  if (FAILED(hr)) VA_LOG(MSG_ERROR, L"** Registering the type library failed, hr = 0x%08x", static_cast<unsigned>(hr));
  return hr;
}

HRESULT UnregisterModuleTypeLib(bool perUser) {
  const HRESULT hr = perUser ? UnRegisterTypeLibForUser(kTypeLibId, kTypeLibMajor, kTypeLibMinor, LOCALE_NEUTRAL, SYS_WIN64)
                             : UnRegisterTypeLib(kTypeLibId, kTypeLibMajor, kTypeLibMinor, LOCALE_NEUTRAL, SYS_WIN64);
  if (hr == TYPE_E_REGISTRYACCESS || hr == HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND)) return S_OK;
  if (FAILED(hr)) {
    VA_LOG(MSG_WARNING, L"Unregistering the type library returned 0x%08x", static_cast<unsigned>(hr));
  }
  return hr;
}

}  // namespace service
