#include "messages/EventText.h"

#include <algorithm>

namespace messages {

const MessageEntry* FindMessage(DWORD id) {
  const std::span<const MessageEntry> table = MessageTable();
  const auto found = std::find_if(table.begin(), table.end(), [id](const MessageEntry& m) { return m.id == id; });
  return found == table.end() ? nullptr : &*found;
}

std::wstring RenderMessageText(std::wstring_view text, const std::vector<std::wstring>& strings) {
  std::wstring out;
  out.reserve(text.size() + 64);
  std::size_t i = 0;
  while (i < text.size()) {
    const wchar_t c = text[i++];
    if (c != L'%' || i >= text.size()) {
      out.push_back(c);
      continue;
    }
    const wchar_t next = text[i];
    if (next >= L'1' && next <= L'9') {
      const std::size_t start = i - 1;
      std::size_t number = static_cast<std::size_t>(next - L'0');
      ++i;
      if (i < text.size() && text[i] >= L'0' && text[i] <= L'9') number = number * 10 + static_cast<std::size_t>(text[i++] - L'0');
      // An insertion may carry a printf format between '!'s; every string of ours is %s.
      if (i < text.size() && text[i] == L'!') {
        const std::size_t close = text.find(L'!', i + 1);
        if (close != std::wstring_view::npos) i = close + 1;
      }
      if (number <= strings.size()) {
        out += strings[number - 1];
      } else {
        out.append(text.substr(start, i - start));
      }
      continue;
    }
    ++i;
    switch (next) {
      case L'0': return out;  // ends the message without its final line break
      case L'n': out += L"\r\n"; break;
      case L'r': out += L'\r'; break;
      case L't': out += L'\t'; break;
      default: out.push_back(next); break;  // %% %. %! and "% " stand for the character itself
    }
  }
  return out;
}

std::wstring RenderEventText(DWORD id, const std::vector<std::wstring>& strings) {
  if (const MessageEntry* message = FindMessage(id)) return RenderMessageText(message->text, strings);
  std::wstring text = L"The description for event ID " + std::to_wstring(id) + L" cannot be found.";
  for (const std::wstring& s : strings) text += L" '" + s + L"'";
  return text + L"\r\n";
}

}  // namespace messages
