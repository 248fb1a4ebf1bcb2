#pragma once
// The test build of VantorVssProvider.exe: the same service over an emulated host's storage
// stack. Under Wine there is no iSCSI initiator, multipath driver or disk with SCSI
// identifiers, so the disks, the DSM record and the iSCSI sessions come from the array
// simulator's host channel; the registry, the service manager, the event log, COM and DPAPI
// stay Wine's own.
#include <filesystem>

namespace outofprocess {

// The file beside the executable that names the emulated host, as the tool's host.json does:
//   {"initiator": "iqn...", "control": "http://127.0.0.1:PORT"}
inline constexpr const wchar_t* kEmulatedHostFile = L"emulated-host.json";

// Installs every seam. Throws std::runtime_error when the host file is missing or malformed:
// a test service must never fall back to a host it was not told about.
void InstallEmulatedServiceSeams(const std::filesystem::path& executableDirectory);

}  // namespace outofprocess
