// The kind table as the front ends use it, on temporary devices.
#include "kinds/kinds.h"

#include <gtest/gtest.h>

#include "kinds/restore_entries.h"
#include "platform/test_support/temporary_device.h"
#include "records/archive.h"

namespace kestrav::kinds {
namespace {

using engine::ItemKind;
using engine::RestoreMode;

class SilentProgress : public devicedb::DeletionProgress {
 public:
  void Start(std::uint32_t) override {}
  void SetPosition(std::uint32_t) override {}
  void Finish() override {}
};

TEST(KindTable, EveryRowHasItsWorkerDeletionAndTexts) {
  kestrav::testing::TemporaryDevice device;
  for (const KindRow& row : AllKinds()) {
    const std::u16string_view word = engine::KindInfo(row.kind).word;
    SCOPED_TRACE(std::string(word.begin(), word.end()));
    EXPECT_EQ(FindKind(row.kind), &row);
    EXPECT_NE(MakeWorker(device.device(), row.kind), nullptr);
    // Every kind offers the first two modes; the page opens on the first.
    EXPECT_TRUE(OffersMode(row.kind, RestoreMode::kDeleteAllFirst));
    EXPECT_TRUE(OffersMode(row.kind, RestoreMode::kAddOnlyNew));
    // The "Delete All..." menu has no messages entry.
    ASSERT_EQ(row.delete_all == nullptr, row.kind == ItemKind::kMessages);
    if (row.delete_all == nullptr) continue;
    EXPECT_TRUE(row.delete_confirm.ends_with(u"? "));
    EXPECT_FALSE(row.deletion_label.empty());
    SilentProgress progress;
    const std::optional<std::u16string> result = row.delete_all(device.device(), progress);
    ASSERT_TRUE(result);
    EXPECT_FALSE(result->empty());
  }
  EXPECT_TRUE(OffersMode(ItemKind::kContacts, RestoreMode::kAllowDuplicates));
  EXPECT_FALSE(OffersMode(ItemKind::kCallLogs, RestoreMode::kAddNewAndUpdate));
  EXPECT_EQ(AllKinds().size(), 6u);
}

TEST(RestoreEntries, ArchiveMembersOfAKindInTheirPlaces) {
  kestrav::testing::TemporaryDevice device;
  for (const char16_t* name : {u"\\c.csc", u"\\photo.jpg", u"\\l.CSL"}) {
    device.WriteFile(name, "x");
    ASSERT_EQ(records::AddFile(device.device(), name, u"\\b.qbk", 8, {}), 0);
  }
  std::vector<engine::RestoreEntry> entries;
  EXPECT_FALSE(RestoreEntriesOf(device.device(), u"\\b.qbk", &entries));
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].kind, ItemKind::kContacts);
  EXPECT_EQ(entries[1].kind, ItemKind::kCallLogs);
  EXPECT_EQ(entries[1].member, 2u);
  EXPECT_TRUE(entries[1].from_archive);
  EXPECT_EQ(KindsOf({entries[1], entries[0], entries[1]}),
            (std::vector<ItemKind>{ItemKind::kCallLogs, ItemKind::kContacts}));

  EXPECT_FALSE(RestoreEntriesOf(device.device(), u"\\c.csc", &entries));
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_FALSE(entries[0].from_archive);

  const std::optional<engine::RestoreRefusal> refusal =
      RestoreEntriesOf(device.device(), u"\\photo.jpg", &entries);
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->title, u"PIM restore error");
  device.WriteFile(u"\\broken.qbk", "PK\x03\x04 not an archive");
  EXPECT_EQ(RestoreEntriesOf(device.device(), u"\\broken.qbk", &entries)->title, u"Restore error");
}

}  // namespace
}  // namespace kestrav::kinds
