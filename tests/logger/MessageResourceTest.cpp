// The Windows side of the message table: this executable links the message-table resource,
// and Windows (here Wine) must resolve every id of the table to the table's text, with the
// insertion strings substituted as FormatMessage does.
#include <windows.h>

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "messages/EventText.h"

namespace {

TEST(MessageResource, EveryIdResolvesToTheTableTextWithInsertionStrings) {
  const std::vector<std::wstring> strings{L"first", L"second", L"third", L"fourth", L"fifth"};
  std::array<DWORD_PTR, 5> arguments{};
  for (std::size_t i = 0; i < arguments.size(); ++i) arguments[i] = reinterpret_cast<DWORD_PTR>(strings[i].c_str());

  ASSERT_EQ(messages::MessageTable().size(), 44u);
  for (const messages::MessageEntry& expected : messages::MessageTable()) {
    wchar_t buffer[4096];
    const DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY,
                                        GetModuleHandleW(nullptr), expected.id, 0, buffer, 4096,
                                        reinterpret_cast<va_list*>(arguments.data()));
    ASSERT_NE(length, 0u) << expected.id << ": error " << GetLastError();
    EXPECT_EQ(std::wstring(buffer, length), messages::RenderMessageText(expected.text, strings)) << expected.symbol;
  }
}

}  // namespace
