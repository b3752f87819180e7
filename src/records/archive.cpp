#include "records/archive.h"

#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <zlib.h>

#include <array>
#include <memory>

#include "platform/format.h"

namespace kestrav::records {
namespace {

using platform::ErrorCode;
using platform::kErrorSuccess;

constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr int kLevel = 8;
constexpr int kMemoryLevel = 8;
// Longest member name accepted, in ANSI bytes; the device's names are far shorter.
constexpr std::size_t kMaxMemberNameBytes = 1024;
constexpr std::size_t kMaxAnsiPathBytes = 260;

// --- minizip reads and writes the archive through the device's file system ---

struct ArchiveIo {
  platform::FileSystem* files;
  ErrorCode last_error = kErrorSuccess;
};

voidpf OpenArchive(voidpf opaque, const void* path, int mode) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  const auto& name = *static_cast<const std::u16string*>(path);
  std::uint32_t access = platform::kGenericRead;
  auto disposition = platform::Disposition::kOpenExisting;
  if ((mode & ZLIB_FILEFUNC_MODE_READWRITEFILTER) != ZLIB_FILEFUNC_MODE_READ) {
    access |= platform::kGenericWrite;
    if ((mode & ZLIB_FILEFUNC_MODE_CREATE) != 0) disposition = platform::Disposition::kCreateAlways;
  }
  std::unique_ptr<platform::File> file;
  io->last_error = io->files->Open(name, access, 0, disposition, &file);
  return file.release();
}

uLong ReadArchive(voidpf opaque, voidpf stream, void* buffer, uLong size) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  auto* bytes = static_cast<char*>(buffer);
  uLong done = 0;
  while (done < size) {
    std::size_t read = 0;
    io->last_error = static_cast<platform::File*>(stream)->Read(bytes + done, size - done, &read);
    if (io->last_error != kErrorSuccess || read == 0) break;
    done += read;
  }
  return done;
}

uLong WriteArchive(voidpf opaque, voidpf stream, const void* buffer, uLong size) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::size_t written = 0;
  io->last_error = static_cast<platform::File*>(stream)->Write(buffer, size, &written);
  return written;
}

ZPOS64_T TellArchive(voidpf opaque, voidpf stream) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::uint64_t position = 0;
  io->last_error =
      static_cast<platform::File*>(stream)->Seek(0, platform::SeekOrigin::kCurrent, &position);
  return io->last_error == kErrorSuccess ? position : static_cast<ZPOS64_T>(-1);
}

long SeekArchive(voidpf opaque, voidpf stream, ZPOS64_T offset, int origin) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  const auto seek_origin = origin == ZLIB_FILEFUNC_SEEK_SET   ? platform::SeekOrigin::kBegin
                           : origin == ZLIB_FILEFUNC_SEEK_CUR ? platform::SeekOrigin::kCurrent
                                                              : platform::SeekOrigin::kEnd;
  io->last_error = static_cast<platform::File*>(stream)->Seek(static_cast<std::int64_t>(offset),
                                                              seek_origin, nullptr);
  return io->last_error == kErrorSuccess ? 0 : -1;
}

int CloseArchive(voidpf opaque, voidpf stream) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::unique_ptr<platform::File> file(static_cast<platform::File*>(stream));
  const ErrorCode error = file->Close();
  if (error != kErrorSuccess) io->last_error = error;
  return error == kErrorSuccess ? 0 : EOF;
}

int ArchiveError(voidpf opaque, voidpf /*stream*/) {
  return static_cast<ArchiveIo*>(opaque)->last_error == kErrorSuccess ? 0 : 1;
}

zlib_filefunc64_def FileFunctions(ArchiveIo* io) {
  zlib_filefunc64_def functions{};
  functions.zopen64_file = OpenArchive;
  functions.zread_file = ReadArchive;
  functions.zwrite_file = WriteArchive;
  functions.ztell64_file = TellArchive;
  functions.zseek64_file = SeekArchive;
  functions.zclose_file = CloseArchive;
  functions.zerror_file = ArchiveError;
  functions.opaque = io;
  return functions;
}

// Opens an archive for reading; on failure *error is the system's code when the file could not
// be opened, and kArchiveBadGlobalInfo when it is not a readable archive.
unzFile OpenForReading(const platform::Device& device, const std::u16string& archive_file,
                       ArchiveIo* io, zlib_filefunc64_def* functions, int* error) {
  *io = ArchiveIo{&device.files()};
  *functions = FileFunctions(io);
  unzFile archive = unzOpen2_64(&archive_file, functions);
  if (archive == nullptr) {
    *error =
        io->last_error != kErrorSuccess ? static_cast<int>(io->last_error) : kArchiveBadGlobalInfo;
  }
  return archive;
}

