#include "platform/host/logind_power.h"

namespace kestrav::platform::host {

ErrorCode LogindPower::GetSystemPowerState(std::uint32_t* flags) {
  *flags = kPowerStateOn;
  return kErrorSuccess;
}

ErrorCode LogindPower::SetSystemPowerState(std::uint32_t state) {
  return state == kPowerStateOn ? kErrorSuccess : kErrorInvalidParameter;
}

void LogindPower::PressOffKey() {
  // systemctl makes logind's own call for whichever logind version runs, the way a desktop's
  // suspend goes; a scheduled run has no one to type a password, so it never waits for one.
  commands_.Run("systemctl", {"suspend", "--no-ask-password"});
}

}  // namespace kestrav::platform::host
