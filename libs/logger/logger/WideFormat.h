#pragma once
// printf-style formatting of trace messages with the Windows wide-format rules on every
// platform: %s (and %ls, %ws) takes a wide string, %S (and %hs) a narrow one, int and long are
// 32 bits wide, %p prints 16 upper-case hex digits. glibc's swprintf reads %s as narrow, so
// formats are never handed to it.
//
// The arguments carry their types, so a format that does not match them cannot read past them:
// a missing argument prints "<missing arg>", one of the wrong kind "<bad arg: value>".
#include <span>
#include <string>
#include <string_view>

#include "logger/LogArg.h"

namespace logger {

std::wstring FormatWide(std::wstring_view format, std::span<const LogArg> args);

}  // namespace logger
