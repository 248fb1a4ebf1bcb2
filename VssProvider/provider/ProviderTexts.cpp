#include "provider/ProviderTexts.h"

#include <cstdio>

#include "wincompat/Guid.h"

namespace provider {

std::string ContextText(LONG context) {
  const auto bits = static_cast<unsigned long>(static_cast<ULONG>(context));
  const int autoRecovery = (bits & VSS_VOLSNAP_ATTR_AUTORECOVER) ? 1 : 0;
  const int txfRecovery = (bits & VSS_VOLSNAP_ATTR_TXF_RECOVERY) ? 1 : 0;
  const int transportable = (bits & VSS_VOLSNAP_ATTR_TRANSPORTABLE) ? 1 : 0;
  char text[256];
  std::snprintf(text, sizeof text, "Context=0x%lx. AutoRecovery=%d, TxFRecovery=%d, Transportable=%d", bits,
                autoRecovery, txfRecovery, transportable);
  return text;
}

std::string SnapshotSetIdText(const VSS_ID& id) { return wincompat::GuidToString(id); }

}  // namespace provider
