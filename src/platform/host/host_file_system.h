// The device file system on the host: device paths ("\Temp\x") live under a root folder, host
// paths ("/home/...") are used as they stand.
//
// Below the root nothing is reached through a link: a device path whose way passes a symbolic
// link (a link planted in the file's place, or a folder of the profile replaced by one) is
// refused with kErrorAccessDenied, and nothing outside the root is read, written or deleted. The
// same holds below a folder opened with OpenFolder. A host path is the user's own choice and is
// followed as it stands, except that a file is never written through a link in its own place.
//
// The host has no sharing modes between openers; the share mode is accepted and not enforced.
// A regular file reports the archive bit, as a file the device has written does, and read-only
// follows the owner's write permission.
#pragma once

#include <filesystem>

#include "platform/file_system.h"

namespace kestrav::platform::host {

class HostFileSystem : public FileSystem {
 public:
  // device_root: the folder that holds the device's "\"; empty makes "\" the host's "/".
  // temp_folder: the device path or host path of the temporary folder.
  HostFileSystem(std::filesystem::path device_root, std::u16string temp_folder);
  ~HostFileSystem() override;
  HostFileSystem(const HostFileSystem&) = delete;
  HostFileSystem& operator=(const HostFileSystem&) = delete;

  ErrorCode Open(std::u16string_view path, std::uint32_t access, std::uint32_t share_mode,
                 Disposition disposition, std::unique_ptr<File>* file) override;
  ErrorCode GetAttributes(std::u16string_view path, FileAttributeData* data) override;
  ErrorCode SetAttributes(std::u16string_view path, std::uint32_t attributes) override;
  ErrorCode SetLastWriteTime(std::u16string_view path, FileTime time) override;
  ErrorCode DeleteFile(std::u16string_view path) override;
  ErrorCode Rename(std::u16string_view from, std::u16string_view to) override;
  ErrorCode CreateFolder(std::u16string_view path) override;
  ErrorCode RemoveFolder(std::u16string_view path) override;
  ErrorCode OpenFolder(std::u16string_view path, bool create,
                       std::unique_ptr<Folder>* folder) override;
  std::vector<FoundFile> Find(std::u16string_view pattern) override;
  std::u16string TempFolder() override;
  std::u16string ProgramFolder() override;

  // Where a path lives on the host, named lexically (links are not looked at).
  std::filesystem::path HostPath(std::u16string_view path) const;

 private:
  std::filesystem::path device_root_;
  int root_descriptor_ = -1;  // the root folder, held open; -1 when it could not be opened
  std::u16string temp_folder_;
};

// The device error code for a host errno value.
ErrorCode ErrorFromErrno(int error_number);

}  // namespace kestrav::platform::host
