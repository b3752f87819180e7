// "device dump" and "device load": one database of the profile's "\pim.vol" as JSON, to look at
// the records a restore wrote or to set up records for one to meet.
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/cli.h"
#include "platform/text.h"
#include "profile/profile.h"

namespace kestrav::cli {
namespace {

// The help of the DATABASE argument, with the kinds the profile tools dump by name.
std::string DatabaseHelp() {
  std::string help =
      "The database: its name in \\pim.vol (\"clog.db\", \"Contacts Database\", ...), "
      "calllogs (clog.db), speeddials (speed.db)";
  for (const profile::DataKind& kind : profile::DataKinds())
    help += ", or " + std::string(kind.word) + " (" + std::string(kind.description) + ")";
  return help;
}

int DumpCommand(CommandContext& context, const std::string& database) {
  platform::host::HostDevice* device = context.Profile();
  if (device == nullptr) return kExitFailure;
  std::string json;
  std::string error;
  if (!profile::DumpData(device->device(), database, &json, &error)) {
    const std::u16string failure = device->device().safeguards()->StoreFailure();
    return context.Fail(failure.empty() ? error : error + ": " + platform::ToUtf8(failure));
  }
  std::cout << json;
  return kExitSuccess;
}

bool ReadWholeStream(std::istream& in, std::string* text) {
  std::ostringstream content;
  content << in.rdbuf();
  *text = std::move(content).str();
  return !in.bad();
}

int LoadCommand(CommandContext& context, const std::string& database, const std::string& file) {
  std::string json;
  if (file == "-") {
    if (!ReadWholeStream(std::cin, &json)) return context.Fail("cannot read standard input");
  } else {
    std::ifstream in(file, std::ios::binary);
    if (!in || !ReadWholeStream(in, &json)) return context.Fail(file + ": cannot read the file");
  }
  platform::host::HostDevice* device = context.Profile();
  if (device == nullptr) return kExitFailure;
  const std::unique_ptr<engine::DeviceJob> job =
      context.BeginJob(device->device(), u"device load " + platform::FromUtf8(database), true);
  if (!job) return kExitFailure;
  std::u16string reason;
  if (!job->TakeSnapshot(&reason)) return context.Fail(reason);
  std::string error;
  if (!profile::LoadData(device->device(), database, json, &error))
    return context.FailOnStoreFailure(*job, error, true);
  return context.FailOnStoreFailure(*job, "the dump was not loaded whole");
}

}  // namespace

void AddDeviceDataCommands(CLI::App& device_command, CommandContext& context) {
  CLI::App* dump = device_command.add_subcommand(
      "dump", "Print the records of a database of the device's \\pim.vol as JSON");
  auto dump_database = std::make_shared<std::string>();
  dump->add_option("DATABASE", *dump_database, DatabaseHelp())->required();
  dump->callback([&context, dump_database] {
    context.action = [&context, dump_database] { return DumpCommand(context, *dump_database); };
  });

  CLI::App* load = device_command.add_subcommand(
      "load",
      "Append the records of a JSON dump to a database of the device's \\pim.vol, with new "
      "object ids; nothing is written unless the whole dump is valid");
  auto load_database = std::make_shared<std::string>();
  auto file = std::make_shared<std::string>();
  load->add_option("DATABASE", *load_database, DatabaseHelp())->required();
  load->add_option("FILE", *file, "The JSON dump; - reads standard input")->required();
  load->callback([&context, load_database, file] {
    context.action = [&context, load_database, file] {
      return LoadCommand(context, *load_database, *file);
    };
  });
}

}  // namespace kestrav::cli
