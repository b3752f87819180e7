// The device's power: its state, and the off key that switches it off.
#pragma once

#include <cstdint>

#include "platform/system_error.h"

namespace kestrav::platform {

// The state flag of a device that is fully on.
inline constexpr std::uint32_t kPowerStateOn = 0x10000;

class Power {
 public:
  virtual ~Power() = default;

  virtual ErrorCode GetSystemPowerState(std::uint32_t* flags) = 0;
  virtual ErrorCode SetSystemPowerState(std::uint32_t state) = 0;
  // The off key: the device switches itself off.
  virtual void PressOffKey() = 0;
};

}  // namespace kestrav::platform
