// The device's timed launches: notifications that start a program with its arguments at a
// time. Every call answers with a system error code.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/system_error.h"
#include "platform/time.h"

namespace kestrav::platform {

// A trigger that starts its application at its start time.
inline constexpr std::uint32_t kNotificationTypeTime = 2;

struct NotificationTrigger {
  std::uint32_t type = kNotificationTypeTime;
  std::uint32_t event = 0;
  std::u16string application;  // the program's full path
  std::u16string arguments;
  SystemTime start;  // local time
  SystemTime end;    // all zero: none

  bool operator==(const NotificationTrigger&) const = default;
};

using NotificationHandle = std::uint32_t;

class Notifications {
 public:
  virtual ~Notifications() = default;

  // The handles of every notification this device has set, in the order they were set.
  virtual ErrorCode GetHandles(std::vector<NotificationHandle>* handles) = 0;
  virtual ErrorCode Get(NotificationHandle handle, NotificationTrigger* trigger) = 0;
  // Sets a new notification; its handle comes back in *handle.
  virtual ErrorCode Set(const NotificationTrigger& trigger, NotificationHandle* handle) = 0;
  virtual ErrorCode Clear(NotificationHandle handle) = 0;
  // The full path of the program a notification starts for the running program: the one both
  // of a device's programs arm, so that each finds and clears the other's.
  virtual std::u16string ProgramPath() = 0;

  // What the last Set or Clear left undone beyond its answer, in a line for the user (a launch
  // written but not started); empty when nothing was, or the service keeps no such account.
  virtual std::u16string Note() { return {}; }
  // The zone a notification's start is in, by its name; empty when the service cannot tell.
  virtual std::u16string StartZone(NotificationHandle) { return {}; }
  // Whether a notification's start has passed already, so that it never fires; false when that
  // cannot be told.
  virtual bool StartHasPassed(NotificationHandle) { return false; }
};

}  // namespace kestrav::platform
