// The system's answers: attributes read without following a reparse point, the hard-link count
// of a file, and the owner in the object's security descriptor.
#include <windows.h>
#include <aclapi.h>

#include <memory>
#include <vector>

#include "platform/FileTrust.h"
#include "platform/win32/Win32Handle.h"

namespace platform {
namespace {

std::string Named(const std::filesystem::path& path) { return path.string(); }

// The user of this process's token, or empty when it cannot be read.
std::vector<BYTE> ProcessUserSid() {
  HANDLE raw = nullptr;
  if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &raw)) return {};
  const win32::UniqueHandle token(raw);
  DWORD size = 0;
  GetTokenInformation(token.get(), TokenUser, nullptr, 0, &size);
  if (size == 0) return {};
  std::vector<BYTE> buffer(size);
  if (!GetTokenInformation(token.get(), TokenUser, buffer.data(), size, &size)) return {};
  const PSID sid = reinterpret_cast<const TOKEN_USER*>(buffer.data())->User.Sid;
  return std::vector<BYTE>(static_cast<BYTE*>(sid), static_cast<BYTE*>(sid) + GetLengthSid(sid));
}

struct LocalFreeDeleter {
  void operator()(void* p) const { LocalFree(p); }
};

}  // namespace

std::string PathTrustRefusal(const std::filesystem::path& path) {
  const DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    const DWORD error = GetLastError();
    if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return {};
    return Named(path) + " cannot be examined (error " + std::to_string(error) + ")";
  }
  if (attributes & FILE_ATTRIBUTE_REPARSE_POINT) return Named(path) + " is a reparse point (a junction or link)";
  if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    const win32::UniqueHandle file(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES,
                                       FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                       FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    BY_HANDLE_FILE_INFORMATION information{};
    if (!file.valid() || !GetFileInformationByHandle(file.get(), &information))
      return Named(path) + " cannot be examined (error " + std::to_string(GetLastError()) + ")";
    if (information.nNumberOfLinks > 1)
      return Named(path) + " has " + std::to_string(information.nNumberOfLinks) + " hard links";
  }
  PSID owner = nullptr;
  PSECURITY_DESCRIPTOR raw = nullptr;
  const DWORD status = GetNamedSecurityInfoW(path.c_str(), SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &owner,
                                             nullptr, nullptr, nullptr, &raw);
  const std::unique_ptr<void, LocalFreeDeleter> descriptor(raw);
  if (status != ERROR_SUCCESS || owner == nullptr)
    return Named(path) + " has no owner that can be read (error " + std::to_string(status) + ")";
  if (IsWellKnownSid(owner, WinLocalSystemSid) || IsWellKnownSid(owner, WinBuiltinAdministratorsSid)) return {};
  std::vector<BYTE> self = ProcessUserSid();
  if (!self.empty() && EqualSid(owner, self.data())) return {};
  return Named(path) + " is owned by neither SYSTEM, the Administrators group nor the account this process runs as";
}

}  // namespace platform
