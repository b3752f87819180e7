#include "export/mail.h"

#include <array>
#include <cstdio>
#include <string_view>

#include "export/icalendar.h"
#include "records/base64.h"

namespace kestrav::exporting {
namespace {

constexpr std::string_view kBoundary = "=_kestrav_part_=";
constexpr std::size_t kEncodedWordBytes = 45;  // 60 base64 characters in a 75-character word
constexpr std::size_t kBase64LineLength = 76;
constexpr std::size_t kFlushBytes = 64 * 1024;

bool IsPrintableAscii(std::string_view text) {
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte > 0x7E) return false;
  }
  return true;
}

bool IsContinuationByte(char byte) {
  return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::string Base64(std::string_view bytes) {
  std::string text;
  records::Base64Encoder encoder;
  encoder.Add(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(bytes.data()),
                                            bytes.size()),
              &text);
  encoder.Finish(&text);
  return text;
}

// The bytes of a header written so far and the line end of the framing.
class MessageWriter {
 public:
  MessageWriter(MailFraming framing, Output* output) : framing_(framing), output_(output) {}

  // One line of the message; in a mailbox, a line that reads "From " after any ">" gets one more.
  void Line(std::string_view line) {
    if (framing_ == MailFraming::kMailbox) {
      const std::size_t first = line.find_first_not_of('>');
      if (first != std::string_view::npos && line.substr(first).starts_with("From ")) {
        buffer_ += '>';
      }
    }
    buffer_.append(line);
    buffer_.append(framing_ == MailFraming::kMailbox ? "\n" : "\r\n");
    if (buffer_.size() >= kFlushBytes) Flush();
  }

  // A header folded at its own line breaks ("\n" between the pieces).
  void Header(std::string_view name, std::string_view value) {
    std::string text(name);
    text += ": ";
    text += value;
    std::size_t start = 0;
    for (;;) {
      const std::size_t end = text.find('\n', start);
      Line(std::string_view(text).substr(start, end - start));
      if (end == std::string::npos) break;
      start = end + 1;
    }
  }

  // A line no quoting touches: the mailbox's own separator.
  void SeparatorLine(std::string_view line) {
    buffer_.append(line);
    buffer_ += '\n';
  }

  bool Flush() {
    if (!buffer_.empty() && !output_->Write(buffer_)) failed_ = true;
    buffer_.clear();
    return !failed_;
  }

  // Base64 lines of contents handed over in pieces.
  bool Base64Contents(const MailAttachment& attachment) {
    records::Base64Encoder encoder;
    std::string text;
    const bool read = attachment.contents([&](std::span<const std::uint8_t> piece) {
      encoder.Add(piece, &text);
      EmitWholeLines(&text);
      return !failed_;
    });
    if (!read || failed_) return false;
    encoder.Finish(&text);
    EmitWholeLines(&text);
    if (!text.empty()) Line(text);
    return !failed_;
  }

  bool failed() const { return failed_; }

 private:
  void EmitWholeLines(std::string* text) {
    std::size_t offset = 0;
    while (text->size() - offset >= kBase64LineLength) {
      Line(std::string_view(*text).substr(offset, kBase64LineLength));
      offset += kBase64LineLength;
    }
    text->erase(0, offset);
  }

  MailFraming framing_;
  Output* output_;
  std::string buffer_;
  bool failed_ = false;
};

bool IsAtomText(std::string_view text) {
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letter_or_digit = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                                 (byte >= '0' && byte <= '9');
    if (!letter_or_digit &&
        std::string_view(" !#$%&'*+-/=?^_`{|}~").find(c) == std::string_view::npos) {
      return false;
    }
  }
  return true;
}

std::string WithoutLineBreaks(std::string_view text) {
  std::string clean(text);
  for (char& c : clean) {
    if (c == '\r' || c == '\n') c = ' ';
  }
  return clean;
}

std::string AddressText(const MailAddress& address) {
  const std::string mailbox = '<' + WithoutLineBreaks(address.address) + '>';
  if (address.name.empty()) return mailbox;
  if (IsPrintableAscii(address.name) && IsAtomText(address.name)) {
    return address.name + ' ' + mailbox;
  }
  if (IsPrintableAscii(address.name)) {
    std::string quoted = "\"";
    for (char c : address.name) {
      if (c == '"' || c == '\\') quoted += '\\';
      quoted += c;
    }
    return quoted + "\" " + mailbox;
  }
  return EncodedHeaderText(address.name) + ' ' + mailbox;
}

