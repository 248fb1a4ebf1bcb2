#include "logger/RotatingFile.h"

#include <utility>

namespace logger {

RotatingFile::RotatingFile(std::filesystem::path path, RotationPolicy policy)
    : path_(std::move(path)), policy_(policy) {}

std::filesystem::path RotatingFile::RotatedPath(unsigned n) const {
  std::filesystem::path rotated = path_;
  rotated.replace_extension(std::to_wstring(n) + path_.extension().wstring());
  return rotated;
}

std::error_code RotatingFile::Open() {
  out_.close();
  out_.clear();
  std::error_code ec;
  const std::uintmax_t existing = std::filesystem::file_size(path_, ec);
  size_ = ec ? 0 : existing;
  out_.open(path_, std::ios::binary | std::ios::app);
  if (!out_) return std::make_error_code(std::errc::io_error);
  return {};
}

void RotatingFile::Rotate() {
  out_.close();
  out_.clear();
  std::error_code ignored;
  std::error_code renamed;
  if (policy_.keptFiles > 0) {
    std::filesystem::remove(RotatedPath(policy_.keptFiles), ignored);
    for (unsigned n = policy_.keptFiles; n > 1; --n) {
      std::filesystem::rename(RotatedPath(n - 1), RotatedPath(n), ignored);
    }
    std::filesystem::rename(path_, RotatedPath(1), renamed);
  }
  // When the current file cannot be moved (another process holds it open on Windows), keep
  // appending and try again after another maxBytes rather than throw its history away.
  out_.open(path_, std::ios::binary | (renamed ? std::ios::app : std::ios::trunc));
  size_ = 0;
}

void RotatingFile::Write(std::string_view line) {
  if (!out_.is_open() || !out_) {
    if (Open()) return;
  }
  if (size_ > 0 && size_ + line.size() > policy_.maxBytes) Rotate();
  out_.write(line.data(), static_cast<std::streamsize>(line.size()));
  if (out_) size_ += line.size();
}

void RotatingFile::Flush() { out_.flush(); }

}  // namespace logger
