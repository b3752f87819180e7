// A handheld holding Outlook items of one kind, and the kind's passes run on it as the engine
// runs them, for the tests of the Outlook kinds.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/testing/kind_harness.h"
#include "platform/outlook.h"
#include "platform/test_support/temporary_device.h"
#include "records/value_text.h"

namespace kestrav::outlook::testing {

using Lines = std::vector<std::u16string>;

inline const Lines kConnect = {u"Connecting to Outlook...", u"Successfully connected to Outlook."};
inline const Lines kDisconnect = {u"Disconnecting from Outlook...", u"Disconnected."};

inline Lines Cat(std::initializer_list<Lines> parts) {
  Lines all;
  for (const Lines& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// The rows that tell what became of each record of a restore.
inline Lines RecordOutcomes(const Lines& rows) {
  Lines outcomes;
  for (const std::u16string& row : rows) {
    if (row.ends_with(u"' inserted.") || row.ends_with(u"' updated.") ||
        row.ends_with(u"' already exists. Nothing done."))
      outcomes.push_back(row);
  }
  return outcomes;
}

// A byte field as a file holds it: quoted, or empty for no bytes.
inline std::u16string Quoted(std::span<const std::uint8_t> bytes) {
  return bytes.empty() ? u"" : u"\"" + records::ByteListText(bytes) + u"\"";
}

// A "Delete All..." dialog that shows nothing.
struct SilentDeletion : devicedb::DeletionProgress {
  void Start(std::uint32_t) override {}
  void SetPosition(std::uint32_t) override {}
  void Finish() override {}
};

// The first lines of the two kinds' files, as every backup made so far holds them: the ASCII
// bytes of "Kestrav PIM records!" for appointments, each one less for tasks.
inline const std::u16string kAppointmentsHeader =
    u"\"0x4b,0x65,0x73,0x74,0x72,0x61,0x76,0x20,0x50,0x49,0x4d,0x20,0x72,0x65,0x63,0x6f,0x72,0x64,"
    u"0x73,0x21\"\r\n";
inline const std::u16string kTasksHeader =
    u"\"0x4a,0x64,0x72,0x73,0x71,0x60,0x75,0x1f,0x4f,0x48,0x4c,0x1f,0x71,0x64,0x62,0x6e,0x71,0x63,"
    u"0x72,0x20\"\r\n";

template <typename Worker>
class ItemHandset {
 public:
  ItemHandset(int os_major_version, engine::ItemKind kind, platform::OutlookFolderId folder,
              platform::OutlookItemType type, std::u16string file)
      : device(os_major_version),
        harness(device, kind, std::move(file)),
        folder_(folder),
        type_(type) {}

  // Creates an item, lets `set` set it, and saves it.
  void Add(const std::function<void(platform::OutlookItem&)>& set) {
    WithItems([&](platform::OutlookApplication& application, platform::OutlookItemCollection&) {
      std::unique_ptr<platform::OutlookItem> item;
      ASSERT_FALSE(platform::Failed(application.CreateItem(type_, &item)));
      set(*item);
      ASSERT_FALSE(platform::Failed(item->Save()));
    });
  }

  // What `read` makes of each item, in collection order.
  template <typename Value>
  std::vector<Value> Read(const std::function<Value(platform::OutlookItem&)>& read) {
    std::vector<Value> values;
    WithItems([&](platform::OutlookApplication&, platform::OutlookItemCollection& items) {
      int count = 0;
      items.Count(&count);
      for (int index = 1; index <= count; ++index) {
        std::unique_ptr<platform::OutlookItem> item;
        ASSERT_FALSE(platform::Failed(items.Item(index, &item)));
        values.push_back(read(*item));
      }
    });
    return values;
  }

  // Backs up into a new file and returns its text after the byte order mark.
  std::u16string Backup() {
    Worker worker(device.device());
    return kestrav::testing::TextOfUtf16File(harness.Backup(worker));
  }

  // Restores a file of this text; the rows reported.
  Lines Restore(std::u16string_view text, engine::RestoreMode mode) {
    harness.WriteRecordFile(text);
    Worker worker(device.device());
    return harness.Restore(worker, mode);
  }

  kestrav::testing::TemporaryDevice device;
  engine::testing::KindHarness harness;
  engine::testing::CancelingSink& page = harness.page;

 private:
  template <typename Action>
  void WithItems(Action action) {
    std::unique_ptr<platform::OutlookApplication> application;
    ASSERT_FALSE(platform::Failed(device.device().outlook().CreateApplication(&application)));
    ASSERT_FALSE(platform::Failed(application->Logon()));
    std::unique_ptr<platform::OutlookFolder> folder;
    std::unique_ptr<platform::OutlookItemCollection> items;
    ASSERT_FALSE(platform::Failed(application->GetDefaultFolder(folder_, &folder)));
    ASSERT_FALSE(platform::Failed(folder->Items(&items)));
    action(*application, *items);
    application->Logoff();
  }

  platform::OutlookFolderId folder_;
  platform::OutlookItemType type_;
};

}  // namespace kestrav::outlook::testing
