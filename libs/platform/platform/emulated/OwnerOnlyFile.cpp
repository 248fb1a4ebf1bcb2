#include "platform/emulated/OwnerOnlyFile.h"

#include <cerrno>
#include <string>
#include <system_error>

#ifdef _WIN32
#include <fstream>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "platform/Registry.h"

namespace platform {
namespace {

constexpr LSTATUS kFileExists = 80;  // ERROR_FILE_EXISTS

#ifdef _WIN32
// Under Wine the emulated host's files carry no modes; the Windows build only uses them for
// what Wine lacks, none of which is secret.
LSTATUS WriteNew(const std::filesystem::path& file, std::span<const std::uint8_t> bytes, bool exclusive) {
  if (exclusive && std::filesystem::exists(file)) return kFileExists;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  return out.flush() ? ERROR_SUCCESS : ERROR_CANTWRITE;
}
#else
class Descriptor {
 public:
  explicit Descriptor(int fd) : mFd(fd) {}
  ~Descriptor() {
    if (mFd >= 0) ::close(mFd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return mFd; }
  // close() reports a write that failed late (a full disk on some file systems).
  bool Close() {
    const int fd = mFd;
    mFd = -1;
    return ::close(fd) == 0;
  }

 private:
  int mFd;
};

LSTATUS WriteNew(const std::filesystem::path& file, std::span<const std::uint8_t> bytes, bool /*exclusive*/) {
  Descriptor fd(::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (fd.get() < 0) return errno == EEXIST ? kFileExists : ERROR_CANTWRITE;
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t n = ::write(fd.get(), bytes.data() + done, bytes.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return ERROR_CANTWRITE;
    done += static_cast<std::size_t>(n);
  }
  return fd.Close() ? ERROR_SUCCESS : ERROR_CANTWRITE;
}
#endif

}  // namespace

LSTATUS WriteOwnerOnlyFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes) {
  // One temporary name per process, so that two processes writing the same file never share
  // one; a stale one left by a crash may carry a wider mode, so it is made afresh.
  std::filesystem::path temporary = file;
#ifdef _WIN32
  temporary += ".tmp";
#else
  temporary += ".tmp" + std::to_string(::getpid());
#endif
  std::error_code ec;
  std::filesystem::remove(temporary, ec);
  if (WriteNew(temporary, bytes, true) != ERROR_SUCCESS) {
    std::filesystem::remove(temporary, ec);
    return ERROR_CANTWRITE;
  }
  std::filesystem::rename(temporary, file, ec);
  if (ec) {
    std::filesystem::remove(temporary, ec);
    return ERROR_CANTWRITE;
  }
  return ERROR_SUCCESS;
}

LSTATUS CreateOwnerOnlyFile(const std::filesystem::path& file, std::span<const std::uint8_t> bytes) {
  const LSTATUS status = WriteNew(file, bytes, true);
  if (status == ERROR_CANTWRITE) {
    std::error_code ec;
    std::filesystem::remove(file, ec);
  }
  return status;
}

}  // namespace platform
