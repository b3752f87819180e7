#include "platform/host/host_file_system.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

class HostFile : public File {
 public:
  explicit HostFile(int descriptor) : descriptor_(descriptor) {}
  ~HostFile() override { Close(); }

  ErrorCode Read(void* buffer, std::size_t size, std::size_t* bytes_read) override {
    *bytes_read = 0;
    for (;;) {
      const ssize_t done = ::read(descriptor_, buffer, size);
      if (done >= 0) {
        *bytes_read = static_cast<std::size_t>(done);
        return kErrorSuccess;
      }
      if (errno != EINTR) return ErrorFromErrno(errno);
    }
  }

  ErrorCode Write(const void* data, std::size_t size, std::size_t* bytes_written) override {
    *bytes_written = 0;
    const auto* bytes = static_cast<const char*>(data);
    while (*bytes_written < size) {
      const ssize_t done = ::write(descriptor_, bytes + *bytes_written, size - *bytes_written);
      if (done < 0) {
        if (errno == EINTR) continue;
        return ErrorFromErrno(errno);
      }
      *bytes_written += static_cast<std::size_t>(done);
    }
    return kErrorSuccess;
  }

  ErrorCode Seek(std::int64_t offset, SeekOrigin origin, std::uint64_t* position) override {
    const int whence = origin == SeekOrigin::kBegin     ? SEEK_SET
                       : origin == SeekOrigin::kCurrent ? SEEK_CUR
                                                        : SEEK_END;
    const off_t result = ::lseek(descriptor_, offset, whence);
    if (result < 0) return ErrorFromErrno(errno == EINVAL ? EINVAL : errno);
    if (position != nullptr) *position = static_cast<std::uint64_t>(result);
    return kErrorSuccess;
  }

  ErrorCode Close() override {
    if (descriptor_ < 0) return kErrorSuccess;
    const int result = ::close(descriptor_);
    descriptor_ = -1;
    return result == 0 ? kErrorSuccess : ErrorFromErrno(errno);
  }

 private:
  int descriptor_;
};

// A missing parent folder is "path not found", a missing last part "file not found".
ErrorCode MissingPathError(const fs::path& path) {
  std::error_code ignored;
  return fs::is_directory(path.parent_path(), ignored) ? kErrorFileNotFound : kErrorPathNotFound;
}

FileTime ToFileTime(const struct timespec& time) {
  return FileTimeFromUnixNanoseconds(static_cast<std::int64_t>(time.tv_sec) * 1'000'000'000 +
                                     time.tv_nsec);
}

bool MatchesWildcard(std::u16string_view pattern, std::u16string_view name) {
  // Iterative "*" matching with one back-tracking point: linear for the patterns in use.
  size_t p = 0, n = 0, star = std::u16string_view::npos, resume = 0;
  while (n < name.size()) {
    if (p < pattern.size() &&
        (pattern[p] == u'?' || AsciiLower(pattern[p]) == AsciiLower(name[n]))) {
      ++p;
      ++n;
    } else if (p < pattern.size() && pattern[p] == u'*') {
      star = p++;
      resume = n;
    } else if (star != std::u16string_view::npos) {
      p = star + 1;
      n = ++resume;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == u'*') ++p;
  return p == pattern.size();
}

}  // namespace

ErrorCode ErrorFromErrno(int error_number) {
  switch (error_number) {
    case 0:
      return kErrorSuccess;
    case ENOENT:
      return kErrorFileNotFound;
    case ENOTDIR:
      return kErrorPathNotFound;
    case EACCES:
    case EPERM:
    case EISDIR:
      return kErrorAccessDenied;
    case EEXIST:
      return kErrorFileExists;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return kErrorDiskFull;
    case EROFS:
      return kErrorWriteProtect;
    case ENAMETOOLONG:
      return kErrorFilenameTooLong;
    case EMFILE:
    case ENFILE:
      return kErrorTooManyOpenFiles;
    case ENOMEM:
      return kErrorNotEnoughMemory;
    case EBADF:
      return kErrorInvalidHandle;
    case EINVAL:
      return kErrorInvalidParameter;
    case ENOTEMPTY:
      return kErrorDirectoryNotEmpty;
    case EIO:
      return kErrorReadFault;
    case ELOOP:
      return kErrorAccessDenied;
    default:
      return kErrorGenFailure;
  }
}

HostFileSystem::HostFileSystem(fs::path device_root, std::u16string temp_folder)
    : device_root_(std::move(device_root)), temp_folder_(WithTrailingSeparator(temp_folder)) {}

