// The message stores as JSON, on fresh device profiles (stores "ActiveSync", "SMS" and "Mail",
// each with the well-known folders).
#include "profile/message_json.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/test_support/temporary_device.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

using testing::TemporaryDevice;

std::string Dump(TemporaryDevice& device) {
  std::string json;
  std::string error;
  EXPECT_TRUE(DumpMessages(device.device(), &json, &error)) << error;
  return json;
}

// Each message of the folders and their subfolders.
template <typename Visit>
void ForEachMessage(const Json& folders, Visit visit) {
  for (const Json& folder : folders) {
    for (const Json& message : folder.value("messages", Json::array())) visit(message);
    ForEachMessage(folder.value("folders", Json::array()), visit);
  }
}

// A record file takes a line break only as CR LF, and ends a quoted text at a quote followed by
// ";", "," or a line end; a text it cannot give back is no sample text.
bool RecordFileKeeps(const Json& json) {
  const std::string& text = json.get_ref<const std::string&>();
  for (std::size_t at = 0; at < text.size(); ++at) {
    const bool lone_break = (text[at] == '\r' && (at + 1 == text.size() || text[at + 1] != '\n')) ||
                            (text[at] == '\n' && (at == 0 || text[at - 1] != '\r'));
    const bool closing_quote = text[at] == '"' && (at + 1 == text.size() ||
                                                   std::string_view(";,\r\n").find(text[at + 1]) !=
                                                       std::string_view::npos);
    if (lone_break || closing_quote || text[at] == '\0') return false;
  }
  return true;
}

TEST(MessageJsonTest, SampleDumpsLoadsAndDumpsTheSame) {
  TemporaryDevice source;
  std::string error;
  ASSERT_TRUE(FillSampleMessages(source.device(), 1, &error)) << error;
  const std::string json = Dump(source);

  std::set<Json> ids;
  std::size_t messages = 0;
  for (const Json& store : Json::parse(json)) {
    ForEachMessage(store["folders"], [&](const Json& message) {
      ids.insert(message["messageId"]);
      ++messages;
      for (const char* key : {"subject", "body", "senderName"})
        EXPECT_TRUE(RecordFileKeeps(message[key])) << message[key];
      for (const Json& recipient : message["recipients"])
        EXPECT_TRUE(RecordFileKeeps(recipient["name"])) << recipient["name"];
    });
  }
  EXPECT_EQ(ids.size(), messages);

  TemporaryDevice target;
  ASSERT_TRUE(LoadMessages(target.device(), json, &error)) << error;
  EXPECT_EQ(Dump(target), json);
}

// A store and folders that are missing are made, those there are found by name: a second load
// adds the messages again and no folder. Values the sample does not hold come back too. A dump
// lists a store's folders in hierarchy order, each at its level; a load takes that list, and
// folders nested in folders as documents of old have them.
TEST(MessageJsonTest, LoadMakesWhatIsMissingAndKeepsEveryValue) {
  const Json message = Json::parse(R"({"subject": "", "body": "", "bodyType": 2,
       "messageId": "", "messageFlags": -1,
       "deliveryTime": "1601-01-01T00:00:00.0000001Z",
       "lastModificationTime": 18446744073709551615,
       "recipients": [{"kind": "bcc", "name": "", "address": "", "addressType": ""}],
       "attachments": [{"fileName": "empty", "method": 0, "contents": ""},
                       {"fileName": "two", "method": 5, "contents": "AP8="}]})");
  Json nested = Json::parse(R"({"name": "Archive", "folders": [
    {"name": "Inbox", "folders": [{"name": "2007", "folders": [{"name": "March"}]}]}]})");
  nested["folders"][0]["folders"][0]["folders"][0]["messages"] = Json::array({message});
  Json listed = Json::parse(R"({"name": "Archive", "folders": [{"name": "Inbox"},
    {"name": "2007", "level": 1}, {"name": "March", "level": 2}, {"name": "Outbox"},
    {"name": "Deleted Items"}, {"name": "Drafts"}, {"name": "Sent Items"}]})");
  listed["folders"][2]["messages"] = Json::array({message});
  TemporaryDevice device;
  const Json fresh = Json::parse(Dump(device));
  std::string error;
  ASSERT_TRUE(LoadMessageDocument(device.device(), Json::array({nested}), &error)) << error;
  ASSERT_TRUE(LoadMessageDocument(device.device(), Json::array({listed}), &error)) << error;

  listed["folders"][2]["messages"].push_back(message);
  Json dumped = Json::parse(Dump(device));
  ASSERT_EQ(dumped.size(), fresh.size() + 1);
  // The dump writes the keys in its own order; the values are the same.
  EXPECT_EQ(nlohmann::json::parse(dumped.back().dump()), nlohmann::json::parse(listed.dump()));
}

