#include "records/archive.h"

#include <minizip/unzip.h>
#include <minizip/zip.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "platform/format.h"
#include "records/parallel_deflate.h"

namespace kestrav::records {
namespace {

using platform::ErrorCode;
using platform::kErrorSuccess;

constexpr std::size_t kChunkBytes = 64 * 1024;
constexpr int kLevel = 8;
constexpr int kMemoryLevel = 8;
// libdeflate's level that does the work. On record text it takes two thirds of level 9's time for
// an archive 1 to 2% larger than zlib's at kLevel (level 9: within 1%), and level 9 would make a
// whole backup slower than a dump of the stores through gzip.
constexpr int kCompressorLevel = 8;
// Longest member name accepted, in ANSI bytes; the device's names are far shorter.
constexpr std::size_t kMaxMemberNameBytes = 1024;
constexpr std::size_t kMaxAnsiPathBytes = 260;
// A 32-bit size or offset this large stands for "see the ZIP64 field".
constexpr std::uint64_t kZip64Limit = 0xFFFFFFFF;

// --- minizip reads and writes the archive through the device's file system ---

struct ArchiveIo {
  platform::FileSystem* files;
  ErrorCode last_error = kErrorSuccess;
  // The first write or close the host refused: why an addition failed, where it did.
  ErrorCode refused_write = kErrorSuccess;

  void NoteWrite(ErrorCode error) {
    last_error = error;
    if (refused_write == kErrorSuccess) refused_write = error;
  }
};

// The archive's file with read buffers in front of it: minizip reads the directory a few bytes
// at a time, which would be one system call per byte. Two buffers, as reading goes back and
// forth between the directory at the end and the members' headers and data before it. Writes go
// straight through (minizip's writer buffers them itself) and drop what was read ahead.
class ArchiveStream {
 public:
  explicit ArchiveStream(std::unique_ptr<platform::File> file) : file_(std::move(file)) {}

  ErrorCode Read(unsigned char* bytes, std::size_t size, std::size_t* done) {
    *done = 0;
    while (*done < size) {
      Buffer* buffer = BufferHolding(position_);
      if (buffer == nullptr) {
        buffer = &buffers_[least_recent_];
        if (const ErrorCode error = Refill(*buffer); error != kErrorSuccess) return error;
        if (buffer->size == 0) break;  // the end of the file
      }
      least_recent_ = buffer == &buffers_[0] ? 1 : 0;
      const std::size_t offset = static_cast<std::size_t>(position_ - buffer->start);
      const std::size_t count = std::min(size - *done, buffer->size - offset);
      std::memcpy(bytes + *done, buffer->bytes.data() + offset, count);
      *done += count;
      position_ += count;
    }
    return kErrorSuccess;
  }

  ErrorCode Write(const void* data, std::size_t size, std::size_t* written) {
    for (Buffer& buffer : buffers_) buffer.size = 0;
    *written = 0;
    if (const ErrorCode error = file_->Seek(static_cast<std::int64_t>(position_),
                                            platform::SeekOrigin::kBegin, nullptr);
        error != kErrorSuccess) {
      return error;
    }
    const ErrorCode error = file_->Write(data, size, written);
    position_ += *written;
    return error;
  }

  std::uint64_t Tell() const { return position_; }

  ErrorCode Seek(std::int64_t offset, platform::SeekOrigin origin) {
    if (origin == platform::SeekOrigin::kEnd) {
      return file_->Seek(offset, origin, &position_);
    }
    const std::int64_t base =
        origin == platform::SeekOrigin::kBegin ? 0 : static_cast<std::int64_t>(position_);
    if (offset < -base) return platform::kErrorInvalidParameter;
    position_ = static_cast<std::uint64_t>(base + offset);
    return kErrorSuccess;
  }

  ErrorCode Close() { return file_->Close(); }

 private:
  static constexpr std::size_t kBufferBytes = 64 * 1024;

  struct Buffer {
    std::vector<unsigned char> bytes;
    std::uint64_t start = 0;
    std::size_t size = 0;
  };

  Buffer* BufferHolding(std::uint64_t position) {
    for (Buffer& buffer : buffers_) {
      if (position >= buffer.start && position - buffer.start < buffer.size) return &buffer;
    }
    return nullptr;
  }

  ErrorCode Refill(Buffer& buffer) {
    buffer.bytes.resize(kBufferBytes);
    buffer.start = position_;
    buffer.size = 0;
    if (const ErrorCode error = file_->Seek(static_cast<std::int64_t>(position_),
                                            platform::SeekOrigin::kBegin, nullptr);
        error != kErrorSuccess) {
      return error;
    }
    while (buffer.size < buffer.bytes.size()) {
      std::size_t read = 0;
      if (const ErrorCode error = file_->Read(buffer.bytes.data() + buffer.size,
                                              buffer.bytes.size() - buffer.size, &read);
          error != kErrorSuccess) {
        buffer.size = 0;
        return error;
      }
      if (read == 0) break;
      buffer.size += read;
    }
    return kErrorSuccess;
  }