// --- member names and dates ---

// A name leaves the destination when it is absolute, names a drive, or climbs with "..".
bool IsSafeMemberName(std::u16string_view name) {
  if (name.empty() || platform::IsPathSeparator(name.front())) return false;
  if (name.size() >= 2 && name[1] == u':') return false;
  if (name.find(u'\0') != std::u16string_view::npos) return false;
  std::size_t start = 0;
  while (start <= name.size()) {
    std::size_t end = name.find_first_of(u"\\/", start);
    if (end == std::u16string_view::npos) end = name.size();
    if (name.substr(start, end - start) == u"..") return false;
    start = end + 1;
  }
  return true;
}

platform::SystemTime MemberDate(const tm_unz& date) {
  // Read back field by field as it was written, which undoes the month shift.
  platform::SystemTime time;
  time.year = static_cast<std::uint16_t>(date.tm_year);
  time.month = static_cast<std::uint16_t>(date.tm_mon);
  time.day = static_cast<std::uint16_t>(date.tm_mday);
  time.hour = static_cast<std::uint16_t>(date.tm_hour);
  time.minute = static_cast<std::uint16_t>(date.tm_min);
  time.second = static_cast<std::uint16_t>(date.tm_sec);
  return time;
}

struct MemberInfo {
  unz_file_info64 info{};
  std::u16string name;
};

int ReadMemberInfo(const platform::Device& device, unzFile archive, MemberInfo* member) {
  std::array<char, kMaxMemberNameBytes + 1> name{};
  const int result = unzGetCurrentFileInfo64(archive, &member->info, name.data(), name.size(),
                                             nullptr, 0, nullptr, 0);
  if (result != UNZ_OK) return result;
  if (member->info.size_filename > kMaxMemberNameBytes) return kArchiveUnsafeMemberName;
  member->name =
      device.code_page().ToWide(std::string_view(name.data(), member->info.size_filename));
  return UNZ_OK;
}

// --- extraction of one member ---

// Writes the member in hand to the output file, inflating it here so that its size and CRC
// are checked against the directory: nothing past the stated size is ever written.
int CopyMember(unzFile archive, const unz_file_info64& info, platform::File& output) {
  if (info.compression_method != Z_DEFLATED && info.compression_method != 0) {
    return kArchiveDataError;
  }
  int method = 0;
  int level = 0;
  if (const int result = unzOpenCurrentFile2(archive, &method, &level, 1); result != UNZ_OK) {
    return result;
  }
  std::unique_ptr<unsigned char[]> input(new unsigned char[kChunkBytes]);
  std::unique_ptr<unsigned char[]> inflated(new unsigned char[kChunkBytes]);
  z_stream stream{};
  const bool deflated = info.compression_method == Z_DEFLATED;
  if (deflated && inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
    unzCloseCurrentFile(archive);
    return kArchiveDataError;
  }
  std::uint64_t written = 0;
  uLong crc = crc32(0, nullptr, 0);
  bool stream_ended = !deflated;
  int result = 0;
  auto emit = [&](const unsigned char* bytes, std::size_t count) {
    if (written + count > info.uncompressed_size) return kArchiveMemberTooLarge;
    std::size_t done = 0;
    if (output.Write(bytes, count, &done) != kErrorSuccess || done != count) {
      return kArchiveDataError;
    }
    written += count;
    crc = crc32(crc, bytes, static_cast<uInt>(count));
    return 0;
  };
  while (result == 0) {
    const int read = unzReadCurrentFile(archive, input.get(), kChunkBytes);
    if (read < 0) {
      result = read;
      break;
    }
    if (read == 0) break;
    if (!deflated) {
      result = emit(input.get(), static_cast<std::size_t>(read));
      continue;
    }
    if (stream_ended) {
      result = kArchiveMemberTooLarge;  // data left over after the end of the deflate stream
      break;
    }
    stream.next_in = input.get();
    stream.avail_in = static_cast<uInt>(read);
    // Inflate until the input is used up and the output buffer was not filled: a full buffer
    // may leave output pending even when no input is left.
    do {
      stream.next_out = inflated.get();
      stream.avail_out = kChunkBytes;
      const int status = inflate(&stream, Z_NO_FLUSH);
      if (status == Z_BUF_ERROR) break;  // nothing more to do with this input
      if (status != Z_OK && status != Z_STREAM_END) {
        result = Z_DATA_ERROR;
        break;
      }
      stream_ended = status == Z_STREAM_END;
      result = emit(inflated.get(), kChunkBytes - stream.avail_out);
    } while (result == 0 && !stream_ended && (stream.avail_in > 0 || stream.avail_out == 0));
  }
  if (deflated) inflateEnd(&stream);
  const int closed = unzCloseCurrentFile(archive);
  if (result != 0) return result;
  if (!stream_ended || written != info.uncompressed_size) return Z_DATA_ERROR;
  if (crc != info.crc) return UNZ_CRCERROR;
  return closed == UNZ_CRCERROR ? UNZ_CRCERROR : 0;
}

