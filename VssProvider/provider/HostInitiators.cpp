#include "provider/HostInitiators.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>

#include "logger/FileLog.h"
#include "platform/FibreChannelPorts.h"
#include "platform/IscsiInitiator.h"
#include "wincompat/WideString.h"

namespace provider {
namespace {

constexpr const wchar_t* kLogSource = L"VaVssHwProvider";

std::string Canonical(const std::string& name) {
  std::string out;
  for (const char c : name) {
    if (c != ':') out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
  }
  return out;
}

}  // namespace

std::vector<std::string> ThisHostInitiators() {
  std::vector<std::string> initiators;
  if (platform::FibreChannelPortsSlot::Installed()) initiators = platform::FibreChannelPortsSlot::Get().PortNames();
  std::array<wchar_t, platform::MAX_ISCSI_NAME_LEN + 1> name{};
  platform::ISDSC_STATUS status = 0;
  try {
    status = platform::TheIscsiInitiator().GetInitiatorNodeNameW(name.data());
  } catch (const std::exception& e) {
    VA_LOG(MSG_ERROR, L"This host's iSCSI initiator name cannot be read: %S", std::string(e.what()));
    return initiators;
  }
  name.back() = L'\0';
  const std::string text = wincompat::ToNarrow(name.data());
  if (status != 0 || text.empty()) {
    VA_LOG(MSG_WARNING, L"This host's iSCSI initiator name cannot be read (status 0x%08X)", static_cast<unsigned>(status));
    return initiators;
  }
  initiators.push_back(text);
  return initiators;
}

bool IsPresentedTo(const Vantor::VolumeRecord& volume, const std::vector<std::string>& initiators) {
  return std::any_of(volume.mAccessInitiators.begin(), volume.mAccessInitiators.end(), [&](const std::string& named) {
    return !named.empty() && std::any_of(initiators.begin(), initiators.end(), [&](const std::string& mine) {
      return Canonical(mine) == Canonical(named);
    });
  });
}

}  // namespace provider
