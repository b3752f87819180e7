// One contact as a vCard, version 3.0 or 4.0: what the card needs, already in UTF-8.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrav::exporting {

enum class VcardVersion { k3, k4 };

struct CalendarDate {
  int year = 0;
  int month = 0;
  int day = 0;
};

// The kinds of a phone number; the card names them as its version does.
enum class PhoneUse {
  kWorkVoice,
  kWorkFax,
  kWorkMain,
  kHomeVoice,
  kHomeFax,
  kCell,
  kCar,
  kPager,
  kRadio,
  kAssistant
};

struct VcardPhone {
  PhoneUse use = PhoneUse::kWorkVoice;
  std::string number;
};

enum class AddressUse { kWork, kHome, kOther };

struct VcardAddress {
  AddressUse use = AddressUse::kWork;
  std::string street;
  std::string city;
  std::string region;
  std::string postal_code;
  std::string country;
};

// A property the card carries under a name of its own ("X-SPOUSE"), as text.
struct VcardExtension {
  std::string name;
  std::string value;
};

struct VcardContact {
  // Shown name; when empty the card makes one from the name's parts, the organization, the
  // first e-mail address or the first phone number.
  std::string formatted_name;
  std::string family_name;
  std::string given_name;
  std::string additional_names;
  std::string honorific_prefix;
  std::string honorific_suffix;
  std::string nickname;
  std::string organization;
  std::string department;
  std::string job_title;
  std::vector<VcardPhone> phones;
  std::vector<std::string> emails;
  std::vector<VcardAddress> addresses;
  std::string url;
  std::optional<CalendarDate> birthday;
  std::optional<CalendarDate> anniversary;
  std::string note;
  std::vector<std::string> categories;
  std::vector<std::uint8_t> photo;
  std::vector<VcardExtension> extensions;
};

// Appends the card, BEGIN to END, every line folded and ended with CR LF.
void AppendVcard(const VcardContact& contact, VcardVersion version, std::string* out);

}  // namespace kestrav::exporting
