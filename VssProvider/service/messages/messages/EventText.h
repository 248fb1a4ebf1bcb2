#pragma once
// The provider's event messages as data: the table generated from VantorVssMessages.mc and the
// rendering of one event's text from its insertion strings, the way the event viewer shows it
// (FormatMessage rules). The emulated event log and the tests use it; on Windows the same
// texts are in the executable's message-table resource.
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "messages/VantorVssMessages.h"
#include "wincompat/WinTypes.h"

namespace messages {

struct MessageEntry {
  DWORD id;
  const char* symbol;
  const wchar_t* text;  // ends in CR LF, with %1..%5 where the insertion strings go
};

// Every message, in the order of the .mc file.
std::span<const MessageEntry> MessageTable();
// The message with `id`, or null.
const MessageEntry* FindMessage(DWORD id);

// The text of event `id` with %1..%99 replaced by `strings` and the FormatMessage escapes
// (%%, %n, %r, %t, %., %!, %0) applied. An insertion without a string stays as written; an
// unknown id yields a text that says so and lists the strings.
std::wstring RenderEventText(DWORD id, const std::vector<std::wstring>& strings);
std::wstring RenderMessageText(std::wstring_view text, const std::vector<std::wstring>& strings);

}  // namespace messages