fs::path HostFileSystem::HostPath(std::u16string_view path) const {
  if (path.empty() || path.front() != u'\\') {
    std::string host = ToUtf8(path);
    for (char& c : host) {
      if (c == '\\') c = '/';
    }
    return fs::path(host);
  }
  // A device path: its parts below the root, ".." never climbing above it.
  fs::path result = device_root_.empty() ? fs::path("/") : device_root_;
  std::vector<std::u16string_view> parts;
  size_t start = 0;
  while (start <= path.size()) {
    size_t end = path.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = path.size();
    std::u16string_view part = path.substr(start, end - start);
    if (part == u"..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != u".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  for (std::u16string_view part : parts) result /= ToUtf8(part);
  return result;
}

ErrorCode HostFileSystem::Open(std::u16string_view path, std::uint32_t access,
                               std::uint32_t /*share_mode*/, Disposition disposition,
                               std::unique_ptr<File>* file) {
  file->reset();
  const fs::path host_path = HostPath(path);
  int flags = O_CLOEXEC;
  const bool read = (access & kGenericRead) != 0;
  const bool write = (access & kGenericWrite) != 0;
  flags |= read && write ? O_RDWR : write ? O_WRONLY : O_RDONLY;
  // A file is written only where it is: a link planted in its place is refused, not followed.
  if (write) flags |= O_NOFOLLOW;
  switch (disposition) {
    case Disposition::kCreateNew:
      flags |= O_CREAT | O_EXCL;
      break;
    case Disposition::kCreateAlways:
      flags |= O_CREAT | O_TRUNC;
      break;
    case Disposition::kOpenExisting:
      break;
    case Disposition::kOpenAlways:
      flags |= O_CREAT;
      break;
    case Disposition::kTruncateExisting:
      flags |= O_TRUNC;
      break;
  }
  std::error_code ignored;
  if (fs::is_directory(host_path, ignored)) return kErrorAccessDenied;
  const int descriptor = ::open(host_path.c_str(), flags, 0666);
  if (descriptor < 0) {
    return errno == ENOENT ? MissingPathError(host_path) : ErrorFromErrno(errno);
  }
  *file = std::make_unique<HostFile>(descriptor);
  return kErrorSuccess;
}

ErrorCode HostFileSystem::GetAttributes(std::u16string_view path, FileAttributeData* data) {
  const fs::path host_path = HostPath(path);
  struct stat status {};
  if (::stat(host_path.c_str(), &status) != 0) {
    return errno == ENOENT ? MissingPathError(host_path) : ErrorFromErrno(errno);
  }
  data->attributes = S_ISDIR(status.st_mode) ? kAttributeDirectory : kAttributeArchive;
  if ((status.st_mode & S_IWUSR) == 0) data->attributes |= kAttributeReadOnly;
  data->creation_time = ToFileTime(status.st_ctim);
  data->last_access_time = ToFileTime(status.st_atim);
  data->last_write_time = ToFileTime(status.st_mtim);
  data->size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  return kErrorSuccess;
}

ErrorCode HostFileSystem::SetAttributes(std::u16string_view path, std::uint32_t attributes) {
  const std::string host_path = HostPath(path).string();
  struct stat status {};
  if (::stat(host_path.c_str(), &status) != 0) return ErrorFromErrno(errno);
  mode_t mode = status.st_mode & 07777;
  mode = (attributes & kAttributeReadOnly) != 0 ? mode & ~(S_IWUSR | S_IWGRP | S_IWOTH)
                                                : mode | S_IWUSR;
  if (::chmod(host_path.c_str(), mode) != 0) return ErrorFromErrno(errno);
  return kErrorSuccess;
}

ErrorCode HostFileSystem::SetLastWriteTime(std::u16string_view path, FileTime time) {
  const std::int64_t nanoseconds = FileTimeToUnixNanoseconds(time);
  struct timespec times[2] = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(nanoseconds / 1'000'000'000);
  times[1].tv_nsec = static_cast<long>(nanoseconds % 1'000'000'000);
  if (times[1].tv_nsec < 0) {
    times[1].tv_nsec += 1'000'000'000;
    times[1].tv_sec -= 1;
  }
  if (::utimensat(AT_FDCWD, HostPath(path).c_str(), times, 0) != 0) {
    return ErrorFromErrno(errno);
  }
  return kErrorSuccess;
}

ErrorCode HostFileSystem::DeleteFile(std::u16string_view path) {
  const fs::path host_path = HostPath(path);
  std::error_code ignored;
  if (fs::is_directory(host_path, ignored)) return kErrorAccessDenied;
  if (::unlink(host_path.c_str()) != 0) {
    return errno == ENOENT ? MissingPathError(host_path) : ErrorFromErrno(errno);
  }
  return kErrorSuccess;
}

ErrorCode HostFileSystem::CreateFolder(std::u16string_view path) {
  const fs::path host_path = HostPath(path);
  std::error_code error;
  if (fs::is_directory(host_path, error)) return kErrorSuccess;
  if (fs::exists(host_path, error)) return kErrorAlreadyExists;
  fs::create_directories(host_path, error);
  return error ? ErrorFromErrno(error.value()) : kErrorSuccess;
}

std::vector<FoundFile> HostFileSystem::Find(std::u16string_view pattern) {
  std::vector<FoundFile> found;
  const std::u16string_view folder = FolderOf(pattern);
  const std::u16string_view name_pattern = BaseName(pattern);
  const fs::path host_folder = HostPath(folder.empty() ? std::u16string_view(u".") : folder);
  std::error_code error;
  for (fs::directory_iterator it(host_folder, error), end; !error && it != end;
       it.increment(error)) {
    std::u16string name = FromUtf8(it->path().filename().string());
    if (!MatchesWildcard(name_pattern, name)) continue;
    FoundFile file{name, {}};
    if (GetAttributes(std::u16string(folder) + name, &file.data) == kErrorSuccess) {
      found.push_back(std::move(file));
    }
  }
  return found;
}

std::u16string HostFileSystem::TempFolder() {
  return temp_folder_;
}

std::u16string HostFileSystem::ProgramFolder() {
  std::error_code error;
  const fs::path program = fs::read_symlink("/proc/self/exe", error);
  if (error) return u"/";
  std::u16string folder = FromUtf8(program.parent_path().string());
  folder.push_back(u'/');
  return folder;
}

}  // namespace kestrav::platform::host
