// Call logs: the "clog.db" database of "\pim.vol" to a ".csl" record file and back.
//
// The file names no fields: after its signature line and the database's record count, each
// call is one line of its property count, its property identifiers and the value texts of the
// properties it holds, so whatever the device keeps for a call goes out and comes back as it was.
// Every field ends with the separator; the separator must not be "," since byte lists are
// written unquoted.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "devicedb/pim_volume.h"
#include "engine/kind_worker.h"
#include "platform/device.h"

namespace kestrav::devicedb {

class CallLogWorker : public engine::KindWorker {
 public:
  explicit CallLogWorker(const platform::Device& device) : device_(device) {}

  // Connects to "clog.db", writes the file's lines and every call, disconnects and unmounts.
  void Backup(const engine::PassContext& pass, records::CsvRecordFile& file) override;
  // Reads the record file and inserts its calls under the mode: kDeleteAllFirst empties the
  // database first, kAddOnlyNew passes over calls the database already holds, any other mode
  // inserts every call.
  void Restore(const engine::PassContext& pass) override;

 private:
  // The "already exists" test of one call read from the file, against the database from its
  // current position on. Matches are counted across the records read and never reset, so a
  // call counts as existing when the running count reaches its property count.
  bool AlreadyExists(CeDbSession& session, const std::vector<platform::PropertyValue>& call);

  const platform::Device& device_;
};

// One call as its record line: each field followed by the separator, then CR LF.
std::u16string CallLogLine(const std::vector<platform::PropertyValue>& call, char16_t separator);

}  // namespace kestrav::devicedb
