#pragma once
// The host's Fibre Channel port names through the HBA API (hbaapi.dll), loaded on first use:
// hosts without Fibre Channel, and Wine, may lack it, and then there are no ports.
#include "platform/FibreChannelPorts.h"

namespace platform {

class Win32FibreChannelPorts final : public FibreChannelPorts {
 public:
  std::vector<std::string> PortNames() override;
};

}  // namespace platform
