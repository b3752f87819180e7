#include <algorithm>
#include <filesystem>
#include <iostream>

#include "cli/backup_view.h"
#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/job_runner.h"
#include "engine/device_job.h"
#include "engine/restore_pass.h"
#include "kinds/kinds.h"
#include "kinds/restore_entries.h"
#include "platform/host/profile_copy.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

struct RestoreOptions {
  std::string file;
  std::string kinds;
  std::vector<std::string> modes;
  std::vector<std::string> folders;
  bool yes = false;
  bool dry_run = false;
  bool verbose = false;
};

// The name --mode takes for a mode.
std::string ModeWord(engine::RestoreMode mode) {
  switch (mode) {
    case engine::RestoreMode::kDeleteAllFirst:
      return "delete-all";
    case engine::RestoreMode::kAddOnlyNew:
      return "add-new";
    case engine::RestoreMode::kAddNewAndUpdate:
      return "add-update";
    case engine::RestoreMode::kAllowDuplicates:
      return "duplicates";
  }
  return "mode " + std::to_string(static_cast<int>(mode));
}

// What a restore in "delete all first" mode empties before it adds the file's items, per kind:
// "24 contacts, 31 messages (of the folders restored)". Empty when it deletes nothing.
std::string ItemsDeletedFirst(const platform::Device& device, const engine::BackupJob& job) {
  std::string listed;
  for (const engine::BackupJob::PreparedRestore& restore : job.restores) {
    const std::optional<std::uint64_t> count =
        kinds::CountItemsDeletedFirst(device, restore, job.separator);
    if (!count || *count == 0) continue;
    listed += (listed.empty() ? "" : ", ") + std::to_string(*count) + " " +
              platform::ToUtf8(engine::KindInfo(restore.pass.kind).word);
    if (restore.pass.kind == engine::ItemKind::kMessages) listed += " (of the folders restored)";
  }
  return listed;
}

// The restore's entries, kinds and modes from the command line, checked against the file; an exit
// status when they do not hold.
std::optional<int> ChooseEntries(CommandContext& context, const platform::Device& device,
                                 const RestoreOptions& options,
                                 std::vector<engine::RestoreEntry>* chosen_entries,
                                 std::vector<engine::ItemKind>* kinds_chosen) {
  std::vector<engine::RestoreEntry>& entries = *chosen_entries;
  std::vector<engine::ItemKind>& chosen_kinds = *kinds_chosen;
  const std::u16string file = CommandLinePath(options.file);
  if (std::error_code ignored; std::filesystem::is_directory(options.file, ignored)) {
    return context.Fail(options.file +
                        " is a folder: give a backup (.qbk) or a record file (.csc, ...) in it");
  }
  if (!device.files().FileExists(file)) return context.Fail(options.file + ": no such file");

  if (const auto refusal = kinds::RestoreEntriesOf(device, file, &entries); refusal)
    return FailWithRefusal(context, *refusal);
  std::string reason;
  if (!options.kinds.empty()) {
    if (!ParseKinds(options.kinds, &chosen_kinds, &reason)) return context.Fail(reason);
  } else {
    chosen_kinds = kinds::KindsOf(entries);
  }
  for (const std::string& setting : options.modes) {
    const std::size_t equals = setting.find('=');
    engine::RestoreMode mode;
    if (equals == std::string::npos) {
      // A mode alone: every chosen kind that offers it, the others named.
      if (!ParseRestoreMode(setting, &mode)) {
        return context.Fail("--mode " + setting +
                            ": expected KIND=MODE or a mode (delete-all, add-new, add-update, "
                            "duplicates)");
      }
      std::string without;
      for (engine::RestoreEntry& entry : entries) {
        if (std::ranges::find(chosen_kinds, entry.kind) == chosen_kinds.end()) continue;
        if (kinds::OffersMode(entry.kind, mode)) {
          entry.mode = mode;
        } else if (without.find(KindCommandWord(entry.kind)) == std::string::npos) {
          without += (without.empty() ? "" : ", ") + KindCommandWord(entry.kind);
        }
      }
      if (!without.empty()) {
        std::cerr << "kestrav-cli: --mode " << setting << ": " << without << " cannot be restored "
                  << "that way and keep delete-all\n";
      }
      continue;
    }
    std::vector<engine::ItemKind> kind;
    if (!ParseKinds(std::string_view(setting).substr(0, equals), &kind, &reason) ||
        kind.size() != 1) {
      return context.Fail("--mode " + setting + ": " + reason);
    }
    const std::string mode_name = setting.substr(equals + 1);
    if (!ParseRestoreMode(mode_name, &mode) || !kinds::OffersMode(kind[0], mode)) {
      return context.Fail("--mode " + setting + ": " + KindCommandWord(kind[0]) +
                          " can be restored with " + OfferedModeNames(kind[0]));
    }
    for (engine::RestoreEntry& entry : entries)
      if (entry.kind == kind[0]) entry.mode = mode;
  }

  for (const engine::RestoreEntry& entry : entries) {
    const std::string reason = NoWorkerReason(entry.kind);
    if (std::ranges::find(chosen_kinds, entry.kind) != chosen_kinds.end() && !reason.empty())
      return context.Fail(reason + " (choose others with --kinds)");
  }
  return std::nullopt;
}

