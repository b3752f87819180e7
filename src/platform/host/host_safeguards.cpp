#include "platform/host/host_safeguards.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/host/sqlite_database.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr char kJobLockFile[] = "job.lock";
constexpr char kSnapshotFolder[] = "undo";
constexpr char kPartialSnapshotFolder[] = "undo.partial";
constexpr char kPreviousSnapshotFolder[] = "undo.previous";
constexpr char kSnapshotInfoFile[] = "undo.json";
// The volumes a job can change, as device paths.
constexpr const char16_t* kStoreVolumes[] = {u"\\pim.vol", u"\\cemail.vol"};

class FlockJobLock : public JobLock {
 public:
  explicit FlockJobLock(int descriptor) : descriptor_(descriptor) {}
  ~FlockJobLock() override { ::close(descriptor_); }
  FlockJobLock(const FlockJobLock&) = delete;
  FlockJobLock& operator=(const FlockJobLock&) = delete;

 private:
  int descriptor_;
};

std::string TimeText(const SystemTime& time) {
  char text[48];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", time.year, time.month, time.day,
                time.hour, time.minute, time.second);
  return text;
}

SystemTime TimeOfText(const std::string& text) {
  SystemTime time;
  unsigned fields[6] = {};
  if (std::sscanf(text.c_str(), "%u-%u-%u %u:%u:%u", &fields[0], &fields[1], &fields[2], &fields[3],
                  &fields[4], &fields[5]) == 6) {
    time.year = static_cast<std::uint16_t>(fields[0]);
    time.month = static_cast<std::uint16_t>(fields[1]);
    time.day = static_cast<std::uint16_t>(fields[2]);
    time.hour = static_cast<std::uint16_t>(fields[3]);
    time.minute = static_cast<std::uint16_t>(fields[4]);
    time.second = static_cast<std::uint16_t>(fields[5]);
  }
  // Through a file time and back, which fills in the day of the week.
  FileTime file_time = 0;
  if (SystemTimeToFileTime(time, &file_time)) FileTimeToSystemTime(file_time, &time);
  return time;
}

std::string ReadAll(int descriptor) {
  std::string text;
  char chunk[512];
  for (off_t offset = 0; text.size() < 4096;) {
    const ssize_t done = ::pread(descriptor, chunk, sizeof chunk, offset);
    if (done <= 0) break;
    text.append(chunk, static_cast<std::size_t>(done));
    offset += done;
  }
  return text;
}

bool Reason(std::u16string* reason, const fs::path& path, std::string_view text) {
  if (reason != nullptr) *reason = FromUtf8(path.string()) + u": " + FromUtf8(text);
  return false;
}

// The description of the copy in `snapshot`: the job it was taken before, when, and its stores.
ErrorCode ReadSnapshotInfo(const fs::path& snapshot, nlohmann::json* taken,
                           std::u16string* reason) {
  std::FILE* in = std::fopen((snapshot / kSnapshotInfoFile).c_str(), "rb");
  if (in == nullptr) {
    Reason(reason, snapshot, "there is nothing to undo: no job has changed this device yet");
    return kErrorFileNotFound;
  }
  *taken = nlohmann::json::parse(in, nullptr, false);
  std::fclose(in);
  if (!taken->is_object() || !taken->contains("stores") || !(*taken)["stores"].is_array()) {
    Reason(reason, snapshot / kSnapshotInfoFile, "the copy of the stores is damaged");
    return kErrorGenFailure;
  }
  return kErrorSuccess;
}

