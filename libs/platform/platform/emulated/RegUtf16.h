#pragma once
// Registry text is stored as UTF-16LE, whatever the width of wchar_t: 2 bytes on Windows,
// 4 natively. These turn wide strings into the stored bytes and back.
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "wincompat/WinTypes.h"

namespace platform::regfile {

// The UTF-16LE bytes of `text`, without a terminator. Characters that UTF-16 cannot carry
// (surrogate code points, values above U+10FFFF) become U+FFFD.
std::vector<BYTE> EncodeUtf16Le(std::wstring_view text);

// The text of UTF-16LE bytes, embedded zeros included. An odd last byte is read as a unit whose
// high byte is zero; unpaired surrogates become U+FFFD.
std::wstring DecodeUtf16Le(std::span<const BYTE> bytes);

// Whether `bytes` are complete UTF-16LE units without unpaired surrogates, so that decoding and
// encoding again gives the same bytes.
bool IsWellFormedUtf16Le(std::span<const BYTE> bytes);

}  // namespace platform::regfile