std::string AddressList(const std::vector<MailAddress>& addresses) {
  std::string list;
  for (const MailAddress& address : addresses) {
    if (!list.empty()) list += ",\n ";
    list += AddressText(address);
  }
  return list;
}

std::string DateText(std::int64_t seconds, int offset_minutes) {
  static constexpr std::array<const char*, 7> kDays = {"Thu", "Fri", "Sat", "Sun",
                                                       "Mon", "Tue", "Wed"};
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const std::int64_t local = seconds + static_cast<std::int64_t>(offset_minutes) * 60;
  std::int64_t days = local / 86400;
  std::int64_t rest = local % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  const CalendarDate date = DateFromDays(days);
  const int weekday = static_cast<int>(((days % 7) + 7) % 7);
  const int offset = offset_minutes < 0 ? -offset_minutes : offset_minutes;
  char text[64];
  std::snprintf(text, sizeof text, "%s, %d %s %04d %02d:%02d:%02d %c%02d%02d", kDays[weekday],
                date.day, kMonths[date.month - 1], date.year, static_cast<int>(rest / 3600),
                static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60),
                offset_minutes < 0 ? '-' : '+', offset / 60, offset % 60);
  return text;
}

// The mailbox's separator line: "From ", the sender, and the time in UTC as asctime writes it.
std::string SeparatorLine(const MailMessage& message) {
  static constexpr std::array<const char*, 7> kDays = {"Thu", "Fri", "Sat", "Sun",
                                                       "Mon", "Tue", "Wed"};
  static constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  std::string sender = message.from.address;
  if (sender.empty() || sender.find_first_of(" \t\r\n") != std::string::npos ||
      !IsPrintableAscii(sender)) {
    sender = "MAILER-DAEMON";
  }
  const std::int64_t seconds = message.date.value_or(0);
  std::int64_t days = seconds / 86400;
  std::int64_t rest = seconds % 86400;
  if (rest < 0) {
    rest += 86400;
    --days;
  }
  const CalendarDate date = DateFromDays(days);
  char text[64];
  std::snprintf(text, sizeof text, " %s %s %2d %02d:%02d:%02d %04d", kDays[((days % 7) + 7) % 7],
                kMonths[date.month - 1], date.day, static_cast<int>(rest / 3600),
                static_cast<int>(rest / 60 % 60), static_cast<int>(rest % 60), date.year);
  return "From " + sender + text;
}

// The body as quoted-printable lines: plain ASCII stays readable, every other byte is "=XX", a
// line break of the text is a line break of the mail, and a text that does not end with one
// ends with a soft break, so that it reads back exactly.
void QuotedPrintableBody(std::string_view body, MessageWriter* writer) {
  constexpr std::size_t kLineLength = 76;
  std::vector<std::string_view> lines;
  for (;;) {
    const std::size_t end = body.find("\r\n");
    lines.push_back(body.substr(0, end));
    if (end == std::string_view::npos) break;
    body.remove_prefix(end + 2);
  }
  const bool ends_with_break = lines.back().empty();
  if (ends_with_break) lines.pop_back();
  for (std::size_t index = 0; index < lines.size(); ++index) {
    const std::string_view line = lines[index];
    std::string encoded;
    for (std::size_t i = 0; i < line.size(); ++i) {
      const auto byte = static_cast<unsigned char>(line[i]);
      const bool last = i + 1 == line.size();
      std::string piece;
      if ((byte >= 33 && byte <= 126 && byte != '=') || ((byte == ' ' || byte == '\t') && !last)) {
        piece = static_cast<char>(byte);
      } else {
        char escape[4];
        std::snprintf(escape, sizeof escape, "=%02X", byte);
        piece = escape;
      }
      if (encoded.size() + piece.size() > kLineLength - 1) {
        writer->Line(encoded + '=');
        encoded.clear();
      }
      encoded += piece;
    }
    const bool soft_end = index + 1 == lines.size() && !ends_with_break;
    writer->Line(soft_end ? encoded + '=' : encoded);
  }
}

