// The sample's calls: callers known and unknown, a withheld number, every call type.
#include <array>

#include "devicedb/pim_volume.h"
#include "platform/time.h"
#include "profile/sample_data.h"
#include "profile/samples.h"

namespace kestrav::profile {
namespace {

using platform::MakePropertyId;
using platform::PropertyType;
using platform::PropertyValue;

// The properties of a sample call (docs/device-profile.md lists them).
constexpr std::uint32_t kCallStart = MakePropertyId(0x0002, PropertyType::kFileTime);
constexpr std::uint32_t kCallEnd = MakePropertyId(0x0003, PropertyType::kFileTime);
constexpr std::uint32_t kCallFlags = MakePropertyId(0x0004, PropertyType::kUInt32);
constexpr std::uint32_t kCallNumber = MakePropertyId(0x0005, PropertyType::kString);
constexpr std::uint32_t kCallName = MakePropertyId(0x0006, PropertyType::kString);
constexpr std::uint32_t kCallNumberType = MakePropertyId(0x0007, PropertyType::kString);
constexpr std::uint32_t kCallLine = MakePropertyId(0x0008, PropertyType::kInt16);
constexpr std::uint32_t kCallRoaming = MakePropertyId(0x0009, PropertyType::kBool);
constexpr std::uint32_t kCallCallerId = MakePropertyId(0x000A, PropertyType::kBlob);

// Call flags: outgoing, connected (a call not outgoing and not connected was missed).
constexpr std::uint32_t kOutgoing = 0x1;
constexpr std::uint32_t kConnected = 0x2;

struct Caller {
  const char16_t* name;  // null: a number the device does not know
  const char16_t* number;
  const char16_t* number_type;
};

// Fictional numbers from the ranges kept for drama and examples.
constexpr std::array<Caller, 10> kCallers = {{
    {u"Zoë Åkerlund", u"+44 20 7946 0018", u"m"},
    {u"José Muñoz", u"+1 202 555 0143", u"w"},
    {u"Дмитрий Орлов", u"+44 113 496 0721", u"h"},
    {u"Ελένη Παπαδοπούλου", u"+1 303 555 0187", u"m"},
    {u"محمد علي", u"+44 161 496 0555", u"m"},
    {nullptr, u"+1 415 555 0199", u"m"},
    {u"王小明", u"+44 20 7946 0502", u"w"},
    {u"Chloé \"Clo\" O'Brien", u"+1 617 555 0110", u"h"},
    {u"Ülkü Yılmaz-Öztürk", u"+44 117 496 0344", u"m"},
    {nullptr, u"", u""},  // a withheld number
}};

PropertyValue Value(std::uint32_t id) {
  PropertyValue value;
  value.id = id;
  return value;
}

// A fixed sequence of numbers, the same on every machine.
class Sequence {
 public:
  std::uint32_t Next() {
    state_ = state_ * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state_ >> 33);
  }

 private:
  std::uint64_t state_ = 20070315;
};

std::vector<PropertyValue> SampleCall(std::uint32_t index, Sequence& sequence,
                                      platform::FileTime* clock) {
  const Caller& caller = kCallers[sequence.Next() % kCallers.size()];
  const std::uint32_t kind = sequence.Next() % 3;  // outgoing, incoming, missed
  const std::uint32_t flags = kind == 0 ? kOutgoing | kConnected : kind == 1 ? kConnected : 0;
  constexpr platform::FileTime kSecond = 10'000'000;
  *clock += (60 + sequence.Next() % (6 * 3600)) * kSecond;
  const platform::FileTime seconds = flags & kConnected ? 5 + sequence.Next() % 1800 : 0;

  std::vector<PropertyValue> call;
  PropertyValue start = Value(kCallStart);
  start.file_time = *clock;
  call.push_back(start);
  PropertyValue end = Value(kCallEnd);
  end.file_time = *clock + seconds * kSecond;
  call.push_back(end);
  PropertyValue flag_value = Value(kCallFlags);
  flag_value.integer = flags;
  call.push_back(flag_value);
  PropertyValue number = Value(kCallNumber);
  number.text = caller.number;
  call.push_back(number);
  // An unknown caller's record keeps the name property, flagged as not found.
  PropertyValue name = Value(kCallName);
  if (caller.name != nullptr) {
    name.text = caller.name;
  } else {
    name.flags = platform::kPropertyNotFound;
  }
  call.push_back(name);
  PropertyValue number_type = Value(kCallNumberType);
  number_type.text = caller.number_type;
  call.push_back(number_type);
  PropertyValue line = Value(kCallLine);
  line.integer = index % 7 == 6 ? 2 : 1;
  call.push_back(line);
  if (index % 5 == 4) {
    PropertyValue roaming = Value(kCallRoaming);
    roaming.integer = 1;
    call.push_back(roaming);
  }
  if (caller.name == nullptr && caller.number[0] == 0) {
    PropertyValue caller_id = Value(kCallCallerId);
    caller_id.bytes = {0x00, 0x01, 0xfe, 0xff};
    call.push_back(caller_id);
  }
  return call;
}

}  // namespace

bool FillSampleCallLogs(const platform::Device& device, std::uint32_t scale, std::string* error) {
  platform::ObjectStore& store = device.object_store();
  devicedb::HeldPimDatabase call_logs(store);
  if (call_logs.Open(devicedb::kCallLogDatabase) != platform::kErrorSuccess) {
    *error = call_logs.mounted() ? "the profile has no call log database"
                                 : "the profile has no \\pim.vol";
    return false;
  }
  Sequence sequence;
  platform::SystemTime first_of_march{};
  first_of_march.year = 2007;
  first_of_march.month = 3;
  first_of_march.day = 1;
  first_of_march.hour = 8;
  platform::FileTime clock = 0;
  platform::SystemTimeToFileTime(first_of_march, &clock);
  bool written = true;
  for (std::uint32_t index = 0; index < kSampleCallsPerScale * scale && written; ++index)
    written = store.Write(call_logs.handle(), 0, SampleCall(index, sequence, &clock)) != 0;
  if (!written) *error = "cannot write to the call log database";
  return written;
}

}  // namespace kestrav::profile
