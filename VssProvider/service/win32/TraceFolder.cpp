#include "service/win32/TraceFolder.h"

#include <windows.h>
#include <aclapi.h>
#include <sddl.h>

#include <memory>

#include "logger/FileLog.h"
#include "logger/Logger.h"
#include "service/win32/KernelHandle.h"

namespace service {
namespace {

constexpr const wchar_t* kLogSource = L"TraceFolder";

struct LocalFreeDeleter {
  void operator()(void* memory) const { LocalFree(memory); }
};
using LocalSecurityDescriptor = std::unique_ptr<void, LocalFreeDeleter>;

HRESULT LastError() { return HRESULT_FROM_WIN32(GetLastError()); }

bool CreateSecured(const std::filesystem::path& folder, SECURITY_DESCRIPTOR* descriptor, DWORD& error) {
  SECURITY_ATTRIBUTES attributes{sizeof attributes, descriptor, FALSE};
  if (CreateDirectoryW(folder.c_str(), &attributes)) return true;
  error = GetLastError();
  return false;
}

// Puts the descriptor on a folder that was there before: a standard user may have made it.
HRESULT TakeOver(const std::filesystem::path& folder, SECURITY_DESCRIPTOR* descriptor) {
  // Opened without following a link, and without delete sharing: nobody can swap the folder
  // for another between the check and the change.
  const KernelHandle handle(CreateFileW(folder.c_str(), READ_CONTROL | WRITE_DAC | WRITE_OWNER,
                                        FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                        FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
  if (!handle) {
    const HRESULT hr = LastError();
    VA_LOG(MSG_ERROR, L"** Opening the trace folder %s failed, hr = 0x%08x", folder.wstring(),
           static_cast<unsigned>(hr));
    return hr;
  }
  BY_HANDLE_FILE_INFORMATION info{};
  if (!GetFileInformationByHandle(handle.Get(), &info)) return LastError();
  if ((info.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0 ||
      (info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
    VA_LOG(MSG_ERROR, L"** The trace folder %s is a link, a junction or a file; remove it and install again",
           folder.wstring());
    return HRESULT_FROM_WIN32(ERROR_CANT_ACCESS_FILE);
  }
  PSID owner = nullptr;
  PACL dacl = nullptr;
  BOOL present = FALSE;
  BOOL defaulted = FALSE;
  if (!GetSecurityDescriptorOwner(descriptor, &owner, &defaulted) ||
      !GetSecurityDescriptorDacl(descriptor, &present, &dacl, &defaulted)) {
    return LastError();
  }
  // By name, so that the files already in it (a trace this very run began) inherit the list.
  std::wstring path = folder.wstring();
  const DWORD status = SetNamedSecurityInfoW(
      path.data(), SE_FILE_OBJECT,
      OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION | PROTECTED_DACL_SECURITY_INFORMATION, owner, nullptr,
      dacl, nullptr);
  if (status != ERROR_SUCCESS) {
    VA_LOG(MSG_ERROR, L"** Setting the access list of the trace folder %s failed, error %u", folder.wstring(),
           static_cast<unsigned>(status));
    return HRESULT_FROM_WIN32(status);
  }
  return S_OK;
}

}  // namespace

HRESULT SecureTraceFolder(const std::filesystem::path& folder) {
  CLogger scope(L"TraceFolder::SecureTraceFolder");
  PSECURITY_DESCRIPTOR raw = nullptr;
  if (!ConvertStringSecurityDescriptorToSecurityDescriptorW(kTraceFolderSddl, SDDL_REVISION_1, &raw, nullptr)) {
    return LastError();
  }
  const LocalSecurityDescriptor descriptor(raw);
  auto* sd = static_cast<SECURITY_DESCRIPTOR*>(raw);
  DWORD error = ERROR_SUCCESS;
  const std::filesystem::path parent = folder.parent_path();
  if (!parent.empty() && GetFileAttributesW(parent.c_str()) == INVALID_FILE_ATTRIBUTES &&
      !CreateSecured(parent, sd, error) && error != ERROR_ALREADY_EXISTS) {
    VA_LOG(MSG_ERROR, L"** Creating the folder %s failed, error %u", parent.wstring(), static_cast<unsigned>(error));
    return HRESULT_FROM_WIN32(error);
  }
  if (CreateSecured(folder, sd, error)) {
    VA_LOG(MSG_INFO, L"Trace folder %s created for the local system and the Administrators", folder.wstring());
    return S_OK;
  }
  if (error != ERROR_ALREADY_EXISTS) {
    VA_LOG(MSG_ERROR, L"** Creating the trace folder %s failed, error %u", folder.wstring(),
           static_cast<unsigned>(error));
    return HRESULT_FROM_WIN32(error);
  }
  const HRESULT hr = TakeOver(folder, sd);
  if (SUCCEEDED(hr)) {
    VA_LOG(MSG_INFO, L"Trace folder %s secured for the local system and the Administrators", folder.wstring());
  }
  return hr;
}

}  // namespace service
