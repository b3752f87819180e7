#include <atomic>
#include <thread>

#include "cli/cli.h"
#include "cli/console_sink.h"
#include "engine/progress_sink.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

struct AddOptions {
  std::string archive;
  std::vector<std::string> files;
  bool store = false;
};

// Adds the files one by one on a worker thread, as a backup does, while this thread shows the
// rows and the bars.
int AddFiles(CommandContext& context, const AddOptions& options) {
  platform::host::HostDevice* host = context.Device();
  if (host == nullptr) return context.Fail("the device's code page is not available");
  const platform::Device& device = host->device();
  for (const std::string& file : options.files) {
    if (!host->files().FileExists(CommandLinePath(file)))
      return context.Fail(file + ": no such file");
  }
  ConsoleSink sink(device.clock(), stdout, IsTerminal(stdout));
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
  command->callback([&context, options] {
    context.action = [&context, options] { return AddFiles(context, *options); };
  });
}

}  // namespace kestrav::cli
