// The device's file system: open files, read and set their attributes and times, delete them,
// create folders, find files, and name the temporary and program folders.
//
// Paths are device paths ("\Temp\clogs_20070315.csl"), where "\" and "/" both separate the parts,
// or host paths ("/home/ann/x.qbk", from a file manager or the command line), where only "/"
// does and "\" is an ordinary character. A stand-in decides where device paths live. Every
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
  // Together they name the file itself, whatever path reached it.
  std::uint64_t volume_serial_number = 0;
  std::uint64_t file_index = 0;
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
  // The file's last write time and attribute bits (as SetAttributes takes them), set through the
  // open file, so that they land on the file that was written.
  virtual ErrorCode SetLastWriteTime(FileTime time) = 0;
  virtual ErrorCode SetAttributes(std::uint32_t attributes) = 0;
  // Flushes and closes; the error of a last delayed write shows here.
  virtual ErrorCode Close() = 0;
};

// A folder held open. The files and folders below it are named relative to it, with "\" or "/"
// between the parts, and are reached only below it: a name that climbs out with "..", or whose
// way passes a link, is refused with kErrorAccessDenied and nothing is touched.
class Folder {
 public:
  virtual ~Folder() = default;

  virtual ErrorCode Open(std::u16string_view name, std::uint32_t access, Disposition disposition,
                         std::unique_ptr<File>* file) = 0;
  // Creates the folder and every missing parent below this one.
  virtual ErrorCode CreateFolder(std::u16string_view name) = 0;
  virtual ErrorCode DeleteFile(std::u16string_view name) = 0;
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
  // Gives a file a new name, replacing a file that has it, in one step: whoever opens the new
  // name finds either the old file or the whole new one. Once it succeeded, the new file stays
  // under its name through a power loss.
  virtual ErrorCode Rename(std::u16string_view from, std::u16string_view to) = 0;
  // Creates the folder and every missing parent; an existing folder is success.
  virtual ErrorCode CreateFolder(std::u16string_view path) = 0;
  // Removes an empty folder.
  virtual ErrorCode RemoveFolder(std::u16string_view path) = 0;
  // Opens a folder, creating it and its parents first when create is set.
  virtual ErrorCode OpenFolder(std::u16string_view path, bool create,
                               std::unique_ptr<Folder>* folder) = 0;
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

// Path helpers. A host path ("/...") is split at "/" only; any other path at "\" and "/".
bool IsHostPath(std::u16string_view path);
std::u16string_view BaseName(std::u16string_view path);
std::u16string_view FolderOf(std::u16string_view path);  // with its trailing separator
// The base name's extension with its dot (".csl"); empty when the name has no dot.
std::u16string_view ExtensionOf(std::u16string_view path);
// The folder with a separator added when it does not end with one: "/" for a host path,
// "\" for a device path.
std::u16string WithTrailingSeparator(std::u16string_view folder);
// "\" or "/": what separates the parts of a device path or of an archive member's name.
bool IsPathSeparator(char16_t unit);

}  // namespace kestrav::platform
