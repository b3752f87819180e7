// The sample data of "device init --sample", on fresh device profiles of both generations.
#include "profile/sample_data.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "outlook/contact_record.h"
#include "platform/test_support/temporary_device.h"
#include "platform/text.h"
#include "profile/item_json.h"
#include "profile/record_json.h"

namespace kestrav::profile {
namespace {

nlohmann::ordered_json SampleContacts(int os_major_version, std::uint32_t scale) {
  testing::TemporaryDevice device(os_major_version);
  std::string error;
  EXPECT_TRUE(FillSampleData(device.device(), scale, &error)) << error;
  std::string json;
  EXPECT_TRUE(DumpContacts(device.device(), &json, &error)) << error;
  nlohmann::ordered_json contacts = nlohmann::ordered_json::parse(json);
  for (auto& contact : contacts) contact.erase("oid");
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

}  // namespace
}  // namespace kestrav::profile
