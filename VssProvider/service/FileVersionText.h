#pragma once
// The provider's version text for the VSS registration, made from the executable's fixed file
// version ("1.2.3.4"); "1.0.0.0" when the executable carries no usable version.
#include <string>

#include "wincompat/WinTypes.h"

namespace service {

inline constexpr DWORD kFixedFileInfoSignature = 0xFEEF04BDu;
inline constexpr const wchar_t* kDefaultVersionText = L"1.0.0.0";

// The fields of VS_FIXEDFILEINFO that the text is made of.
struct FixedFileVersion {
  DWORD signature = 0;
  DWORD fileVersionMS = 0;
  DWORD fileVersionLS = 0;
};

// "%d.%d.%d.%d" of the high and low halves of both words; empty for a wrong signature.
std::wstring FileVersionText(const FixedFileVersion& version);

std::wstring VersionTextOrDefault(const std::wstring& text);

}  // namespace service
