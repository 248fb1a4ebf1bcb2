#include "common/emulated/EmulatedHostSecurity.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <stdexcept>

#include "common/WindowsUserHelper.h"
#include "wincompat/WideString.h"

namespace common {

std::unique_ptr<EmulatedHostSecurity> EmulatedHostSecurity::FromHostFile(const std::filesystem::path& hostJson) {
  std::ifstream in(hostJson);
  const nlohmann::json host = nlohmann::json::parse(in, nullptr, /*allow_exceptions=*/false);
  bool elevated = true;
  std::vector<std::wstring> administrators;
  if (!host.is_object()) return std::make_unique<EmulatedHostSecurity>(elevated, administrators);
  if (const auto field = host.find("elevated"); field != host.end()) {
    if (!field->is_boolean()) throw std::runtime_error(hostJson.string() + ": \"elevated\" must be true or false");
    elevated = field->get<bool>();
  }
  if (const auto field = host.find("administrators"); field != host.end()) {
    if (!field->is_array()) throw std::runtime_error(hostJson.string() + ": \"administrators\" must be a list of accounts");
    for (const auto& account : *field) {
      if (!account.is_string()) throw std::runtime_error(hostJson.string() + ": \"administrators\" must hold account names");
      administrators.push_back(wincompat::ToWide(account.get<std::string>()));
    }
  }
  return std::make_unique<EmulatedHostSecurity>(elevated, std::move(administrators));
}

AccessVerdict EmulatedHostSecurity::CanAccountReadKey(const std::wstring& /*subKey*/, const std::wstring& account) {
  const std::string name = wincompat::ToNarrow(account);
  if (WindowsUserHelper::IsLocalSystem(account)) return {Access::Granted, name + " is SYSTEM, which the key admits"};
  for (const auto& administrator : mAdministrators) {
    if (WindowsUserHelper::IsWindowsUsersEqual(administrator, account))
      return {Access::Granted, name + " is a member of Administrators, which the key admits"};
  }
  return {Access::Denied, "the key admits SYSTEM and Administrators only, and " + name +
                              " is neither: run the service as LocalSystem"};
}

}  // namespace common