// However deep a store's folders, a load and a dump take as long as they are many, and no depth
// exhausts the stack.
TEST(MessageJsonTest, FoldersOfAnyDepthLoadAndDump) {
  constexpr int kDepth = 20000;
  std::string nested = R"([{"name": "Mail", "folders": [{"name": "Inbox", "folders": [)";
  for (int level = 0; level < kDepth; ++level)
    nested += R"({"name": "F)" + std::to_string(level) + R"(", "folders": [)";
  for (int level = 0; level < kDepth; ++level) nested += "]}";
  nested += "]}]}]";
  TemporaryDevice device;
  std::string error;
  ASSERT_TRUE(LoadMessages(device.device(), nested, &error)) << error;
  const Json mail = Json::parse(Dump(device))[2];
  ASSERT_EQ(mail["folders"].size(), kDepth + 5u);
  EXPECT_EQ(mail["folders"][kDepth], Json::parse(R"({"name": "F19999", "level": 20000})"));
}

TEST(MessageJsonTest, RefusedDocumentsWriteNothing) {
  struct Case {
    const char* json;
    const char* reason;
  };
  // The first store of each is valid and new, so that a half load would show.
  const Case cases[] = {
      {R"([{"name": "New", "folders": [{"name": "Inbox", "folders": [{"name": "Sub"}]}]},
           {"name": "Mail", "folders": [{"name": "Inbox", "messages": [{}, {"bodyType": "1"}]}]}])",
       "store \"Mail\", folder \"Inbox\": message 1: \"bodyType\" must be an integer from "
       "-2147483648 to 2147483647"},
      {R"([{"name": "New"}, {"name": "Mail", "folders": [{"name": "Inbox", "folders": [
           {"name": "A", "messages": [{"recipients": [{"kind": "from"}]}]}]}]}])",
       "store \"Mail\", folder \"Inbox/A\": message 0: recipient 0: \"kind\" must be \"to\", "
       "\"cc\" or \"bcc\""},
      {R"([{"name": "New"}, {"name": "SMS", "folders": [{"name": "Inbox", "messages": [
           {"attachments": [{"contents": "A*!="}]}]}]}])",
       "store \"SMS\", folder \"Inbox\": message 0: attachment 0: \"contents\" must be base64 "
       "such as \"AAH/\""},
      {R"([{"name": "New"}, {"name": "SMS", "folders": [{"name": "Inbox", "messages": [
           {"deliveryTime": "2007-02-30T10:20:30Z"}]}]}])",
       "store \"SMS\", folder \"Inbox\": message 0: \"deliveryTime\" must be a UTC date such as "
       "\"2007-03-15T10:20:30Z\""},
      {R"([{"name": "New"}, {"name": "SMS", "folders": [{"name": "Inbox", "messages": [
           {"messageId": "0x1g"}]}]}])",
       "store \"SMS\", folder \"Inbox\": message 0: \"messageId\" must be a byte list such as "
       "\"0x01,0xab\""},
      {R"([{"name": "New"}, {"name": "SMS", "folders": [{"name": "Inbox", "messages": [
           {"Subject": "A"}]}]}])",
       "store \"SMS\", folder \"Inbox\": message 0: unknown key \"Subject\""},
      {R"([{"name": "New"}, {"name": "SMS", "folders": [{"name": "Inbox"}, {"folders": []}]}])",
       "store \"SMS\": folder 1: \"name\" must be a string"},
      {R"([{"name": "New"}, {"name": "Mail", "folders": [{"name": "Archive"}]}])",
       "store \"Mail\", folder \"Archive\": a folder at the top of a store is not made; only below "
       "another"},
      {R"([{"name": "New", "folders": [{"name": "Inbox"}, {"name": "Junk"}]}])",
       "store \"New\", folder \"Junk\": a folder at the top of a store is not made; only below "
       "another"},
      {R"([{"name": "New", "folders": [{"name": "Inbox"}, {"name": "A", "level": 2}]}])",
       "store \"New\": folder 1: \"level\" must be an integer from 0 to 1"},
      {R"([{"name": "New", "folders": [{"name": "Inbox", "folders": [{"name": "A",
           "level": 1}]}]}])",
       "store \"New\", folder \"Inbox\": folder 0: unknown key \"level\""},
      {R"([{"name": "New"}, {"store": "Mail"}])", "store 1: unknown key \"store\""},
      {R"({"name": "Mail"})", "the document is not an array of message stores"},
  };
  TemporaryDevice device;
  const std::string fresh = Dump(device);
  for (const Case& bad : cases) {
    std::string error;
    EXPECT_FALSE(LoadMessages(device.device(), bad.json, &error)) << bad.json;
    EXPECT_EQ(error, bad.reason);
  }
  EXPECT_EQ(Dump(device), fresh);
}

}  // namespace
}  // namespace kestrav::profile
