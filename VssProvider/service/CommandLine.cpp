#include "service/CommandLine.h"

#include <array>

namespace service {
namespace {

struct Switch {
  std::wstring_view word;
  ServiceCommand command;
};

// Checked in this order for every word; a word names at most one switch.
constexpr std::array<Switch, 5> kSwitches{{
    {L"UnregServer", ServiceCommand::UnregServer},
    {L"RegServer", ServiceCommand::RegServer},
    {L"UnregServerPerUser", ServiceCommand::UnregServerPerUser},
    {L"RegServerPerUser", ServiceCommand::RegServerPerUser},
    {L"Service", ServiceCommand::Service},
}};

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

wchar_t FoldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? static_cast<wchar_t>(c - L'A' + L'a') : c; }

bool EqualsIgnoringCase(std::wstring_view a, std::wstring_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (FoldAscii(a[i]) != FoldAscii(b[i])) return false;
  }
  return true;
}

}  // namespace

ServiceCommand ParseServiceCommandLine(std::wstring_view arguments) {
  for (std::size_t pos = 0; pos < arguments.size(); ++pos) {
    if (arguments[pos] != L'-' && arguments[pos] != L'/') continue;
    std::size_t end = pos + 1;
    while (end < arguments.size() && !IsBlank(arguments[end])) ++end;
    const std::wstring_view word = arguments.substr(pos + 1, end - pos - 1);
    for (const Switch& s : kSwitches) {
      if (EqualsIgnoringCase(word, s.word)) return s.command;
    }
  }
  return ServiceCommand::Run;
}

const wchar_t* ServiceCommandName(ServiceCommand command) {
  for (const Switch& s : kSwitches) {
    if (s.command == command) return s.word.data();
  }
  return L"Run";
}

}  // namespace service
