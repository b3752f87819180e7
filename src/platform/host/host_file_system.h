// The device file system on the host: device paths ("\Temp\x") live under a root folder, host
// absolute paths ("/home/...") are used as they stand.
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

  ErrorCode Open(std::u16string_view path, std::uint32_t access, std::uint32_t share_mode,
                 Disposition disposition, std::unique_ptr<File>* file) override;
  ErrorCode GetAttributes(std::u16string_view path, FileAttributeData* data) override;
  ErrorCode SetAttributes(std::u16string_view path, std::uint32_t attributes) override;
  ErrorCode SetLastWriteTime(std::u16string_view path, FileTime time) override;
  ErrorCode DeleteFile(std::u16string_view path) override;
  ErrorCode CreateFolder(std::u16string_view path) override;
  std::vector<FoundFile> Find(std::u16string_view pattern) override;
  std::u16string TempFolder() override;
  std::u16string ProgramFolder() override;

  // Where a path lives on the host.
  std::filesystem::path HostPath(std::u16string_view path) const;

 private:
  std::filesystem::path device_root_;
  std::u16string temp_folder_;
};

// The device error code for a host errno value.
ErrorCode ErrorFromErrno(int error_number);

}  // namespace kestrav::platform::host
