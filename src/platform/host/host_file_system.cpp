#include "platform/host/host_file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

// Below the device's root and below an opened folder, paths are resolved by the kernel without
// following any link and without leaving the folder.
constexpr std::uint64_t kBeneath = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS;

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept : descriptor_(other.Release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      Reset();
      descriptor_ = other.Release();
    }
    return *this;
  }

  int get() const { return descriptor_; }
  bool valid() const { return descriptor_ >= 0; }
  int Release() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
  }
  void Reset() {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = -1;
  }

 private:
  int descriptor_ = -1;
};

// A path as the kernel is given it: relative to a folder (or the working folder, AT_FDCWD), with
// the resolution rules of openat2.
struct Place {
  int folder;
  std::string path;  // "." for the folder itself
  std::uint64_t resolve;

  bool beneath() const { return resolve != 0; }
};

int OpenAt(const Place& place, int flags, mode_t mode = 0) {
  open_how how{};
  how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC);
  how.mode = (flags & O_CREAT) != 0 ? mode : 0;
  how.resolve = place.resolve;
  for (;;) {
    const long result = ::syscall(SYS_openat2, place.folder, place.path.c_str(), &how, sizeof how);
    if (result >= 0 || errno != EINTR) return static_cast<int>(result);
  }
}

// A link met below a folder that must not be left (ELOOP), or a way out of it (EXDEV), is refused.
ErrorCode ErrorOfResolution(int error_number) {
  return error_number == ELOOP || error_number == EXDEV ? kErrorAccessDenied
                                                        : ErrorFromErrno(error_number);
}

// The parts of a relative name, split at "\" and "/", without empty parts and ".".
std::string JoinedParts(std::u16string_view name) {
  std::string joined;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t end = name.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = name.size();
    const std::u16string_view part = name.substr(start, end - start);
    if (!part.empty() && part != u".") {
      if (!joined.empty()) joined.push_back('/');
      joined += ToUtf8(part);
    }
    start = end + 1;
  }
  return joined.empty() ? std::string(".") : joined;
}

// The folder that holds a place, opened, and the place's last part.
struct Parent {
  Descriptor holder;  // invalid when the folder is the place's own folder
  int folder = -1;
  std::string name;
};

ErrorCode OpenParent(const Place& place, Parent* parent) {
  const std::size_t slash = place.path.rfind('/');
  if (slash == std::string::npos) {
    parent->folder = place.folder;
    parent->name = place.path;
    return kErrorSuccess;
  }
  Place folder{place.folder, slash == 0 ? std::string("/") : place.path.substr(0, slash),
               place.resolve};
  parent->holder = Descriptor(OpenAt(folder, O_PATH | O_DIRECTORY));
  if (!parent->holder.valid()) {
    return errno == ENOENT || errno == ENOTDIR ? kErrorPathNotFound : ErrorOfResolution(errno);
  }
  parent->folder = parent->holder.get();
  parent->name = place.path.substr(slash + 1);
  return kErrorSuccess;
}

// A missing parent folder is "path not found", a missing last part "file not found".
ErrorCode MissingPathError(const Place& place) {
  Parent parent;
  const ErrorCode error = OpenParent(place, &parent);
  return error == kErrorSuccess ? kErrorFileNotFound : error;
}

ErrorCode StatusOf(const Place& place, struct stat* status) {
  Parent parent;
  if (const ErrorCode error = OpenParent(place, &parent); error != kErrorSuccess) return error;
  // Below a folder that must not be left, a link is not a file of the device.
  const int flags = place.beneath() ? AT_SYMLINK_NOFOLLOW : 0;
  if (::fstatat(parent.folder, parent.name.c_str(), status, flags) != 0) {
    return errno == ENOENT ? kErrorFileNotFound : ErrorFromErrno(errno);
  }
  if (place.beneath() && S_ISLNK(status->st_mode)) return kErrorAccessDenied;
  return kErrorSuccess;
}

FileTime ToFileTime(const struct timespec& time) {
  return FileTimeFromUnixTime(time.tv_sec, time.tv_nsec);
}

FileAttributeData AttributesOf(const struct stat& status) {
  FileAttributeData data;
  data.attributes = S_ISDIR(status.st_mode) ? kAttributeDirectory : kAttributeArchive;
  if ((status.st_mode & S_IWUSR) == 0) data.attributes |= kAttributeReadOnly;
  data.creation_time = ToFileTime(status.st_ctim);
  data.last_access_time = ToFileTime(status.st_atim);
  data.last_write_time = ToFileTime(status.st_mtim);
  data.size = S_ISDIR(status.st_mode) ? 0 : static_cast<std::uint64_t>(status.st_size);
  data.volume_serial_number = static_cast<std::uint64_t>(status.st_dev);
  data.file_index = static_cast<std::uint64_t>(status.st_ino);
  return data;
}

