// The backup archive: a ZIP file (".qbk") holding one record file per kind.
//
// A member is named by its file's base name in the ANSI code page, deflated at level 8 or
// stored, with no comment or password, and no extra field unless it needs ZIP64. Its date is the
// file's UTC last write time copied field by field into the library's date, month included as
// 1 to 12 although the library counts months from 0: so the stored date carries a month one
// higher than the file's (December gives 13). Archives made this way have always been read back
// with that shift undone, and the shift is kept so that they stay alike.
//
// A deflated member is one deflate stream made of 128 KiB blocks deflated side by side on every
// core, each with the 32 KiB before it as its dictionary; a few blocks per thread are in flight,
// so memory stays bounded whatever the file's size. A member whose data, stored or deflated,
// could reach 4 GiB carries ZIP64 sizes in its local and central headers, and the directory
// takes ZIP64 fields and end records wherever an offset or a count needs them, so an archive of
// any size is a whole ZIP file. An archive is refused when its directory's entries overlap or
// its end record miscounts them. Extraction writes only through the destination folder held
// open, so a link inside it is never followed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"

namespace kestrav::records {

// Results of the functions below besides 0 (success) and the system's positive error codes.
inline constexpr int kArchiveDataError = -1;            // read or write error while copying data
inline constexpr int kArchiveMissingName = -102;        // a required file name is missing
inline constexpr int kArchiveBadGlobalInfo = -103;      // the archive's directory cannot be read
inline constexpr int kArchiveDestinationError = 267;    // the destination folder cannot be created
inline constexpr int kArchiveUnsafeMemberName = -120;   // a member would land outside the folder
inline constexpr int kArchiveMemberTooLarge = -121;     // a member inflates past its stated size
inline constexpr int kArchiveMemberNameTooLong = -122;  // a member's name is past the maximum
inline constexpr int kArchiveOwnMember = -123;          // the file to add is the archive itself
inline constexpr int kArchiveUnsupportedMethod = -124;  // a member's compression method is not read
inline constexpr int kArchiveEncryptedMember = -125;    // a member is encrypted
inline constexpr int kArchiveNameNotInCodePage = -126;  // a file's name has no ANSI spelling

inline constexpr int kMethodStored = 0;
inline constexpr int kMethodDeflated = 8;

// Receives the item progress of an addition, on the calling thread: first (0, size of the
// file), then after every 64 KiB read (bytes done so far, 0). An upper bound of 0 leaves the
// range as it is.
using ArchiveProgress = std::function<void(std::uint32_t position, std::uint32_t upper_bound)>;

// Whether a member of that many bytes is written with ZIP64 sizes: when its data, or the most
// that data could deflate to, reaches 4 GiB - 1 (0xFFFFFFFF, which stands for "see ZIP64").
bool MemberNeedsZip64(std::uint64_t size, int method);

// Adds a file to the archive as a new member, creating the archive when it does not exist.
// method: kMethodDeflated or kMethodStored. Returns 0 or an error code; the archive itself is
// refused as a source (kArchiveOwnMember) and left as it was. Where the host refused a write to
// the archive, the code is the host's (kErrorDiskFull for a full disk).
int AddFile(const platform::Device& device, std::u16string_view source_file,
            std::u16string_view archive_file, int method, const ArchiveProgress& progress);

struct ArchiveMember {
  std::u16string name;
  std::uint64_t size = 0;
  std::uint64_t packed_size = 0;
  int method = 0;
  // The member's date as the program reads it back: the stored month shift undone, UTC.
  platform::SystemTime date;
  std::uint32_t internal_attributes = 0;
  std::uint32_t external_attributes = 0;
  // Why this program cannot read the member - kArchiveEncryptedMember, kArchiveUnsupportedMethod
  // or kArchiveMemberNameTooLong (its name then cut, ending in "...") - or 0.
  int fault = 0;
};

// Takes the members of those names (compared ignoring ASCII case, as the device's files are)
// out of the archive: the others are copied as they are into a new archive beside it, which then
// replaces it in one step, so that a failure leaves the archive as it was. *removed, when given,
// receives how many members went. Returns 0 or an error code.
int RemoveMembers(const platform::Device& device, std::u16string_view archive_file,
                  std::span<const std::u16string> names, std::size_t* removed);

// Extracts every member into the destination folder (created with its parents when missing; an
// empty folder means the program's own folder), creating the folders a member name holds; a
// member named with a trailing separator, or carrying the directory attribute, is a folder.
// A member whose name would leave the folder refuses the whole archive before anything is
// written. When extraction fails part way, the file of the member in hand is removed and the
// files of earlier members stay. extracted_files, when given, receives each file written.
// skipped, when given, receives the members this program cannot read (their fault set) and the
// others are extracted; without it such a member fails the extraction with its fault.
int Extract(const platform::Device& device, std::u16string_view archive_file,
            std::u16string_view destination_folder, std::vector<std::u16string>* extracted_files,
            std::vector<ArchiveMember>* skipped = nullptr);

// A member to extract under a name of the caller's choosing. position: its 0-based place in the
// archive's directory, as ListMembers gives them. file_name: a plain name, without folders.
struct MemberToExtract {
  std::size_t position = 0;
  std::u16string file_name;
};

// Extracts only the chosen members, in the given order, each into the destination folder (as
// Extract takes it) under its file name. A position past the directory's end or a file name that
// is not plain is refused before anything is written. On the first member that fails, its file
// is removed and its code returned; the files written before stay, listed in extracted_files
// when it is given, for the caller to remove.
int ExtractMembers(const platform::Device& device, std::u16string_view archive_file,
                   std::u16string_view destination_folder, std::span<const MemberToExtract> members,
                   std::vector<std::u16string>* extracted_files);

// Reads the archive's directory. A member's name is read as UTF-8 when the archive says so (the
// name's UTF-8 flag, or an Info-ZIP Unicode path field that matches it), else in the ANSI code
// page. A member this program cannot read is listed with its fault. Returns 0 or an error code.
int ListMembers(const platform::Device& device, std::u16string_view archive_file,
                std::vector<ArchiveMember>* members);

// Reads the directory and inflates every member's data, checking it against the size and CRC
// the directory states, writing nothing. Returns 0 for a whole archive, else the first error
// code. members, when given, receives the directory.
int TestArchive(const platform::Device& device, std::u16string_view archive_file,
                std::vector<ArchiveMember>* members);

// Whether a member's name stays inside the folder it is extracted into: not absolute, naming no
// drive, holding no NUL and not climbing with "..".
bool IsSafeMemberName(std::u16string_view name);

// Whether a member is one of the "__MACOSX/" copies of the files' resource forks that an
// archive repacked on a Mac carries ("__MACOSX/._contacts.csc"): no record file, whatever its
// extension.
bool IsMacResourceMember(std::u16string_view name);

// A short text for an archive result, for front ends; empty for 0.
std::u16string ArchiveErrorText(int code);

// A compression method's common name ("Stored", "Deflated", "bzip2"); empty when unknown.
std::u16string_view CompressionMethodName(int method);

// Why a member with a fault is passed over, after its name: "uses compression method 12 (bzip2),
// which Kestrav does not read", "is encrypted", "has a name too long to read".
std::u16string MemberFaultText(const ArchiveMember& member);

}  // namespace kestrav::records
