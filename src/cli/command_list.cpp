#include <cstdio>
#include <iostream>

#include "cli/cli.h"
#include "kinds/console_sink.h"
#include "platform/text.h"
#include "records/archive.h"

namespace kestrav::cli {
namespace {

std::string MethodName(int method) {
  const std::u16string_view name = records::CompressionMethodName(method);
  return name.empty() ? "Method " + std::to_string(method) : platform::ToUtf8(name);
}

int ListArchive(CommandContext& context, const std::string& archive) {
  platform::host::HostDevice* device = context.Device();
  if (device == nullptr) return context.Fail("the device's code page is not available");
  std::vector<records::ArchiveMember> members;
  const std::u16string archive_path = CommandLinePath(archive);
  if (!device->files().FileExists(archive_path)) return context.Fail(archive + ": no such file");
  if (const int result = records::ListMembers(device->device(), archive_path, &members);
      result != 0) {
    return context.Fail(archive + ": " + platform::ToUtf8(records::ArchiveErrorText(result)));
  }
  std::printf("%12s %12s  %-9s  %-19s  %s\n", "Size", "Packed", "Method", "Date (UTC)", "Name");
  std::uint64_t size = 0;
  std::uint64_t packed = 0;
  for (const records::ArchiveMember& member : members) {
    std::printf("%12llu %12llu  %-9s  %04u-%02u-%02u %02u:%02u:%02u  %s\n",
                static_cast<unsigned long long>(member.size),
                static_cast<unsigned long long>(member.packed_size),
                MethodName(member.method).c_str(), member.date.year, member.date.month,
                member.date.day, member.date.hour, member.date.minute, member.date.second,
                kinds::PrintableText(member.name).c_str());
    size += member.size;
    packed += member.packed_size;
  }
  std::printf("%12llu %12llu  %zu member%s\n", static_cast<unsigned long long>(size),
              static_cast<unsigned long long>(packed), members.size(),
              members.size() == 1 ? "" : "s");
  std::fflush(stdout);
  for (const records::ArchiveMember& member : members) {
    if (member.fault != 0) {
      std::cerr << "Note: " << kinds::PrintableText(member.name) << ' '
                << platform::ToUtf8(records::MemberFaultText(member)) << '\n';
    }
  }
  return kExitSuccess;
}

}  // namespace

void AddListCommand(CLI::App& app, CommandContext& context) {
  CLI::App* command = app.add_subcommand(
      "list", "List the members of a backup archive: size, packed size, method and date");
  auto archive = std::make_shared<std::string>();
  command->add_option("ARCHIVE", *archive, "The backup archive (.qbk)")->required();
  command->callback([&context, archive] {
    context.action = [&context, archive] { return ListArchive(context, *archive); };
  });
}

}  // namespace kestrav::cli
