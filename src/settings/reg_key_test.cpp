#include "settings/reg_key.h"

#include <gtest/gtest.h>

#include "platform/host/sqlite_registry.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::settings {
namespace {

using platform::kHkeyCurrentUser;

class RegKeyTest : public ::testing::Test {
 protected:
  kestrav::testing::TemporaryFolder folder_;
  std::unique_ptr<platform::host::SqliteRegistry> registry_ =
      platform::host::SqliteRegistry::Open(folder_.path() / "registry.db", true);
};

TEST_F(RegKeyTest, StringsAreStoredWithoutTheirTerminator) {
  RegKey key(*registry_);
  ASSERT_TRUE(key.Create(kHkeyCurrentUser, kApplicationKey));
  ASSERT_TRUE(key.SetString(kDefaultFolderValue, u"\\Storage Card", platform::kRegSz));
  const std::optional<RegistryBytes> stored = key.ReadString(u"defdir");
  ASSERT_TRUE(stored);
  EXPECT_EQ(stored->size(), 26u);  // 13 characters, no NUL
  EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(stored->data()), 13),
            u"\\Storage Card");

  // Only the string types are accepted; anything else writes nothing.
  for (std::uint32_t type : {0u, 3u, 4u}) {
    EXPECT_FALSE(key.SetString(u"Other", u"x", type)) << type;
  }
  EXPECT_FALSE(key.ReadString(u"Other"));
  EXPECT_EQ(key.LastError(), platform::kErrorFileNotFound);
  EXPECT_TRUE(key.SetString(u"Other", u"x", 21));
  EXPECT_TRUE(key.SetString(u"Empty", u"", platform::kRegSz));
  EXPECT_EQ(key.ReadString(u"Empty"), RegistryBytes{});
}

TEST_F(RegKeyTest, DwordsReadAsZeroUnlessTheyAreDwords) {
  ASSERT_TRUE(WriteDwordValue(*registry_, kScheduleKey, kKeepFilesValue, 7));
  ASSERT_TRUE(WriteStringValue(*registry_, kScheduleKey, kBackupFolderValue, u"\\Storage Card\\"));
  RegKey key(*registry_);
  ASSERT_TRUE(key.OpenForRead(kHkeyCurrentUser, kScheduleKey));
  EXPECT_EQ(key.ReadDword(kKeepFilesValue), 7u);
  EXPECT_EQ(key.ReadDword(kBackupFolderValue), 0u);
  EXPECT_EQ(key.ReadDword(kTurnOffValue), 0u);
  EXPECT_EQ(key.LastError(), platform::kErrorFileNotFound);
  EXPECT_FALSE(key.SetDword(kTurnOffValue, 1));  // opened for reading
  EXPECT_EQ(key.CountValues(kHkeyCurrentUser, kScheduleKey), 2u);
  EXPECT_EQ(key.CountValues(kHkeyCurrentUser, u"Software\\Missing"), 0u);
}

TEST_F(RegKeyTest, EmptyTextOnAFreshKeyCreatesTheKeyOnly) {
  ASSERT_TRUE(WriteStringValue(*registry_, kApplicationKey, kShortcutValue, u""));
  RegKey key(*registry_);
  ASSERT_TRUE(key.OpenForRead(kHkeyCurrentUser, kApplicationKey));
  EXPECT_FALSE(key.ReadString(kShortcutValue));
  // On an existing key the empty text is written.
  ASSERT_TRUE(WriteStringValue(*registry_, kApplicationKey, kShortcutValue, u""));
  EXPECT_EQ(key.ReadString(kShortcutValue), RegistryBytes{});
  // Read back as text: stored without its NUL, and cut at an embedded one.
  ASSERT_TRUE(WriteStringValue(*registry_, kApplicationKey, kDefaultFolderValue,
                               std::u16string_view(u"\\Backups\0old", 12)));
  EXPECT_EQ(ReadStringValue(*registry_, kApplicationKey, kDefaultFolderValue), u"\\Backups");
  EXPECT_EQ(ReadStringValue(*registry_, u"Software\\Missing", kDefaultFolderValue), std::nullopt);
}

