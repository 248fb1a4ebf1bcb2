#include "credstore/CredentialAccess.h"

#include "common/WindowsUserHelper.h"
#include "credstore/CredentialVault.h"
#include "credstore/RegistryCredentialVault.h"

namespace credstore {

StoredCredentialCheck CheckStoredCredential(const std::string& address) {
  StoredCredentialCheck check;
  // The installer creates the service as LocalSystem; until then that is the account to judge.
  check.serviceInstalled = WindowsUserHelper::GetWindowsServiceUser(kProviderServiceName, check.serviceAccount) ==
                               ERROR_SUCCESS &&
                           !check.serviceAccount.empty();
  if (!check.serviceInstalled) check.serviceAccount = L"LocalSystem";

  CredentialVault* vault = CurrentCredentialVault();
  ArrayCredential credential;
  check.status = vault ? vault->Read(address, credential) : static_cast<DWORD>(ERROR_NOT_SUPPORTED);
  check.userName = credential.userName;

  switch (check.status) {
    case ERROR_SUCCESS: break;
    case kCredentialNotFound:
      check.service = {common::Access::Denied, "no credential is stored for " + address + ": run config add-group"};
      return check;
    case ERROR_ACCESS_DENIED:
      check.service = {common::Access::Unknown, "run vantor-vss elevated to check the stored credential"};
      return check;
    default:
      check.service = {common::Access::Denied, DescribeCredentialStatus(check.status) + ": run config add-group again"};
      return check;
  }
  common::HostSecurity* security = common::CurrentHostSecurity();
  check.service = security ? security->CanAccountReadKey(kCredentialsKey, check.serviceAccount)
                           : common::AccessVerdict{common::Access::Unknown, "this host cannot tell who may read the store"};
  return check;
}

}  // namespace credstore