mode_t ModeWithAttributes(mode_t mode, std::uint32_t attributes) {
  mode &= 07777;
  return (attributes & kAttributeReadOnly) != 0 ? mode & ~(S_IWUSR | S_IWGRP | S_IWOTH)
                                                : mode | S_IWUSR;
}

ErrorCode SetTimeOf(int descriptor, FileTime time) {
  const UnixTime unix_time = FileTimeToUnixTime(time);
  struct timespec times[2] = {};
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(unix_time.seconds);
  times[1].tv_nsec = static_cast<long>(unix_time.nanoseconds);
  return ::futimens(descriptor, times) == 0 ? kErrorSuccess : ErrorFromErrno(errno);
}

ErrorCode SetAttributesOf(int descriptor, std::uint32_t attributes) {
  struct stat status {};
  if (::fstat(descriptor, &status) != 0) return ErrorFromErrno(errno);
  if (::fchmod(descriptor, ModeWithAttributes(status.st_mode, attributes)) != 0)
    return ErrorFromErrno(errno);
  return kErrorSuccess;
}

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
    if (result < 0) return ErrorFromErrno(errno);
    if (position != nullptr) *position = static_cast<std::uint64_t>(result);
    return kErrorSuccess;
  }

  ErrorCode SetLastWriteTime(FileTime time) override { return SetTimeOf(descriptor_, time); }
  ErrorCode SetAttributes(std::uint32_t attributes) override {
    return SetAttributesOf(descriptor_, attributes);
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

ErrorCode OpenFile(const Place& place, std::uint32_t access, Disposition disposition,
                   std::unique_ptr<File>* file) {
  file->reset();
  int flags = 0;
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
  // A folder is never opened as a file; reading one would only fail later.
  struct stat status {};
  const ErrorCode found = StatusOf(place, &status);
  if (found == kErrorSuccess && S_ISDIR(status.st_mode)) return kErrorAccessDenied;
  if (found == kErrorAccessDenied) return found;
  Descriptor descriptor(OpenAt(place, flags, 0666));
  if (!descriptor.valid()) {
    return errno == ENOENT ? MissingPathError(place) : ErrorOfResolution(errno);
  }
  *file = std::make_unique<HostFile>(descriptor.Release());
  return kErrorSuccess;
}

ErrorCode DeleteFileAt(const Place& place) {
  struct stat status {};
  if (const ErrorCode error = StatusOf(place, &status); error != kErrorSuccess) return error;
  if (S_ISDIR(status.st_mode)) return kErrorAccessDenied;
  Parent parent;
  if (const ErrorCode error = OpenParent(place, &parent); error != kErrorSuccess) return error;
  if (::unlinkat(parent.folder, parent.name.c_str(), 0) != 0) {
    return errno == ENOENT ? kErrorFileNotFound : ErrorFromErrno(errno);
  }
  return kErrorSuccess;
}

// Creates the folder part by part, each part reached under the place's rules.
ErrorCode CreateFolderAt(const Place& place) {
  struct stat status {};
  if (StatusOf(place, &status) == kErrorSuccess)
    return S_ISDIR(status.st_mode) ? kErrorSuccess : kErrorAlreadyExists;
  Descriptor current;
  int folder = place.folder;
  std::size_t start = 0;
  if (!place.path.empty() && place.path.front() == '/') {
    current = Descriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    folder = current.get();
    start = 1;
  }
  while (start < place.path.size()) {
    std::size_t end = place.path.find('/', start);
    if (end == std::string::npos) end = place.path.size();
    const std::string part = place.path.substr(start, end - start);
    start = end + 1;
    if (part.empty() || part == ".") continue;
    if (::mkdirat(folder, part.c_str(), 0777) != 0 && errno != EEXIST) return ErrorFromErrno(errno);
    Descriptor next(OpenAt(Place{folder, part, place.resolve}, O_PATH | O_DIRECTORY));
    if (!next.valid()) {
      return errno == ENOTDIR
                 ? (start >= place.path.size() ? kErrorAlreadyExists : kErrorPathNotFound)
                 : ErrorOfResolution(errno);
    }
    current = std::move(next);
    folder = current.get();
  }
  return kErrorSuccess;
}

// Flushes a file's data, or a folder's entries, to the disk.
ErrorCode SyncAt(const Place& place, int flags) {
  Descriptor descriptor(OpenAt(place, O_RDONLY | flags));
  if (!descriptor.valid()) return ErrorOfResolution(errno);
  return ::fsync(descriptor.get()) == 0 ? kErrorSuccess : ErrorFromErrno(errno);
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

class HostFolder : public Folder {
 public:
  explicit HostFolder(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}

  ErrorCode Open(std::u16string_view name, std::uint32_t access, Disposition disposition,
                 std::unique_ptr<File>* file) override {
    if (!Relative(name)) return kErrorAccessDenied;
    return OpenFile(PlaceOf(name), access, disposition, file);
  }
  ErrorCode CreateFolder(std::u16string_view name) override {
    if (!Relative(name)) return kErrorAccessDenied;
    return CreateFolderAt(PlaceOf(name));
  }
  ErrorCode DeleteFile(std::u16string_view name) override {
    if (!Relative(name)) return kErrorAccessDenied;
    return DeleteFileAt(PlaceOf(name));
  }

 private:
  static bool Relative(std::u16string_view name) {
    return name.empty() || !IsPathSeparator(name.front());
  }
  Place PlaceOf(std::u16string_view name) const {
    return Place{descriptor_.get(), JoinedParts(name), kBeneath};
  }

  Descriptor descriptor_;
};

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
    case ELOOP:
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
    case EXDEV:
      return kErrorNotSameDevice;
    default:
      return kErrorGenFailure;
  }
}

