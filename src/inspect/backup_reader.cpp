#include "inspect/backup_reader.h"

#include <algorithm>

#include "devicedb/texts.h"
#include "inspect/texts.h"
#include "outlook/contact_field_map.h"
#include "outlook/texts.h"
#include "platform/format.h"
#include "records/archive.h"
#include "records/record_reader.h"

namespace kestrav::inspect {
namespace {

using engine::ItemKind;

std::u16string_view BaseName(std::u16string_view path) {
  const std::size_t slash = path.find_last_of(u"/\\");
  return slash == std::u16string_view::npos ? path : path.substr(slash + 1);
}

std::u16string_view ExtensionOf(std::u16string_view name) {
  const std::size_t dot = name.rfind(u'.');
  return dot == std::u16string_view::npos ? std::u16string_view() : name.substr(dot);
}

bool Wanted(const ReadOptions& options, ItemKind kind) {
  return options.kinds.empty() || std::ranges::find(options.kinds, kind) != options.kinds.end();
}

// Reads one record file of a kind, record by record, into the visitor.
class RecordFileReader {
 public:
  RecordFileReader(const platform::Device& device, const ReadOptions& options, ItemVisitor& visitor,
                   KindSummary& summary)
      : device_(device), visitor_(visitor), summary_(summary), reader_(device, options.separator) {}

  void Read(std::u16string_view file) {
    if (!reader_.Open(file)) {
      summary_.header = HeaderVerdict::kRefused;
      summary_.header_text = reader_.ErrorText();
      visitor_.BeginKind(summary_);
      visitor_.EndKind(summary_);
      return;
    }
    switch (summary_.kind) {
      case ItemKind::kContacts:
        ReadContacts();
        break;
      case ItemKind::kAppointments:
        ReadAppointments();
        break;
      case ItemKind::kTasks:
        ReadTasks();
        break;
      case ItemKind::kCallLogs:
        ReadDatabaseRecords(devicedb::CallLogKind());
        break;
      case ItemKind::kSpeedDials:
        ReadDatabaseRecords(devicedb::SpeedDialKind());
        break;
      case ItemKind::kMessages:
        ReadMessages();
        break;
    }
    if (reader_.LastError() != 0) {
      summary_.read_error = reader_.LastError();
      summary_.read_error_text = reader_.ErrorText();
    }
    visitor_.EndKind(summary_);
  }

 private:
  // The next record, counted; false at the end or on an error.
  bool Next() {
    if (!reader_.Next(&record_)) return false;
    ++summary_.records;
    return true;
  }

  void Accept(std::u16string_view text) {
    summary_.header = HeaderVerdict::kAccepted;
    summary_.header_text = text;
    visitor_.BeginKind(summary_);
  }

  void Refuse(std::u16string_view why) {
    summary_.header = HeaderVerdict::kRefused;
    summary_.header_text = why;
    visitor_.BeginKind(summary_);
  }

  void Defect(std::u16string_view why) {
    ++summary_.undecodable;
    visitor_.Defect(summary_, summary_.records, why);
  }

  // A backup's contacts file, each column feeding itself, as a restore without a field map
  // reads it.
  void ReadContacts() {
    const records::Record& header = reader_.Header();
    if (!outlook::IsContactHeader(header)) return Refuse(texts::kNotTheKindsHeader);
    Accept({});
    const outlook::ContactFieldMap map = outlook::DefaultFieldMap(header);
    records::Record contact;
    while (Next()) {
      outlook::MapContactRecord(record_, header.size(), map, &contact);
      ++summary_.items;
      visitor_.Contact(summary_.records, outlook::DecodeContact(contact, device_.code_page()));
    }
  }

  void ReadAppointments() {
    if (!outlook::IsAppointmentsHeader(reader_.Header())) return Refuse(texts::kNotTheKindsHeader);
    Accept(outlook::texts::kValidAppointmentsHeader);
    while (Next()) {
      const outlook::DecodedAppointment appointment = outlook::DecodeAppointment(record_);
      if (appointment.stated_recipient_count >= 0 &&
          static_cast<std::size_t>(appointment.stated_recipient_count) !=
              appointment.recipients.size()) {
        visitor_.Defect(summary_, summary_.records,
                        platform::Format(texts::kRecipientsShort,
                                         static_cast<int>(appointment.stated_recipient_count),
                                         static_cast<int>(appointment.recipients.size())));
      }
      ++summary_.items;
      visitor_.Appointment(summary_.records, appointment);
    }
  }

  void ReadTasks() {
    if (!outlook::IsTasksHeader(reader_.Header())) return Refuse(texts::kNotTheKindsHeader);
    Accept(outlook::texts::kValidTasksHeader);
    while (Next()) {
      ++summary_.items;
      visitor_.Task(summary_.records, outlook::DecodeTask(record_));
    }
  }