// Prepares the job on the device: the archive's members extracted, the folders of messages chosen.
std::optional<int> PrepareJob(CommandContext& context, const platform::Device& device,
                              const RestoreOptions& options, engine::BackupJob& job,
                              const std::vector<engine::RestoreEntry>& entries,
                              const std::vector<engine::ItemKind>& chosen_kinds) {
  if (const auto refusal =
          engine::PrepareRestore(device, job, chosen_kinds, entries, kinds::WorkerFactory(device));
      refusal)
    return FailWithRefusal(context, *refusal);
  // Chosen against the file as well as the device, once it is extracted.
  std::string reason;
  for (engine::BackupJob::PreparedRestore& restore : job.restores) {
    if (restore.pass.kind == engine::ItemKind::kMessages &&
        !ChooseRestoreFolders(device, restore.pass.record_file, job.separator, options.folders,
                              &restore.pass.messages_option, &reason)) {
      engine::ClearJobLeftovers(device);
      return context.Fail(reason);
    }
  }
  return std::nullopt;
}

// The restore run on a copy of the device's stores, so that it meets the items there exactly as
// the restore would, and said kind by kind; the device itself is only read.
int DryRun(CommandContext& context, const RestoreOptions& options) {
  const std::filesystem::path profile = context.ProfileFolder();
  ScratchFolder scratch;
  if (!scratch.made()) return context.Fail("no temporary folder for the dry run's copy");
  const std::filesystem::path copy = platform::ToUtf8(scratch.folder()) + "device";
  std::string error;
  if (!platform::host::CopyProfileForDryRun(profile, copy, &error)) return context.Fail(error);
  const std::unique_ptr<platform::host::HostDevice> host = platform::host::HostDevice::OpenProfile(
      copy, &error, context.fixed_clock ? &*context.fixed_clock : nullptr);
  if (!host) return context.Fail(error);
  const platform::Device& device = host->device();

  std::vector<engine::RestoreEntry> entries;
  std::vector<engine::ItemKind> chosen_kinds;
  if (const std::optional<int> failed =
          ChooseEntries(context, device, options, &entries, &chosen_kinds))
    return *failed;
  engine::BackupJob job;
  if (const std::optional<int> failed =
          PrepareJob(context, device, options, job, entries, chosen_kinds))
    return *failed;
  std::vector<std::optional<std::uint64_t>> deleted_first;
  for (const engine::BackupJob::PreparedRestore& restore : job.restores)
    deleted_first.push_back(kinds::CountItemsDeletedFirst(device, restore, job.separator));

  if (options.verbose) {
    RunJob(device.clock(), false, job.kinds,
           [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
             kinds::RunRestoreJob(device, job, sink, cancel);
           });
    std::cout << "\n";
  } else {
    kinds::RunRestoreJob(device, job, nullptr, nullptr);
  }
  for (std::size_t index = 0; index < job.restores.size(); ++index) {
    const engine::BackupJob::PreparedRestore& restore = job.restores[index];
    const engine::RestoreTally& tally = restore.worker->tally();
    std::string line =
        KindCommandWord(restore.pass.kind) + " (" + ModeWord(restore.pass.mode) + "): ";
    if (!tally.file_accepted) {
      std::cout << line << "the file is refused; nothing would change\n";
      continue;
    }
    if (deleted_first[index] && *deleted_first[index] > 0)
      line += std::to_string(*deleted_first[index]) + " deleted first, ";
    line += std::to_string(tally.inserted) + " added, " + std::to_string(tally.updated) +
            " updated, " + std::to_string(tally.found) + " already there";
    if (tally.records > tally.restored)
      line += ", " + std::to_string(tally.records - tally.restored) + " not restored";
    std::cout << line << "\n";
  }
  std::cout << "Dry run: nothing on the device changed.\n";
  std::cout.flush();
  return kExitSuccess;
}

int Restore(CommandContext& context, const RestoreOptions& options) {
  if (options.dry_run) return DryRun(context, options);
  if (options.verbose) return context.Fail("--verbose goes with --dry-run");
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  std::vector<engine::RestoreEntry> entries;
  std::vector<engine::ItemKind> chosen_kinds;
  if (const std::optional<int> failed =
          ChooseEntries(context, device, options, &entries, &chosen_kinds))
    return *failed;
  const std::u16string file = CommandLinePath(options.file);
  const std::unique_ptr<engine::DeviceJob> device_job =
      context.BeginJob(device, u"restore of " + file, true);
  if (!device_job) return kExitFailure;
  engine::BackupJob job;
  if (const std::optional<int> failed =
          PrepareJob(context, device, options, job, entries, chosen_kinds))
    return *failed;
  // Deleting first is the default: on a terminal, say what goes and ask.
  if (!options.yes && CanAsk()) {
    const std::string deleted = ItemsDeletedFirst(device, job);
    if (!deleted.empty() &&
        !AnsweredYes("The restore deletes these from the device first: " + deleted + ". Go on? ")) {
      engine::ClearJobLeftovers(device);
      return context.Fail("nothing restored");
    }
  }
  return RunCheckedRestore(context, device, *device_job, job, u"restore", context.FrontEnd(*host));
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
  command->add_option("--folders", options->folders,
                      "The message stores and folders to restore, by their shown names "
                      "(\"Text Messages\", \"Text Messages/Inbox\"); default: those the file "
                      "holds");
  command->add_flag("--yes", options->yes,
                    "Do not ask before a kind restored delete-all (the default mode) empties the "
                    "device's items first; without a terminal nothing is asked");
  command->add_flag("--dry-run", options->dry_run,
                    "Say what the restore would do, kind by kind - how many items it would delete "
                    "first, add, update or find already there - and change nothing");
  command->add_flag("--verbose", options->verbose,
                    "With --dry-run: the restore's own rows too, naming each item");
  command->callback([&context, options] {
    context.action = [&context, options] { return Restore(context, *options); };
  });
}

}  // namespace kestrav::cli
