// The message table generated from the .mc file: the ids administrators' tools know, each once,
// the texts' known slips intact, and the rendering of insertion strings and FormatMessage escapes.
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

#include "messages/EventText.h"

namespace {

TEST(MessageTable, HoldsEveryKnownIdOnceWithItsSlipsIntact) {
  std::set<DWORD> expectedIds{VA_MSG_GENERIC};
  for (DWORD id = 4010; id <= 4420; id += 10) expectedIds.insert(id);
  expectedIds.insert(VA_MSG_ABANDONED_SETS_UNAVAILABLE);
  std::set<DWORD> ids;
  std::set<std::string> symbols;
  for (const messages::MessageEntry& entry : messages::MessageTable()) {
    EXPECT_TRUE(ids.insert(entry.id).second) << entry.id;
    EXPECT_TRUE(symbols.insert(entry.symbol).second) << entry.symbol;
    const std::wstring text = entry.text;
    ASSERT_GE(text.size(), 2u);
    EXPECT_EQ(text.substr(text.size() - 2), L"\r\n") << entry.symbol;
  }
  EXPECT_EQ(ids, expectedIds);

  const auto text = [](DWORD id) { return std::wstring(messages::FindMessage(id)->text); };
  EXPECT_NE(text(VA_MSG_ARRAY_VERSION_UNSUPPORTED).find(L"Install appropriate verison of"), std::wstring::npos);
  EXPECT_EQ(text(VA_MSG_CREDENTIALS_UNREADABLE).rfind(L"Unable able to read", 0), 0u);
  EXPECT_NE(text(VA_MSG_LOCATE_NO_OWNING_GROUP).find(L"could not find an Vantor Group"), std::wstring::npos);
  EXPECT_NE(text(VA_MSG_RESTORE_NOT_IN_PLACE).find(L"Snapshot\u00C6s source lun"), std::wstring::npos);
  // Trailing blanks are part of two texts; an editor that strips them breaks the table.
  EXPECT_EQ(text(VA_MSG_CONTROL_LUN_DISCOVERY_FAILED), L"Failed to discover control LUNs. \r\n");
  EXPECT_EQ(text(VA_MSG_VIRTUAL_VOLUME_UNSUPPORTED).substr(text(VA_MSG_VIRTUAL_VOLUME_UNSUPPORTED).size() - 16),
            L"information.  \r\n");
  EXPECT_EQ(messages::FindMessage(4151), nullptr);
}

TEST(MessageTable, RendersInsertionStringsAndEscapes) {
  // An event's text with its strings is the emulated event log's test.
  struct Row {
    const wchar_t* text;
    std::vector<std::wstring> strings;
    std::wstring expected;
  };
  const std::vector<Row> rows = {
      {L"%1 of %2", {L"a"}, L"a of %2"},           // a missing string stays visible
      {L"%1%1 %10", {L"x"}, L"xx %10"},
      {L"%2!s! and %1", {L"a", L"b"}, L"b and a"},
      {L"100%% done%n", {}, L"100% done\r\n"},
      {L"a%.b%!c%td", {}, L"a.b!c\td"},
      {L"kept%0lost", {}, L"kept"},
      {L"trailing %", {}, L"trailing %"},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(messages::RenderMessageText(row.text, row.strings), row.expected) << testing::PrintToString(std::wstring(row.text));
  }
}

}  // namespace
