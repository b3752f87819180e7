#include "settings/reg_key.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "platform/format.h"

namespace kestrav::settings {

using platform::ErrorCode;
using platform::kErrorSuccess;

namespace {

constexpr std::uint32_t kStringType21 = 21;

}  // namespace

bool RegKey::Open(platform::RegistryKey root, std::u16string_view path, std::uint32_t access) {
  Close();
  last_error_ = registry_.OpenKey(root, path, access, &key_);
  if (last_error_ != kErrorSuccess) key_ = 0;
  return last_error_ == kErrorSuccess;
}

bool RegKey::OpenForWrite(platform::RegistryKey root, std::u16string_view path) {
  return Open(root, path, platform::kKeyAllAccess);
}

bool RegKey::OpenForRead(platform::RegistryKey root, std::u16string_view path) {
  return Open(root, path, platform::kKeyRead);
}

bool RegKey::Create(platform::RegistryKey root, std::u16string_view path) {
  platform::RegistryKey created = 0;
  last_error_ = registry_.CreateKey(root, path, &created);
  if (last_error_ != kErrorSuccess) return false;
  Close();
  key_ = created;
  return true;
}

void RegKey::Close() {
  if (key_ != 0) registry_.CloseKey(key_);
  key_ = 0;
}

bool RegKey::SetString(std::u16string_view name, std::u16string_view text, std::uint32_t type) {
  if (type != platform::kRegSz && type != platform::kRegExpandSz && type != platform::kRegMultiSz &&
      type != kStringType21) {
    return false;
  }
  return SetBinary(
      name,
      std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size() * sizeof(char16_t)),
      type);
}

bool RegKey::SetDword(std::u16string_view name, std::uint32_t value) {
  std::uint8_t bytes[sizeof value];
  std::memcpy(bytes, &value, sizeof bytes);
  return SetBinary(name, bytes, platform::kRegDword);
}

bool RegKey::SetBinary(std::u16string_view name, std::span<const std::uint8_t> data,
                       std::uint32_t type) {
  last_error_ =
      registry_.SetValue(key_, name, type, data.data(), static_cast<std::uint32_t>(data.size()));
  return last_error_ == kErrorSuccess;
}

bool RegKey::DeleteValue(std::u16string_view name) {
  last_error_ = registry_.DeleteValue(key_, name);
  return last_error_ == kErrorSuccess;
}

bool RegKey::Query(std::u16string_view name, std::uint32_t* type, RegistryBytes* data) {
  // Size first; a too-small answer still tells the size.
  std::uint32_t size = 0;
  last_error_ = registry_.QueryValue(key_, name, type, nullptr, &size);
  if (last_error_ != kErrorSuccess && last_error_ != platform::kErrorMoreData) return false;
  data->assign(size, 0);
  last_error_ = registry_.QueryValue(key_, name, type, data->data(), &size);
  return last_error_ == kErrorSuccess;
}

std::uint32_t RegKey::ReadDword(std::u16string_view name) {
  std::uint32_t type = 0;
  RegistryBytes data;
  if (!Query(name, &type, &data) || type != platform::kRegDword || data.size() < 4) return 0;
  std::uint32_t value = 0;
  std::memcpy(&value, data.data(), sizeof value);
  return value;
}

std::optional<RegistryBytes> RegKey::ReadString(std::u16string_view name) {
  std::uint32_t type = 0;
  RegistryBytes data;
  if (!Query(name, &type, &data)) return std::nullopt;
  return data;
}

std::optional<RegistryBytes> RegKey::ReadBinary(std::u16string_view name) {
  return ReadString(name);
}

std::uint32_t RegKey::CountValues(platform::RegistryKey root, std::u16string_view path) {
  std::uint32_t values = 0;
  if (OpenForWrite(root, path)) {
    last_error_ = registry_.QueryInfoKey(key_, nullptr, &values);
    if (last_error_ != kErrorSuccess) values = 0;
  }
  Close();
  return values;
}

