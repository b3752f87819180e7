// "device dump" and "device load": one database of the profile's "\pim.vol" as JSON, to look at
// the records a restore wrote or to set up records for one to meet.
#include <fstream>
#include <iostream>
#include <sstream>

#include "cli/cli.h"
#include "cli/device_json.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

constexpr char kDatabaseHelp[] =
    "The database: its name in \\pim.vol (\"clog.db\", \"Contacts Database\", ...), "
    "or calllogs (clog.db) or speeddials (speed.db)";

int DumpCommand(CommandContext& context, const std::string& database) {
  platform::host::HostDevice* device = context.Profile();
  if (device == nullptr) return kExitFailure;
  std::string json;
  std::string error;
  if (!DumpDatabase(device->device().object_store(), platform::FromUtf8(database), &json, &error))
    return context.Fail(error);
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
  std::string error;
  if (!LoadDatabase(device->device().object_store(), platform::FromUtf8(database), json, &error))
    return context.Fail(error);
  return kExitSuccess;
}

}  // namespace

void AddDeviceDataCommands(CLI::App& device_command, CommandContext& context) {
  CLI::App* dump = device_command.add_subcommand(
      "dump", "Print the records of a database of the device's \\pim.vol as JSON");
  auto dump_database = std::make_shared<std::string>();
  dump->add_option("DATABASE", *dump_database, kDatabaseHelp)->required();
  dump->callback([&context, dump_database] {
    context.action = [&context, dump_database] { return DumpCommand(context, *dump_database); };
  });

  CLI::App* load = device_command.add_subcommand(
      "load",
      "Append the records of a JSON dump to a database of the device's \\pim.vol, with new "
      "object ids; nothing is written unless the whole dump is valid");
  auto load_database = std::make_shared<std::string>();
  auto file = std::make_shared<std::string>();
  load->add_option("DATABASE", *load_database, kDatabaseHelp)->required();
  load->add_option("FILE", *file, "The JSON dump; - reads standard input")->required();
  load->callback([&context, load_database, file] {
    context.action = [&context, load_database, file] {
      return LoadCommand(context, *load_database, *file);
    };
  });
}

}  // namespace kestrav::cli
