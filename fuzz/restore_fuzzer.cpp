// Restores any bytes onto one device holding a few calls, contacts and messages: as an archive
// (".qbk") or as a single record file of a kind (".csl", ".csc", ".csa", ".cst", ".csd", ".csm"),
// under a restore mode the kind offers.
// The first byte chooses the file's kind and the mode; the rest is the file.
//
// A restore refused before it starts, or by every kind's worker, must leave every database of
// "\pim.vol" and every message store of "\cemail.vol" exactly as they were, and each refusing
// worker must say so in an error row that ends "Nothing done.". Whatever the input, the temporary
// folder must be empty afterwards and nothing may appear or vanish anywhere else in the profile.
// The stores are put back from a snapshot after every input, so that each one meets the same
// device, and must then read as before.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/restore_pass.h"
#include "engine/testing/recording_sink.h"
#include "kinds/kinds.h"
#include "kinds/restore_entries.h"
#include "messages/message_record.h"
#include "platform/host/host_device.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "records/archive.h"

namespace {

namespace fs = std::filesystem;
using kestrav::engine::ItemKind;
using kestrav::engine::RestoreMode;
namespace platform = kestrav::platform;
using kestrav::platform::EntryId;
using kestrav::platform::Failed;
using kestrav::platform::ItemProperty;
using kestrav::platform::MessageRecipient;
using kestrav::platform::PropertyType;
using kestrav::platform::PropertyValue;

void Require(bool condition) {
  if (!condition) __builtin_trap();
}

// Every record of a database with its object id and all its properties, in store order.
using Records = std::vector<std::pair<kestrav::platform::ObjectId, std::vector<PropertyValue>>>;

// A message as the store keeps it, attachment contents included.
struct StoredMessage {
  EntryId id;
  std::u16string subject, body;
  std::int32_t body_type = 0;
  std::vector<PropertyValue> properties;
  std::vector<MessageRecipient> recipients;
  std::vector<platform::MessageAttachment> attachments;
  std::vector<std::vector<std::uint8_t>> contents;
  bool operator==(const StoredMessage&) const = default;
};

struct StoredFolder {
  platform::MessageFolderRow row;
  std::vector<StoredMessage> messages;
  bool operator==(const StoredFolder&) const = default;
};

struct StoredMessageStore {
  std::u16string name;
  std::vector<StoredFolder> folders;
  bool operator==(const StoredMessageStore&) const = default;
};

struct Stores {
  std::vector<Records> databases;
  std::vector<StoredMessageStore> messages;
  bool operator==(const Stores&) const = default;
};

Records ReadDatabase(kestrav::platform::ObjectStore& store, std::u16string_view name) {
  kestrav::devicedb::HeldPimDatabase database(store);
  Require(database.Open(name) == kestrav::platform::kErrorSuccess);
  Records records;
  std::vector<PropertyValue> properties;
  while (const kestrav::platform::ObjectId id =
             store.ReadNext(database.handle(), nullptr, &properties)) {
    records.emplace_back(id, properties);
  }
  return records;
}

StoredMessage ReadMessage(platform::Message& message) {
  std::vector<std::uint32_t> tags;
  for (const kestrav::messages::PropertyColumn& column : kestrav::messages::kPropertyColumns)
    tags.push_back(column.tag);
  StoredMessage stored{.id = message.entry_id()};
  Require(!Failed(message.GetProperties(tags, &stored.properties)) &&
          !Failed(message.GetSubject(&stored.subject)) &&
          !Failed(message.GetBody(&stored.body, &stored.body_type)) &&
          !Failed(message.GetRecipients(&stored.recipients)) &&
          !Failed(message.GetAttachments(&stored.attachments)));
  std::vector<std::uint8_t> chunk(platform::kAttachmentChunkBytes);
  for (const platform::MessageAttachment& attachment : stored.attachments) {
    std::vector<std::uint8_t>& contents = stored.contents.emplace_back();
    for (std::size_t read = 1; read != 0;) {
      Require(!Failed(message.ReadAttachment(attachment.number, contents.size(), chunk, &read)));
      contents.insert(contents.end(), chunk.begin(), chunk.begin() + read);
    }
  }
  return stored;
}

void ReadMessageStores(platform::MessageRuntime& runtime, Stores* stores) {
  std::unique_ptr<platform::MessageSession> session;
  std::vector<platform::MessageStoreRow> rows;
  Require(!Failed(runtime.Initialize()) && !Failed(runtime.Logon(&session)) &&
          !Failed(session->GetStores(&rows)));
  for (const platform::MessageStoreRow& row : rows) {
    std::unique_ptr<platform::MessageStore> store;
    std::vector<platform::MessageFolderRow> folders;
    Require(!Failed(session->OpenStore(row.entry_id, &store)) &&
            !Failed(store->GetHierarchy(&folders)));
    std::vector<StoredFolder>& read =
        stores->messages.emplace_back(StoredMessageStore{.name = row.display_name}).folders;
    for (const platform::MessageFolderRow& folder_row : folders) {
      std::unique_ptr<platform::MessageFolder> folder;
      std::vector<EntryId> contents;
      Require(!Failed(store->OpenFolder(folder_row.entry_id, &folder)) &&
              !Failed(folder->GetContents(&contents)));
      StoredFolder& stored = read.emplace_back(StoredFolder{.row = folder_row});
      for (const EntryId& id : contents) {
        std::unique_ptr<platform::Message> message;
        Require(!Failed(folder->OpenMessage(id, &message)));
        stored.messages.push_back(ReadMessage(*message));
      }
    }
  }
  session->Logoff();
  runtime.Uninitialize();
}

Stores ReadStores(const kestrav::platform::Device& device) {
  Stores stores;
  for (const char16_t* name : kestrav::platform::host::kPimDatabases)
    stores.databases.push_back(ReadDatabase(device.object_store(), name));
  ReadMessageStores(device.messages(), &stores);
  return stores;
}

// Every path below the folder, files and folders alike.
std::set<fs::path> ListingOf(const fs::path& folder) {
  std::set<fs::path> paths;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder))
    paths.insert(entry.path().lexically_relative(folder));
  return paths;
}

