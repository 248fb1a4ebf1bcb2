#pragma once
// The provider's door to the host's credential store: fetch the credential of one group
// management address into the instance, then read it. There is one instance per thread, so
// that threads that each fetch a credential never share one holding a password; the password
// is held there only protected, and ForgetCredential drops it once it has been read.
#include <string>

#include "common/ProtectedSecret.h"

class CsharpInterfaceWrapper {
 public:
  // The calling thread's instance.
  static CsharpInterfaceWrapper* GetCsharpInterfaceWrapperInstance();

  // Fetches the credential stored for `groupMgmtIP`; false (and both strings empty) when there
  // is none or the store cannot be read.
  bool W_GetCredential(const char* groupMgmtIP);
  // The fetched values; empty when nothing was fetched. The password stays protected.
  const char* GetArrayUsername() const { return mUserName.c_str(); }
  const common::ProtectedSecret& GetArrayPassword() const { return mPassword; }
  void ForgetCredential();
  // Sets the fetched values directly (the store's own population path).
  void PopulateCredential(char* user, char* password);

  CsharpInterfaceWrapper(const CsharpInterfaceWrapper&) = delete;
  CsharpInterfaceWrapper& operator=(const CsharpInterfaceWrapper&) = delete;

 private:
  CsharpInterfaceWrapper() = default;

  std::string mUserName;
  common::ProtectedSecret mPassword;
};
