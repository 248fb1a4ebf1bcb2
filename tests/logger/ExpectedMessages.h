#pragma once
// The event texts as administrators and their tools know them, typed out independently of the
// message file (slips and trailing blanks included): a changed letter there must fail a test.
#include <cstddef>

#include "wincompat/WinTypes.h"

namespace messagetest {

struct ExpectedMessage {
  DWORD id;
  const wchar_t* text;  // without the line end the message file adds
};

inline constexpr ExpectedMessage kExpectedMessages[] = {
    {0, L"%1"},
    {4010, L"Failed to get volume information from the array. Reason: %1"},
    {4020, L"Failed to create a snapshot. Reason: %1"},
    {4030, L"Failed to create a clone. Reason: %1"},
    {4040, L"Failed to delete a snapshot. Reason: %1"},
    {4050, L"Failed to delete a clone. Reason: %1"},
    {4060, L"Failed to login ISCSI target. Reason: %1"},
    {4070, L"Failed to logout ISCSI target. Reason: %1"},
    {4080, L"Failed to discover iSCSI targets. Reason: %1"},
    {4090, L"Unexpected snapshot set ID during EndPrepareSnapshots() method call."},
    {4100,
     L"EndPrepareSnapshots method: failed to find LUN s/n %1 on connected arrays. Make sure that"
     L" the Vantor array version is compatible with this version of Vantor Windows Toolkit."},
    {4110, L"GetTargetLuns method: failed to find s/n %1 in the list of LUNs of which the snapshot is being taken."},
    {4120, L"LocateLuns method: could not find an Vantor Group which owns the LUN with s/n %1"},
    {4130, L"OnLunEmpty method: expecting a clone but got a regular volume s/n %1"},
    {4140, L"Could not find an array which owns the LUN with s/n %1"},
    {4150, L"VSS provider was loaded."},
    {4160, L"VSS provider was unloaded."},
    {4170,
     L"Vantor VSS provider is not compatible with the current version of the Vantor array"
     L" software(%1). Install appropriate verison of the Vantor VSS provider."},
    {4180, L"Failed to discover control LUNs. "},
    {4190, L"LUN %1 is supported."},
    {4200, L"Adding LUN %1 to snapshot set %2."},
    {4210, L"Failed to get information from array. Endpoint: %1."},
    {4220,
     L"No control LUNs were found. Make sure that the control LUN is discovered by Microsoft"
     L" iSCSI initiator and the array version is compatible with this version of QTK."},
    {4230, L"Aborting snapshot set %1."},
    {4240, L"Successfully deleted snapshot %1 of volume %2."},
    {4250, L"Creating snapshot for %1."},
    {4260, L"Committed snapshot set in %1 milliseconds."},
    {4270, L"Failed to online snapshot %1 of volume %2. Reason: %3"},
    {4280, L"Successfully imported snapshot %1."},
    {4290, L"Failed to offline snapshot %1 of volume %2. Reason: %3"},
    {4300,
     L"No co-relation found between snapshot lun %1 and volume to be restored %2."
     L" Snapshot\u00C6s source lun should match with the volume to be restored. Vantor do not"
     L" support restoring snapshot to another volume. Vantor only supports in place restore."},
    {4310, L"Failed to Offline volume %1. Reason : %2."},
    {4320, L"Failed to Online volume %1. Reason : %2"},
    {4330, L"Failed to Restore volume %1 from snapshot %2. Reason : %3."},
    {4340,
     L"Snapshot lun %1 and volume to be restored %2 belong to different Vantor Groups. This"
     L" operation is not supported."},
    {4350,
     L"Serial number %1 is a Vantor virtual volume and is supported. Vantor serial number is %2,"
     L" volume name is %3."},
    {4360, L"Restore operation not supported on Vvols."},
    {4370,
     L"VMware volume %1 is not supported. If this is a virtual volume (VVOL) residing on a"
     L" Vantor group, make sure that the Vantor group management IP is correctly configured on"
     L" the host. You can use Get-QTKConfiguration cmdlet to verify this information.  "},
    {4380,
     L"Unable able to read Group Management Credentials for array IP =%1.Please reset the"
     L" credentials using 'Set-QTKConfiguration'."},
    {4390,
     L"No array group is configured on this Host. Group management credentials must be set using"
     L" Set-QTKConfiguration."},
    {4400,
     L"No group Management IP found to be registered for the LUN s/n =%1. Use"
     L" Set-QTKConfiguration cmdlet to set group management credential."},
    {4410,
     L"Failed to authenticate array user credentials for array group =%1.Please ensure the"
     L" username and password provided is valid and has not expired.Please run"
     L" 'Set-QTKConfiguration' cmdlet to set or update group management credential again."},
    {4420,
     L"The certificate of array group management address %1 was pinned at the provider's first contact with it:"
     L" SHA-256 %2. The array gets requests only while it presents this certificate; after a planned certificate"
     L" change run 'vantor-vss config trust %1'."},
    {4460,
     L"The journal of abandoned snapshot sets under %1 cannot be %2 (error %3). Snapshots that an array made after a"
     L" snapshot set was given up may be left on it; 'vantor-vss prune' finds and removes them."},
};
inline constexpr std::size_t kExpectedMessageCount = sizeof(kExpectedMessages) / sizeof(kExpectedMessages[0]);

}  // namespace messagetest
