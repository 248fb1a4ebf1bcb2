#include "credstore/CsharpInterfaceWrapper.h"

#include <cstring>

#include "credstore/CredentialVault.h"

CsharpInterfaceWrapper* CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance() {
  thread_local CsharpInterfaceWrapper instance;
  return &instance;
}

void CsharpInterfaceWrapper::ForgetCredential() {
  mUserName.clear();
  mPassword = common::ProtectedSecret();
}

bool CsharpInterfaceWrapper::W_GetCredential(const char* groupMgmtIP) {
  ForgetCredential();
  if (!groupMgmtIP || !*groupMgmtIP) return false;
  credstore::CredentialVault* vault = credstore::CurrentCredentialVault();
  if (!vault) return false;
  credstore::ArrayCredential credential;
  if (vault->Read(groupMgmtIP, credential) != ERROR_SUCCESS) return false;
  mUserName = credential.userName;
  mPassword = common::ProtectedSecret::Protect(credential.password.str());
  return true;
}

void CsharpInterfaceWrapper::PopulateCredential(char* user, char* password) {
  mUserName = user ? user : "";
  mPassword = common::ProtectedSecret::Protect(password ? std::string_view(password, std::strlen(password))
                                                          : std::string_view());
}
