#pragma once
// Where the VSS coordinator double takes its answers and writes its call log; shared by the
// double and the tests that drive it.
inline constexpr const wchar_t* kCoordinatorDoubleKey = L"Software\\Vantor Test\\Coordinator Double";
inline constexpr const wchar_t* kCallLogValue = L"CallLog";
inline constexpr const wchar_t* kRegisterResultValue = L"RegisterResult";
inline constexpr const wchar_t* kUnregisterResultValue = L"UnregisterResult";
// A version string whose registration the double refuses (E_ACCESSDENIED), others as usual.
inline constexpr const wchar_t* kRefusedVersionValue = L"RefusedVersion";
// One subkey per registered provider id, as the coordinator keeps them.
inline constexpr const wchar_t* kProvidersKey = L"Software\\Vantor Test\\Coordinator Double\\Providers";
