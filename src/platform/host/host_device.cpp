#include "platform/host/host_device.h"

#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>

#include "platform/host/host_commands.h"
#include "platform/host/host_safeguards.h"
#include "platform/host/iconv_code_page.h"
#include "platform/host/logind_power.h"
#include "platform/host/pim_outlook.h"
#include "platform/host/sqlite_message_store.h"
#include "platform/host/sqlite_object_store.h"
#include "platform/host/sqlite_registry.h"
#include "platform/host/systemd_timers.h"
#include "platform/host/xdg_shell.h"

namespace kestrav::platform::host {
namespace {

namespace fs = std::filesystem;

constexpr char kIdentityFile[] = "device.json";
constexpr char kRegistryFile[] = "registry.db";
constexpr char kRootFolder[] = "fs";
constexpr char16_t kTempFolder[] = u"\\Temp\\";
constexpr const char* kDeviceFolders[] = {"Storage Card", "Temp", "My Documents",
                                          "Windows/Start Menu/Programs"};

bool Fail(std::string* error, std::string reason) {
  if (error != nullptr) *error = std::move(reason);
  return false;
}

bool ReadIdentity(const fs::path& profile, DeviceIdentity* identity, std::string* error) {
  std::ifstream in(profile / kIdentityFile);
  if (!in) return Fail(error, profile.string() + ": not a device profile (no device.json)");
  const nlohmann::json json = nlohmann::json::parse(in, nullptr, false);
  if (!json.is_object() || !json.contains("os_major_version") || !json.contains("code_page") ||
      !json["os_major_version"].is_number_integer() || !json["code_page"].is_number_unsigned()) {
    return Fail(error, (profile / kIdentityFile).string() +
                           ": expected {\"os_major_version\": N, \"code_page\": N}");
  }
  identity->os_major_version = json["os_major_version"].get<int>();
  identity->code_page = json["code_page"].get<unsigned>();
  return true;
}

}  // namespace

bool CreateDeviceProfile(const fs::path& profile, const DeviceIdentity& identity,
                         std::string* error) {
  std::error_code failure;
  if (fs::exists(profile / kIdentityFile, failure) || fs::exists(profile / kRegistryFile, failure))
    return Fail(error, profile.string() + ": a device profile is already there");
  if (identity.os_major_version != kWindowsMobile2003 &&
      identity.os_major_version != kWindowsMobile2005) {
    return Fail(error, "the OS major version must be 4 (WM2003 SE) or 5 (WM2005)");
  }
  if (!IconvCodePage::Create(identity.code_page))
    return Fail(error, "code page " + std::to_string(identity.code_page) + " is not available");
  for (const char* folder : kDeviceFolders) {
    fs::create_directories(profile / kRootFolder / folder, failure);
    if (failure)
      return Fail(error, (profile / kRootFolder / folder).string() + ": " + failure.message());
  }
  if (!SqliteRegistry::Open(profile / kRegistryFile, true))
    return Fail(error, (profile / kRegistryFile).string() + ": cannot create the registry");

  HostFileSystem files(profile / kRootFolder, kTempFolder);
  SqliteObjectStore store(files);
  VolumeId volume = 0;
  if (store.MountVolume(u"\\pim.vol", Disposition::kOpenAlways, &volume) != kErrorSuccess)
    return Fail(error, (profile / kRootFolder / "pim.vol").string() + ": cannot create the volume");
  for (const char16_t* database : kPimDatabases) {
    if (store.CreateDatabase(volume, database) != kErrorSuccess)
      return Fail(error, "cannot create the database " + ToUtf8(database));
  }
  store.UnmountVolume(volume);
  SqliteMessageRuntime messages(files);
  for (const char16_t* name : kMessageStores) {
    EntryId created;
    if (Failed(messages.CreateStore(name, &created))) {
      return Fail(error, "cannot create the message store " + ToUtf8(name) + ": " +
                             ToUtf8(messages.FailureText()));
    }
  }

  // The identity goes last: a profile without it is not a profile yet.
  std::ofstream out(profile / kIdentityFile, std::ios::trunc);
  out << nlohmann::json{{"os_major_version", identity.os_major_version},
                        {"code_page", identity.code_page}}
             .dump(2)
      << '\n';
  if (!out.flush()) return Fail(error, (profile / kIdentityFile).string() + ": cannot write");
  return true;
}

std::unique_ptr<HostDevice> HostDevice::Create(fs::path device_root, std::u16string temp_folder,
                                               unsigned code_page) {
  auto ansi = IconvCodePage::Create(code_page);
  if (!ansi) return nullptr;
  auto host = std::unique_ptr<HostDevice>(
      new HostDevice(std::move(device_root), std::move(temp_folder), std::move(ansi)));
  host->identity_.code_page = code_page;
  host->device_ = std::make_unique<Device>(host->files_, host->system_clock_, *host->code_page_);
  return host;
}

std::unique_ptr<HostDevice> HostDevice::OpenProfile(const fs::path& profile, std::string* error,
                                                    const Clock* clock) {
  DeviceIdentity identity;
  if (!ReadIdentity(profile, &identity, error)) return nullptr;
  auto ansi = IconvCodePage::Create(identity.code_page);
  if (!ansi) {
    Fail(error, "code page " + std::to_string(identity.code_page) + " is not available");
    return nullptr;
  }
  auto host = std::unique_ptr<HostDevice>(
      new HostDevice(profile / kRootFolder, kTempFolder, std::move(ansi)));
  host->identity_ = identity;
  StoreFailure failure;
  host->registry_ = SqliteRegistry::Open(profile / kRegistryFile, false, &failure);
  if (!host->registry_) {
    Fail(error,
         (profile / kRegistryFile).string() + ": cannot open the registry: " + failure.message);
    return nullptr;
  }
  host->object_store_ = std::make_unique<SqliteObjectStore>(host->files_);
  host->outlook_ =
      std::make_unique<PimOutlookRuntime>(*host->object_store_, identity.os_major_version);
  host->messages_ = std::make_unique<SqliteMessageRuntime>(host->files_);
  const Clock& chosen_clock = clock != nullptr ? *clock : host->system_clock_;
  host->safeguards_ = std::make_unique<HostSafeguards>(profile, host->files_, *host->object_store_,
                                                       *host->messages_, chosen_clock);
  host->device_ = std::make_unique<Device>(
      host->files_, chosen_clock, *host->code_page_, *host->registry_, *host->object_store_,
      *host->outlook_, identity.os_major_version, *host->messages_, host->safeguards_.get());
  host->commands_ = std::make_unique<SpawnedHostCommands>();
  const char* zone_variable = std::getenv("TZ");
  host->notifications_ = std::make_unique<SystemdNotifications>(
      profile, SystemdNotifications::UserUnitFolder(), *host->commands_, chosen_clock,
      zone_variable != nullptr ? std::optional<std::string>(zone_variable) : std::nullopt);
  host->power_ = std::make_unique<LogindPower>(*host->commands_);
  host->device_->AttachScheduling(host->notifications_.get(), host->power_.get());
  host->shell_ = std::make_unique<XdgShell>(XdgShell::DataHome(), XdgShell::ConfigHome(),
                                            *host->commands_, XdgShell::SharedDataFolders());
  host->device_->AttachShell(host->shell_.get());
  return host;
}

HostDevice::~HostDevice() = default;

HostDevice::HostDevice(fs::path device_root, std::u16string temp_folder,
                       std::unique_ptr<IconvCodePage> code_page)
    : files_(std::move(device_root), std::move(temp_folder)), code_page_(std::move(code_page)) {}

}  // namespace kestrav::platform::host
