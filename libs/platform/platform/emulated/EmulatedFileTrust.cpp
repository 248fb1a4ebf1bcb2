// The emulated host's counterpart of the Windows checks: lstat never follows a link.
#ifndef _WIN32
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/FileTrust.h"

namespace platform {

std::string PathTrustRefusal(const std::filesystem::path& path) {
  struct stat status{};
  if (::lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return {};
    return path.string() + " cannot be examined: " + std::strerror(errno);
  }
  if (S_ISLNK(status.st_mode)) return path.string() + " is a symbolic link";
  if (S_ISREG(status.st_mode) && status.st_nlink > 1)
    return path.string() + " has " + std::to_string(status.st_nlink) + " hard links";
  if (status.st_uid != 0 && status.st_uid != ::geteuid())
    return path.string() + " belongs to user id " + std::to_string(status.st_uid) +
           ", neither root nor the account this process runs as";
  return {};
}

}  // namespace platform
#endif
