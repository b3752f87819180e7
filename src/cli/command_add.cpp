#include <algorithm>
#include <atomic>
#include <thread>

#include "cli/cli.h"
#include "engine/progress_sink.h"
#include "kinds/console_sink.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

struct AddOptions {
  std::string archive;
  std::vector<std::string> files;
  bool store = false;
  bool replace = false;
};

// Members of the archive that the files would add again under the same name: a restore could
// not tell them apart. With --replace they go first; without it the command stops here.
int SettleNamesTaken(CommandContext& context, const platform::Device& device,
                     const AddOptions& options) {
  const std::u16string archive = CommandLinePath(options.archive);
  if (!device.files().FileExists(archive)) return kExitSuccess;
  std::vector<records::ArchiveMember> members;
  if (const int result = records::ListMembers(device, archive, &members); result != 0) {
    return context.Fail(options.archive + ": " +
                        platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  std::vector<std::u16string> taken;
  for (const std::string& file : options.files) {
    const std::u16string name(platform::BaseName(CommandLinePath(file)));
    if (std::ranges::any_of(members, [&name](const records::ArchiveMember& member) {
          return platform::EqualsIgnoringAsciiCase(member.name, name);
        })) {
      taken.push_back(name);
    }
  }
  if (taken.empty()) return kExitSuccess;
  if (!options.replace) {
    return context.Fail(options.archive + " already holds " + kinds::PrintableText(taken.front()) +
                        "; add --replace to put the new file in its place");
  }
  if (const int result = records::RemoveMembers(device, archive, taken, nullptr); result != 0) {
    return context.Fail(options.archive + ": " +
                        platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  return kExitSuccess;
}

// Adds the files one by one on a worker thread, as a backup does, while this thread shows the
// rows and the bars.
int AddFiles(CommandContext& context, const AddOptions& options) {
  platform::host::HostDevice* host = context.Device();
  if (host == nullptr) return context.Fail("the device's code page is not available");
  const platform::Device& device = host->device();
  for (std::size_t index = 0; index < options.files.size(); ++index) {
    const std::u16string path = CommandLinePath(options.files[index]);
    if (!host->files().FileExists(path))
      return context.Fail(options.files[index] + ": no such file");
    for (std::size_t earlier = 0; earlier < index; ++earlier) {
      if (platform::EqualsIgnoringAsciiCase(
              platform::BaseName(CommandLinePath(options.files[earlier])),
              platform::BaseName(path))) {
        return context.Fail(options.files[index] + ": a second file named " +
                            kinds::PrintableText(std::u16string(platform::BaseName(path))));
      }
    }
  }
  if (const int result = SettleNamesTaken(context, device, options); result != kExitSuccess)
    return result;
  kinds::ConsoleSink sink(device.clock(), stdout, kinds::IsTerminal(stdout));
  std::atomic<bool> done = false;
  int result = 0;
  std::string failed_file;
  std::thread worker([&] {
    const std::u16string archive = CommandLinePath(options.archive);
    const auto count = static_cast<std::uint32_t>(options.files.size());
    engine::PostProgress(&sink, 0, count, true);
    for (std::uint32_t index = 0; index < count && result == 0; ++index) {
      const std::u16string file = CommandLinePath(options.files[index]);
      engine::PostLog(&sink, u"Adding " + std::u16string(platform::BaseName(file)) + u"...",
                      engine::LogIcon::kInformation);
      result = records::AddFile(device, file, archive,
                                options.store ? records::kMethodStored : records::kMethodDeflated,
                                [&sink](std::uint32_t position, std::uint32_t upper_bound) {
                                  engine::PostProgress(&sink, position, upper_bound, false);
                                });
      if (result != 0) failed_file = options.files[index];
      engine::PostProgress(&sink, index + 1, 0, true);
    }
    done = true;
  });
  sink.RunUntil([&] { return done.load(); });
  worker.join();
  if (result != 0) {
    return context.Fail(failed_file + ": " + platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  return kExitSuccess;
}

}  // namespace

void AddAddCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "add", "Add files to a backup archive as members, creating the archive when missing");
  auto options = std::make_shared<AddOptions>();
  command->add_option("ARCHIVE", options->archive, "The backup archive (.qbk)")->required();
  command->add_option("FILE", options->files, "The files to add, each by its base name")
      ->required();
  command->add_flag("--store", options->store, "Store the files without compressing them");
  command->add_flag("--replace", options->replace,
                    "Replace members of the same names (without it such a file is refused)");
  command->callback([&context, options] {
    context.action = [&context, options] { return AddFiles(context, *options); };
  });
}

}  // namespace kestrav::cli
