// The bundle of services of one device, handed by the front ends to the logic.
#pragma once

#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/message_store.h"
#include "platform/notifications.h"
#include "platform/object_store.h"
#include "platform/outlook.h"
#include "platform/power.h"
#include "platform/registry.h"
#include "platform/safeguards.h"
#include "platform/shell.h"
#include "platform/text.h"

namespace kestrav::platform {

// The device's operating-system major version: below 5 is Windows Mobile 2003 SE, 5 and above
// Windows Mobile 2005.
inline constexpr int kWindowsMobile2003 = 4;
inline constexpr int kWindowsMobile2005 = 5;

class Device {
 public:
  // A device with only files, a clock and a code page: enough for record files and archives.
  Device(FileSystem& files, const Clock& clock, const AnsiCodePage& code_page)
      : files_(&files), clock_(&clock), code_page_(&code_page) {}
  // A whole device, as a profile holds it, with the safeguards of its host when it has them.
  Device(FileSystem& files, const Clock& clock, const AnsiCodePage& code_page, Registry& registry,
         ObjectStore& object_store, OutlookRuntime& outlook, int os_major_version,
         MessageRuntime& messages, Safeguards* safeguards = nullptr)
      : files_(&files),
        clock_(&clock),
        code_page_(&code_page),
        registry_(&registry),
        object_store_(&object_store),
        outlook_(&outlook),
        messages_(&messages),
        safeguards_(safeguards),
        os_major_version_(os_major_version) {}

  FileSystem& files() const { return *files_; }
  const Clock& clock() const { return *clock_; }
  const AnsiCodePage& code_page() const { return *code_page_; }
  // Whether the registry, the object store, the object model and the messaging are there; only
  // a whole device has them.
  bool is_whole() const {
    return registry_ != nullptr && object_store_ != nullptr && outlook_ != nullptr &&
           messages_ != nullptr;
  }
  Registry& registry() const { return *registry_; }
  ObjectStore& object_store() const { return *object_store_; }
  OutlookRuntime& outlook() const { return *outlook_; }
  MessageRuntime& messages() const { return *messages_; }
  int os_major_version() const { return os_major_version_; }
  // Null for a device without them.
  Safeguards* safeguards() const { return safeguards_; }
  // The timed launches and the power of the device; null for a device without them.
  Notifications* notifications() const { return notifications_; }
  Power* power() const { return power_; }
  void AttachScheduling(Notifications* notifications, Power* power) {
    notifications_ = notifications;
    power_ = power;
  }
  // The file types and the Start menu of the device's shell; null for a device without them.
  Shell* shell() const { return shell_; }
  void AttachShell(Shell* shell) { shell_ = shell; }

 private:
  FileSystem* files_;
  const Clock* clock_;
  const AnsiCodePage* code_page_;
  Registry* registry_ = nullptr;
  ObjectStore* object_store_ = nullptr;
  OutlookRuntime* outlook_ = nullptr;
  MessageRuntime* messages_ = nullptr;
  Safeguards* safeguards_ = nullptr;
  Notifications* notifications_ = nullptr;
  Power* power_ = nullptr;
  Shell* shell_ = nullptr;
  int os_major_version_ = kWindowsMobile2005;
};

}  // namespace kestrav::platform
