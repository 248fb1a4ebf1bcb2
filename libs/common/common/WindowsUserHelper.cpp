#include "common/WindowsUserHelper.h"

#include <algorithm>
#include <cwctype>

#include "platform/ServiceAccount.h"

namespace {

constexpr const wchar_t* kNtAuthority = L"NT AUTHORITY";
constexpr const wchar_t* kLocalDomain = L".";

std::wstring Upper(std::wstring text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](wchar_t c) { return static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c))); });
  return text;
}

std::wstring Trim(const std::wstring& text) {
  const auto first = text.find_first_not_of(L" \t");
  if (first == std::wstring::npos) return {};
  const auto last = text.find_last_not_of(L" \t");
  return text.substr(first, last - first + 1);
}

struct Account {
  std::wstring domain;  // upper case; "." for this computer
  std::wstring name;    // upper case
};

// The built-in accounts have several spellings that all name one security principal.
bool WellKnown(const std::wstring& name, Account& account) {
  static const struct {
    const wchar_t* spelling;
    const wchar_t* canonical;
  } kAliases[] = {
      {L"LOCALSYSTEM", L"SYSTEM"},        {L"SYSTEM", L"SYSTEM"},
      {L"LOCALSERVICE", L"LOCAL SERVICE"}, {L"LOCAL SERVICE", L"LOCAL SERVICE"},
      {L"NETWORKSERVICE", L"NETWORK SERVICE"}, {L"NETWORK SERVICE", L"NETWORK SERVICE"},
  };
  for (const auto& alias : kAliases) {
    if (name == alias.spelling) {
      account = {kNtAuthority, alias.canonical};
      return true;
    }
  }
  return false;
}

Account Parse(const std::wstring& raw) {
  const std::wstring text = Upper(Trim(raw));
  Account account;
  if (const auto slash = text.find(L'\\'); slash != std::wstring::npos) {
    account.domain = text.substr(0, slash);
    account.name = text.substr(slash + 1);
  } else if (const auto at = text.find(L'@'); at != std::wstring::npos) {
    // The NetBIOS name of a domain is, by default, the first label of its DNS name.
    const std::wstring dns = text.substr(at + 1);
    account.domain = dns.substr(0, dns.find(L'.'));
    account.name = text.substr(0, at);
  } else {
    account.domain = kLocalDomain;
    account.name = text;
  }
  Account builtIn;
  if ((account.domain == kLocalDomain || account.domain == kNtAuthority) && WellKnown(account.name, builtIn)) {
    return builtIn;
  }
  return account;
}

bool IsThisComputer(const std::wstring& domain) {
  if (domain == kLocalDomain) return true;
  if (!platform::ServiceAccountSlot::Installed()) return false;
  std::wstring computer;
  if (platform::TheServiceAccount().LocalComputerName(computer) != ERROR_SUCCESS || computer.empty()) return false;
  return Upper(computer) == domain;
}

}  // namespace

DWORD WindowsUserHelper::GetWindowsServiceUser(const std::wstring& serviceName, std::wstring& user) {
  user.clear();
  if (!platform::ServiceAccountSlot::Installed()) return ERROR_NOT_SUPPORTED;
  return platform::TheServiceAccount().GetServiceUser(serviceName, user);
}

bool WindowsUserHelper::IsLocalSystem(const std::wstring& user) {
  const Account account = Parse(user);
  return account.domain == kNtAuthority && account.name == L"SYSTEM";
}

bool WindowsUserHelper::IsWindowsUsersEqual(const std::wstring& a, const std::wstring& b) {
  const Account first = Parse(a);
  const Account second = Parse(b);
  if (first.name.empty() || second.name.empty() || first.name != second.name) return false;
  if (first.domain == second.domain) return true;
  // ".\alice" and "HOST\alice" are one account only on HOST.
  return (first.domain == kLocalDomain && IsThisComputer(second.domain)) ||
         (second.domain == kLocalDomain && IsThisComputer(first.domain));
}