// Creates the folders that a member name holds, below the destination folder.
ErrorCode CreateMemberFolders(platform::FileSystem& files, const std::u16string& folder,
                              std::u16string_view name) {
  for (std::size_t separator = name.find_first_of(u"\\/"); separator != std::u16string_view::npos;
       separator = name.find_first_of(u"\\/", separator + 1)) {
    if (const ErrorCode error =
            files.CreateFolder(folder + std::u16string(name.substr(0, separator)));
        error != kErrorSuccess) {
      return error;
    }
  }
  return kErrorSuccess;
}

int ExtractMember(const platform::Device& device, unzFile archive, const std::u16string& folder,
                  std::vector<std::u16string>* extracted_files) {
  MemberInfo member;
  if (const int result = ReadMemberInfo(device, archive, &member); result != UNZ_OK) return result;
  platform::FileSystem& files = device.files();
  if (const ErrorCode error = CreateMemberFolders(files, folder, member.name);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }
  if (platform::IsPathSeparator(member.name.back())) return 0;  // a folder entry
  const std::u16string output_name = folder + member.name;
  std::unique_ptr<platform::File> output;
  if (const ErrorCode error = files.Open(output_name, platform::kGenericWrite, 0,
                                         platform::Disposition::kCreateAlways, &output);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }
  int result = CopyMember(archive, member.info, *output);
  if (const ErrorCode closed = output->Close(); result == 0 && closed != kErrorSuccess) {
    result = kArchiveDataError;
  }
  output.reset();
  if (result != 0) {
    files.DeleteFile(output_name);
    return result;
  }
  files.SetAttributes(output_name, static_cast<std::uint32_t>(member.info.external_fa));
  platform::FileTime last_write = 0;
  if (platform::SystemTimeToFileTime(MemberDate(member.info.tmu_date), &last_write)) {
    files.SetLastWriteTime(output_name, last_write);
  }
  if (extracted_files != nullptr) extracted_files->push_back(output_name);
  return 0;
}

// Every member name is checked before anything is written.
int CheckMemberNames(const platform::Device& device, unzFile archive) {
  for (int result = unzGoToFirstFile(archive); result != UNZ_END_OF_LIST_OF_FILE;
       result = unzGoToNextFile(archive)) {
    if (result != UNZ_OK) return result;
    MemberInfo member;
    if (const int read = ReadMemberInfo(device, archive, &member); read != UNZ_OK) return read;
    if (!IsSafeMemberName(member.name)) return kArchiveUnsafeMemberName;
  }
  return 0;
}

}  // namespace

int AddFile(const platform::Device& device, std::u16string_view source_file,
            std::u16string_view archive_file, int method, const ArchiveProgress& progress) {
  if (source_file.empty() || archive_file.empty()) return kArchiveMissingName;
  const std::string member_name = device.code_page().ToAnsi(platform::BaseName(source_file));
  if (member_name.empty() || member_name.size() >= kMaxAnsiPathBytes) return kArchiveMissingName;

  platform::FileSystem& files = device.files();
  platform::FileAttributeData attributes;
  if (const ErrorCode error = files.GetAttributes(source_file, &attributes);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }
  if (progress) progress(0, static_cast<std::uint32_t>(attributes.size));

  std::unique_ptr<platform::File> source;
  if (const ErrorCode error = files.Open(source_file, platform::kGenericRead, platform::kShareRead,
                                         platform::Disposition::kOpenExisting, &source);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }

  ArchiveIo io{&files};
  zlib_filefunc64_def functions = FileFunctions(&io);
  const std::u16string archive_name(archive_file);
  const int append = files.FileExists(archive_name) ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE;
  zipFile archive = zipOpen2_64(&archive_name, append, nullptr, &functions);
  if (archive == nullptr) return ZIP_ERRNO;

  zip_fileinfo info{};
  platform::SystemTime written;
  platform::FileTimeToSystemTime(attributes.last_write_time, &written);
  info.tmz_date.tm_sec = written.second;
  info.tmz_date.tm_min = written.minute;
  info.tmz_date.tm_hour = written.hour;
  info.tmz_date.tm_mday = written.day;
  info.tmz_date.tm_mon = written.month;  // 1 to 12 into a field counted from 0: the kept shift
  info.tmz_date.tm_year = written.year;
  info.dosDate = 0;
  info.internal_fa = attributes.attributes;
  info.external_fa = 0;

  int result = zipOpenNewFileInZip3(archive, member_name.c_str(), &info, nullptr, 0, nullptr, 0,
                                    nullptr, method, kLevel, 0, -MAX_WBITS, kMemoryLevel,
                                    Z_DEFAULT_STRATEGY, nullptr, 0);
  if (result == ZIP_OK) {
    std::unique_ptr<char[]> chunk(new char[kChunkBytes]);
    std::uint64_t done = 0;
    for (;;) {
      std::size_t read = 0;
      if (source->Read(chunk.get(), kChunkBytes, &read) != kErrorSuccess) {
        result = kArchiveDataError;
        break;
      }
      if (read == 0) break;
      if (zipWriteInFileInZip(archive, chunk.get(), static_cast<unsigned>(read)) < 0) {
        result = kArchiveDataError;
        break;
      }
      done += read;
      if (progress) progress(static_cast<std::uint32_t>(done), 0);
    }
    if (zipCloseFileInZip(archive) != ZIP_OK && result == ZIP_OK) result = kArchiveDataError;
  }
  source->Close();
  if (zipClose(archive, nullptr) != ZIP_OK && result == ZIP_OK) result = kArchiveDataError;
  return result;
}

