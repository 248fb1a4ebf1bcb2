#pragma once
// Conversions between narrow UTF-8 strings (array-side data) and wide strings (Windows names).
// wchar_t is UTF-16 on Windows and UTF-32 elsewhere; both are handled. Invalid input becomes
// U+FFFD instead of failing, because these feed log lines and never decide behaviour.
#include <string>
#include <string_view>

namespace wincompat {
std::wstring ToWide(std::string_view utf8);
// The same, appended to `out`.
void AppendWide(std::wstring& out, std::string_view utf8);
std::string ToNarrow(std::wstring_view wide);
}  // namespace wincompat
