// The device's object store: a volume file ("\pim.vol") holding named databases of records,
// each record a list of typed properties (PropertyValue) under an object id.
//
// Object ids are unique within a volume and never reused; records come in creation order. Each
// open database handle has a position of its own:
// - ReadNext returns the record at the position and moves it to the record after;
// - Seek to the beginning puts it on the first record, Seek to an object id on that record; a
//   seek that finds no record leaves it where it was;
// - Write and Delete leave it where it is: a deleted record at the position is passed over by the
//   next read, and a record created after the position is met by later reads.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "platform/file_system.h"
#include "platform/property_value.h"

namespace kestrav::platform {

using ObjectId = std::uint32_t;
using VolumeId = std::uint32_t;
using DatabaseHandle = std::uint32_t;

inline constexpr DatabaseHandle kInvalidDatabaseHandle = 0xFFFFFFFF;

class ObjectStore {
 public:
  virtual ~ObjectStore() = default;

  // kOpenExisting fails with kErrorFileNotFound when the volume file is absent; kOpenAlways
  // creates it.
  virtual ErrorCode MountVolume(std::u16string_view path, Disposition disposition,
                                VolumeId* volume) = 0;
  virtual ErrorCode UnmountVolume(VolumeId volume) = 0;
  // Creates an empty database; kErrorAlreadyExists when the name is taken.
  virtual ErrorCode CreateDatabase(VolumeId volume, std::u16string_view name) = 0;
  // kInvalidDatabaseHandle when the database does not exist.
  virtual DatabaseHandle OpenDatabase(VolumeId volume, std::u16string_view name) = 0;
  virtual ErrorCode CloseDatabase(DatabaseHandle database) = 0;

  virtual ErrorCode RecordCount(DatabaseHandle database, std::uint32_t* count) = 0;
  // The record at the position with all its properties, or only those asked for (a property the
  // record lacks comes back flagged kPropertyNotFound, without a value). 0 at the end.
  virtual ObjectId ReadNext(DatabaseHandle database, const std::vector<std::uint32_t>* property_ids,
                            std::vector<PropertyValue>* properties) = 0;
  // To the first record (object_id 0) or to a record; the object id reached, 0 when none.
  virtual ObjectId Seek(DatabaseHandle database, ObjectId object_id) = 0;
  // Object id 0 creates a record; otherwise the properties are added to the record, replacing
  // those with the same identifier. A property flagged kPropertyDelete is removed from the
  // record instead (and not written to a new one). The record's object id, 0 on failure.
  virtual ObjectId Write(DatabaseHandle database, ObjectId object_id,
                         const std::vector<PropertyValue>& properties) = 0;
  virtual ErrorCode Delete(DatabaseHandle database, ObjectId object_id) = 0;
};

}  // namespace kestrav::platform
