#include "platform/host/sqlite_registry.h"

#include <gtest/gtest.h>

#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "platform/test_support/temporary_device.h"
#include "platform/text.h"

namespace kestrav::platform::host {
namespace {

using testing::TemporaryFolder;

class SqliteRegistryTest : public ::testing::Test {
 protected:
  std::unique_ptr<SqliteRegistry> OpenRegistry() {
    return SqliteRegistry::Open(folder_.path() / "registry.db", true);
  }

  TemporaryFolder folder_;
  std::unique_ptr<SqliteRegistry> registry_ = OpenRegistry();
};

TEST_F(SqliteRegistryTest, ValuesKeepTheirTypeAndExactBytes) {
  RegistryKey key = 0;
  ASSERT_EQ(registry_->CreateKey(kHkeyCurrentUser, u"Software\\Tolvane\\PPCKestrav", &key),
            kErrorSuccess);
  const std::vector<std::uint8_t> text = {'a', 0, 'b', 0};  // a string stored without its NUL
  ASSERT_EQ(registry_->SetValue(key, u"DefDir", kRegSz, text.data(), 4), kErrorSuccess);
  ASSERT_EQ(registry_->SetValue(key, u"Empty", kRegBinary, nullptr, 0), kErrorSuccess);

  std::uint32_t type = 0;
  std::uint32_t size = 0;
  ASSERT_EQ(registry_->QueryValue(key, u"defdir", &type, nullptr, &size), kErrorSuccess);
  EXPECT_EQ(type, kRegSz);
  EXPECT_EQ(size, 4u);
  std::vector<std::uint8_t> buffer(3);
  size = 3;
  EXPECT_EQ(registry_->QueryValue(key, u"DefDir", &type, buffer.data(), &size), kErrorMoreData);
  EXPECT_EQ(size, 4u);
  buffer.resize(size);
  ASSERT_EQ(registry_->QueryValue(key, u"DefDir", &type, buffer.data(), &size), kErrorSuccess);
  EXPECT_EQ(buffer, text);
  ASSERT_EQ(registry_->QueryValue(key, u"EMPTY", &type, nullptr, &size), kErrorSuccess);
  EXPECT_EQ(type, kRegBinary);
  EXPECT_EQ(size, 0u);
  EXPECT_EQ(registry_->QueryValue(key, u"Missing", &type, nullptr, &size), kErrorFileNotFound);

  // Writing through another case of the name replaces the value.
  const std::uint8_t dword[] = {3, 0, 0, 0};
  ASSERT_EQ(registry_->SetValue(key, u"DEFDIR", kRegDword, dword, 4), kErrorSuccess);
  ASSERT_EQ(registry_->QueryValue(key, u"DefDir", &type, nullptr, &size), kErrorSuccess);
  EXPECT_EQ(type, kRegDword);
  std::uint32_t values = 0;
  ASSERT_EQ(registry_->QueryInfoKey(key, nullptr, &values), kErrorSuccess);
  EXPECT_EQ(values, 2u);
  EXPECT_EQ(registry_->DeleteValue(key, u"empty"), kErrorSuccess);
  EXPECT_EQ(registry_->DeleteValue(key, u"empty"), kErrorFileNotFound);
  EXPECT_EQ(registry_->CloseKey(key), kErrorSuccess);
  EXPECT_EQ(registry_->CloseKey(key), kErrorInvalidHandle);
}

TEST_F(SqliteRegistryTest, KeysOpenCreateEnumerateAndDelete) {
  RegistryKey key = 0;
  EXPECT_EQ(registry_->OpenKey(kHkeyCurrentUser, u"Software\\Tolvane", kKeyRead, &key),
            kErrorFileNotFound);
  ASSERT_EQ(
      registry_->CreateKey(kHkeyCurrentUser, u"Software\\Tolvane\\PPCKestrav\\Schedule", &key),
      kErrorSuccess);
  registry_->CloseKey(key);
  RegistryKey reader = 0;
  ASSERT_EQ(
      registry_->OpenKey(kHkeyCurrentUser, u"software\\TOLVANE\\ppckestrav", kKeyRead, &reader),
      kErrorSuccess);
  const std::uint8_t one[] = {1, 0, 0, 0};
  EXPECT_EQ(registry_->SetValue(reader, u"x", kRegDword, one, 4), kErrorAccessDenied);
  ASSERT_EQ(registry_->CreateKey(reader, u"Other", &key), kErrorAccessDenied);

  RegistryKey writer = 0;
  ASSERT_EQ(registry_->OpenKey(kHkeyCurrentUser, u"Software\\Tolvane\\PPCKestrav", kKeyAllAccess,
                               &writer),
            kErrorSuccess);
  ASSERT_EQ(registry_->CreateKey(writer, u"Other", &key), kErrorSuccess);
  std::u16string name;
  ASSERT_EQ(registry_->EnumKey(writer, 0, &name), kErrorSuccess);
  EXPECT_EQ(name, u"Schedule");
  ASSERT_EQ(registry_->EnumKey(writer, 1, &name), kErrorSuccess);
  EXPECT_EQ(name, u"Other");
  EXPECT_EQ(registry_->EnumKey(writer, 2, &name), kErrorNoMoreItems);

  // A key with subkeys stays; once empty it goes, and handles to it stop working.
  EXPECT_EQ(registry_->DeleteKey(kHkeyCurrentUser, u"Software\\Tolvane"), kErrorAccessDenied);
  EXPECT_EQ(registry_->DeleteKey(writer, u"other"), kErrorSuccess);
  EXPECT_EQ(registry_->SetValue(key, u"x", kRegDword, one, 4), kErrorInvalidHandle);
  EXPECT_EQ(registry_->DeleteKey(writer, u"Other"), kErrorFileNotFound);
}

TEST_F(SqliteRegistryTest, NamesCompareWithoutCaseBeyondAscii) {
  RegistryKey key = 0;
  ASSERT_EQ(registry_->CreateKey(kHkeyCurrentUser, u"Software\\Ñandú\\ΟΔΟΣ\\Москва", &key),
            kErrorSuccess);
  RegistryKey same = 0;
  ASSERT_EQ(registry_->OpenKey(kHkeyCurrentUser, u"SOFTWARE\\ñANDÚ\\οδος\\мОСКВА", kKeyRead, &same),
            kErrorSuccess);
  RegistryKey software = 0;
  ASSERT_EQ(registry_->OpenKey(kHkeyCurrentUser, u"software", kKeyRead, &software), kErrorSuccess);
  std::u16string name;
  ASSERT_EQ(registry_->EnumKey(software, 0, &name), kErrorSuccess);
  EXPECT_EQ(name, u"Ñandú");
  EXPECT_EQ(registry_->EnumKey(software, 1, &name), kErrorNoMoreItems);

  const std::uint8_t one[] = {1, 0, 0, 0};
  ASSERT_EQ(registry_->SetValue(key, u"Ärger×Žal", kRegDword, one, 4), kErrorSuccess);
  std::uint32_t size = 0;
  EXPECT_EQ(registry_->QueryValue(same, u"äRGER×žAL", nullptr, nullptr, &size), kErrorSuccess);
  // The multiplication and division signs sit where a capital and its small letter would.
  EXPECT_EQ(registry_->QueryValue(same, u"äRGER÷žAL", nullptr, nullptr, &size), kErrorFileNotFound);
}

// Each sees the keys the other made.
TEST_F(SqliteRegistryTest, TwoRegistriesCreatingTheSameKeysAtOnceBothSucceed) {
  std::unique_ptr<SqliteRegistry> other = OpenRegistry();
  ASSERT_NE(other, nullptr);
  constexpr int kKeys = 40;
  // Both start each create together, so each finds the key missing as the other adds it.
  std::barrier start_together(2);
  const auto create_all = [&start_together](SqliteRegistry& registry,
                                            std::vector<ErrorCode>* results) {
    for (int index = 0; index < kKeys; ++index) {
      const std::u16string path = u"Software\\Race\\" + FromUtf8(std::to_string(index)) + u"\\Leaf";
      RegistryKey key = 0;
      start_together.arrive_and_wait();
      results->push_back(registry.CreateKey(kHkeyCurrentUser, path, &key));
      registry.CloseKey(key);
    }
  };
  std::vector<ErrorCode> first;
  std::vector<ErrorCode> second;
  std::thread thread([&] { create_all(*registry_, &first); });
  create_all(*other, &second);
  thread.join();
  EXPECT_EQ(first, std::vector<ErrorCode>(kKeys, kErrorSuccess));
  EXPECT_EQ(second, std::vector<ErrorCode>(kKeys, kErrorSuccess));
  RegistryKey race = 0;
  ASSERT_EQ(registry_->OpenKey(kHkeyCurrentUser, u"Software\\Race", kKeyRead, &race),
            kErrorSuccess);
  std::uint32_t subkeys = 0;
  ASSERT_EQ(registry_->QueryInfoKey(race, &subkeys, nullptr), kErrorSuccess);
  EXPECT_EQ(subkeys, static_cast<std::uint32_t>(kKeys));
  EXPECT_EQ(SqliteRegistry::Open(folder_.path() / "missing.db", false), nullptr);
}

}  // namespace
}  // namespace kestrav::platform::host
