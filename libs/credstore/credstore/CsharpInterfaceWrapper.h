#pragma once
// The provider's door to the host's credential store: fetch the credential of one group
// management address into the process's single instance, then read its two strings. Used
// from the discovery pass only, which runs under the provider's lock; the returned pointers
// stay valid until the next fetch.
#include <string>

#include "common/SecureBuffer.h"

class CsharpInterfaceWrapper {
 public:
  static CsharpInterfaceWrapper* GetCsharpInterfaceWrapperInstance();

  // Fetches the credential stored for `groupMgmtIP`; false (and both strings empty) when there
  // is none or the store cannot be read.
  bool W_GetCredential(const char* groupMgmtIP);
  // The fetched values as zero-terminated strings; empty when nothing was fetched.
  const char* GetArrayUsername() const { return mUserName.c_str(); }
  const char* GetArrayPassword() const { return mPassword.c_str(); }
  // Sets the fetched values directly (the store's own population path).
  void PopulateCredential(char* user, char* password);

  CsharpInterfaceWrapper(const CsharpInterfaceWrapper&) = delete;
  CsharpInterfaceWrapper& operator=(const CsharpInterfaceWrapper&) = delete;

 private:
  CsharpInterfaceWrapper() = default;

  std::string mUserName;
  common::SecureString mPassword;
};