// A folder of the profile must be a folder of its own that this program can write in.
bool FolderIsWritable(const fs::path& folder, std::u16string* reason) {
  struct stat status {};
  if (::lstat(folder.c_str(), &status) != 0) return Reason(reason, folder, "the folder is missing");
  if (S_ISLNK(status.st_mode))
    return Reason(reason, folder, "is a symbolic link; a device profile's folders must be folders");
  if (!S_ISDIR(status.st_mode)) return Reason(reason, folder, "is not a folder");
  // An unnamed file that vanishes when closed: a real write that leaves nothing behind.
  int probe = ::open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
  if (probe < 0 && (errno == EOPNOTSUPP || errno == EISDIR)) {
    const fs::path named = folder / (".write-test-" + std::to_string(::getpid()));
    probe = ::open(named.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (probe >= 0) ::unlink(named.c_str());
  }
  if (probe < 0) {
    return Reason(reason, folder,
                  errno == ENOSPC ? "the disk is full" : "the folder cannot be written");
  }
  ::close(probe);
  return true;
}

struct Connection {
  ~Connection() { sqlite3_close_v2(handle); }
  sqlite3* handle = nullptr;
};

int OpenConnection(const fs::path& file, int flags, int busy_timeout_milliseconds,
                   Connection* connection) {
  ConfigureSqlite();
  const int result =
      sqlite3_open_v2(file.c_str(), &connection->handle, flags | SQLITE_OPEN_NOFOLLOW, nullptr);
  if (result == SQLITE_OK) {
    sqlite3_extended_result_codes(connection->handle, 1);
    sqlite3_busy_timeout(connection->handle, busy_timeout_milliseconds);
  }
  return result;
}

// Whether a store can be written now: not read-only, and its write lock to be had.
bool StoreIsWritable(const fs::path& file, int busy_timeout_milliseconds, std::u16string* reason) {
  Connection connection;
  if (const int result =
          OpenConnection(file, SQLITE_OPEN_READWRITE, busy_timeout_milliseconds, &connection);
      result != SQLITE_OK) {
    return Reason(reason, file, StoreFailureText(result, busy_timeout_milliseconds));
  }
  if (sqlite3_db_readonly(connection.handle, "main") == 1)
    return Reason(reason, file, StoreFailureText(SQLITE_READONLY));
  if (sqlite3_exec(connection.handle, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr) != SQLITE_OK) {
    return Reason(
        reason, file,
        StoreFailureText(sqlite3_extended_errcode(connection.handle), busy_timeout_milliseconds));
  }
  sqlite3_exec(connection.handle, "ROLLBACK", nullptr, nullptr, nullptr);
  return true;
}

// Copies a whole database into another through SQLite's online backup: one transaction on the
// target, so it holds either all of the source or what it held before.
int CopyDatabase(sqlite3* source, sqlite3* target) {
  sqlite3_backup* backup = sqlite3_backup_init(target, "main", source, "main");
  if (backup == nullptr) return sqlite3_extended_errcode(target);
  const int stepped = sqlite3_backup_step(backup, -1);
  const int finished = sqlite3_backup_finish(backup);
  return stepped == SQLITE_DONE ? finished : stepped;
}

// SQLite's count of the changes other connections committed to the database, as this one sees it.
int DataVersion(sqlite3* connection, std::int64_t* version) {
  sqlite3_stmt* statement = nullptr;
  int result = sqlite3_prepare_v2(connection, "PRAGMA data_version", -1, &statement, nullptr);
  if (result == SQLITE_OK) {
    result = sqlite3_step(statement);
    if (result == SQLITE_ROW) {
      *version = sqlite3_column_int64(statement, 0);
      result = SQLITE_OK;
    }
  }
  sqlite3_finalize(statement);
  return result;
}

ErrorCode SyncPath(const fs::path& path, int flags) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | flags);
  if (descriptor < 0) return ErrorFromErrno(errno);
  const int result = ::fsync(descriptor);
  ::close(descriptor);
  return result == 0 ? kErrorSuccess : ErrorFromErrno(errno);
}

}  // namespace

