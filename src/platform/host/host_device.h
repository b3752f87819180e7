// A device made of host stand-ins.
//
// A device profile is a folder that holds one emulated handheld:
//   <profile>/device.json   its identity: OS major version and ANSI code page
//   <profile>/registry.db   the registry
//   <profile>/fs/           the file system's "\", with "\pim.vol" the object-store volume and
//                           "\cemail.vol" the message stores
//   <profile>/job.lock      the job lock; <profile>/undo/ the copy of the stores a job took
// A device without a profile has only the host file system ("\" is "/"), the host's temporary
// folder and a code page: enough for the archive commands.
#pragma once

#include <filesystem>
#include <memory>
#include <string>

#include "platform/device.h"
#include "platform/host/host_file_system.h"
#include "platform/host/system_clock.h"

namespace kestrav::platform::host {

// The stand-ins behind the device: their headers stay with the host folder, so a front end that
// opens a profile sees neither SQLite nor iconv.
class HostSafeguards;
class IconvCodePage;
class LogindPower;
class PimOutlookRuntime;
class SpawnedHostCommands;
class SqliteMessageRuntime;
class SqliteObjectStore;
class SqliteRegistry;
class SystemdNotifications;
class XdgShell;

struct DeviceIdentity {
  int os_major_version = kWindowsMobile2005;
  unsigned code_page = 1252;
};

// The databases of "\pim.vol" that a new profile holds, empty.
inline constexpr const char16_t* kPimDatabases[] = {u"clog.db", u"speed.db", u"Contacts Database",
                                                    u"Appointments Database", u"Tasks Database"};

// The message stores of "\cemail.vol" that a new profile holds, each with the well-known folders
// and no message.
inline constexpr const char16_t* kMessageStores[] = {u"ActiveSync", u"SMS", u"Mail"};

// Creates a new profile: the identity, the registry, the folders "\Storage Card", "\Temp",
// "\My Documents" and "\Windows\Start Menu\Programs", "\pim.vol" with its databases and
// "\cemail.vol" with its stores. Refuses
// a folder that already holds a profile. False with a one-line reason on failure.
bool CreateDeviceProfile(const std::filesystem::path& profile, const DeviceIdentity& identity,
                         std::string* error);

class HostDevice {
 public:
  // A device without a profile. Null when iconv does not know the code page.
  static std::unique_ptr<HostDevice> Create(std::filesystem::path device_root,
                                            std::u16string temp_folder, unsigned code_page = 1252);
  // The device of a profile, on the host's clock or on the one given (which must outlive the
  // device). Null with a one-line reason when the profile cannot be opened.
  static std::unique_ptr<HostDevice> OpenProfile(const std::filesystem::path& profile,
                                                 std::string* error, const Clock* clock = nullptr);

  ~HostDevice();
  HostDevice(const HostDevice&) = delete;
  HostDevice& operator=(const HostDevice&) = delete;

  Device& device() { return *device_; }
  HostFileSystem& files() { return files_; }
  const DeviceIdentity& identity() const { return identity_; }
  // The object model over the profile's "\pim.vol"; null for a device without a profile.
  PimOutlookRuntime* outlook() { return outlook_.get(); }
  // The message stores of the profile's "\cemail.vol"; null for a device without a profile.
  SqliteMessageRuntime* messages() { return messages_.get(); }
  // The profile's timed launches as systemd user timers, which say whether the user's manager
  // took them; null for a device without a profile.
  SystemdNotifications* notifications() { return notifications_.get(); }
  // The desktop's file types and applications menu; null for a device without a profile.
  XdgShell* shell() { return shell_.get(); }

 private:
  HostDevice(std::filesystem::path device_root, std::u16string temp_folder,
             std::unique_ptr<IconvCodePage> code_page);

  HostFileSystem files_;
  SystemClock system_clock_;
  std::unique_ptr<IconvCodePage> code_page_;
  DeviceIdentity identity_;
  std::unique_ptr<SqliteRegistry> registry_;
  std::unique_ptr<SqliteObjectStore> object_store_;
  std::unique_ptr<PimOutlookRuntime> outlook_;
  std::unique_ptr<SqliteMessageRuntime> messages_;
  std::unique_ptr<HostSafeguards> safeguards_;
  std::unique_ptr<SpawnedHostCommands> commands_;
  std::unique_ptr<SystemdNotifications> notifications_;
  std::unique_ptr<LogindPower> power_;
  std::unique_ptr<XdgShell> shell_;
  std::unique_ptr<Device> device_;
};

}  // namespace kestrav::platform::host