PropertyValue Property(std::uint16_t identifier, PropertyType type) {
  PropertyValue value;
  value.id = kestrav::platform::MakePropertyId(identifier, type);
  return value;
}

// A call as the phone keeps it: start, end, flags, number, name, line and caller id.
std::vector<PropertyValue> Call(std::uint64_t start, std::uint32_t flags, std::u16string number,
                                std::u16string name) {
  std::vector<PropertyValue> call(7);
  call[0] = Property(0x0002, PropertyType::kFileTime);
  call[0].file_time = start;
  call[1] = Property(0x0003, PropertyType::kFileTime);
  call[1].file_time = start + 950'000'000;
  call[2] = Property(0x0004, PropertyType::kUInt32);
  call[2].integer = flags;
  call[3] = Property(0x0005, PropertyType::kString);
  call[3].text = std::move(number);
  call[4] = Property(0x0006, PropertyType::kString);
  call[4].text = std::move(name);
  call[5] = Property(0x0008, PropertyType::kInt16);
  call[5].integer = 1;
  call[6] = Property(0x000A, PropertyType::kBlob);
  call[6].bytes = {0x01, 0xab, 0x00};
  return call;
}

void AddCalls(kestrav::platform::ObjectStore& store) {
  kestrav::devicedb::HeldPimDatabase database(store);
  Require(database.Open(kestrav::devicedb::kCallLogDatabase) == kestrav::platform::kErrorSuccess);
  for (const auto& call : {Call(0x01C766F5A1B2C3D4, 3, u"+44 20 7946 0321", u"Renée Dubois"),
                           Call(0x01C76701A1B2C3D4, 0, u"555-0142", u""),
                           Call(0x01C7670DA1B2C3D4, 1, u"0800 123", u"Tom; Hall")}) {
    Require(store.Write(database.handle(), 0, call) != 0);
  }
}

