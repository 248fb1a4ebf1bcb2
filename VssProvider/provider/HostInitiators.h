#pragma once
// Which volumes are this host's: those whose access-control records name one of this host's
// initiators. A restore takes a volume offline for every host that uses it and replaces its
// data, so the provider restores only volumes that are presented to this host.
#include <string>
#include <vector>

#include "array/ArrayRecords.h"

namespace provider {

// This host's Fibre Channel port names and its iSCSI initiator name, as the HBA API and the
// initiator service report them; a name that cannot be read is left out with a trace line.
std::vector<std::string> ThisHostInitiators();

// True when one of the volume's access-control records names one of `initiators`. Names
// compare without regard to case, and Fibre Channel port names also without their colons.
bool IsPresentedTo(const Vantor::VolumeRecord& volume, const std::vector<std::string>& initiators);

}  // namespace provider
