// The device registry: keys below predefined roots, each holding named values of a type and
// exact bytes. Names of keys and values keep the case they were written with and are compared
// without regard to case (of Latin, Greek and Cyrillic letters). Every call answers with a
// system error code.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/system_error.h"

namespace kestrav::platform {

using RegistryKey = std::uint32_t;

inline constexpr RegistryKey kHkeyClassesRoot = 0x80000000;
inline constexpr RegistryKey kHkeyCurrentUser = 0x80000001;
inline constexpr RegistryKey kHkeyLocalMachine = 0x80000002;

inline constexpr std::uint32_t kKeyRead = 0x20019;
inline constexpr std::uint32_t kKeyAllAccess = 0xF003F;

inline constexpr std::uint32_t kRegNone = 0;
inline constexpr std::uint32_t kRegSz = 1;
inline constexpr std::uint32_t kRegExpandSz = 2;
inline constexpr std::uint32_t kRegBinary = 3;
inline constexpr std::uint32_t kRegDword = 4;
inline constexpr std::uint32_t kRegMultiSz = 7;

class Registry {
 public:
  virtual ~Registry() = default;

  // Opens an existing key below a root or an open key; access kKeyRead or kKeyAllAccess.
  virtual ErrorCode OpenKey(RegistryKey parent, std::u16string_view path, std::uint32_t access,
                            RegistryKey* key) = 0;
  // Opens the key, creating it and its missing parents, for all access.
  virtual ErrorCode CreateKey(RegistryKey parent, std::u16string_view path, RegistryKey* key) = 0;
  virtual ErrorCode CloseKey(RegistryKey key) = 0;
  // Without data, gives the type and size; with a buffer smaller than the value, gives the size
  // and kErrorMoreData; otherwise copies the bytes and sets *size to their number.
  virtual ErrorCode QueryValue(RegistryKey key, std::u16string_view name, std::uint32_t* type,
                               std::uint8_t* data, std::uint32_t* size) = 0;
  virtual ErrorCode SetValue(RegistryKey key, std::u16string_view name, std::uint32_t type,
                             const std::uint8_t* data, std::uint32_t size) = 0;
  virtual ErrorCode DeleteValue(RegistryKey key, std::u16string_view name) = 0;
  // Deletes a subkey that has no subkeys of its own, with its values.
  virtual ErrorCode DeleteKey(RegistryKey parent, std::u16string_view name) = 0;
  // The name of the subkey at the index, in order of creation; kErrorNoMoreItems past the last.
  virtual ErrorCode EnumKey(RegistryKey key, std::uint32_t index, std::u16string* name) = 0;
  virtual ErrorCode QueryInfoKey(RegistryKey key, std::uint32_t* subkeys,
                                 std::uint32_t* values) = 0;
};

}  // namespace kestrav::platform