TEST_F(RegKeyTest, ExclusionsAreCumulativeAndHigherNumbersStay) {
  std::vector<ExclusionRecord> records(3);
  for (std::size_t i = 0; i < records.size(); ++i)
    records[i].fill(static_cast<std::uint8_t>(i + 1));
  ASSERT_TRUE(WriteExclusions(*registry_, records));
  RegKey key(*registry_);
  ASSERT_TRUE(key.OpenForRead(kHkeyCurrentUser, kExclusionsKey));
  EXPECT_EQ(key.ReadBinary(u"BckpExclusions#0")->size(), 1044u);
  EXPECT_EQ(key.ReadBinary(u"BckpExclusions#1")->size(), 2088u);
  const RegistryBytes third = *key.ReadBinary(u"BckpExclusions#2");
  ASSERT_EQ(third.size(), 3132u);
  EXPECT_EQ(third[0], 1);
  EXPECT_EQ(third[2088], 3);
  // Each value's leading record is the first one written: the layout gives record 0 back each time.
  EXPECT_EQ(ReadExclusions(*registry_), std::vector<ExclusionRecord>(3, records[0]));

  std::vector<ExclusionRecord> one(1);
  one[0].fill(9);
  ASSERT_TRUE(WriteExclusions(*registry_, one));
  const RegistryBytes rewritten = *key.ReadBinary(u"BckpExclusions#0");
  EXPECT_EQ(rewritten, RegistryBytes(one[0].begin(), one[0].end()));
  const RegistryBytes kept = *key.ReadBinary(u"BckpExclusions#1");
  ASSERT_EQ(kept.size(), 2088u);
  EXPECT_EQ(kept[0], 1);
  EXPECT_EQ(key.ReadBinary(u"BckpExclusions#2"), third);
  EXPECT_EQ(ReadExclusions(*registry_).size(), 3u);
}

TEST_F(RegKeyTest, DeleteSubkeyRecursiveGoesDepthFirst) {
  ASSERT_TRUE(WriteDwordValue(*registry_, kScheduleKey, kScheduleDaysValue, 5));
  std::vector<ExclusionRecord> records(1);
  ASSERT_TRUE(WriteExclusions(*registry_, records));
  const std::u16string deeper = std::u16string(kExclusionsKey) + u"\\Deeper";
  ASSERT_TRUE(WriteDwordValue(*registry_, deeper + u"\\Deepest", u"Leaf", 1));
  ASSERT_TRUE(WriteDwordValue(*registry_, deeper + u"\\Sibling", u"Leaf", 1));
  EXPECT_FALSE(DeleteSubkey(*registry_, kHkeyCurrentUser, kApplicationKey, u"Schedule", false));
  EXPECT_TRUE(DeleteSubkey(*registry_, kHkeyCurrentUser, kApplicationKey, u"Schedule", true));
  RegKey key(*registry_);
  EXPECT_FALSE(key.OpenForRead(kHkeyCurrentUser, kScheduleKey));
  EXPECT_TRUE(key.OpenForRead(kHkeyCurrentUser, kApplicationKey));
  EXPECT_FALSE(DeleteSubkey(*registry_, kHkeyCurrentUser, kApplicationKey, u"Schedule", true));
}

TEST_F(RegKeyTest, CreateKeepsTheHeldKeyWhenItFails) {
  RegKey key(*registry_);
  ASSERT_TRUE(key.Create(kHkeyCurrentUser, kApplicationKey));
  const platform::RegistryKey held = key.handle();
  EXPECT_FALSE(key.Create(0x1234, u"Nowhere"));
  EXPECT_EQ(key.handle(), held);
  EXPECT_TRUE(key.SetDword(u"Still", 1));
}

}  // namespace
}  // namespace kestrav::settings
