#include "logger/BufferDump.h"

#include <algorithm>

namespace logger {

std::vector<std::wstring> FormatBufferRows(std::span<const unsigned char> bytes) {
  constexpr std::size_t kRow = 16;
  constexpr wchar_t kHex[] = L"0123456789ABCDEF";
  std::vector<std::wstring> rows;
  rows.reserve((bytes.size() + kRow - 1) / kRow);
  for (std::size_t offset = 0; offset < bytes.size(); offset += kRow) {
    const std::span<const unsigned char> row = bytes.subspan(offset, std::min(kRow, bytes.size() - offset));
    std::wstring text;
    for (int shift = 12; shift >= 0; shift -= 4) text.push_back(kHex[(offset >> shift) & 0xF]);
    text += L' ';
    for (std::size_t i = 0; i < kRow; ++i) {
      text += L' ';
      if (i < row.size()) {
        text.push_back(kHex[row[i] >> 4]);
        text.push_back(kHex[row[i] & 0xF]);
      } else {
        text += L"  ";
      }
    }
    text += L"  ";
    for (const unsigned char b : row) text.push_back(b >= 0x20 && b < 0x7F ? static_cast<wchar_t>(b) : L'.');
    rows.push_back(std::move(text));
  }
  return rows;
}

}  // namespace logger
