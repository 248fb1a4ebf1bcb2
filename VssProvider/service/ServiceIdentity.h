#pragma once
// The names and ids under which the provider is known to COM, the service control manager and
// VSS. The texts are kept exactly as they are written into the registry; the GUID forms are the
// same ids for the APIs that take a GUID.
#include "service/ServiceResources.h"
#include "wincompat/Guid.h"
#include "wincompat/WinTypes.h"

namespace service {

// Service name and display name, also the event source name (string resource 100).
inline constexpr const wchar_t* kServiceName = L"" VANTOR_SERVICE_NAME_TEXT;
// The service depends on the RPC subsystem: COM activation goes through it.
inline constexpr const wchar_t* kServiceDependencies = L"RPCSS\0";

inline constexpr const wchar_t* kAppIdText = L"{250271C3-D460-4BC9-B015-3EBC3C0DA2C4}";
inline constexpr const wchar_t* kAppIdDescription = L"Vantor.VssProvider";
inline constexpr const wchar_t* kExecutableAppIdKey = L"Vantor.VssProvider.EXE";

// The class itself is CLSID_VantorVssHwProvider (provider/VaVssHwProvider.h); this is its text.
inline constexpr const wchar_t* kClassIdText = L"{08B1DE05-DA78-4895-BAC0-E576ED483FFA}";
inline constexpr const wchar_t* kClassDescription = L"VantorVssHwProvider Class";
inline constexpr const wchar_t* kProgId = L"VantorVssProvider.VantorVssHwProvider.1";
inline constexpr const wchar_t* kVersionIndependentProgId = L"VantorVssProvider.VantorVssHwProvider";

inline constexpr const wchar_t* kTypeLibIdText = L"{60AADF9E-37A8-467e-AAE3-5029C903CE21}";

inline constexpr const wchar_t* kVssProviderName = L"Vantor Storage VSS Provider";
inline constexpr LONG kVssProviderTypeHardware = 3;  // VSS_PROV_HARDWARE

extern const GUID kTypeLibId;
extern const GUID kVssProviderId;
extern const GUID kVssProviderVersionId;

}  // namespace service
