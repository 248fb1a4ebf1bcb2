#include "service/FileVersionText.h"

namespace service {

std::wstring FileVersionText(const FixedFileVersion& version) {
  if (version.signature != kFixedFileInfoSignature) return {};
  const auto high = [](DWORD word) { return std::to_wstring(word >> 16); };
  const auto low = [](DWORD word) { return std::to_wstring(word & 0xFFFFu); };
  return high(version.fileVersionMS) + L"." + low(version.fileVersionMS) + L"." + high(version.fileVersionLS) + L"." +
         low(version.fileVersionLS);
}

std::wstring VersionTextOrDefault(const std::wstring& text) { return text.empty() ? kDefaultVersionText : text; }

}  // namespace service
