// The device registry kept in a SQLite file (<profile>/registry.db). Every call commits at
// once, so a window and a scheduled run on the same profile see each other's settings. Key
// handles belong to this object; a handle to a key deleted since fails with kErrorInvalidHandle.
#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>

#include "platform/host/sqlite_database.h"
#include "platform/registry.h"

namespace kestrav::platform::host {

class SqliteRegistry : public Registry {
 public:
  // Opens the registry file, creating it (and its roots) when create is set; null on failure,
  // with the reason in *failure when one is given.
  static std::unique_ptr<SqliteRegistry> Open(const std::filesystem::path& file, bool create,
                                              StoreFailure* failure = nullptr);

  ErrorCode OpenKey(RegistryKey parent, std::u16string_view path, std::uint32_t access,
                    RegistryKey* key) override;
  ErrorCode CreateKey(RegistryKey parent, std::u16string_view path, RegistryKey* key) override;
  ErrorCode CloseKey(RegistryKey key) override;
  ErrorCode QueryValue(RegistryKey key, std::u16string_view name, std::uint32_t* type,
                       std::uint8_t* data, std::uint32_t* size) override;
  ErrorCode SetValue(RegistryKey key, std::u16string_view name, std::uint32_t type,
                     const std::uint8_t* data, std::uint32_t size) override;
  ErrorCode DeleteValue(RegistryKey key, std::u16string_view name) override;
  ErrorCode DeleteKey(RegistryKey parent, std::u16string_view name) override;
  ErrorCode EnumKey(RegistryKey key, std::uint32_t index, std::u16string* name) override;
  ErrorCode QueryInfoKey(RegistryKey key, std::uint32_t* subkeys, std::uint32_t* values) override;

 private:
  struct OpenHandle {
    std::int64_t key_id;
    bool writable;
  };

  explicit SqliteRegistry(std::unique_ptr<SqliteDatabase> database);
  // The stored key behind a root or an open handle.
  ErrorCode Resolve(RegistryKey key, bool for_writing, std::int64_t* key_id);
  // Walks a path below a key; creates the missing parts when create is set.
  ErrorCode Walk(std::int64_t from, std::u16string_view path, bool create, std::int64_t* key_id);
  bool KeyExists(std::int64_t key_id);
  RegistryKey NewHandle(std::int64_t key_id, bool writable);

  std::mutex mutex_;
  std::unique_ptr<SqliteDatabase> database_;
  std::map<RegistryKey, OpenHandle> handles_;
  RegistryKey next_handle_ = 1;
};

}  // namespace kestrav::platform::host