ErrorCode HostSafeguards::TryLockJob(std::u16string_view job, std::unique_ptr<JobLock>* lock,
                                     JobHolder* holder) {
  const fs::path file = profile_ / kJobLockFile;
  int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644);
  // A profile that cannot be written can still be locked, so that the check that follows can
  // say what is wrong with it.
  if (descriptor < 0 && (errno == EACCES || errno == EROFS))
    descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
  if (descriptor < 0) return ErrorFromErrno(errno);
  if (::flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    const int error_number = errno;
    if (error_number == EWOULDBLOCK && holder != nullptr) {
      const nlohmann::json named = nlohmann::json::parse(ReadAll(descriptor), nullptr, false);
      *holder = JobHolder{};
      if (named.is_object()) {
        holder->job = FromUtf8(named.value("job", std::string()));
        holder->process_id = named.value("process", 0u);
        holder->started = TimeOfText(named.value("started", std::string()));
      }
    }
    ::close(descriptor);
    return error_number == EWOULDBLOCK ? kErrorLockViolation : ErrorFromErrno(error_number);
  }
  const std::string named = nlohmann::json{{"job", ToUtf8(job)},
                                           {"process", static_cast<unsigned>(::getpid())},
                                           {"started", TimeText(clock_.UtcTime())}}
                                .dump() +
                            "\n";
  if (::ftruncate(descriptor, 0) == 0) {
    [[maybe_unused]] const ssize_t written = ::pwrite(descriptor, named.data(), named.size(), 0);
  }
  *lock = std::make_unique<FlockJobLock>(descriptor);
  return kErrorSuccess;
}

ErrorCode HostSafeguards::CheckWritable(bool stores_too, std::u16string* reason) {
  for (const fs::path& folder : {profile_, profile_ / "fs", files_.HostPath(files_.TempFolder())}) {
    if (!FolderIsWritable(folder, reason)) return kErrorAccessDenied;
  }
  if (!stores_too) return kErrorSuccess;
  for (const char16_t* volume : kStoreVolumes) {
    FileAttributeData attributes;
    const ErrorCode found = files_.GetAttributes(volume, &attributes);
    if (found == kErrorFileNotFound) continue;
    if (found != kErrorSuccess) {
      Reason(reason, files_.HostPath(volume),
             found == kErrorAccessDenied ? "is a symbolic link; a store must be a file"
                                         : "the store cannot be read");
      return found;
    }
    if (!StoreIsWritable(files_.HostPath(volume), store_.busy_timeout_milliseconds(), reason))
      return kErrorWriteProtect;
  }
  return kErrorSuccess;
}

