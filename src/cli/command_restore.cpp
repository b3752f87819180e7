#include <algorithm>

#include "cli/cli.h"
#include "cli/job_runner.h"
#include "cli/kinds.h"
#include "engine/restore_pass.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

struct RestoreOptions {
  std::string file;
  std::string kinds;
  std::vector<std::string> modes;
};

// The restore entries of a file, as the window lists them: one per archive member of a kind's
// extension, or the record file itself. An archive whose directory cannot be read is invalid or
// corrupt; a file that is neither has an invalid format.
std::optional<engine::RestoreRefusal> EntriesOf(const platform::Device& device,
                                                const std::u16string& file,
                                                std::vector<engine::RestoreEntry>* entries) {
  const std::u16string_view extension = platform::ExtensionOf(file);
  if (platform::EqualsIgnoringAsciiCase(extension, engine::kArchiveExtension)) {
    std::vector<records::ArchiveMember> members;
    if (const int result = records::ListMembers(device, file, &members); result != 0)
      return engine::ArchiveInvalid(file, result);
    for (std::size_t position = 0; position < members.size(); ++position) {
      const auto kind = engine::KindOfExtension(platform::ExtensionOf(members[position].name));
      if (kind)
        entries->push_back({*kind, file, true, engine::RestoreMode::kDeleteAllFirst, position});
    }
  } else if (const auto kind = engine::KindOfExtension(extension); kind) {
    entries->push_back({*kind, file, false});
  }
  if (entries->empty()) return engine::InvalidFileFormat(file);
  return std::nullopt;
}

int Restore(CommandContext& context, const RestoreOptions& options) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  const std::u16string file = CommandLinePath(options.file);
  if (!device.files().FileExists(file)) return context.Fail(options.file + ": no such file");

  std::vector<engine::RestoreEntry> entries;
  if (const auto refusal = EntriesOf(device, file, &entries); refusal)
    return FailWithRefusal(context, *refusal);
  std::string reason;
  for (const std::string& setting : options.modes) {
    const std::size_t equals = setting.find('=');
    std::vector<engine::ItemKind> kind;
    engine::RestoreMode mode;
    if (equals == std::string::npos)
      return context.Fail("--mode " + setting + ": expected KIND=MODE");
    if (!ParseKinds(std::string_view(setting).substr(0, equals), &kind, &reason) ||
        kind.size() != 1) {
      return context.Fail("--mode " + setting + ": " + reason);
    }
    const std::string mode_name = setting.substr(equals + 1);
    if (!ParseRestoreMode(mode_name, &mode) || !engine::KindOffersMode(kind[0], mode)) {
      return context.Fail("--mode " + setting + ": " + KindCommandWord(kind[0]) +
                          " can be restored with " + OfferedModeNames(kind[0]));
    }
    for (engine::RestoreEntry& entry : entries)
      if (entry.kind == kind[0]) entry.mode = mode;
  }

  std::vector<engine::ItemKind> kinds;
  if (!options.kinds.empty()) {
    if (!ParseKinds(options.kinds, &kinds, &reason)) return context.Fail(reason);
  } else {
    for (const engine::RestoreEntry& entry : entries)
      if (std::ranges::find(kinds, entry.kind) == kinds.end()) kinds.push_back(entry.kind);
  }
  for (const engine::RestoreEntry& entry : entries) {
    if (std::ranges::find(kinds, entry.kind) != kinds.end() && !MakeKindWorker(device, entry.kind))
      return context.Fail(NoWorkerReason(entry.kind) + " (choose others with --kinds)");
  }

  const std::unique_ptr<engine::DeviceJob> device_job =
      context.BeginJob(device, u"restore of " + file, true);
  if (!device_job) return kExitFailure;
  engine::BackupJob job;
  const auto factory = [&device](engine::ItemKind kind) { return MakeKindWorker(device, kind); };
  if (const auto refusal = engine::PrepareRestore(device, job, kinds, entries, factory); refusal)
    return FailWithRefusal(context, *refusal);
  return RunCheckedRestore(context, device, *device_job, job, "restore");
}

}  // namespace

void AddRestoreCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "restore", "Restore a .qbk archive or a single record file onto the device");
  auto options = std::make_shared<RestoreOptions>();
  command->add_option("FILE", options->file, "The archive (.qbk) or record file (.csl, ...)")
      ->required();
  command->add_option("--kinds", options->kinds,
                      "Comma-separated kinds to restore (default: every kind the file holds)");
  command->add_option("--mode", options->modes,
                      "KIND=MODE, MODE one of delete-all (the default), add-new, add-update, "
                      "duplicates, as the kind offers them");
  command->callback([&context, options] {
    context.action = [&context, options] { return Restore(context, *options); };
  });
}

}  // namespace kestrav::cli