void AddContacts(kestrav::platform::OutlookRuntime& outlook) {
  using kestrav::platform::Failed;
  std::unique_ptr<kestrav::platform::OutlookApplication> application;
  Require(!Failed(outlook.CreateApplication(&application)) && !Failed(application->Logon()));
  struct Contact {
    std::u16string_view file_as, first, last, email, mobile;
    double birthday;
  };
  for (const Contact& contact : {
           Contact{u"Dubois, Renée", u"Renée", u"Dubois", u"renee@example.org", u"+33 6 12", 27000},
           Contact{u"Hall, Tom", u"Tom", u"Hall", u"", u"555-0199",
                   kestrav::platform::kOleDateNone},
           Contact{u"Acme \"Works\"", u"", u"", u"info@acme.example", u"", 39156},
       }) {
    std::unique_ptr<kestrav::platform::OutlookItem> item;
    Require(!Failed(application->CreateItem(kestrav::platform::OutlookItemType::kContact, &item)));
    item->SetText(ItemProperty::kFileAs, contact.file_as);
    item->SetText(ItemProperty::kFirstName, contact.first);
    item->SetText(ItemProperty::kLastName, contact.last);
    item->SetText(ItemProperty::kEmail1Address, contact.email);
    item->SetText(ItemProperty::kMobileTelephoneNumber, contact.mobile);
    if (contact.birthday != kestrav::platform::kOleDateNone)
      item->SetDate(ItemProperty::kBirthday, contact.birthday);
    Require(!Failed(item->Save()));
  }
  application->Logoff();
}

PropertyValue MessageText(std::uint32_t tag, std::u16string text) {
  PropertyValue value;
  value.id = tag;
  value.text = std::move(text);
  return value;
}

// Saves a message with a few properties, the recipients and, when given, one attachment.
void AddMessage(platform::MessageFolder& folder, std::u16string subject,
                std::u16string message_class, const std::vector<MessageRecipient>& recipients,
                const std::vector<std::uint8_t>& attachment = {}) {
  PropertyValue delivery;
  delivery.id = platform::kTagDeliveryTime;
  delivery.file_time = 0x01C766F5A1B2C3D4;
  const std::vector<PropertyValue> properties = {
      MessageText(platform::kTagMessageClass, std::move(message_class)),
      MessageText(platform::kTagSenderAddress, u"+447700900318"), delivery};
  std::unique_ptr<platform::Message> message;
  Require(!Failed(folder.CreateMessage(&message)) && !Failed(message->SetSubject(subject)) &&
          !Failed(message->SetBody(subject, 0)) && !Failed(message->SetProperties(properties)) &&
          !Failed(message->SetRecipients(recipients)));
  if (!attachment.empty()) {
    std::int64_t number = 0;
    Require(!Failed(message->AddAttachment(
                u"notes; \"v2\".txt", 1, static_cast<std::uint32_t>(attachment.size()), &number)) &&
            !Failed(message->WriteAttachment(number, 0, attachment)));
  }
  Require(!Failed(message->Save()));
}

// A text message in the SMS inbox; in the Mail inbox a mail with an attachment and a subfolder
// holding another, so that a restore meets several stores, a folder tree and contents.
void AddMessages(platform::MessageRuntime& runtime) {
  std::unique_ptr<platform::MessageSession> session;
  std::vector<platform::MessageStoreRow> rows;
  Require(!Failed(runtime.Initialize()) && !Failed(runtime.Logon(&session)) &&
          !Failed(session->GetStores(&rows)));
  std::unique_ptr<platform::MessageStore> sms, mail;
  for (const platform::MessageStoreRow& row : rows) {
    if (row.display_name == u"SMS") Require(!Failed(session->OpenStore(row.entry_id, &sms)));
    if (row.display_name == u"Mail") Require(!Failed(session->OpenStore(row.entry_id, &mail)));
  }
  std::unique_ptr<platform::MessageFolder> texts, inbox, projects;
  Require(sms && mail && !Failed(sms->OpenFolderByName(u"Inbox", &texts)) &&
          !Failed(mail->OpenFolderByName(u"Inbox", &inbox)) &&
          !Failed(mail->CreateFolder(inbox->entry_id(), u"Projects", &projects)));
  AddMessage(*texts, u"Running late, see you 😅", u"IPM.SMStext",
             {{platform::RecipientKind::kTo, u"Sam", u"+447700900456", u"SMS"}});
  AddMessage(*inbox, u"Notes", u"IPM.Note",
             {{platform::RecipientKind::kCc, u"Zoë, Å", u"zoe@example.org", u"SMTP"}},
             {0x00, 0xff, 0x0d, 0x0a, 0x22});
  AddMessage(*projects, u"Plan", u"IPM.Note", {});
  session->Logoff();
  runtime.Uninitialize();
}

