// The sample data of "device init --sample", on fresh device profiles of both generations.
#include "profile/sample_data.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "outlook/contact_record.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "profile/item_json.h"
#include "profile/message_json.h"

namespace kestrav::profile {
namespace {

nlohmann::ordered_json ItemsWithoutOids(testing::TemporaryDevice& device,
                                        platform::OutlookFolderId folder) {
  std::string json;
  std::string error;
  EXPECT_TRUE(DumpItems(device.device(), folder, &json, &error)) << error;
  nlohmann::ordered_json items = nlohmann::ordered_json::parse(json);
  for (auto& item : items) item.erase("oid");
  return items;
}

nlohmann::ordered_json SampleContacts(int os_major_version, std::uint32_t scale) {
  testing::TemporaryDevice device(os_major_version);
  std::string error;
  EXPECT_TRUE(FillSampleData(device.device(), scale, &error)) << error;
  const nlohmann::ordered_json contacts =
      ItemsWithoutOids(device, platform::OutlookFolderId::kContacts);
  // Each note must come back from a backup as it is: a note whose UTF-16 bytes hold no zero
  // byte is read back as narrow text.
  for (const auto& contact : contacts) {
    if (!contact.contains("Body")) continue;
    const std::u16string body = platform::FromUtf8(contact["Body"].get<std::string>());
    EXPECT_EQ(outlook::NotesFromField(outlook::NotesField(body), device.device().code_page()),
              body);
  }
  return contacts;
}

TEST(SampleDataTest, ContactsAreTheSameOnBothGenerationsAndCopiesHaveTheirOwnNames) {
  const nlohmann::ordered_json contacts = SampleContacts(platform::kWindowsMobile2005, 2);
  ASSERT_EQ(contacts.size(), 2 * kSampleContactsPerScale);
  EXPECT_EQ(SampleContacts(platform::kWindowsMobile2003, 2), contacts);

  // A restore finds contacts by file-as name: only the ones without one repeat.
  std::multiset<std::string> names;
  for (const auto& contact : contacts) names.insert(contact.value("FileAs", std::string()));
  for (const std::string& name : names) EXPECT_EQ(names.count(name), name.empty() ? 2u : 1u);
  EXPECT_EQ(contacts[kSampleContactsPerScale]["FileAs"], "Åkerlund, Zoë 2");
}

TEST(SampleDataTest, AThirdOfTheAppointmentsRecurAndCopiesHaveTheirOwnSubjects) {
  testing::TemporaryDevice device;
  std::string error;
  ASSERT_TRUE(FillSampleData(device.device(), 3, &error)) << error;
  for (const platform::OutlookFolderId folder :
       {platform::OutlookFolderId::kCalendar, platform::OutlookFolderId::kTasks}) {
    const nlohmann::ordered_json items = ItemsWithoutOids(device, folder);
    ASSERT_EQ(items.size(),
              3 * (folder == platform::OutlookFolderId::kCalendar ? kSampleAppointmentsPerScale
                                                                  : kSampleTasksPerScale));
    std::set<std::string> subjects;
    for (const auto& item : items) subjects.insert(item["Subject"].get<std::string>());
    EXPECT_EQ(subjects.size(), items.size());
  }
  const nlohmann::ordered_json appointments =
      ItemsWithoutOids(device, platform::OutlookFolderId::kCalendar);
  EXPECT_EQ(std::ranges::count_if(appointments,
                                  [](const auto& item) { return item.contains("recurrence"); }),
            static_cast<std::ptrdiff_t>(appointments.size() / 3));
  EXPECT_EQ(appointments[2 * kSampleAppointmentsPerScale + 3]["Subject"], "Stand-up 3");
}

// The messages of each folder of a store by path, the folders listed each at its level, and the
// sizes of their attachments.
void CollectMessages(const std::string& store, const nlohmann::ordered_json& folders,
                     std::map<std::string, nlohmann::ordered_json>* messages,
                     std::multiset<std::size_t>* attachment_sizes) {
  std::vector<std::string> names;
  for (const auto& folder : folders) {
    names.resize(folder.value("level", std::size_t{0}));
    names.push_back(folder["name"].get<std::string>());
    std::string folder_path = store;
    for (const std::string& name : names) folder_path += "/" + name;
    (*messages)[folder_path] = folder.value("messages", nlohmann::ordered_json::array());
    for (const auto& message : (*messages)[folder_path]) {
      for (const auto& attachment : message.value("attachments", nlohmann::ordered_json::array()))
        attachment_sizes->insert(attachment["contents"].get<std::string>().size() / 4 * 3);
    }
  }
}

TEST(SampleDataTest, MessagesFillTheirFoldersScaleTimesWithOneLargeAttachment) {
  testing::TemporaryDevice device;
  std::string error;
  ASSERT_TRUE(FillSampleData(device.device(), 2, &error)) << error;
  std::string json;
  ASSERT_TRUE(DumpMessages(device.device(), &json, &error)) << error;
  std::map<std::string, nlohmann::ordered_json> messages;
  std::multiset<std::size_t> attachment_sizes;
  for (const auto& store : nlohmann::ordered_json::parse(json))
    CollectMessages(store["name"].get<std::string>(), store["folders"], &messages,
                    &attachment_sizes);

  std::size_t expected_total = 0;
  for (const SampleMessageFolder& folder : kSampleMessageFolders) {
    const std::string path = std::string(folder.store) + "/" + std::string(folder.path);
    ASSERT_TRUE(messages.contains(path)) << path;
    EXPECT_EQ(messages[path].size(), 2 * folder.messages_per_scale) << path;
    expected_total += 2 * folder.messages_per_scale;
    // A restore adding only new messages tells the copies apart by subject.
    std::set<std::string> subjects;
    for (const auto& message : messages[path]) subjects.insert(message["subject"]);
    EXPECT_EQ(subjects.size(), messages[path].size()) << path;
  }
  std::size_t total = 0;
  for (const auto& [path, folder_messages] : messages) total += folder_messages.size();
  EXPECT_EQ(total, expected_total);
  // Rounded up to whole groups of three.
  EXPECT_EQ(attachment_sizes.count((kSampleLargeAttachmentBytes + 2) / 3 * 3), 1u);
  EXPECT_EQ(messages["SMS/Inbox"][kSampleMessageFolders[0].messages_per_scale]["subject"],
            "Oi Sam! Você vem à festa no sábado? Começa às 20h 🎉 2");
}

}  // namespace
}  // namespace kestrav::profile
