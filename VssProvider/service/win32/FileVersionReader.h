#pragma once
// The fixed file version of an executable or DLL as "1.2.3.4"; empty when the file has no
// version resource.
#include <string>

namespace service {

std::wstring ReadFileVersionText(const std::wstring& path);

}  // namespace service
