// RegKey: the registry key object through which every setting is read and written, and the
// open-or-create writers built on it.
//
// A RegKey owns its handle: every open or create first closes a handle still held, and the
// destructor closes it. Each operation keeps the result code of its registry call as the last
// error; failures are never shown to the user - they read as false, 0 or nothing.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "messages/message_folders.h"
#include "platform/registry.h"
#include "settings/settings_keys.h"

namespace kestrav::settings {

using RegistryBytes = std::vector<std::uint8_t>;

class RegKey {
 public:
  explicit RegKey(platform::Registry& registry) : registry_(registry) {}
  ~RegKey() { Close(); }
  RegKey(const RegKey&) = delete;
  RegKey& operator=(const RegKey&) = delete;

  bool OpenForWrite(platform::RegistryKey root, std::u16string_view path);
  bool OpenForRead(platform::RegistryKey root, std::u16string_view path);
  // Keeps the new key, closing the one held, only when the create succeeds.
  bool Create(platform::RegistryKey root, std::u16string_view path);
  void Close();

  // Accepts only the string types 1, 2, 7 and 21; stores the text without its NUL, so the data
  // is twice the character count (an empty text stores no bytes).
  bool SetString(std::u16string_view name, std::u16string_view text, std::uint32_t type);
  bool SetDword(std::u16string_view name, std::uint32_t value);
  bool SetBinary(std::u16string_view name, std::span<const std::uint8_t> data, std::uint32_t type);
  bool DeleteValue(std::u16string_view name);

  // 0 on any failure, and when the stored type is not a DWORD.
  std::uint32_t ReadDword(std::u16string_view name);
  // A zero-filled buffer of exactly the stored size holding the data; nothing on failure.
  std::optional<RegistryBytes> ReadString(std::u16string_view name);
  std::optional<RegistryBytes> ReadBinary(std::u16string_view name);

  // The number of values of the key at path (opened for write and closed again); 0 on failure.
  std::uint32_t CountValues(platform::RegistryKey root, std::u16string_view path);

  platform::ErrorCode LastError() const { return last_error_; }
  platform::RegistryKey handle() const { return key_; }

 private:
  bool Open(platform::RegistryKey root, std::u16string_view path, std::uint32_t access);
  bool Query(std::u16string_view name, std::uint32_t* type, RegistryBytes* data);

  platform::Registry& registry_;
  platform::RegistryKey key_ = 0;
  platform::ErrorCode last_error_ = platform::kErrorSuccess;
};

// Open-or-create writers: each opens the key, writes one value and closes the key again.
bool WriteDwordValue(platform::Registry& registry, std::u16string_view path,
                     std::u16string_view name, std::uint32_t value,
                     platform::RegistryKey root = platform::kHkeyCurrentUser);
bool WriteStringValue(platform::Registry& registry, std::u16string_view path,
                      std::u16string_view name, std::u16string_view text,
                      platform::RegistryKey root = platform::kHkeyCurrentUser,
                      std::uint32_t type = platform::kRegSz);
bool WriteBinaryValue(platform::Registry& registry, std::u16string_view path,
                      std::u16string_view name, std::span<const std::uint8_t> data,
                      platform::RegistryKey root = platform::kHkeyCurrentUser,
                      std::uint32_t type = platform::kRegBinary);

// The read counterpart: the text of a string value, up to its first NUL; nothing when the key or
// the value cannot be read.
std::optional<std::u16string> ReadStringValue(
    platform::Registry& registry, std::u16string_view path, std::u16string_view name,
    platform::RegistryKey root = platform::kHkeyCurrentUser);

// Deletes parent_path\name; with recursive, its subkeys first, depth first.
bool DeleteSubkey(platform::Registry& registry, platform::RegistryKey root,
                  std::u16string_view parent_path, std::u16string_view name, bool recursive);

// The message folders left out of the scheduled backup. Value number n holds records 0 to n
// one after another: the writer appends each record to one growing buffer and writes it whole.
// Only as many values as records are written; values with higher numbers stay as they were.
using messages::ExclusionRecord;
using messages::kExclusionRecordBytes;
bool WriteExclusions(platform::Registry& registry, std::span<const ExclusionRecord> records);
// One record per value, from the leading bytes of each value long enough to hold one. As every
// value begins with record 0, that is what comes back for each: the layout's quirk, kept.
std::vector<ExclusionRecord> ReadExclusions(platform::Registry& registry);

}  // namespace kestrav::settings
