#pragma once
// The trace folder as the installer leaves it: made (or taken over) before the service first
// starts, owned by the Administrators, and writable only by the local system and the
// Administrators; other users may read it. A folder that is a link or junction is refused.
#include <filesystem>

#include "wincompat/WinTypes.h"

namespace service {

// The trace folder's security descriptor, as SDDL.
inline constexpr const wchar_t* kTraceFolderSddl =
    L"O:BAD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)(A;OICI;0x1200a9;;;BU)";

// Creates `folder` (and its parent when missing) with that descriptor, or puts the descriptor
// on a folder that exists, its files included.
HRESULT SecureTraceFolder(const std::filesystem::path& folder);

}  // namespace service
