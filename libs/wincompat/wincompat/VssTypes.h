#pragma once
// VDS LUN records, VSS constants and the hardware provider interfaces. The Windows build uses
// the SDK's <vss.h>, <vsprov.h> and <vdslun.h>; other builds these declarations, which keep
// the SDK's layouts, values, method order and interface ids.
#include "wincompat/Com.h"

#ifdef _WIN32
#include <vdslun.h>
#include <vss.h>
#include <vsprov.h>
#include <vsserror.h>
#else

using VSS_ID = GUID;
using VSS_PWSZ = wchar_t*;

enum VDS_STORAGE_BUS_TYPE {
  VDSBusTypeUnknown = 0,
  VDSBusTypeScsi = 0x1,
  VDSBusTypeAtapi = 0x2,
  VDSBusTypeAta = 0x3,
  VDSBusType1394 = 0x4,
  VDSBusTypeSsa = 0x5,
  VDSBusTypeFibre = 0x6,
  VDSBusTypeUsb = 0x7,
  VDSBusTypeRAID = 0x8,
  VDSBusTypeiScsi = 0x9,
  VDSBusTypeSas = 0xa,
  VDSBusTypeSata = 0xb,
  VDSBusTypeSd = 0xc,
  VDSBusTypeMmc = 0xd,
  VDSBusTypeMax = 0xe,
  VDSBusTypeVirtual = 0xe,
  VDSBusTypeFileBackedVirtual = 0xf,
  VDSBusTypeSpaces = 0x10,
  VDSBusTypeNVMe = 0x11,
  VDSBusTypeMaxReserved = 0x7f
};

enum VDS_STORAGE_IDENTIFIER_CODE_SET {
  VDSStorageIdCodeSetReserved = 0,
  VDSStorageIdCodeSetBinary = 1,
  VDSStorageIdCodeSetAscii = 2,
  VDSStorageIdCodeSetUtf8 = 3
};

enum VDS_STORAGE_IDENTIFIER_TYPE {
  VDSStorageIdTypeVendorSpecific = 0,
  VDSStorageIdTypeVendorId = 1,
  VDSStorageIdTypeEUI64 = 2,
  VDSStorageIdTypeFCPHName = 3,
  VDSStorageIdTypePortRelative = 4,
  VDSStorageIdTypeTargetPortGroup = 5,
  VDSStorageIdTypeLogicalUnitGroup = 6,
  VDSStorageIdTypeMD5LogicalUnitIdentifier = 7,
  VDSStorageIdTypeScsiNameString = 8
};

enum VDS_INTERCONNECT_ADDRESS_TYPE {
  VDS_IA_UNKNOWN = 0,
  VDS_IA_FCFS = 1,
  VDS_IA_FCPH = 2,
  VDS_IA_FCPH3 = 3,
  VDS_IA_MAC = 4,
  VDS_IA_SCSI = 5
};

struct VDS_STORAGE_IDENTIFIER {
  VDS_STORAGE_IDENTIFIER_CODE_SET m_CodeSet;
  VDS_STORAGE_IDENTIFIER_TYPE m_Type;
  ULONG m_cbIdentifier;
  BYTE* m_rgbIdentifier;
};

struct VDS_STORAGE_DEVICE_ID_DESCRIPTOR {
  ULONG m_version;
  ULONG m_cIdentifiers;
  VDS_STORAGE_IDENTIFIER* m_rgIdentifiers;
};

struct VDS_INTERCONNECT {
  VDS_INTERCONNECT_ADDRESS_TYPE m_addressType;
  ULONG m_cbPort;
  BYTE* m_pbPort;
  ULONG m_cbAddress;
  BYTE* m_pbAddress;
};

struct VDS_LUN_INFORMATION {
  ULONG m_version;
  BYTE m_DeviceType;
  BYTE m_DeviceTypeModifier;
  WINBOOL m_bCommandQueueing;
  VDS_STORAGE_BUS_TYPE m_BusType;
  char* m_szVendorId;
  char* m_szProductId;
  char* m_szProductRevision;
  char* m_szSerialNumber;
  GUID m_diskSignature;
  VDS_STORAGE_DEVICE_ID_DESCRIPTOR m_deviceIdDescriptor;
  ULONG m_cInterconnects;
  VDS_INTERCONNECT* m_rgInterconnects;
};

