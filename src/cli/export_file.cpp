#include "cli/export_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace kestrav::cli {
namespace {

constexpr std::size_t kBufferBytes = 256 * 1024;

}  // namespace

ExportFile::~ExportFile() {
  Abort();
}

bool ExportFile::Open(const std::filesystem::path& path, std::string* error) {
  path_ = path;
  // A name of our own beside the file: same folder, so the rename never crosses file systems.
  for (int attempt = 0; attempt < 100; ++attempt) {
    temporary_ = path;
    temporary_.replace_filename("." + path.filename().string() + ".part" +
                                std::to_string(::getpid()) + "-" + std::to_string(attempt));
    descriptor_ =
        ::open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0644);
    if (descriptor_ >= 0) return true;
    if (errno != EEXIST) break;
  }
  *error = path.parent_path().string() + ": " + std::strerror(errno);
  temporary_.clear();
  return false;
}

bool ExportFile::Write(std::string_view bytes) {
  if (failed_) return false;
  buffer_.append(bytes);
  if (buffer_.size() >= kBufferBytes) return Flush();
  return true;
}

bool ExportFile::Flush() {
  std::size_t offset = 0;
  while (!failed_ && offset < buffer_.size()) {
    const ssize_t written = ::write(descriptor_, buffer_.data() + offset, buffer_.size() - offset);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) {
      failed_ = true;
      error_number_ = written < 0 ? errno : ENOSPC;
      break;
    }
    offset += static_cast<std::size_t>(written);
  }
  buffer_.clear();
  return !failed_;
}

bool ExportFile::Commit(std::string* error, bool synchronize) {
  if (descriptor_ < 0) return false;
  Flush();
  if (!failed_ && synchronize && ::fsync(descriptor_) != 0) {
    failed_ = true;
    error_number_ = errno;
  }
  if (::close(descriptor_) != 0 && !failed_) {
    failed_ = true;
    error_number_ = errno;
  }
  descriptor_ = -1;
  if (!failed_ && std::rename(temporary_.c_str(), path_.c_str()) != 0) {
    failed_ = true;
    error_number_ = errno;
  }
  if (failed_) {
    *error = ErrorText();
    Abort();
    return false;
  }
  temporary_.clear();
  return true;
}

std::string ExportFile::ErrorText() const {
  return path_.string() + ": " + std::strerror(error_number_);
}

void ExportFile::Abort() {
  if (descriptor_ >= 0) ::close(descriptor_);
  descriptor_ = -1;
  if (!temporary_.empty()) ::unlink(temporary_.c_str());
  temporary_.clear();
}

}  // namespace kestrav::cli