void BodyPart(const MailMessage& message, MessageWriter* writer) {
  writer->Header("Content-Type",
                 message.html ? "text/html; charset=utf-8" : "text/plain; charset=utf-8");
  writer->Header("Content-Transfer-Encoding", "quoted-printable");
  writer->Line("");
  if (!message.body.empty()) QuotedPrintableBody(message.body, writer);
}

// The file name as RFC 2231 continuations of at most 60 characters, never cutting a "%XX".
std::string FileNameParameters(std::string_view name) {
  static constexpr std::string_view kAttributeCharacters = "!#$&+-.^_`|~";
  std::string encoded;
  for (char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    const bool letter_or_digit = (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
                                 (byte >= '0' && byte <= '9');
    if (letter_or_digit || kAttributeCharacters.find(c) != std::string_view::npos) {
      encoded += c;
    } else {
      char escape[4];
      std::snprintf(escape, sizeof escape, "%%%02X", byte);
      encoded += escape;
    }
  }
  constexpr std::size_t kSegment = 60;
  if (encoded.size() + 7 <= kSegment) return "filename*=UTF-8''" + encoded;
  std::string parameters;
  std::size_t offset = 0;
  for (int index = 0; offset < encoded.size(); ++index) {
    std::size_t length = std::min(kSegment, encoded.size() - offset);
    if (offset + length < encoded.size()) {
      // Step back over a cut escape.
      if (encoded[offset + length - 1] == '%')
        length -= 1;
      else if (length >= 2 && encoded[offset + length - 2] == '%')
        length -= 2;
    }
    if (!parameters.empty()) parameters += ";\n ";
    parameters += "filename*" + std::to_string(index) + "*=" + (index == 0 ? "UTF-8''" : "") +
                  encoded.substr(offset, length);
    offset += length;
  }
  return parameters;
}

}  // namespace

std::string EncodedHeaderText(std::string_view text) {
  if (IsPrintableAscii(text)) return std::string(text);
  std::string words;
  while (!text.empty()) {
    std::size_t cut = std::min(kEncodedWordBytes, text.size());
    while (cut < text.size() && cut > 0 && IsContinuationByte(text[cut])) --cut;
    if (!words.empty()) words += "\n ";
    words += "=?UTF-8?B?" + Base64(text.substr(0, cut)) + "?=";
    text.remove_prefix(cut);
  }
  return words;
}

bool WriteMail(const MailMessage& message, MailFraming framing, Output* output) {
  MessageWriter writer(framing, output);
  if (framing == MailFraming::kMailbox) writer.SeparatorLine(SeparatorLine(message));
  writer.Header("From", AddressText(message.from));
  if (!message.to.empty()) writer.Header("To", AddressList(message.to));
  if (!message.cc.empty()) writer.Header("Cc", AddressList(message.cc));
  if (!message.bcc.empty()) writer.Header("Bcc", AddressList(message.bcc));
  writer.Header("Subject", EncodedHeaderText(message.subject));
  if (message.date) writer.Header("Date", DateText(*message.date, message.date_offset_minutes));
  writer.Header("MIME-Version", "1.0");
  if (message.attachments.empty()) {
    BodyPart(message, &writer);
  } else {
    writer.Header("Content-Type", "multipart/mixed; boundary=\"" + std::string(kBoundary) + '"');
    writer.Line("");
    writer.Line("--" + std::string(kBoundary));
    BodyPart(message, &writer);
    for (const MailAttachment& attachment : message.attachments) {
      writer.Line("--" + std::string(kBoundary));
      writer.Header("Content-Type", "application/octet-stream");
      writer.Header("Content-Disposition",
                    "attachment;\n " + FileNameParameters(attachment.file_name));
      writer.Header("Content-Transfer-Encoding", "base64");
      writer.Line("");
      if (!writer.Base64Contents(attachment)) {
        writer.Flush();
        return false;
      }
    }
    writer.Line("--" + std::string(kBoundary) + "--");
  }
  if (framing == MailFraming::kMailbox) writer.Line("");
  return writer.Flush();
}

}  // namespace kestrav::exporting
