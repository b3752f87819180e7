#include "platform/host/profile_copy.h"

#include <sqlite3.h>

#include "platform/host/sqlite_database.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

// The profile's databases, relative to its folder.
constexpr const char* kDatabases[] = {"registry.db", "fs/pim.vol", "fs/cemail.vol"};
// The folders a job expects below "\".
constexpr const char* kFolders[] = {"fs/Temp", "fs/Storage Card", "fs/My Documents",
                                    "fs/Windows/Start Menu"};

// The source is only read; it is opened for writing where it can be all the same, since a
// connection that can write is the one that, closing last, takes away the write-ahead log and
// its index it opened beside the database, leaving the profile's files as they were.
bool CopyDatabase(const fs::path& source, const fs::path& target, std::string* error) {
  sqlite3* from = nullptr;
  sqlite3* to = nullptr;
  ConfigureSqlite();
  int result = sqlite3_open_v2(source.c_str(), &from, SQLITE_OPEN_READWRITE, nullptr);
  if (result != SQLITE_OK) {
    sqlite3_close(from);
    from = nullptr;
    result = sqlite3_open_v2(source.c_str(), &from, SQLITE_OPEN_READONLY, nullptr);
  }
  if (result == SQLITE_OK) {
    sqlite3_busy_timeout(from, kStoreBusyTimeoutMilliseconds);
    result =
        sqlite3_open_v2(target.c_str(), &to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  }
  if (result == SQLITE_OK) {
    sqlite3_backup* backup = sqlite3_backup_init(to, "main", from, "main");
    if (backup == nullptr) {
      result = sqlite3_extended_errcode(to);
    } else {
      const int stepped = sqlite3_backup_step(backup, -1);
      const int finished = sqlite3_backup_finish(backup);
      result = stepped == SQLITE_DONE ? finished : stepped;
    }
  }
  sqlite3_close(from);
  sqlite3_close(to);
  if (result != SQLITE_OK) *error = source.string() + ": " + StoreFailureText(result);
  return result == SQLITE_OK;
}

}  // namespace

bool CopyProfileForDryRun(const fs::path& profile, const fs::path& copy, std::string* error) {
  std::error_code failed;
  const fs::path identity = profile / "device.json";
  if (!fs::is_regular_file(identity, failed)) {
    *error = profile.string() + " is no device profile (kestrav-cli device init makes one)";
    return false;
  }
  for (const char* folder : kFolders) fs::create_directories(copy / folder, failed);
  fs::copy_file(identity, copy / "device.json", failed);
  if (failed) {
    *error = (copy / "device.json").string() + ": " + failed.message();
    return false;
  }
  for (const char* database : kDatabases) {
    if (!fs::exists(profile / database, failed)) continue;
    if (!CopyDatabase(profile / database, copy / database, error)) return false;
  }
  return true;
}

}  // namespace kestrav::platform::host