int Extract(const platform::Device& device, std::u16string_view archive_file,
            std::u16string_view destination_folder, std::vector<std::u16string>* extracted_files) {
  if (archive_file.empty()) return kArchiveMissingName;
  ArchiveIo io;
  zlib_filefunc64_def functions;
  int result = 0;
  const std::u16string archive_name(archive_file);
  unzFile archive = OpenForReading(device, archive_name, &io, &functions, &result);
  if (archive == nullptr) return result;

  platform::FileSystem& files = device.files();
  std::u16string folder(destination_folder);
  if (folder.empty()) {
    folder = files.ProgramFolder();
  } else if (files.CreateFolder(folder) != kErrorSuccess) {
    unzClose(archive);
    return kArchiveDestinationError;
  }
  folder = platform::WithTrailingSeparator(folder);

  unz_global_info64 global{};
  if (unzGetGlobalInfo64(archive, &global) != UNZ_OK) {
    unzClose(archive);
    return kArchiveBadGlobalInfo;
  }
  result = CheckMemberNames(device, archive);
  if (result == 0) {
    for (int step = unzGoToFirstFile(archive); step != UNZ_END_OF_LIST_OF_FILE;
         step = unzGoToNextFile(archive)) {
      result = step != UNZ_OK ? step : ExtractMember(device, archive, folder, extracted_files);
      if (result != 0) break;
    }
  }
  unzClose(archive);
  return result;
}

int ListMembers(const platform::Device& device, std::u16string_view archive_file,
                std::vector<ArchiveMember>* members) {
  if (archive_file.empty()) return kArchiveMissingName;
  ArchiveIo io;
  zlib_filefunc64_def functions;
  int result = 0;
  const std::u16string archive_name(archive_file);
  unzFile archive = OpenForReading(device, archive_name, &io, &functions, &result);
  if (archive == nullptr) return result;
  for (int step = unzGoToFirstFile(archive); step != UNZ_END_OF_LIST_OF_FILE;
       step = unzGoToNextFile(archive)) {
    MemberInfo member;
    result = step != UNZ_OK ? step : ReadMemberInfo(device, archive, &member);
    if (result != 0) break;
    members->push_back(ArchiveMember{
        member.name, member.info.uncompressed_size, member.info.compressed_size,
        static_cast<int>(member.info.compression_method), MemberDate(member.info.tmu_date),
        static_cast<std::uint32_t>(member.info.internal_fa),
        static_cast<std::uint32_t>(member.info.external_fa)});
  }
  unzClose(archive);
  return result;
}

std::u16string ArchiveErrorText(int code) {
  switch (code) {
    case 0:
      return {};
    case kArchiveDataError:
      return u"read or write error while copying data";
    case kArchiveMissingName:
      return u"a required file name is missing";
    case kArchiveBadGlobalInfo:
      return u"not a readable archive";
    case kArchiveDestinationError:
      return u"the destination folder cannot be created";
    case kArchiveUnsafeMemberName:
      return u"a member's name would place it outside the folder";
    case kArchiveMemberTooLarge:
      return u"a member holds more data than its header says";
    case Z_DATA_ERROR:
      return u"a member's data is damaged";
    case UNZ_CRCERROR:
      return u"a member's checksum does not match its data";
  }
  if (code > 0) {
    std::u16string text = platform::SystemErrorText(static_cast<platform::ErrorCode>(code));
    if (!text.empty()) return text;
  }
  return platform::Format(u"archive error %d", code);
}

}  // namespace kestrav::records
