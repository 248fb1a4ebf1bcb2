#pragma once
// The password cipher of the credential profiles. A profile's "Password" value is a blob made
// from the password as UTF-16LE text (what the configuration tooling hands to the host's data
// protection); DecryptBuffer turns it back into a zero-terminated wide string.
#include <string>
#include <vector>

#include "wincompat/WinTypes.h"

class EncryptDecrypt {
 public:
  EncryptDecrypt() = default;

  // 0 on success: `out` then holds the clear text as a zero-terminated wchar_t string and
  // *outLength its size in bytes with the terminator. `*outLength` is the capacity of `out` on
  // entry; a clear text that does not fit fails with ERROR_INSUFFICIENT_BUFFER (122) and
  // writes nothing. Other failures: the data-protection backend's code, ERROR_INVALID_PARAMETER
  // (87) for null arguments, ERROR_NOT_SUPPORTED (50) when no backend is installed.
  DWORD DecryptBuffer(unsigned char* in, unsigned long inLength, unsigned char* out, unsigned long* outLength);

  // The inverse, for the tool that writes profiles and for tests.
  DWORD EncryptBuffer(const std::wstring& clearText, std::vector<unsigned char>& out);
};