bool WriteDwordValue(platform::Registry& registry, std::u16string_view path,
                     std::u16string_view name, std::uint32_t value, platform::RegistryKey root) {
  RegKey key(registry);
  if (key.OpenForWrite(root, path) && key.SetDword(name, value)) return true;
  key.Create(root, path);
  return key.SetDword(name, value);
}

bool WriteStringValue(platform::Registry& registry, std::u16string_view path,
                      std::u16string_view name, std::u16string_view text,
                      platform::RegistryKey root, std::uint32_t type) {
  RegKey key(registry);
  if (key.OpenForWrite(root, path) && key.SetString(name, text, type)) return true;
  if (!key.Create(root, path)) return false;
  // A fresh key does without an empty value.
  return text.empty() || key.SetString(name, text, type);
}

std::optional<std::u16string> ReadStringValue(platform::Registry& registry,
                                              std::u16string_view path, std::u16string_view name,
                                              platform::RegistryKey root) {
  RegKey key(registry);
  if (!key.OpenForRead(root, path)) return std::nullopt;
  const std::optional<RegistryBytes> stored = key.ReadString(name);
  if (!stored) return std::nullopt;
  std::u16string text(stored->size() / sizeof(char16_t), u'\0');
  std::memcpy(text.data(), stored->data(), text.size() * sizeof(char16_t));
  text.resize(std::u16string_view(text.c_str()).size());
  return text;
}

bool WriteBinaryValue(platform::Registry& registry, std::u16string_view path,
                      std::u16string_view name, std::span<const std::uint8_t> data,
                      platform::RegistryKey root, std::uint32_t type) {
  RegKey key(registry);
  if (key.OpenForWrite(root, path) && key.SetBinary(name, data, type)) return true;
  key.Create(root, path);
  return key.SetBinary(name, data, type);
}

bool DeleteSubkey(platform::Registry& registry, platform::RegistryKey root,
                  std::u16string_view parent_path, std::u16string_view name, bool recursive) {
  const std::u16string path = std::u16string(parent_path) + u"\\" + std::u16string(name);
  if (recursive) {
    RegKey key(registry);
    if (key.OpenForWrite(root, path)) {
      // Deleting the first subkey each time walks them all; a subkey that will not go ends it.
      std::u16string child;
      while (registry.EnumKey(key.handle(), 0, &child) == kErrorSuccess &&
             DeleteSubkey(registry, root, path, child, true)) {
      }
    }
  }
  RegKey parent(registry);
  return parent.OpenForWrite(root, parent_path) &&
         registry.DeleteKey(parent.handle(), name) == kErrorSuccess;
}

bool WriteExclusions(platform::Registry& registry, std::span<const ExclusionRecord> records) {
  RegistryBytes cumulative;
  bool written = true;
  for (std::size_t index = 0; index < records.size(); ++index) {
    cumulative.insert(cumulative.end(), records[index].begin(), records[index].end());
    written = WriteBinaryValue(registry, kExclusionsKey,
                               platform::Format(kExclusionValue, static_cast<unsigned>(index)),
                               cumulative) &&
              written;
  }
  return written;
}

std::vector<ExclusionRecord> ReadExclusions(platform::Registry& registry) {
  RegKey key(registry);
  const std::uint32_t count = key.CountValues(platform::kHkeyCurrentUser, kExclusionsKey);
  std::vector<ExclusionRecord> records;
  if (count == 0 || !key.OpenForRead(platform::kHkeyCurrentUser, kExclusionsKey)) return records;
  for (std::uint32_t index = 0; index < count; ++index) {
    const std::optional<RegistryBytes> data =
        key.ReadBinary(platform::Format(kExclusionValue, index));
    if (!data || data->size() < kExclusionRecordBytes) continue;
    ExclusionRecord record;
    std::copy_n(data->begin(), kExclusionRecordBytes, record.begin());
    records.push_back(record);
  }
  return records;
}

}  // namespace kestrav::settings
