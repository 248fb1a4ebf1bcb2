#pragma once
// The Fibre Channel seam: the port names (WWPNs) of this host's Fibre Channel adapters, which
// array access lists name for hosts that reach a volume over Fibre Channel. Win32 asks the
// Fibre Channel HBA API (hbaapi.dll); the emulated host has no Fibre Channel and installs
// none, and a process without the seam has no ports.
#include <string>
#include <vector>

#include "platform/SeamSlot.h"

namespace platform {

class FibreChannelPorts {
 public:
  virtual ~FibreChannelPorts() = default;
  // 16 lower-case hex digits per port; empty when the host has no adapter or the API is
  // missing. Never throws.
  virtual std::vector<std::string> PortNames() = 0;
};

using FibreChannelPortsSlot = SeamSlot<FibreChannelPorts>;

}  // namespace platform
