#pragma once
// Files of the emulated host that stand in for what Windows keeps behind an access list (the
// registry with its protected keys, the host secret): created readable and writable by their
// owner only, from the first byte on. Setting the mode after creating the file would leave a
// moment in which another user could open it and keep reading what is written later.
#include <cstdint>
#include <filesystem>
#include <span>

#include "wincompat/WinTypes.h"

namespace platform {

// Replaces `file` with `bytes` through a temporary file beside it (a reader never sees half a
// file). Win32 status: ERROR_CANTWRITE (1013) when it cannot be written.
LSTATUS WriteOwnerOnlyFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes);

// Creates `file` with `bytes` only when it does not exist yet; ERROR_FILE_EXISTS (80) when it
// does, so that of two processes only one makes it.
LSTATUS CreateOwnerOnlyFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes);

}  // namespace platform
