#pragma once
// Texts the provider derives from VSS values: the snapshot context and the snapshot-set id.
#include <string>

#include "wincompat/VssTypes.h"

namespace provider {

// "Context=0x%x. AutoRecovery=%d, TxFRecovery=%d, Transportable=%d", at most 255 characters.
std::string ContextText(LONG context);

// "{%.8x-%.4x-%.4x-%.2x%.2x-%.2x%.2x%.2x%.2x%.2x%.2x}", lower case with braces; this text is
// the key of every snapshot set the provider keeps.
std::string SnapshotSetIdText(const VSS_ID& id);

}  // namespace provider
