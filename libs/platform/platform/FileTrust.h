#pragma once
// Whether a folder or file that a process running as the service writes into, renames or
// deletes can be trusted not to redirect those acts elsewhere: it must not be a link (symbolic
// link, junction or other reparse point, or a file with more than one hard link), and its owner
// must be SYSTEM, the Administrators group or the account this process runs as (natively: root
// or this process's user). On Windows the checks are the system's; natively the emulated host
// refuses links the same way and compares owners by user id.
#include <filesystem>
#include <string>

namespace platform {

// Empty when the path may be used; otherwise why not, in words that name the path. A path
// that does not exist is fine (it will be made by the caller, with the caller's own owner).
std::string PathTrustRefusal(const std::filesystem::path& path);

}  // namespace platform