ErrorCode HostSafeguards::TakeSnapshot(std::u16string_view job, std::u16string* reason) {
  // The copy is of what is committed: the batches of the job before, if any, go in first.
  EndJobBatches();
  const fs::path partial = profile_ / kPartialSnapshotFolder;
  const fs::path snapshot = profile_ / kSnapshotFolder;
  const fs::path previous = profile_ / kPreviousSnapshotFolder;
  std::error_code error;
  fs::remove_all(partial, error);
  // Left by a job killed before it was over: older than the copy in place.
  fs::remove_all(previous, error);
  settling_ = false;
  watched_.clear();
  absent_at_snapshot_.clear();
  if (!fs::create_directory(partial, error)) {
    Reason(reason, partial, "the copy of the stores cannot be made: " + error.message());
    return kErrorAccessDenied;
  }
  nlohmann::json stores = nlohmann::json::array();
  std::vector<WatchedStore> watched;
  for (const char16_t* volume : kStoreVolumes) {
    if (!files_.FileExists(volume)) {
      absent_at_snapshot_.push_back(volume);
      continue;
    }
    const fs::path copy = partial / ToUtf8(BaseName(volume));
    Connection source;
    Connection target;
    const int wait = store_.busy_timeout_milliseconds();
    int result = OpenConnection(files_.HostPath(volume), SQLITE_OPEN_READWRITE, wait, &source);
    if (result == SQLITE_OK)
      result = OpenConnection(copy, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, wait, &target);
    if (result == SQLITE_OK) result = CopyDatabase(source.handle, target.handle);
    // The copy is only ever read: a journal beside it would be one more file to lose.
    if (result == SQLITE_OK)
      result =
          sqlite3_exec(target.handle, "PRAGMA journal_mode = DELETE", nullptr, nullptr, nullptr);
    WatchedStore store;
    if (result == SQLITE_OK) result = DataVersion(source.handle, &store.data_version);
    if (result != SQLITE_OK) {
      fs::remove_all(partial, error);
      Reason(reason, files_.HostPath(volume),
             "the copy of the store cannot be made: " + StoreFailureText(result));
      return kErrorWriteFault;
    }
    store.connection.reset(std::exchange(source.handle, nullptr));
    watched.push_back(std::move(store));
    stores.push_back(ToUtf8(volume));
  }
  const std::string info =
      nlohmann::json{
          {"job", ToUtf8(job)}, {"taken", TimeText(clock_.UtcTime())}, {"stores", stores}}
          .dump() +
      "\n";
  const fs::path info_file = partial / kSnapshotInfoFile;
  std::FILE* out = std::fopen(info_file.c_str(), "wb");
  const bool written =
      out != nullptr && std::fwrite(info.data(), 1, info.size(), out) == info.size();
  const bool closed = out != nullptr && std::fclose(out) == 0;
  if (!written || !closed || SyncPath(info_file, 0) != kErrorSuccess ||
      SyncPath(partial, O_DIRECTORY) != kErrorSuccess) {
    fs::remove_all(partial, error);
    Reason(reason, info_file, "the copy of the stores cannot be written");
    return kErrorWriteFault;
  }
  // The new copy takes the old one's place in one step; the old one waits beside it until the
  // job is over.
  if (fs::exists(snapshot, error)) {
    if (::renameat2(AT_FDCWD, partial.c_str(), AT_FDCWD, snapshot.c_str(), RENAME_EXCHANGE) != 0 ||
        ::rename(partial.c_str(), previous.c_str()) != 0) {
      fs::remove_all(partial, error);
      Reason(reason, snapshot, "the copy of the stores cannot be put in place");
      return ErrorFromErrno(errno);
    }
  } else if (::rename(partial.c_str(), snapshot.c_str()) != 0) {
    fs::remove_all(partial, error);
    Reason(reason, snapshot, "the copy of the stores cannot be put in place");
    return ErrorFromErrno(errno);
  }
  watched_ = std::move(watched);
  settling_ = true;
  // With the job lock held and the copy in place, the job's writes may commit in batches: a kill
  // loses at most the last one, which undo would take back anyway.
  store_.BeginJobBatches();
  messages_.BeginJobBatches();
  return SyncPath(profile_, O_DIRECTORY);
}

bool HostSafeguards::StoresChangedSinceSnapshot() {
  for (WatchedStore& store : watched_) {
    std::int64_t version = 0;
    if (DataVersion(store.connection.get(), &version) != SQLITE_OK ||
        version != store.data_version) {
      return true;
    }
  }
  return std::ranges::any_of(
      absent_at_snapshot_, [this](const std::u16string& volume) { return files_.Exists(volume); });
}

void HostSafeguards::EndJobBatches() {
  store_.EndJobBatches();
  messages_.EndJobBatches();
}

void HostSafeguards::SettleSnapshot() {
  EndJobBatches();
  if (!settling_) return;
  settling_ = false;
  const bool changed = StoresChangedSinceSnapshot();
  watched_.clear();
  absent_at_snapshot_.clear();
  const fs::path snapshot = profile_ / kSnapshotFolder;
  const fs::path previous = profile_ / kPreviousSnapshotFolder;
  std::error_code error;
  if (!changed) {
    // Nothing to undo from this job: undo goes back from the one before, if there was one.
    if (fs::exists(previous, error)) {
      if (::renameat2(AT_FDCWD, previous.c_str(), AT_FDCWD, snapshot.c_str(), RENAME_EXCHANGE) !=
          0) {
        return;  // the job's own copy stays: undo then leads back to where this job began
      }
    } else if (::rename(snapshot.c_str(), previous.c_str()) != 0) {
      return;
    }
  }
  fs::remove_all(previous, error);
  SyncPath(profile_, O_DIRECTORY);
}

