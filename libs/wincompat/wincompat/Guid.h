#pragma once
// GUID and its text forms.
#include <string>

#include "wincompat/WinTypes.h"

#ifdef _WIN32
#include <guiddef.h>
#else
#include <cstring>
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  std::uint8_t Data4[8];
};
using IID = GUID;
using CLSID = GUID;
using REFIID = const IID&;
using REFCLSID = const CLSID&;
inline bool operator==(const GUID& a, const GUID& b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
inline bool IsEqualGUID(const GUID& a, const GUID& b) { return a == b; }
#endif

namespace wincompat {
// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}", lower case, braces included.
std::string GuidToString(const GUID& guid);
std::wstring GuidToWString(const GUID& guid);
// Parses the braced or bare form (either case); false on anything else.
bool GuidFromString(const std::string& text, GUID& out);
// A random (version 4) GUID.
GUID NewGuid();
}  // namespace wincompat
