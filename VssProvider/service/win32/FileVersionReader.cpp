#include "service/win32/FileVersionReader.h"

#include <windows.h>

#include <vector>

#include "service/FileVersionText.h"

namespace service {

std::wstring ReadFileVersionText(const std::wstring& path) {
  DWORD handle = 0;
  const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &handle);
  if (size == 0) return {};
  std::vector<BYTE> block(size);
  if (!GetFileVersionInfoW(path.c_str(), 0, size, block.data())) return {};
  void* info = nullptr;
  UINT infoSize = 0;
  if (!VerQueryValueW(block.data(), L"\\", &info, &infoSize) || info == nullptr ||
      infoSize < sizeof(VS_FIXEDFILEINFO)) {
    return {};
  }
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(info);
  return FileVersionText({fixed->dwSignature, fixed->dwFileVersionMS, fixed->dwFileVersionLS});
}

}  // namespace service
