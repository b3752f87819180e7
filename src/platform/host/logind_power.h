// The device's power on a host: the machine is on while the program runs, and the off key
// suspends it through logind, as the handheld's off key put it to sleep.
#pragma once

#include "platform/host/host_commands.h"
#include "platform/power.h"

namespace kestrav::platform::host {

class LogindPower : public Power {
 public:
  explicit LogindPower(HostCommands& commands) : commands_(commands) {}

  ErrorCode GetSystemPowerState(std::uint32_t* flags) override;
  // Only "on", which the machine already is; the off key is the way down.
  ErrorCode SetSystemPowerState(std::uint32_t state) override;
  void PressOffKey() override;

 private:
  HostCommands& commands_;
};

}  // namespace kestrav::platform::host
