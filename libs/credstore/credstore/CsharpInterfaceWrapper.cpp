#include "credstore/CsharpInterfaceWrapper.h"

#include <cstring>

#include "credstore/CredentialVault.h"

CsharpInterfaceWrapper* CsharpInterfaceWrapper::GetCsharpInterfaceWrapperInstance() {
  static CsharpInterfaceWrapper instance;
  return &instance;
}

bool CsharpInterfaceWrapper::W_GetCredential(const char* groupMgmtIP) {
  mUserName.clear();
  mPassword.clear();
  if (!groupMgmtIP || !*groupMgmtIP) return false;
  credstore::CredentialVault* vault = credstore::CurrentCredentialVault();
  if (!vault) return false;
  credstore::ArrayCredential credential;
  if (vault->Read(groupMgmtIP, credential) != ERROR_SUCCESS) return false;
  mUserName = credential.userName;
  mPassword = credential.password;
  return true;
}

void CsharpInterfaceWrapper::PopulateCredential(char* user, char* password) {
  mUserName = user ? user : "";
  if (password) {
    mPassword.assign(password, std::strlen(password));
  } else {
    mPassword.clear();
  }
}
