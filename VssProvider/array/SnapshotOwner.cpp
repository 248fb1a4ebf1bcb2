#include "array/SnapshotOwner.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdio>

#include "logger/FileLog.h"
#include "platform/ServiceAccount.h"
#include "wincompat/VssTypes.h"
#include "wincompat/WideString.h"

namespace Vantor {
namespace {

static constexpr const wchar_t* kLogSource = L"SnapshotOwner";

constexpr std::string_view kHostField = "host=";
constexpr std::string_view kContextField = ";context=0x";
constexpr std::size_t kMaxHostLength = 63;
constexpr std::size_t kContextDigits = 8;

bool IsHostName(std::string_view host) {
  if (host.empty() || host.size() > kMaxHostLength) return false;
  return std::all_of(host.begin(), host.end(), [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_' || c == '.';
  });
}

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

}  // namespace

bool SnapshotOwner::IsTransportable() const { return (context & VSS_VOLSNAP_ATTR_TRANSPORTABLE) != 0; }

bool SnapshotOwner::IsHost(std::string_view otherHost) const {
  return !host.empty() && host.size() == otherHost.size() &&
         std::equal(host.begin(), host.end(), otherHost.begin(), [](char a, char b) { return Lower(a) == Lower(b); });
}

std::string OwnerTagText(std::string_view host, std::uint32_t context) {
  if (!IsHostName(host)) return {};
  char digits[kContextDigits + 1];
  std::snprintf(digits, sizeof digits, "%08lx", static_cast<unsigned long>(context));
  return std::string(kHostField) + std::string(host) + std::string(kContextField) + digits;
}

std::optional<SnapshotOwner> ParseOwnerTag(std::string_view text) {
  if (text.substr(0, kHostField.size()) != kHostField) return std::nullopt;
  text.remove_prefix(kHostField.size());
  const std::size_t end = text.find(';');
  if (end == std::string_view::npos || !IsHostName(text.substr(0, end))) return std::nullopt;
  SnapshotOwner owner;
  owner.host = std::string(text.substr(0, end));
  text.remove_prefix(end);
  if (text.substr(0, kContextField.size()) != kContextField) return std::nullopt;
  text.remove_prefix(kContextField.size());
  const char* const last = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), last, owner.context, 16);
  if (text.size() != kContextDigits || error != std::errc() || stop != last) return std::nullopt;
  return owner;
}

std::string ThisHostName() {
  std::wstring name;
  const DWORD status = platform::ServiceAccountSlot::Installed()
                           ? platform::TheServiceAccount().LocalComputerName(name)
                           : static_cast<DWORD>(ERROR_NOT_SUPPORTED);
  if (status != ERROR_SUCCESS || name.empty()) {
    VA_LOG(MSG_WARNING, L"This computer's name cannot be read (error %lu); snapshots made now name no owner.",
           static_cast<unsigned long>(status));
    return {};
  }
  return wincompat::ToNarrow(name);
}

}  // namespace Vantor