ErrorCode HostSafeguards::LastSnapshot(SnapshotInfo* info) {
  nlohmann::json taken;
  const ErrorCode result = ReadSnapshotInfo(profile_ / kSnapshotFolder, &taken, nullptr);
  if (result != kErrorSuccess) return result;
  info->job = FromUtf8(taken.value("job", std::string()));
  info->taken = TimeOfText(taken.value("taken", std::string()));
  return kErrorSuccess;
}

ErrorCode HostSafeguards::RestoreSnapshot(SnapshotInfo* info, std::u16string* reason) {
  EndJobBatches();
  const fs::path snapshot = profile_ / kSnapshotFolder;
  nlohmann::json taken;
  if (const ErrorCode result = ReadSnapshotInfo(snapshot, &taken, reason); result != kErrorSuccess)
    return result;
  store_.EndReads();
  info->job = FromUtf8(taken.value("job", std::string()));
  info->taken = TimeOfText(taken.value("taken", std::string()));
  for (const nlohmann::json& store : taken["stores"]) {
    const std::u16string volume = FromUtf8(store.is_string() ? store.get<std::string>() : "");
    // Only the profile's own volumes are ever written back.
    if (std::ranges::find(kStoreVolumes, std::u16string_view(volume)) == std::end(kStoreVolumes))
      continue;
    const fs::path copy = snapshot / ToUtf8(BaseName(volume));
    Connection source;
    Connection target;
    const int wait = store_.busy_timeout_milliseconds();
    int result = OpenConnection(copy, SQLITE_OPEN_READONLY, wait, &source);
    if (result == SQLITE_OK) {
      result = OpenConnection(files_.HostPath(volume), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                              wait, &target);
    }
    if (result == SQLITE_OK) result = CopyDatabase(source.handle, target.handle);
    if (result != SQLITE_OK) {
      Reason(reason, files_.HostPath(volume),
             "the store cannot be put back: " + StoreFailureText(result));
      return kErrorWriteFault;
    }
  }
  return kErrorSuccess;
}

std::u16string HostSafeguards::StoreFailure() {
  // A job asks once its passes are done: what they wrote is committed first, so that a commit
  // that fails is the job's failure too.
  store_.CommitJobBatches();
  messages_.CommitBatches(nullptr);
  std::u16string failure = store_.FailureText();
  return failure.empty() ? messages_.FailureText() : failure;
}

void HostSafeguards::ClearStoreFailure() {
  store_.ClearFailure();
  messages_.ClearFailure();
}

namespace {

class HostFolderUse : public FolderUse {
 public:
  explicit HostFolderUse(int descriptor) : descriptor_(descriptor) {}
  ~HostFolderUse() override { ::close(descriptor_); }
  HostFolderUse(const HostFolderUse&) = delete;
  HostFolderUse& operator=(const HostFolderUse&) = delete;

 private:
  int descriptor_;
};

}  // namespace

void HostSafeguards::UseFolder(std::u16string_view folder, std::unique_ptr<FolderUse>* use,
                               bool* alone) {
  use->reset();
  *alone = false;
  const int descriptor =
      ::open(files_.HostPath(folder).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  *alone = ::flock(descriptor, LOCK_EX | LOCK_NB) == 0;
  // Shared from here on: jobs writing into one folder do not keep each other out.
  if (::flock(descriptor, LOCK_SH) != 0) {
    ::close(descriptor);
    *alone = false;
    return;
  }
  *use = std::make_unique<HostFolderUse>(descriptor);
}

}  // namespace kestrav::platform::host