constexpr ULONG VER_VDS_LUN_INFORMATION = 1;

enum VSS_VOLUME_SNAPSHOT_ATTRIBUTES {
  VSS_VOLSNAP_ATTR_PERSISTENT = 0x1,
  VSS_VOLSNAP_ATTR_NO_AUTORECOVERY = 0x2,
  VSS_VOLSNAP_ATTR_CLIENT_ACCESSIBLE = 0x4,
  VSS_VOLSNAP_ATTR_NO_AUTO_RELEASE = 0x8,
  VSS_VOLSNAP_ATTR_NO_WRITERS = 0x10,
  VSS_VOLSNAP_ATTR_TRANSPORTABLE = 0x20,
  VSS_VOLSNAP_ATTR_NOT_SURFACED = 0x40,
  VSS_VOLSNAP_ATTR_NOT_TRANSACTED = 0x80,
  VSS_VOLSNAP_ATTR_HARDWARE_ASSISTED = 0x10000,
  VSS_VOLSNAP_ATTR_DIFFERENTIAL = 0x20000,
  VSS_VOLSNAP_ATTR_PLEX = 0x40000,
  VSS_VOLSNAP_ATTR_IMPORTED = 0x80000,
  VSS_VOLSNAP_ATTR_EXPOSED_LOCALLY = 0x100000,
  VSS_VOLSNAP_ATTR_EXPOSED_REMOTELY = 0x200000,
  VSS_VOLSNAP_ATTR_AUTORECOVER = 0x400000,
  VSS_VOLSNAP_ATTR_ROLLBACK_RECOVERY = 0x800000,
  VSS_VOLSNAP_ATTR_DELAYED_POSTSNAPSHOT = 0x1000000,
  VSS_VOLSNAP_ATTR_TXF_RECOVERY = 0x2000000,
  VSS_VOLSNAP_ATTR_FILE_SHARE = 0x4000000
};

// OnLunStateChange flags.
enum VSS_HARDWARE_OPTIONS {
  VSS_BREAKEX_FLAG_MASK_LUNS = 0x1,
  VSS_BREAKEX_FLAG_MAKE_READ_WRITE = 0x2,
  VSS_BREAKEX_FLAG_REVERT_IDENTITY_ALL = 0x4,
  VSS_BREAKEX_FLAG_REVERT_IDENTITY_NONE = 0x8,
  VSS_ONLUNSTATECHANGE_NOTIFY_READ_WRITE = 0x100,
  VSS_ONLUNSTATECHANGE_NOTIFY_LUN_PRE_RECOVERY = 0x200,
  VSS_ONLUNSTATECHANGE_NOTIFY_LUN_POST_RECOVERY = 0x400,
  VSS_ONLUNSTATECHANGE_DO_MASK_LUNS = 0x800
};

constexpr HRESULT VSS_E_PROVIDER_VETO = static_cast<HRESULT>(0x80042306u);
constexpr HRESULT VSS_E_OBJECT_NOT_FOUND = static_cast<HRESULT>(0x80042308u);
constexpr HRESULT VSS_E_BAD_STATE = static_cast<HRESULT>(0x80042301u);
constexpr HRESULT VSS_E_PROVIDER_ALREADY_REGISTERED = static_cast<HRESULT>(0x80042303u);
constexpr HRESULT VSS_E_PROVIDER_NOT_REGISTERED = static_cast<HRESULT>(0x80042304u);
constexpr HRESULT VSS_E_UNSUPPORTED_CONTEXT = static_cast<HRESULT>(0x8004231Bu);
constexpr HRESULT VSS_E_NOT_SUPPORTED = static_cast<HRESULT>(0x8004232Fu);
constexpr HRESULT VSS_S_ASYNC_FINISHED = static_cast<HRESULT>(0x0004230Au);
constexpr HRESULT VSS_S_ASYNC_PENDING = static_cast<HRESULT>(0x00042309u);
constexpr HRESULT VSS_S_ASYNC_CANCELLED = static_cast<HRESULT>(0x0004230Bu);

struct IVssAsync : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE Cancel() = 0;
  virtual HRESULT STDMETHODCALLTYPE Wait(DWORD dwMilliseconds = 0xffffffff) = 0;
  virtual HRESULT STDMETHODCALLTYPE QueryStatus(HRESULT* pHrResult, INT* pReserved) = 0;

 protected:
  ~IVssAsync() = default;
};

