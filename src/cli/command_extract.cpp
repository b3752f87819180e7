#include <iostream>

#include "cli/cli.h"
#include "kinds/console_sink.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

int ExtractArchive(CommandContext& context, const std::string& archive, const std::string& folder) {
  platform::host::HostDevice* device = context.Device();
  if (device == nullptr) return context.Fail("the device's code page is not available");
  const std::u16string archive_path = CommandLinePath(archive);
  if (!device->files().FileExists(archive_path)) return context.Fail(archive + ": no such file");
  std::vector<std::u16string> extracted;
  std::vector<records::ArchiveMember> skipped;
  const int result =
      records::Extract(device->device(), archive_path,
                       CommandLinePath(folder.empty() ? "." : folder), &extracted, &skipped);
  for (const std::u16string& file : extracted) std::cout << kinds::PrintableText(file) << '\n';
  if (result != 0) {
    return context.Fail(archive + ": " + platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  if (!skipped.empty()) {
    // One line, each member passed over with the reason: "2 of its members were not extracted:
    // b.txt uses compression method 12 (bzip2), which Kestrav does not read; c.txt is encrypted".
    std::string line = archive + ": " + std::to_string(skipped.size()) + " of its members " +
                       (skipped.size() == 1 ? "was" : "were") + " not extracted: ";
    for (std::size_t index = 0; index < skipped.size(); ++index) {
      if (index > 0) line += "; ";
      line += kinds::PrintableText(skipped[index].name) + ' ' +
              platform::ToUtf8(records::MemberFaultText(skipped[index]));
    }
    return context.Fail(line);
  }
  return kExitSuccess;
}

}  // namespace

void AddExtractCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "extract",
      "Extract every member of a backup archive into a folder (default: the current one)");
  auto archive = std::make_shared<std::string>();
  auto folder = std::make_shared<std::string>();
  command->add_option("ARCHIVE", *archive, "The backup archive (.qbk)")->required();
  command->add_option("FOLDER", *folder, "The folder to extract into; created when missing");
  command->callback([&context, archive, folder] {
    context.action = [&context, archive, folder] {
      return ExtractArchive(context, *archive, *folder);
    };
  });
}

}  // namespace kestrav::cli