  // Call logs and speed dials: the signature, the count row, then a record a row.
  void ReadDatabaseRecords(const devicedb::PimRecordKind& kind) {
    const devicedb::AcceptedSignature* signature =
        devicedb::AcceptedHeader(reader_.Header(), kind.accepted_signatures);
    if (signature == nullptr) return Refuse(devicedb::texts::kInvalidFileFormat);
    records::Record count_row;
    if (!reader_.Next(&count_row)) return Refuse(texts::kNoCountRow);
    const std::optional<std::uint32_t> stated = devicedb::StatedRecordCount(count_row);
    if (!stated) return Refuse(texts::kNoCountRow);
    summary_.stated_count = *stated;
    Accept(signature->valid_header);
    std::vector<platform::PropertyValue> properties;
    while (reader_.Next(&record_)) {
      // A row of no property is no record: the restore passes over it as holding nothing.
      if (!devicedb::HoldsARecord(record_)) continue;
      ++summary_.records;
      if (!devicedb::DecodePimRecord(record_, &properties) || properties.empty()) {
        Defect(texts::kRecordUnreadable);
        continue;
      }
      ++summary_.items;
      if (summary_.kind == ItemKind::kCallLogs) {
        visitor_.CallLog(summary_.records, devicedb::DecodeCallLog(std::move(properties)));
      } else {
        visitor_.SpeedDial(summary_.records, devicedb::DecodeSpeedDial(std::move(properties)));
      }
    }
  }

  void ReadMessages() {
    const records::Record& header = reader_.Header();
    bool usual = header.size() == messages::kColumnCount;
    for (std::size_t column = 0; usual && column < messages::kColumnCount; ++column)
      usual = header[column] == messages::kColumnNames[column];
    if (usual) {
      Accept({});
    } else {
      summary_.header = HeaderVerdict::kUnusual;
      summary_.header_text = texts::kUnusualMessagesHeader;
      visitor_.BeginKind(summary_);
    }
    messages::MessageRecord message;
    while (Next()) {
      if (!messages::ReadMessageRecord(device_.clock(), record_, &message)) {
        Defect(texts::kMessageUnreadable);
        continue;
      }
      ++summary_.items;
      visitor_.Message(summary_.records, message);
    }
  }

  const platform::Device& device_;
  ItemVisitor& visitor_;
  KindSummary& summary_;
  records::RecordReader reader_;
  records::Record record_;
};

int ReadArchive(const platform::Device& device, std::u16string_view archive,
                std::u16string_view scratch_folder, const ReadOptions& options,
                ItemVisitor& visitor) {
  std::vector<records::ArchiveMember> members;
  if (const int result = records::ListMembers(device, archive, &members); result != 0)
    return result;
  for (std::size_t position = 0; position < members.size(); ++position) {
    const records::ArchiveMember& member = members[position];
    if (!records::IsSafeMemberName(member.name)) {
      visitor.MemberFault(archive, member.name, MemberProblem::kUnsafeName,
                          texts::kUnsafeMemberName);
      continue;
    }
    // Read as the restore takes the members: a Mac's resource forks are no record files.
    const std::optional<ItemKind> found = records::IsMacResourceMember(member.name)
                                              ? std::nullopt
                                              : engine::KindOfExtension(ExtensionOf(member.name));
    const bool record_file = found.has_value();
    const ItemKind kind = found.value_or(ItemKind::kContacts);
    if (record_file && !Wanted(options, kind)) continue;
    if (member.fault != 0) {
      visitor.MemberFault(archive, member.name, MemberProblem::kUnreadable,
                          records::MemberFaultText(member));
      continue;
    }
    if (!record_file && !options.check_other_members) {
      visitor.MemberFault(archive, member.name, MemberProblem::kNoRecordFile, texts::kNoRecordFile);
      continue;
    }
    const std::u16string file_name =
        u"member" + std::u16string(record_file ? engine::KindInfo(kind).extension : u".data");
    const records::MemberToExtract chosen{.position = position, .file_name = file_name};
    std::vector<std::u16string> extracted;
    const int result =
        records::ExtractMembers(device, archive, scratch_folder, std::span(&chosen, 1), &extracted);
    const std::u16string path = std::u16string(scratch_folder) + file_name;
    if (result != 0) {
      for (const std::u16string& file : extracted) device.files().DeleteFile(file);
      visitor.MemberFault(archive, member.name, MemberProblem::kUnreadable,
                          records::ArchiveErrorText(result));
    } else if (!record_file) {
      device.files().DeleteFile(path);
      visitor.MemberFault(archive, member.name, MemberProblem::kNoRecordFile, texts::kNoRecordFile);
    } else {
      KindSummary summary;
      summary.backup = archive;
      summary.member = member.name;
      summary.kind = kind;
      RecordFileReader(device, options, visitor, summary).Read(path);
      device.files().DeleteFile(path);
    }
  }
  return 0;
}

}  // namespace

int ReadBackup(const platform::Device& device, std::u16string_view backup,
               std::u16string_view scratch_folder, const ReadOptions& options,
               ItemVisitor& visitor) {
  if (const std::optional<ItemKind> kind = engine::KindOfExtension(ExtensionOf(backup))) {
    if (!Wanted(options, *kind)) return 0;
    KindSummary summary;
    summary.backup = backup;
    summary.member = BaseName(backup);
    summary.kind = *kind;
    RecordFileReader(device, options, visitor, summary).Read(backup);
    return 0;
  }
  return ReadArchive(device, backup, scratch_folder, options, visitor);
}

}  // namespace kestrav::inspect
