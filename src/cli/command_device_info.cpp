#include <algorithm>
#include <cstdio>

#include "cli/cli.h"
#include "kinds/jobs.h"
#include "kinds/kinds.h"
#include "platform/host/host_file_system.h"
#include "platform/text.h"
#include "platform/time.h"

namespace kestrav::cli {
namespace {

// "2026-11-24 23:40" in the device's local time.
std::string LocalTimeText(const platform::Device& device, platform::FileTime utc) {
  platform::SystemTime local{};
  if (!platform::FileTimeToSystemTime(device.clock().UtcToLocal(utc), &local)) return "?";
  char text[32];
  std::snprintf(text, sizeof text, "%.4u-%.2u-%.2u %.2u:%.2u", unsigned{local.year},
                unsigned{local.month}, unsigned{local.day}, unsigned{local.hour},
                unsigned{local.minute});
  return text;
}

int Info(CommandContext& context) {
  platform::host::HostDevice* host = context.Profile();
  if (host == nullptr) return kExitFailure;
  const platform::Device& device = host->device();
  const platform::host::DeviceIdentity& identity = host->identity();
  std::printf("Profile: %s\n", context.ProfileFolder().string().c_str());
  std::printf("Device: Windows Mobile %s (OS version %d), code page %u\n",
              identity.os_major_version == platform::kWindowsMobile2003 ? "2003 SE" : "2005",
              identity.os_major_version, identity.code_page);
  for (const kinds::KindRow& row : kinds::AllKinds()) {
    const std::optional<std::uint64_t> count = row.count_items(device);
    const std::string word = platform::ToUtf8(engine::KindInfo(row.kind).word);
    if (count)
      std::printf("Items: %s %llu\n", word.c_str(), static_cast<unsigned long long>(*count));
    else
      std::printf("Items: %s cannot be read\n", word.c_str());
  }
  std::u16string folder = kinds::DefaultBackupFolder(device);
  if (folder.size() > 1 && folder.back() == u'\\') folder.pop_back();
  std::printf("Backup folder: %s (%s)\n", platform::ToUtf8(folder).c_str(),
              host->files().HostPath(folder).string().c_str());
  std::vector<platform::FoundFile> backups = device.files().Find(folder + u"\\*.qbk");
  std::ranges::sort(backups, {}, &platform::FoundFile::name);
  if (backups.empty()) std::printf("Backups there: none\n");
  for (const platform::FoundFile& backup : backups) {
    std::printf("Backup: %s  %s  %llu bytes\n", platform::ToUtf8(backup.name).c_str(),
                LocalTimeText(device, backup.data.last_write_time).c_str(),
                static_cast<unsigned long long>(backup.data.size));
  }
  return kExitSuccess;
}

}  // namespace

void AddDeviceInfoCommand(CLI::App& device_command, CommandContext& context) {
  CLI::App* info = device_command.add_subcommand(
      "info",
      "Show the device: its version, code page, items per kind and the backups in its "
      "default backup folder");
  info->callback([&context] { context.action = [&context] { return Info(context); }; });
}

}  // namespace kestrav::cli