// The device every input meets, with its stores as they were and the profile's listing.
struct Handheld {
  Handheld() {
    const kestrav::platform::Device& phone = device.device();
    AddCalls(phone.object_store());
    AddContacts(phone.outlook());
    AddMessages(phone.messages());
    std::u16string reason;
    Require(phone.safeguards() != nullptr &&
            phone.safeguards()->TakeSnapshot(u"restore fuzzing", &reason) ==
                kestrav::platform::kErrorSuccess);
    stores = ReadStores(phone);
    Require(stores.databases[0].size() == 3 && stores.databases[2].size() == 3);
    std::size_t messages = 0;
    for (const StoredMessageStore& store : stores.messages) {
      for (const StoredFolder& folder : store.folders) messages += folder.messages.size();
    }
    Require(messages == 3);
    listing = ListingOf(device.folder());
  }

  kestrav::testing::TemporaryDevice device;
  Stores stores;
  std::set<fs::path> listing;
};

// The choice-th mode of those the kind offers, counting round.
RestoreMode OfferedMode(ItemKind kind, unsigned choice) {
  std::vector<RestoreMode> offered;
  for (const RestoreMode mode : {RestoreMode::kDeleteAllFirst, RestoreMode::kAddOnlyNew,
                                 RestoreMode::kAddNewAndUpdate, RestoreMode::kAllowDuplicates}) {
    if (kestrav::kinds::OffersMode(kind, mode)) offered.push_back(mode);
  }
  return offered[choice % offered.size()];
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  static Handheld handheld;
  const kestrav::platform::Device& device = handheld.device.device();

  const std::array<std::u16string_view, 7> extensions = {
      kestrav::engine::kArchiveExtension,
      kestrav::engine::KindInfo(ItemKind::kCallLogs).extension,
      kestrav::engine::KindInfo(ItemKind::kContacts).extension,
      kestrav::engine::KindInfo(ItemKind::kAppointments).extension,
      kestrav::engine::KindInfo(ItemKind::kTasks).extension,
      kestrav::engine::KindInfo(ItemKind::kSpeedDials).extension,
      kestrav::engine::KindInfo(ItemKind::kMessages).extension};
  const std::u16string_view extension = extensions[data[0] % extensions.size()];
  const unsigned mode_choice = data[0] / extensions.size();
  const std::u16string file = u"\\My Documents\\input" + std::u16string(extension);
  handheld.device.WriteFile(file,
                            std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1));

  // The entries as a front end finds them, each under a mode its kind offers.
  std::vector<kestrav::engine::RestoreEntry> entries;
  const bool listed = !kestrav::kinds::RestoreEntriesOf(device, file, &entries);
  for (kestrav::engine::RestoreEntry& entry : entries)
    entry.mode = OfferedMode(entry.kind, mode_choice);
  const std::vector<ItemKind> kinds = kestrav::kinds::KindsOf(entries);

  kestrav::engine::testing::RecordingSink sink(device.clock(),
                                               kestrav::engine::Delivery::kOnReportingThread);
  kestrav::engine::BackupJob job;
  job.sink = &sink;
  bool changed_anything = false;
  if (listed) {
    if (kestrav::engine::PrepareRestore(device, job, kinds, entries,
                                        kestrav::kinds::WorkerFactory(device))) {
      Require(job.restores.empty());
    } else {
      kestrav::engine::RunRestore(device, job);
      std::size_t refusing_workers = 0;
      for (const auto& restore : job.restores) {
        if (restore.worker->tally().file_accepted)
          changed_anything = true;
        else
          ++refusing_workers;
      }
      const std::vector<std::u16string> rows = sink.Rows();
      Require(std::ranges::count_if(rows, [](const std::u16string& row) {
                return row.starts_with(u"! ") && row.ends_with(u"Nothing done.");
              }) >= static_cast<std::ptrdiff_t>(refusing_workers));
    }
  }

  const Stores after = ReadStores(device);
  if (!changed_anything) Require(after == handheld.stores);
  Require(fs::is_empty(handheld.device.root() / "Temp"));
  std::error_code ignored;
  fs::remove(handheld.device.HostPath(file), ignored);
  Require(ListingOf(handheld.device.folder()) == handheld.listing);

  if (after != handheld.stores) {
    kestrav::platform::SnapshotInfo info;
    std::u16string reason;
    Require(device.safeguards()->RestoreSnapshot(&info, &reason) ==
            kestrav::platform::kErrorSuccess);
    Require(ReadStores(device) == handheld.stores);
  }
  return 0;
}
