#pragma once
// The trace file on disk, rotated by size: when the next line would take `name.log` past the
// limit, `name.log` becomes `name.1.log`, `name.1.log` becomes `name.2.log` and so on; the
// oldest beyond `keptFiles` is deleted. Reopening an existing trace appends to it.
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

namespace logger {

struct RotationPolicy {
  std::uintmax_t maxBytes = 10 * 1024 * 1024;
  unsigned keptFiles = 5;
};

class RotatingFile {
 public:
  RotatingFile(std::filesystem::path path, RotationPolicy policy);

  std::error_code Open();
  // Appends one line; a line that cannot be written is lost, never reported to the caller.
  void Write(std::string_view line);
  void Flush();
  void SetPolicy(RotationPolicy policy) { policy_ = policy; }
  const std::filesystem::path& Path() const { return path_; }
  // Name of the n-th older file (1 is the newest of them).
  std::filesystem::path RotatedPath(unsigned n) const;

 private:
  void Rotate();

  std::filesystem::path path_;
  RotationPolicy policy_;
  std::ofstream out_;
  std::uintmax_t size_ = 0;
};

}  // namespace logger