  std::unique_ptr<platform::File> file_;
  std::array<Buffer, 2> buffers_;
  std::size_t least_recent_ = 0;
  std::uint64_t position_ = 0;
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
  if (io->last_error != kErrorSuccess) return nullptr;
  return new ArchiveStream(std::move(file));
}

uLong ReadArchive(voidpf opaque, voidpf stream, void* buffer, uLong size) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::size_t done = 0;
  io->last_error =
      static_cast<ArchiveStream*>(stream)->Read(static_cast<unsigned char*>(buffer), size, &done);
  return done;
}

uLong WriteArchive(voidpf opaque, voidpf stream, const void* buffer, uLong size) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::size_t written = 0;
  io->NoteWrite(static_cast<ArchiveStream*>(stream)->Write(buffer, size, &written));
  return written;
}

ZPOS64_T TellArchive(voidpf /*opaque*/, voidpf stream) {
  return static_cast<ArchiveStream*>(stream)->Tell();
}

long SeekArchive(voidpf opaque, voidpf stream, ZPOS64_T offset, int origin) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  const auto seek_origin = origin == ZLIB_FILEFUNC_SEEK_SET   ? platform::SeekOrigin::kBegin
                           : origin == ZLIB_FILEFUNC_SEEK_CUR ? platform::SeekOrigin::kCurrent
                                                              : platform::SeekOrigin::kEnd;
  io->last_error =
      static_cast<ArchiveStream*>(stream)->Seek(static_cast<std::int64_t>(offset), seek_origin);
  return io->last_error == kErrorSuccess ? 0 : -1;
}

