// Call logs: the "clog.db" database of "\pim.vol" to a ".csl" record file and back.
//
// The file names no fields: after its signature line and the database's record count, each
// call is one line of its property count, its property identifiers and the value texts of the
// properties it holds, so whatever the device keeps for a call goes out and comes back as it was
// (pim_record_worker.h).
#pragma once

#include "devicedb/pim_record_worker.h"
#include "platform/device.h"

namespace kestrav::devicedb {

class CallLogWorker : public PimRecordWorker {
 public:
  explicit CallLogWorker(const platform::Device& device);
};

}  // namespace kestrav::devicedb
