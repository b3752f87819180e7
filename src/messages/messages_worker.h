// The messages kind: the device's message stores - text messages, Outlook e-mail and the mail of
// other accounts - out to a ".csm" record file and back, through the messaging subsystem.
//
// Backup writes one record a message of each folder the option leaves in, then the folder's
// second pass: one folder record for each subfolder left in, so that a restore builds the tree
// again. Recipients and attachments are read a piece at a time, attachment contents in chunks,
// and a record is never longer than a restore reads: what would not fit is left out and said.
//
// Restore reads the file twice, one record at a time: first to check every record, count them
// and gather the folders they name, so that a damaged file is refused before anything changes,
// then to insert. It takes the folders the option includes, or else those the file names, so that
// "delete all first" empties only those. A folder the device lacks is made (below its parent when
// a folder record names it, else at the top of its store). "Add only new" passes over a message
// whose "Msg Id" bytes - or, when it has none, its subject, delivery time and sender address -
// are those of a message of the folder already.
#pragma once

#include "engine/kind_worker.h"
#include "platform/device.h"

namespace kestrav::messages {

class MessagesWorker : public engine::KindWorker {
 public:
  explicit MessagesWorker(const platform::Device& device) : device_(device) {}

  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  void Restore(const engine::PassContext& pass) override;

 private:
  const platform::Device& device_;
};

}  // namespace kestrav::messages