int CloseArchive(voidpf opaque, voidpf stream) {
  auto* io = static_cast<ArchiveIo*>(opaque);
  std::unique_ptr<ArchiveStream> file(static_cast<ArchiveStream*>(stream));
  const ErrorCode error = file->Close();
  if (error != kErrorSuccess) io->NoteWrite(error);
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

// An archive opened for reading, closed when it goes.
class ArchiveReader {
 public:
  ArchiveReader(const platform::Device& device, std::u16string_view archive_file)
      : io_{&device.files()}, functions_(FileFunctions(&io_)), name_(archive_file) {
    archive_ = unzOpen2_64(&name_, &functions_);
    if (archive_ == nullptr) {
      error_ = io_.last_error != kErrorSuccess ? static_cast<int>(io_.last_error)
                                               : kArchiveBadGlobalInfo;
    }
  }
  ~ArchiveReader() {
    if (archive_ != nullptr) unzClose(archive_);
  }
  ArchiveReader(const ArchiveReader&) = delete;
  ArchiveReader& operator=(const ArchiveReader&) = delete;

  // 0 when the archive is open; else the system's code when the file could not be opened, or
  // kArchiveBadGlobalInfo when it is not a readable archive.
  int error() const { return error_; }
  unzFile get() const { return archive_; }

 private:
  ArchiveIo io_;
  zlib_filefunc64_def functions_;
  std::u16string name_;
  unzFile archive_ = nullptr;
  int error_ = 0;
};

// --- member names and dates ---

// A name that stays in the folder it is given and holds no folder of its own.
bool IsPlainFileName(std::u16string_view name) {
  return IsSafeMemberName(name) && name != u"." &&
         std::ranges::none_of(name, platform::IsPathSeparator);
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

// Bits of a member's general purpose flag.
constexpr uLong kFlagEncrypted = 0x0001;
constexpr uLong kFlagUtf8Name = 0x0800;
// Info-ZIP's Unicode path field: a version byte, the CRC of the name in the header, the name in
// UTF-8.
constexpr std::uint16_t kUnicodePathTag = 0x7075;

struct MemberInfo {
  unz_file_info64 info{};
  std::u16string name;
  int fault = 0;  // as ArchiveMember::fault
};

// Buffers for reading the members' directory entries, reused from one member to the next.
struct DirectoryBuffers {
  std::array<char, kMaxMemberNameBytes + 1> name{};
  std::vector<char> extra = std::vector<char>(0xFFFF);
};

std::uint16_t LittleEndian16(const char* bytes) {
  return static_cast<std::uint16_t>(static_cast<unsigned char>(bytes[0]) |
                                    static_cast<unsigned char>(bytes[1]) << 8);
}

// The UTF-8 name of Info-ZIP's Unicode path field when the field is there and was made for this
// very name (its CRC matches); empty otherwise.
std::string_view UnicodePathOf(std::span<const char> extra, std::string_view name) {
  for (std::size_t at = 0; at + 4 <= extra.size();) {
    const std::uint16_t tag = LittleEndian16(&extra[at]);
    const std::size_t size = LittleEndian16(&extra[at + 2]);
    if (at + 4 + size > extra.size()) break;
    if (tag == kUnicodePathTag && size > 5 && extra[at + 4] == 1) {
      const uLong stated = static_cast<unsigned char>(extra[at + 5]) |
                           static_cast<uLong>(static_cast<unsigned char>(extra[at + 6])) << 8 |
                           static_cast<uLong>(static_cast<unsigned char>(extra[at + 7])) << 16 |
                           static_cast<uLong>(static_cast<unsigned char>(extra[at + 8])) << 24;
      const uLong actual = crc32(crc32(0, nullptr, 0), reinterpret_cast<const Bytef*>(name.data()),
                                 static_cast<uInt>(name.size()));
      if (stated == actual) return std::string_view(&extra[at + 9], size - 5);
    }
    at += 4 + size;
  }
  return {};
}

int ReadMemberInfo(const platform::Device& device, unzFile archive, DirectoryBuffers& buffers,
                   MemberInfo* member) {
  const int result = unzGetCurrentFileInfo64(archive, &member->info, buffers.name.data(),
                                             buffers.name.size(), buffers.extra.data(),
                                             static_cast<uLong>(buffers.extra.size()), nullptr, 0);
  if (result != UNZ_OK) return result;
  const unz_file_info64& info = member->info;
  const bool name_too_long = info.size_filename > kMaxMemberNameBytes;
  const std::string_view raw_name(buffers.name.data(),
                                  std::min<std::size_t>(info.size_filename, kMaxMemberNameBytes));
  const std::string_view unicode_path =
      name_too_long
          ? std::string_view()
          : UnicodePathOf(std::span<const char>(
                              buffers.extra.data(),
                              std::min<std::size_t>(info.size_file_extra, buffers.extra.size())),
                          raw_name);
  if ((info.flag & kFlagUtf8Name) != 0) {
    member->name = platform::FromUtf8(raw_name);
  } else if (!unicode_path.empty()) {
    member->name = platform::FromUtf8(unicode_path);
  } else {
    member->name = device.code_page().ToWide(raw_name);
  }
  member->fault = 0;
  if (name_too_long) {
    // Enough of it for the user to know the member again.
    constexpr std::size_t kShownNameUnits = 60;
    if (member->name.size() > kShownNameUnits) member->name.resize(kShownNameUnits);
    member->name += u"...";
    member->fault = kArchiveMemberNameTooLong;
  } else if ((info.flag & kFlagEncrypted) != 0) {
    member->fault = kArchiveEncryptedMember;
  } else if (info.compression_method != kMethodStored &&
             info.compression_method != kMethodDeflated) {
    member->fault = kArchiveUnsupportedMethod;
  }
  return UNZ_OK;
}

// Walks the members in directory order, the archive at each member in turn, and calls visit
// with it; stops at the first non-zero answer, or error, and returns it.
template <typename Visit>
int ForEachMember(const platform::Device& device, unzFile archive, Visit visit) {
  unz_global_info64 global{};
  if (unzGetGlobalInfo64(archive, &global) != UNZ_OK) return kArchiveBadGlobalInfo;
  if (global.number_entry == 0) return 0;  // an empty archive: its end record alone
  DirectoryBuffers buffers;
  for (int step = unzGoToFirstFile(archive); step != UNZ_END_OF_LIST_OF_FILE;
       step = unzGoToNextFile(archive)) {
    MemberInfo member;
    if (const int result =
            step != UNZ_OK ? step : ReadMemberInfo(device, archive, buffers, &member);
        result != 0) {
      return result;
    }
    if (const int result = visit(member); result != 0) return result;
  }
  return 0;
}

ArchiveMember MemberOf(const MemberInfo& member) {
  return ArchiveMember{member.name,
                       member.info.uncompressed_size,
                       member.info.compressed_size,
                       static_cast<int>(member.info.compression_method),
                       MemberDate(member.info.tmu_date),
                       static_cast<std::uint32_t>(member.info.internal_fa),
                       static_cast<std::uint32_t>(member.info.external_fa),
                       member.fault};
}

int ReadDirectory(const platform::Device& device, unzFile archive,
                  std::vector<ArchiveMember>* members) {
  return ForEachMember(device, archive, [members](const MemberInfo& member) {
    members->push_back(MemberOf(member));
    return 0;
  });
}

// --- reading a member's data back ---

// Receives a member's data as it is inflated; false is a write error.
using MemberSink = std::function<bool(const unsigned char* bytes, std::size_t count)>;

// Inflates the member in hand here, so that its data is checked against the size and CRC the
// directory states: nothing past the stated size ever reaches the sink.
int InflateMember(unzFile archive, const unz_file_info64& info, const MemberSink& sink) {
  if ((info.flag & kFlagEncrypted) != 0) return kArchiveEncryptedMember;
  if (info.compression_method != Z_DEFLATED && info.compression_method != 0) {
    return kArchiveUnsupportedMethod;
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
    if (!sink(bytes, count)) return kArchiveDataError;
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

// --- extraction ---

// Opens the destination, creating it when missing; an empty one is the program's folder.
// *path receives its path with a trailing separator.
int OpenDestination(const platform::Device& device, std::u16string_view destination_folder,
                    std::unique_ptr<platform::Folder>* folder, std::u16string* path) {
  platform::FileSystem& files = device.files();
  *path = destination_folder.empty() ? files.ProgramFolder() : std::u16string(destination_folder);
  if (files.OpenFolder(*path, true, folder) != kErrorSuccess) return kArchiveDestinationError;
  *path = platform::WithTrailingSeparator(*path);
  return 0;
}

// The path of a file extracted below the folder: the name's separators become the folder's, so
// that the path of a host folder names the file that was written.
std::u16string PathBelow(const std::u16string& folder_path, std::u16string_view name) {
  std::u16string path = folder_path + std::u16string(name);
  const char16_t separator = platform::IsHostPath(folder_path) ? u'/' : u'\\';
  std::replace_if(path.begin() + static_cast<std::ptrdiff_t>(folder_path.size()), path.end(),
                  platform::IsPathSeparator, separator);
  return path;
}

// Writes the member in hand to a file below the folder, or removes the file again.
int ExtractMemberAs(platform::Folder& folder, unzFile archive, const unz_file_info64& info,
                    std::u16string_view file_name) {
  std::unique_ptr<platform::File> output;
  if (const ErrorCode error = folder.Open(file_name, platform::kGenericWrite,
                                          platform::Disposition::kCreateAlways, &output);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }
  int result =
      InflateMember(archive, info, [&output](const unsigned char* bytes, std::size_t count) {
        std::size_t done = 0;
        return output->Write(bytes, count, &done) == kErrorSuccess && done == count;
      });
  if (result == 0) {
    // Like the device, a file whose attributes or time cannot be set is still extracted.
    output->SetAttributes(static_cast<std::uint32_t>(info.external_fa));
    platform::FileTime last_write = 0;
    if (platform::SystemTimeToFileTime(MemberDate(info.tmu_date), &last_write)) {
      output->SetLastWriteTime(last_write);
    }
  }
  if (const ErrorCode closed = output->Close(); result == 0 && closed != kErrorSuccess) {
    result = kArchiveDataError;
  }
  output.reset();
  if (result != 0) folder.DeleteFile(file_name);
  return result;
}

// Every member name is checked before anything is written; a name too long to read refuses the
// archive too unless such members are passed over.
int CheckMemberNames(const platform::Device& device, unzFile archive, bool skipping_faults) {
  return ForEachMember(device, archive, [skipping_faults](const MemberInfo& member) {
    if (member.fault == kArchiveMemberNameTooLong) {
      return skipping_faults ? 0 : kArchiveMemberNameTooLong;
    }
    return IsSafeMemberName(member.name) ? 0 : kArchiveUnsafeMemberName;
  });
}

// A folder entry: named with a trailing separator, or marked with the directory attribute.
bool IsFolderEntry(const MemberInfo& member) {
  return (!member.name.empty() && platform::IsPathSeparator(member.name.back())) ||
         (member.info.external_fa & platform::kAttributeDirectory) != 0;
}

// --- adding a member ---

// Reads a member's data, 64 KiB at a time, reporting the progress after each read.
class SourceReader {
 public:
  SourceReader(platform::File& source, const ArchiveProgress& progress)
      : source_(source), progress_(progress) {}

  // Fills the buffer; *size is less than its capacity only at the end of the file.
  bool Read(unsigned char* buffer, std::size_t capacity, std::size_t* size) {
    *size = 0;
    while (*size < capacity) {
      std::size_t read = 0;
      if (source_.Read(buffer + *size, std::min(kChunkBytes, capacity - *size), &read) !=
          kErrorSuccess) {
        return false;
      }
      if (read == 0) break;
      *size += read;
      done_ += read;
      if (progress_) progress_(static_cast<std::uint32_t>(done_), 0);
    }
    return true;
  }

 private:
  platform::File& source_;
  const ArchiveProgress& progress_;
  std::uint64_t done_ = 0;
};

// Writes a deflated member's pieces in order through minizip's raw mode. The member is opened at
// the first piece, whose stream tells whether the data is text: as when minizip deflates a
// member itself, a text member carries 1 in place of the file's attributes.
class DeflatedMemberWriter {
 public:
  DeflatedMemberWriter(zipFile archive, const std::string& name, const zip_fileinfo& info,
                       bool zip64)
      : archive_(archive), name_(name), info_(info), zip64_(zip64) {}

  int Write(const DeflatedPiece& piece) {
    if (!opened_) {
      if (piece.text) info_.internal_fa = Z_TEXT;
      if (const int result = zipOpenNewFileInZip3_64(
              archive_, name_.c_str(), &info_, nullptr, 0, nullptr, 0, nullptr, Z_DEFLATED, kLevel,
              1, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY, nullptr, 0, zip64_ ? 1 : 0);
          result != ZIP_OK) {
        return result;
      }
      opened_ = true;
    }
    if (!WritePiece(piece.bytes, piece.size)) return kArchiveDataError;
    size_ += piece.input_size;
    crc_ = crc32_combine(crc_, piece.crc, static_cast<z_off_t>(piece.input_size));
    finished_ = piece.last;
    return 0;
  }

  // Closes the member with the size and CRC of the data written. A member cut short by an error
  // is ended with an empty last block, so that it stays a readable member of that data.
  int Close() {
    if (!opened_) return 0;
    static constexpr unsigned char kEmptyLastBlock[] = {0x03, 0x00};
    if (!finished_) WritePiece(kEmptyLastBlock, sizeof kEmptyLastBlock);
    return zipCloseFileInZipRaw64(archive_, size_, crc_) == ZIP_OK ? 0 : kArchiveDataError;
  }

 private:
  bool WritePiece(const unsigned char* bytes, std::size_t size) {
    return zipWriteInFileInZip(archive_, bytes, static_cast<unsigned>(size)) == ZIP_OK;
  }

  zipFile archive_;
  const std::string& name_;
  zip_fileinfo info_;
  const bool zip64_;
  bool opened_ = false;
  bool finished_ = false;
  std::uint64_t size_ = 0;
  uLong crc_ = 0;
};

int AddStored(zipFile archive, const std::string& name, const zip_fileinfo& info, bool zip64,
              SourceReader& reader) {
  if (const int result = zipOpenNewFileInZip3_64(
          archive, name.c_str(), &info, nullptr, 0, nullptr, 0, nullptr, kMethodStored, kLevel, 0,
          -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY, nullptr, 0, zip64 ? 1 : 0);
      result != ZIP_OK) {
    return result;
  }
  int result = 0;
  std::vector<unsigned char> block(kChunkBytes);
  for (std::size_t size = block.size(); result == 0 && size == block.size();) {
    if (!reader.Read(block.data(), block.size(), &size) ||
        zipWriteInFileInZip(archive, block.data(), static_cast<unsigned>(size)) != ZIP_OK) {
      result = kArchiveDataError;
    }
  }
  if (zipCloseFileInZip(archive) != ZIP_OK && result == 0) result = kArchiveDataError;
  return result;
}

zip_fileinfo MemberFileInfo(const platform::FileAttributeData& attributes) {
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
  return info;
}

}  // namespace

bool MemberNeedsZip64(std::uint64_t size, int method) {
  return (method == kMethodStored ? size : DeflatedSizeBound(size)) >= kZip64Limit;
}

int AddFile(const platform::Device& device, std::u16string_view source_file,
            std::u16string_view archive_file, int method, const ArchiveProgress& progress) {
  if (source_file.empty() || archive_file.empty()) return kArchiveMissingName;
  const std::u16string_view base_name = platform::BaseName(source_file);
  const std::string member_name = device.code_page().ToAnsi(base_name);
  if (member_name.empty() || member_name.size() >= kMaxAnsiPathBytes) return kArchiveMissingName;
  // A name the code page cannot spell would be stored with "?" in its place.
  if (device.code_page().ToWide(member_name) != base_name) return kArchiveNameNotInCodePage;

  platform::FileSystem& files = device.files();
  platform::FileAttributeData attributes;
  if (const ErrorCode error = files.GetAttributes(source_file, &attributes);
      error != kErrorSuccess) {
    return static_cast<int>(error);
  }
  const std::u16string archive_name(archive_file);
  platform::FileAttributeData archive_attributes;
  const bool archive_exists =
      files.GetAttributes(archive_name, &archive_attributes) == kErrorSuccess &&
      (archive_attributes.attributes & platform::kAttributeDirectory) == 0;
  // The archive would read its own growing end without end.
  if (archive_exists &&
      archive_attributes.volume_serial_number == attributes.volume_serial_number &&
      archive_attributes.file_index == attributes.file_index) {
    return kArchiveOwnMember;
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
  zipFile archive =
      zipOpen2_64(&archive_name, archive_exists ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE,
                  nullptr, &functions);
  if (archive == nullptr) return ZIP_ERRNO;

  const zip_fileinfo info = MemberFileInfo(attributes);
  // Decided before the member's header is written, from the size the file has now; a file that
  // grows past 4 GiB while it is read fails rather than leave sizes that do not fit.
  const bool zip64 = MemberNeedsZip64(attributes.size, method);
  SourceReader reader(*source, progress);
  int result = 0;
  if (method == kMethodStored) {
    result = AddStored(archive, member_name, info, zip64, reader);
  } else {
    DeflatedMemberWriter writer(archive, member_name, info, zip64);
    result = DeflateInParallel(
        {.level = kLevel,
         .memory_level = kMemoryLevel,
         .compressor_level = kCompressorLevel,
         .block_bytes = DeflateBlockBytes(attributes.size)},
        [&reader](unsigned char* buffer, std::size_t capacity, std::size_t* size) {
          return reader.Read(buffer, capacity, size);
        },
        [&writer](const DeflatedPiece& piece) { return writer.Write(piece); });
    // A failed read or deflate is the archive's data error; a writer's code stands.
    if (result == kDeflateReadFailed || result == kDeflateFailed) result = kArchiveDataError;
    if (const int closed = writer.Close(); result == 0) result = closed;
  }
  source->Close();
  if (zipClose(archive, nullptr) != ZIP_OK && result == 0) result = kArchiveDataError;
  // A write the host refused says what went wrong - a full disk, say - better than a data error.
  if (result != 0 && io.refused_write != kErrorSuccess) result = static_cast<int>(io.refused_write);
  return result;
}

namespace {

// The level whose flag bits a deflated member carries, so that its copy carries the same.
int LevelOfFlag(uLong flag) {
  switch ((flag >> 1) & 3) {
    case 1:
      return 9;
    case 2:
      return 2;
    case 3:
      return 1;
    default:
      return Z_DEFAULT_COMPRESSION;
  }
}

// Copies the member in hand, its data as it is stored, into the archive being written.
int CopyMember(unzFile source, zipFile target, const unz_file_info64& info,
               std::span<const char> raw_name, std::span<const char> extra) {
  int method = 0;
  int level = 0;
  if (const int result = unzOpenCurrentFile2(source, &method, &level, 1); result != UNZ_OK) {
    return result;
  }
  zip_fileinfo file_info{};
  file_info.dosDate = info.dosDate;
  file_info.internal_fa = info.internal_fa;
  file_info.external_fa = info.external_fa;
  const std::string name(raw_name.begin(), raw_name.end());
  // Without its ZIP64 part, which the writer makes again where the member needs it.
  std::vector<char> kept_extra(extra.begin(), extra.end());
  int kept_size = static_cast<int>(kept_extra.size());
  if (kept_size > 0) zipRemoveExtraInfoBlock(kept_extra.data(), &kept_size, 0x0001);
  kept_extra.resize(static_cast<std::size_t>(kept_size));
  // The flag's encryption and UTF-8 bits stay; the level's come from the level.
  const uLong flag = info.flag & (kFlagEncrypted | kFlagUtf8Name);
  int result = zipOpenNewFileInZip4_64(
      target, name.c_str(), &file_info, kept_extra.data(), static_cast<uInt>(kept_extra.size()),
      kept_extra.data(), static_cast<uInt>(kept_extra.size()), nullptr,
      static_cast<int>(info.compression_method), LevelOfFlag(info.flag), 1, -MAX_WBITS,
      kMemoryLevel, Z_DEFAULT_STRATEGY, nullptr, 0, info.version, flag,
      info.uncompressed_size >= kZip64Limit || info.compressed_size >= kZip64Limit ? 1 : 0);
  if (result == ZIP_OK) {
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[kChunkBytes]);
    for (;;) {
      const int read = unzReadCurrentFile(source, buffer.get(), kChunkBytes);
      if (read < 0) result = read;
      if (read <= 0) break;
      if (zipWriteInFileInZip(target, buffer.get(), static_cast<unsigned>(read)) != ZIP_OK) {
        result = kArchiveDataError;
        break;
      }
    }
    if (zipCloseFileInZipRaw64(target, info.uncompressed_size, info.crc) != ZIP_OK && result == 0)
      result = kArchiveDataError;
  }
  unzCloseCurrentFile(source);
  return result;
}

}  // namespace

int RemoveMembers(const platform::Device& device, std::u16string_view archive_file,
                  std::span<const std::u16string> names, std::size_t* removed) {
  if (removed != nullptr) *removed = 0;
  if (archive_file.empty()) return kArchiveMissingName;
  const ArchiveReader reader(device, archive_file);
  if (reader.error() != 0) return reader.error();
  unzFile source = reader.get();
  platform::FileSystem& files = device.files();
  const std::u16string replacement = std::u16string(archive_file) + u".replacing";
  ArchiveIo io{&files};
  zlib_filefunc64_def functions = FileFunctions(&io);
  zipFile target = zipOpen2_64(&replacement, APPEND_STATUS_CREATE, nullptr, &functions);
  if (target == nullptr)
    return io.last_error != kErrorSuccess ? static_cast<int>(io.last_error) : ZIP_ERRNO;
  std::size_t count = 0;
  DirectoryBuffers buffers;
  int result = ForEachMember(device, source, [&](const MemberInfo& member) {
    if (std::ranges::any_of(names, [&member](const std::u16string& name) {
          return platform::EqualsIgnoringAsciiCase(name, member.name);
        })) {
      ++count;
      return 0;
    }
    // The name and extra field again, as they stand in the directory.
    unz_file_info64 info{};
    if (const int read = unzGetCurrentFileInfo64(
            source, &info, buffers.name.data(), buffers.name.size(), buffers.extra.data(),
            static_cast<uLong>(buffers.extra.size()), nullptr, 0);
        read != UNZ_OK) {
      return read;
    }
    if (info.size_filename > kMaxMemberNameBytes) return kArchiveMemberNameTooLong;
    return CopyMember(source, target, info,
                      std::span<const char>(buffers.name.data(), info.size_filename),
                      std::span<const char>(buffers.extra.data(), info.size_file_extra));
  });
  if (zipClose(target, nullptr) != ZIP_OK && result == 0) result = kArchiveDataError;
  if (result == 0) {
    if (const ErrorCode error = files.Rename(replacement, archive_file); error != kErrorSuccess)
      result = static_cast<int>(error);
  }
  if (result != 0) {
    files.DeleteFile(replacement);
    return result;
  }
  if (removed != nullptr) *removed = count;
  return 0;
}

int Extract(const platform::Device& device, std::u16string_view archive_file,
            std::u16string_view destination_folder, std::vector<std::u16string>* extracted_files,
            std::vector<ArchiveMember>* skipped) {
  if (archive_file.empty()) return kArchiveMissingName;
  const ArchiveReader reader(device, archive_file);
  if (reader.error() != 0) return reader.error();
  unzFile archive = reader.get();
  if (const int result = CheckMemberNames(device, archive, skipped != nullptr); result != 0) {
    return result;
  }
  std::unique_ptr<platform::Folder> folder;
  std::u16string folder_path;
  if (const int result = OpenDestination(device, destination_folder, &folder, &folder_path);
      result != 0) {
    return result;
  }
  return ForEachMember(device, archive, [&](const MemberInfo& member) {
    if (member.fault != 0 && skipped != nullptr) {
      skipped->push_back(MemberOf(member));
      return 0;
    }
    if (IsFolderEntry(member)) {
      std::u16string_view name = member.name;
      while (!name.empty() && platform::IsPathSeparator(name.back())) name.remove_suffix(1);
      if (name.empty()) return 0;
      const ErrorCode error = folder->CreateFolder(name);
      return error == kErrorSuccess ? 0 : static_cast<int>(error);
    }
    const std::size_t last_separator = member.name.find_last_of(u"\\/");
    if (last_separator != std::u16string::npos) {
      if (const ErrorCode error = folder->CreateFolder(member.name.substr(0, last_separator));
          error != kErrorSuccess) {
        return static_cast<int>(error);
      }
    }
    if (const int result = ExtractMemberAs(*folder, archive, member.info, member.name);
        result != 0) {
      return result;
    }
    if (extracted_files != nullptr) extracted_files->push_back(PathBelow(folder_path, member.name));
    return 0;
  });
}

int ExtractMembers(const platform::Device& device, std::u16string_view archive_file,
                   std::u16string_view destination_folder, std::span<const MemberToExtract> members,
                   std::vector<std::u16string>* extracted_files) {
  if (archive_file.empty()) return kArchiveMissingName;
  for (const MemberToExtract& member : members) {
    if (!IsPlainFileName(member.file_name)) return kArchiveUnsafeMemberName;
  }
  const ArchiveReader reader(device, archive_file);
  if (reader.error() != 0) return reader.error();
  unzFile archive = reader.get();

  // Where each member starts in the directory, found in one pass; then the chosen members' own
  // headers, all before anything is written.
  std::vector<unz64_file_pos> places;
  if (const int result = ForEachMember(
          device, archive,
          [&](const MemberInfo&) { return unzGetFilePos64(archive, &places.emplace_back()); });
      result != 0) {
    return result;
  }
  std::vector<MemberInfo> chosen(members.size());
  DirectoryBuffers buffers;
  for (std::size_t index = 0; index < members.size(); ++index) {
    if (members[index].position >= places.size()) return kArchiveBadGlobalInfo;
    if (const int result = unzGoToFilePos64(archive, &places[members[index].position]);
        result != UNZ_OK) {
      return result;
    }
    if (const int result = ReadMemberInfo(device, archive, buffers, &chosen[index]);
        result != UNZ_OK) {
      return result;
    }
  }

  std::unique_ptr<platform::Folder> folder;
  std::u16string folder_path;
  if (const int result = OpenDestination(device, destination_folder, &folder, &folder_path);
      result != 0) {
    return result;
  }
  for (std::size_t index = 0; index < members.size(); ++index) {
    int result = unzGoToFilePos64(archive, &places[members[index].position]);
    if (result == UNZ_OK) {
      result = ExtractMemberAs(*folder, archive, chosen[index].info, members[index].file_name);
    }
    if (result != 0) return result;
    if (extracted_files != nullptr) {
      extracted_files->push_back(PathBelow(folder_path, members[index].file_name));
    }
  }
  return 0;
}

int ListMembers(const platform::Device& device, std::u16string_view archive_file,
                std::vector<ArchiveMember>* members) {
  if (archive_file.empty()) return kArchiveMissingName;
  const ArchiveReader reader(device, archive_file);
  if (reader.error() != 0) return reader.error();
  return ReadDirectory(device, reader.get(), members);
}

int TestArchive(const platform::Device& device, std::u16string_view archive_file,
                std::vector<ArchiveMember>* members) {
  if (archive_file.empty()) return kArchiveMissingName;
  const ArchiveReader reader(device, archive_file);
  if (reader.error() != 0) return reader.error();
  unzFile archive = reader.get();
  std::vector<ArchiveMember> directory;
  const int listed = ReadDirectory(device, archive, members != nullptr ? members : &directory);
  if (listed != 0) return listed;
  const MemberSink discard = [](const unsigned char*, std::size_t) { return true; };
  return ForEachMember(device, archive, [&](const MemberInfo& member) {
    return InflateMember(archive, member.info, discard);
  });
}

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

bool IsMacResourceMember(std::u16string_view name) {
  constexpr std::u16string_view kMacFolder = u"__MACOSX";
  return name.starts_with(kMacFolder) &&
         (name.size() == kMacFolder.size() || platform::IsPathSeparator(name[kMacFolder.size()]));
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
    case kArchiveMemberNameTooLong:
      return u"a member's name is too long";
    case kArchiveOwnMember:
      return u"the archive cannot be added to itself";
    case kArchiveUnsupportedMethod:
      return u"a member uses a compression method Kestrav does not read";
    case kArchiveEncryptedMember:
      return u"a member is encrypted";
    case kArchiveNameNotInCodePage:
      return u"the file's name cannot be written in the device's code page";
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

std::u16string_view CompressionMethodName(int method) {
  switch (method) {
    case kMethodStored:
      return u"Stored";
    case 1:
      return u"Shrunk";
    case 6:
      return u"Imploded";
    case kMethodDeflated:
      return u"Deflated";
    case 9:
      return u"Deflate64";
    case 12:
      return u"bzip2";
    case 14:
      return u"LZMA";
    case 93:
      return u"zstd";
    case 95:
      return u"xz";
    case 96:
      return u"JPEG";
    case 97:
      return u"WavPack";
    case 98:
      return u"PPMd";
    case 99:
      return u"AES";
    default:
      return {};
  }
}

std::u16string MemberFaultText(const ArchiveMember& member) {
  switch (member.fault) {
    case kArchiveEncryptedMember:
      return u"is encrypted";
    case kArchiveMemberNameTooLong:
      return u"has a name too long to read";
    case kArchiveUnsupportedMethod: {
      const std::u16string_view name = CompressionMethodName(member.method);
      return platform::Format(u"uses compression method %d", member.method) +
             (name.empty() ? u"" : u" (" + std::u16string(name) + u")") +
             u", which Kestrav does not read";
    }
    default:
      return ArchiveErrorText(member.fault);
  }
}

}  // namespace kestrav::records