struct IVssHardwareSnapshotProvider : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE AreLunsSupported(LONG lLunCount, LONG lContext, VSS_PWSZ* rgwszDevices,
                                                     VDS_LUN_INFORMATION* pLunInformation,
                                                     WINBOOL* pbIsSupported) = 0;
  virtual HRESULT STDMETHODCALLTYPE FillInLunInfo(VSS_PWSZ wszDeviceName, VDS_LUN_INFORMATION* pLunInfo,
                                                  WINBOOL* pbIsSupported) = 0;
  virtual HRESULT STDMETHODCALLTYPE BeginPrepareSnapshot(VSS_ID SnapshotSetId, VSS_ID SnapshotId, LONG lContext,
                                                         LONG lLunCount, VSS_PWSZ* rgDeviceNames,
                                                         VDS_LUN_INFORMATION* rgLunInformation) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetTargetLuns(LONG lLunCount, VSS_PWSZ* rgDeviceNames,
                                                  VDS_LUN_INFORMATION* rgSourceLuns,
                                                  VDS_LUN_INFORMATION* rgDestinationLuns) = 0;
  virtual HRESULT STDMETHODCALLTYPE LocateLuns(LONG lLunCount, VDS_LUN_INFORMATION* rgSourceLuns) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnLunEmpty(VSS_PWSZ wszDeviceName, VDS_LUN_INFORMATION* pInformation) = 0;

 protected:
  ~IVssHardwareSnapshotProvider() = default;
};

struct IVssHardwareSnapshotProviderEx : public IVssHardwareSnapshotProvider {
  virtual HRESULT STDMETHODCALLTYPE GetProviderCapabilities(ULONGLONG* pllOriginalCapabilityMask) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnLunStateChange(VDS_LUN_INFORMATION* pSnapshotLuns,
                                                     VDS_LUN_INFORMATION* pOriginalLuns, DWORD dwCount,
                                                     DWORD dwFlags) = 0;
  virtual HRESULT STDMETHODCALLTYPE ResyncLuns(VDS_LUN_INFORMATION* pSourceLuns, VDS_LUN_INFORMATION* pTargetLuns,
                                               DWORD dwCount, IVssAsync** ppAsync) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnReuseLuns(VDS_LUN_INFORMATION* pSnapshotLuns,
                                                VDS_LUN_INFORMATION* pOriginalLuns, DWORD dwCount) = 0;

 protected:
  ~IVssHardwareSnapshotProviderEx() = default;
};

struct IVssProviderCreateSnapshotSet : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE EndPrepareSnapshots(VSS_ID SnapshotSetId) = 0;
  virtual HRESULT STDMETHODCALLTYPE PreCommitSnapshots(VSS_ID SnapshotSetId) = 0;
  virtual HRESULT STDMETHODCALLTYPE CommitSnapshots(VSS_ID SnapshotSetId) = 0;
  virtual HRESULT STDMETHODCALLTYPE PostCommitSnapshots(VSS_ID SnapshotSetId, LONG lSnapshotsCount) = 0;
  virtual HRESULT STDMETHODCALLTYPE PreFinalCommitSnapshots(VSS_ID SnapshotSetId) = 0;
  virtual HRESULT STDMETHODCALLTYPE PostFinalCommitSnapshots(VSS_ID SnapshotSetId) = 0;
  virtual HRESULT STDMETHODCALLTYPE AbortSnapshots(VSS_ID SnapshotSetId) = 0;

 protected:
  ~IVssProviderCreateSnapshotSet() = default;
};

struct IVssProviderNotifications : public IUnknown {
  virtual HRESULT STDMETHODCALLTYPE OnLoad(IUnknown* pCallback) = 0;
  virtual HRESULT STDMETHODCALLTYPE OnUnload(WINBOOL bForceUnload) = 0;

 protected:
  ~IVssProviderNotifications() = default;
};
#endif

namespace wincompat {
// Interface ids, the same in every build (the SDK's values).
extern const IID kIID_IVssAsync;
extern const IID kIID_IVssHardwareSnapshotProvider;
extern const IID kIID_IVssHardwareSnapshotProviderEx;
extern const IID kIID_IVssProviderCreateSnapshotSet;
extern const IID kIID_IVssProviderNotifications;
}  // namespace wincompat
