// One message as Internet mail: RFC 5322 headers (RFC 2047 words for what is not plain ASCII),
// a text or HTML body, and every attachment (RFC 2231 file names) in a multipart/mixed body.
// Written either as a message file of its own (CR LF) or as one entry of an mboxrd mailbox (LF,
// a "From " line first, ">From " quoting). Attachments are read and encoded in bounded pieces,
// so no attachment is ever held whole.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "export/output.h"

namespace kestrav::exporting {

struct MailAddress {
  std::string name;
  std::string address;
};

struct MailAttachment {
  std::string file_name;
  // Hands the contents to `receive` piece by piece, stopping when it refuses one; false when the
  // contents cannot be read or a piece was refused.
  using Receiver = std::function<bool(std::span<const std::uint8_t>)>;
  std::function<bool(const Receiver& receive)> contents;
};

struct MailMessage {
  MailAddress from;
  std::vector<MailAddress> to;
  std::vector<MailAddress> cc;
  std::vector<MailAddress> bcc;
  std::string subject;
  // Seconds since 1970 UTC, and the local offset at that time in minutes east of UTC.
  std::optional<std::int64_t> date;
  int date_offset_minutes = 0;
  std::string body;
  bool html = false;
  std::vector<MailAttachment> attachments;
};

enum class MailFraming { kMessageFile, kMailbox };

// Writes the message; false when the output fails or an attachment cannot be read.
bool WriteMail(const MailMessage& message, MailFraming framing, Output* output);

// RFC 2047 encoded words for a header text that is not plain printable ASCII; the text as it
// stands otherwise.
std::string EncodedHeaderText(std::string_view text);

}  // namespace kestrav::exporting
