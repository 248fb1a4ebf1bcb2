#pragma once
// Rows of a hex dump for LogBuffer: 16 bytes per row, offset, hex bytes, printable ASCII.
//   0010  56 41 4E 54 4F 52 20 20 00 01 02 03 04 05 06 07  VANTOR  ........
#include <span>
#include <string>
#include <vector>

namespace logger {

std::vector<std::wstring> FormatBufferRows(std::span<const unsigned char> bytes);

}  // namespace logger
