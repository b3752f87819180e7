#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "cli/cli.h"
#include "cli/command_words.h"
#include "cli/job_runner.h"
#include "engine/backup_job.h"
#include "engine/item_kind.h"
#include "kinds/jobs.h"
#include "platform/text.h"

namespace kestrav::cli {
namespace {

struct BackupOptions {
  std::string kinds;
  std::string output;
  bool store = false;
  bool overwrite = false;
  std::vector<std::string> folders;
  bool attachments = false;
};

// The archive --output names: a folder gets the default name inside it, and a name without
// ".qbk" gets it, so that restore takes the file back.
std::u16string ArchiveOfOutput(const platform::Device& device, const std::string& output) {
  if (output.empty()) return kinds::DefaultArchiveFile(device);
  if (std::error_code ignored; std::filesystem::is_directory(output, ignored))
    return engine::MakeArchiveFileName(device, CommandLinePath(output));
  std::u16string archive = CommandLinePath(output);
  if (!platform::EqualsIgnoringAsciiCase(platform::ExtensionOf(archive), engine::kArchiveExtension))
    archive += engine::kArchiveExtension;
  return archive;
}

int Backup(CommandContext& context, const BackupOptions& options) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  std::vector<engine::ItemKind> chosen_kinds = KindsWithWorkers();
  std::string reason;
  if (!options.kinds.empty() && !ParseKinds(options.kinds, &chosen_kinds, &reason))
    return context.Fail(reason);
  for (const engine::ItemKind kind : chosen_kinds) {
    if (const std::string reason = NoWorkerReason(kind); !reason.empty())
      return context.Fail(reason);
  }
  const std::u16string archive = ArchiveOfOutput(device, options.output);
  const std::string archive_shown = host->files().HostPath(archive).string();
  platform::FileSystem& files = device.files();
  // The handheld would end "successfully" with no archive; say so before anything starts.
  if (const std::optional<std::u16string> folder = kinds::MissingFolderOf(device, archive); folder)
    return context.Fail(host->files().HostPath(*folder).string() + ": no such folder");
  if (files.FileExists(archive) && !options.overwrite)
    return context.Fail(archive_shown + ": the file exists (--overwrite replaces it)");
  // A folder the backup cannot write into would fail only once every kind was read.
  if (const std::filesystem::path host_folder = host->files().HostPath(archive).parent_path();
      ::access(host_folder.c_str(), W_OK | X_OK) != 0) {
    return context.Fail(host_folder.string() + ": the backup cannot be written there (" +
                        std::strerror(errno) + ")");
  }

  engine::BackupJob job;
  job.archive_file = archive;
  job.kinds = chosen_kinds;
  job.compression_method = options.store ? 0 : 8;
  job.messages_option.store_attachments = options.attachments;
  if (!ChooseMessageFolders(device, options.folders, &job.messages_option, &reason))
    return context.Fail(reason);
  kinds::JobOutcome outcome;
  RunJob(device.clock(), true, job.kinds,
         [&](engine::ProgressSink* sink, engine::CancelFlag* cancel) {
           outcome = kinds::RunBackup(device, job, sink, cancel, context.FrontEnd(*host));
         });
  if (!outcome.canceled && !job.written_archive.empty())
    std::printf("Backup file: %s\n", host->files().HostPath(job.written_archive).c_str());
  if (!outcome.failure.empty()) return context.Fail(outcome.failure);
  return kExitSuccess;
}

}  // namespace

void AddBackupCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand("backup", "Back up the device into a .qbk archive");
  auto options = std::make_shared<BackupOptions>();
  command->add_option("--kinds", options->kinds,
                      "Comma-separated kinds (calllogs, contacts, appointments, tasks, "
                      "speeddials, messages); default: every kind this version handles");
  command->add_option("--output", options->output,
                      "The archive to write (default: Kestrav_YYYYMMDD.qbk in the default "
                      "backup folder, else \\Storage Card on the device)");
  command->add_flag("--store", options->store, "Store the record files without compressing them");
  command->add_flag("--overwrite", options->overwrite, "Replace an archive that already exists");
  command->add_option("--folders", options->folders,
                      "The message stores and folders to back up, by their shown names "
                      "(\"Text Messages\", \"Text Messages/Inbox\"); default: all");
  command->add_flag("--attachments", options->attachments,
                    "Back up the contents of message attachments (makes backups much longer)");
  command->callback([&context, options] {
    context.action = [&context, options] { return Backup(context, *options); };
  });
}

}  // namespace kestrav::cli
