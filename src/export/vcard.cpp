#include "export/vcard.h"

#include <cstdio>
#include <span>
#include <string_view>

#include "export/content_line.h"
#include "records/base64.h"

namespace kestrav::exporting {
namespace {

std::string_view PhoneTypes(PhoneUse use, VcardVersion version) {
  const bool v3 = version == VcardVersion::k3;
  switch (use) {
    case PhoneUse::kWorkVoice:
      return "WORK,VOICE";
    case PhoneUse::kWorkFax:
      return "WORK,FAX";
    case PhoneUse::kWorkMain:
      return "WORK,VOICE,X-MAIN";
    case PhoneUse::kHomeVoice:
      return "HOME,VOICE";
    case PhoneUse::kHomeFax:
      return "HOME,FAX";
    case PhoneUse::kCell:
      return "CELL";
    case PhoneUse::kCar:
      return v3 ? "CAR" : "X-CAR";
    case PhoneUse::kPager:
      return "PAGER";
    case PhoneUse::kRadio:
      return "VOICE,X-RADIO";
    case PhoneUse::kAssistant:
      return "WORK,X-ASSISTANT";
  }
  return "VOICE";
}

std::string_view AddressType(AddressUse use, VcardVersion version) {
  switch (use) {
    case AddressUse::kWork:
      return "WORK";
    case AddressUse::kHome:
      return "HOME";
    case AddressUse::kOther:
      return version == VcardVersion::k3 ? "POSTAL" : "X-OTHER";
  }
  return "WORK";
}

std::string Date(const CalendarDate& date, VcardVersion version) {
  char text[16];
  std::snprintf(text, sizeof text, version == VcardVersion::k3 ? "%04d-%02d-%02d" : "%04d%02d%02d",
                date.year, date.month, date.day);
  return text;
}

// The image type a picture's first bytes name, for the card's media type.
std::string_view ImageType(const std::vector<std::uint8_t>& photo) {
  auto starts = [&](std::initializer_list<std::uint8_t> magic) {
    if (photo.size() < magic.size()) return false;
    std::size_t i = 0;
    for (std::uint8_t byte : magic) {
      if (photo[i++] != byte) return false;
    }
    return true;
  };
  if (starts({0x89, 'P', 'N', 'G'})) return "png";
  if (starts({0xFF, 0xD8})) return "jpeg";
  if (starts({'G', 'I', 'F', '8'})) return "gif";
  if (starts({'B', 'M'})) return "bmp";
  return "";
}

std::string ComposedName(const VcardContact& contact) {
  std::string name;
  for (const std::string* part :
       {&contact.honorific_prefix, &contact.given_name, &contact.additional_names,
        &contact.family_name, &contact.honorific_suffix}) {
    if (part->empty()) continue;
    if (!name.empty()) name += ' ';
    name += *part;
  }
  if (!name.empty()) return name;
  if (!contact.organization.empty()) return contact.organization;
  if (!contact.emails.empty()) return contact.emails.front();
  if (!contact.phones.empty()) return contact.phones.front().number;
  return name;
}

}  // namespace

void AppendVcard(const VcardContact& contact, VcardVersion version, std::string* out) {
  const bool v3 = version == VcardVersion::k3;
  auto line = [out](std::string_view name, std::string_view value) {
    std::string text(name);
    text += ':';
    text += value;
    AppendContentLine(text, out);
  };
  auto text_line = [&line](std::string_view name, const std::string& value) {
    if (!value.empty()) line(name, EscapeText(value));
  };

  AppendContentLine("BEGIN:VCARD", out);
  AppendContentLine(v3 ? "VERSION:3.0" : "VERSION:4.0", out);
  line("FN",
       EscapeText(contact.formatted_name.empty() ? ComposedName(contact) : contact.formatted_name));
  line("N", EscapeText(contact.family_name) + ';' + EscapeText(contact.given_name) + ';' +
                EscapeText(contact.additional_names) + ';' + EscapeText(contact.honorific_prefix) +
                ';' + EscapeText(contact.honorific_suffix));
  text_line("NICKNAME", contact.nickname);
  if (!contact.organization.empty() || !contact.department.empty()) {
    line("ORG", EscapeText(contact.organization) +
                    (contact.department.empty() ? "" : ';' + EscapeText(contact.department)));
  }
  text_line("TITLE", contact.job_title);
  for (const VcardPhone& phone : contact.phones) {
    line(std::string("TEL;TYPE=") + std::string(PhoneTypes(phone.use, version)),
         EscapeText(phone.number));
  }
  for (const std::string& email : contact.emails) {
    line(v3 ? "EMAIL;TYPE=INTERNET" : "EMAIL", EscapeText(email));
  }
  for (const VcardAddress& address : contact.addresses) {
    line(std::string("ADR;TYPE=") + std::string(AddressType(address.use, version)),
         ";;" + EscapeText(address.street) + ';' + EscapeText(address.city) + ';' +
             EscapeText(address.region) + ';' + EscapeText(address.postal_code) + ';' +
             EscapeText(address.country));
  }
  text_line("URL", contact.url);
  if (contact.birthday) line("BDAY", Date(*contact.birthday, version));
  if (contact.anniversary) {
    line(v3 ? "X-ANNIVERSARY" : "ANNIVERSARY", Date(*contact.anniversary, version));
  }
  text_line("NOTE", contact.note);
  if (!contact.categories.empty()) line("CATEGORIES", EscapedList(contact.categories));
  if (!contact.photo.empty()) {
    std::string data;
    records::Base64Encoder encoder;
    encoder.Add(std::span<const std::uint8_t>(contact.photo), &data);
    encoder.Finish(&data);
    const std::string_view type = ImageType(contact.photo);
    if (v3) {
      std::string upper(type);
      for (char& c : upper) c = static_cast<char>(c - 'a' + 'A');
      line(upper.empty() ? std::string("PHOTO;ENCODING=b") : "PHOTO;ENCODING=b;TYPE=" + upper,
           data);
    } else {
      const std::string media =
          type.empty() ? std::string("application/octet-stream") : "image/" + std::string(type);
      line("PHOTO", "data:" + media + ";base64," + data);
    }
  }
  for (const VcardExtension& extension : contact.extensions) {
    text_line(extension.name, extension.value);
  }
  AppendContentLine("END:VCARD", out);
}

}  // namespace kestrav::exporting
