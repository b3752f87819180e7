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
  // The full path of the running program, as a notification names it.
  virtual std::u16string ProgramPath() = 0;
};

}  // namespace kestrav::platform
