// Call logs: the "clog.db" database of "\pim.vol" to a ".csl" record file and back.
//
// The file names no fields: after its signature line and the database's record count, each
// call is one line of its property count, its property identifiers and the value texts of the
// properties it holds, so whatever the device keeps for a call goes out and comes back as it was
// (pim_record_worker.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "devicedb/pim_record_worker.h"
#include "platform/device.h"
#include "platform/property_value.h"
#include "platform/time.h"

namespace kestrav::devicedb {

// What a call record's properties say, by the identifiers "clog.db" keeps them under.
inline constexpr std::uint32_t kCallStartProperty = 0x00020040;   // file time, UTC
inline constexpr std::uint32_t kCallEndProperty = 0x00030040;     // file time, UTC
inline constexpr std::uint32_t kCallFlagsProperty = 0x00040013;   // 0x1 outgoing, 0x2 connected
inline constexpr std::uint32_t kCallNumberProperty = 0x0005001F;  // "" when withheld
inline constexpr std::uint32_t kCallNameProperty = 0x0006001F;
inline constexpr std::uint32_t kCallNumberTypeProperty = 0x0007001F;  // "m", "w", "h"

inline constexpr std::uint32_t kCallOutgoing = 0x1;
inline constexpr std::uint32_t kCallConnected = 0x2;

enum class CallDirection { kOutgoing, kIncoming, kMissed };

// A call as its record line gives it back: the properties a restore writes, and what they say.
struct DecodedCallLog {
  std::vector<platform::PropertyValue> properties;
  std::optional<platform::FileTime> start;
  std::optional<platform::FileTime> end;
  std::uint32_t flags = 0;
  std::u16string number;
  std::optional<std::u16string> name;
  std::u16string number_type;

  // Outgoing when flagged so; otherwise incoming when connected, else missed.
  CallDirection direction() const;
  // From start to end, in whole seconds; nothing without both or with an end before the start.
  std::optional<std::uint64_t> duration_seconds() const;
};

DecodedCallLog DecodeCallLog(std::vector<platform::PropertyValue> properties);

// The call-log file's signature and texts, as the restore checks and reads the file.
const PimRecordKind& CallLogKind();

class CallLogWorker : public PimRecordWorker {
 public:
  explicit CallLogWorker(const platform::Device& device);
};

}  // namespace kestrav::devicedb