HostFileSystem::HostFileSystem(fs::path device_root, std::u16string temp_folder)
    : device_root_(std::move(device_root)), temp_folder_(WithTrailingSeparator(temp_folder)) {
  // The root itself must be a folder, not a link to one.
  if (!device_root_.empty()) {
    root_descriptor_ = ::open(device_root_.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  }
}

HostFileSystem::~HostFileSystem() {
  if (root_descriptor_ >= 0) ::close(root_descriptor_);
}

namespace {

// Where the kernel finds a path of the device's file system: a device path below the root
// (the host's "/" when there is no root), any other path as the host names it.
Place PlaceOf(std::u16string_view path, bool has_root, int root_descriptor) {
  if (path.empty() || path.front() != u'\\') return Place{AT_FDCWD, ToUtf8(path), 0};
  const std::string parts = JoinedParts(path);
  if (!has_root) return Place{AT_FDCWD, parts == "." ? "/" : "/" + parts, 0};
  return Place{root_descriptor, parts, kBeneath};
}

}  // namespace

fs::path HostFileSystem::HostPath(std::u16string_view path) const {
  if (path.empty() || path.front() != u'\\') return fs::path(ToUtf8(path));
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
  return OpenFile(PlaceOf(path, !device_root_.empty(), root_descriptor_), access, disposition,
                  file);
}

ErrorCode HostFileSystem::GetAttributes(std::u16string_view path, FileAttributeData* data) {
  struct stat status {};
  const ErrorCode error = StatusOf(PlaceOf(path, !device_root_.empty(), root_descriptor_), &status);
  if (error != kErrorSuccess) return error;
  *data = AttributesOf(status);
  return kErrorSuccess;
}

namespace {

// Changes a file through a descriptor of its own, so that the change lands on the file reached.
template <typename Change>
ErrorCode ChangeFile(const Place& place, Change change) {
  Descriptor descriptor(OpenAt(place, O_RDONLY | (place.beneath() ? O_NOFOLLOW : 0)));
  if (!descriptor.valid()) return ErrorOfResolution(errno);
  return change(descriptor.get());
}

}  // namespace

ErrorCode HostFileSystem::SetAttributes(std::u16string_view path, std::uint32_t attributes) {
  return ChangeFile(
      PlaceOf(path, !device_root_.empty(), root_descriptor_),
      [attributes](int descriptor) { return SetAttributesOf(descriptor, attributes); });
}

ErrorCode HostFileSystem::SetLastWriteTime(std::u16string_view path, FileTime time) {
  return ChangeFile(PlaceOf(path, !device_root_.empty(), root_descriptor_),
                    [time](int descriptor) { return SetTimeOf(descriptor, time); });
}

ErrorCode HostFileSystem::DeleteFile(std::u16string_view path) {
  return DeleteFileAt(PlaceOf(path, !device_root_.empty(), root_descriptor_));
}

ErrorCode HostFileSystem::Rename(std::u16string_view from, std::u16string_view to) {
  const Place source = PlaceOf(from, !device_root_.empty(), root_descriptor_);
  const Place target = PlaceOf(to, !device_root_.empty(), root_descriptor_);
  struct stat status {};
  if (const ErrorCode error = StatusOf(source, &status); error != kErrorSuccess) return error;
  if (S_ISDIR(status.st_mode)) return kErrorAccessDenied;
  // The data first, so that the name never comes before what it names.
  if (const ErrorCode error = SyncAt(source, O_NOFOLLOW); error != kErrorSuccess) return error;
  Parent source_parent;
  Parent target_parent;
  if (const ErrorCode error = OpenParent(source, &source_parent); error != kErrorSuccess)
    return error;
  if (const ErrorCode error = OpenParent(target, &target_parent); error != kErrorSuccess)
    return error;
  if (::renameat(source_parent.folder, source_parent.name.c_str(), target_parent.folder,
                 target_parent.name.c_str()) != 0) {
    return ErrorFromErrno(errno);
  }
  // Then the folder's entry, so that the new name holds through a power loss.
  return SyncAt(Place{target_parent.folder, ".", target.resolve}, O_DIRECTORY);
}

ErrorCode HostFileSystem::CreateFolder(std::u16string_view path) {
  return CreateFolderAt(PlaceOf(path, !device_root_.empty(), root_descriptor_));
}

ErrorCode HostFileSystem::RemoveFolder(std::u16string_view path) {
  const Place place = PlaceOf(path, !device_root_.empty(), root_descriptor_);
  struct stat status {};
  if (const ErrorCode error = StatusOf(place, &status); error != kErrorSuccess) return error;
  if (!S_ISDIR(status.st_mode)) return kErrorDirectory;
  Parent parent;
  if (const ErrorCode error = OpenParent(place, &parent); error != kErrorSuccess) return error;
  if (::unlinkat(parent.folder, parent.name.c_str(), AT_REMOVEDIR) != 0)
    return ErrorFromErrno(errno);
  return kErrorSuccess;
}

ErrorCode HostFileSystem::OpenFolder(std::u16string_view path, bool create,
                                     std::unique_ptr<Folder>* folder) {
  folder->reset();
  const Place place = PlaceOf(path, !device_root_.empty(), root_descriptor_);
  if (create) {
    if (const ErrorCode error = CreateFolderAt(place); error != kErrorSuccess) return error;
  }
  Descriptor descriptor(OpenAt(place, O_PATH | O_DIRECTORY));
  if (!descriptor.valid()) {
    return errno == ENOENT    ? MissingPathError(place)
           : errno == ENOTDIR ? kErrorDirectory
                              : ErrorOfResolution(errno);
  }
  *folder = std::make_unique<HostFolder>(std::move(descriptor));
  return kErrorSuccess;
}

std::vector<FoundFile> HostFileSystem::Find(std::u16string_view pattern) {
  std::vector<FoundFile> found;
  const std::u16string_view folder = FolderOf(pattern);
  const std::u16string_view name_pattern = BaseName(pattern);
  const Place place = PlaceOf(folder.empty() ? std::u16string_view(u".") : folder,
                              !device_root_.empty(), root_descriptor_);
  Descriptor descriptor(OpenAt(place, O_RDONLY | O_DIRECTORY));
  if (!descriptor.valid()) return found;
  DIR* listing = ::fdopendir(descriptor.get());
  if (listing == nullptr) return found;
  descriptor.Release();
  const int flags = place.beneath() ? AT_SYMLINK_NOFOLLOW : 0;
  // In a device path "\" separates the parts, as "/" does.
  const bool device_path = !pattern.empty() && pattern.front() == u'\\';
  while (const dirent* entry = ::readdir(listing)) {
    const std::string_view name = entry->d_name;
    if (name == "." || name == "..") continue;
    std::u16string wide = FromUtf8(name);
    // A name found must name this very file again: one that is not UTF-8 would come back as
    // another name, and a "\\" in a device folder as a path into a subfolder. The device has no
    // such files; they are left alone.
    if (ToUtf8(wide) != name || (device_path && wide.find(u'\\') != std::u16string::npos)) continue;
    if (!MatchesWildcard(name_pattern, wide)) continue;
    struct stat status {};
    if (::fstatat(::dirfd(listing), entry->d_name, &status, flags) != 0) continue;
    if (S_ISLNK(status.st_mode)) continue;  // a link below the root is no file of the device
    found.push_back(FoundFile{std::move(wide), AttributesOf(status)});
  }
  ::closedir(listing);
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
