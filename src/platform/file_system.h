// The device's file system: open files, read and set their attributes and times, delete them,
// create folders, find files, and name the temporary and program folders.
//
// Paths are device paths ("\Temp\clogs_20070315.csl"); a stand-in decides where they live. Every
// operation answers with a system error code (kErrorSuccess when it worked), as the device's
// calls do through their last error.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system_error.h"
#include "platform/time.h"

namespace kestrav::platform {

// Access rights of an open file.
inline constexpr std::uint32_t kGenericRead = 0x80000000;
inline constexpr std::uint32_t kGenericWrite = 0x40000000;

// Sharing allowed to other openers: 0 none, 1 read, 2 write, 3 both.
inline constexpr std::uint32_t kShareRead = 1;
inline constexpr std::uint32_t kShareWrite = 2;

enum class Disposition {
  kCreateNew = 1,     // fails when the file exists
  kCreateAlways = 2,  // truncates an existing file
  kOpenExisting = 3,  // fails when the file does not exist
  kOpenAlways = 4,    // opens without truncating, or creates
  kTruncateExisting = 5,
};

// Attribute bits of a file.
inline constexpr std::uint32_t kAttributeReadOnly = 0x01;
inline constexpr std::uint32_t kAttributeHidden = 0x02;
inline constexpr std::uint32_t kAttributeSystem = 0x04;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeArchive = 0x20;
inline constexpr std::uint32_t kAttributeNormal = 0x80;

struct FileAttributeData {
  std::uint32_t attributes = 0;
  FileTime creation_time = 0;
  FileTime last_access_time = 0;
  FileTime last_write_time = 0;
  std::uint64_t size = 0;
};

struct FoundFile {
  std::u16string name;  // the name alone, without its folder
  FileAttributeData data;
};

enum class SeekOrigin { kBegin, kCurrent, kEnd };

// An open file. Destroying it closes it.
class File {
 public:
  virtual ~File() = default;

  // Reads up to size bytes; *bytes_read is 0 at the end of the file.
  virtual ErrorCode Read(void* buffer, std::size_t size, std::size_t* bytes_read) = 0;
  virtual ErrorCode Write(const void* data, std::size_t size, std::size_t* bytes_written) = 0;
  virtual ErrorCode Seek(std::int64_t offset, SeekOrigin origin, std::uint64_t* position) = 0;
  // Flushes and closes; the error of a last delayed write shows here.
  virtual ErrorCode Close() = 0;
};

class FileSystem {
 public:
  virtual ~FileSystem() = default;

  // access: kGenericRead and/or kGenericWrite; share_mode 0 to 3.
  virtual ErrorCode Open(std::u16string_view path, std::uint32_t access, std::uint32_t share_mode,
                         Disposition disposition, std::unique_ptr<File>* file) = 0;
  virtual ErrorCode GetAttributes(std::u16string_view path, FileAttributeData* data) = 0;
  // Sets the attribute bits a file can carry; kAttributeDirectory is ignored.
  virtual ErrorCode SetAttributes(std::u16string_view path, std::uint32_t attributes) = 0;
  virtual ErrorCode SetLastWriteTime(std::u16string_view path, FileTime time) = 0;
  virtual ErrorCode DeleteFile(std::u16string_view path) = 0;
  // Creates the folder and every missing parent; an existing folder is success.
  virtual ErrorCode CreateFolder(std::u16string_view path) = 0;
  // The files matching a pattern whose last part may hold "*" and "?" ("\Temp\*.csc"),
  // compared without regard to case; "." and ".." are never found.
  virtual std::vector<FoundFile> Find(std::u16string_view pattern) = 0;
  // The temporary folder, ending with "\".
  virtual std::u16string TempFolder() = 0;
  // The folder of the program's own file, ending with "\".
  virtual std::u16string ProgramFolder() = 0;

  // True for an existing file or folder.
  bool Exists(std::u16string_view path);
  // True for an existing file that is not a folder.
  bool FileExists(std::u16string_view path);
};

// Path helpers over both separators, "\" and "/".
std::u16string_view BaseName(std::u16string_view path);
std::u16string_view FolderOf(std::u16string_view path);  // with its trailing separator
// The base name's extension with its dot (".csl"); empty when the name has no dot.
std::u16string_view ExtensionOf(std::u16string_view path);
// The folder with a separator added when it does not end with one: "/" for a host path,
// "\" for a device path.
std::u16string WithTrailingSeparator(std::u16string_view folder);
bool IsPathSeparator(char16_t unit);

}  // namespace kestrav::platform
