// The PIM volume layer: what the call-log and speed-dial passes share over the object store's
// "\pim.vol" - connecting and disconnecting with their status lines, record counts, deleting every
// record of a database, and comparing and finding record properties.
//
// A pass builds a CeDbSession on the job's store, sink and cancel flag. A backup runs as
//   if (!session.Connect(kind)) return;   // the volume is missing: nothing more is posted
//   ... the pass, which returns at once when session.database is invalid ...
//   session.Unmount();
// and a restore connects the same way, works only with a valid handle, and unmounts at its end.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "engine/progress_sink.h"
#include "platform/object_store.h"
#include "platform/property_value.h"

namespace kestrav::devicedb {

inline constexpr char16_t kPimVolume[] = u"\\pim.vol";
inline constexpr char16_t kCallLogDatabase[] = u"clog.db";
inline constexpr char16_t kSpeedDialDatabase[] = u"speed.db";
inline constexpr char16_t kContactsDatabase[] = u"Contacts Database";

// The two databases of the volume that have passes of their own.
enum class PimDatabase { kCallLogs, kSpeedDials };

// What FindProperty answers when no property has the identifier.
inline constexpr std::uint16_t kPropertyAbsent = 0xFFFF;

// The state of one call-log or speed-dial pass over the volume. Nothing of it outlives the pass.
class CeDbSession {
 public:
  CeDbSession(platform::ObjectStore& store, engine::ProgressSink* sink,
              const engine::CancelFlag* cancel)
      : store_(store), sink_(sink), cancel_(cancel) {}

  // Posts the kind's connecting line, mounts the volume (it must exist) and opens the kind's
  // database; for speed dials also "Contacts Database" into the contacts handle. False when the
  // volume cannot be mounted. A database that cannot be opened leaves its handle invalid.
  bool Connect(PimDatabase kind);
  // Posts the kind's disconnecting line, closes the database handle and the contacts handle when
  // they are held, and posts "Disconnected.". The contacts handle is opened once per pass, by
  // Connect, and every contact lookup of the pass uses it.
  void Disconnect(PimDatabase kind);
  // Unmounts the volume when it was mounted; the store drops every handle still open on it.
  void Unmount();

  // Deletes every record of the open database with the kind's status lines and item progress.
  // The line that counts the records first is composed into database_contents_text but never
  // shown. The count reported is the drop in the record count.
  void DeleteAll(PimDatabase kind);

  bool Canceled() const { return cancel_ != nullptr && cancel_->load() != 0; }
  platform::ObjectStore& store() const { return store_; }
  engine::ProgressSink* sink() const { return sink_; }

  platform::VolumeId volume = 0;
  bool mounted = false;
  platform::DatabaseHandle database = platform::kInvalidDatabaseHandle;
  platform::DatabaseHandle contacts = platform::kInvalidDatabaseHandle;  // speed dials only
  std::u16string database_contents_text;

 private:
  platform::ObjectStore& store_;
  engine::ProgressSink* sink_;
  const engine::CancelFlag* cancel_;
};

// One database of "\pim.vol" held open for as long as the object lives, for the tools that read
// or fill a database outside a pass (passes keep a CeDbSession, with its status lines).
class HeldPimDatabase {
 public:
  explicit HeldPimDatabase(platform::ObjectStore& store) : store_(store) {}
  ~HeldPimDatabase();
  HeldPimDatabase(const HeldPimDatabase&) = delete;
  HeldPimDatabase& operator=(const HeldPimDatabase&) = delete;

  // Mounts the volume (it must exist) and opens the database. On failure, mounted() tells
  // whether the volume or the database was missing; the mount's error code is returned.
  platform::ErrorCode Open(std::u16string_view name);

  bool mounted() const { return mounted_; }
  platform::DatabaseHandle handle() const { return handle_; }

 private:
  platform::ObjectStore& store_;
  platform::VolumeId volume_ = 0;
  bool mounted_ = false;
  platform::DatabaseHandle handle_ = platform::kInvalidDatabaseHandle;
};

// The number of records of an open database; 0 when it cannot be read.
std::uint32_t RecordCount(platform::ObjectStore& store, platform::DatabaseHandle database);

// Whether a database value equals a value read from a record file, for the "already exists"
// tests. Flags must be equal and neither may be "not found"; then the value is compared as the
// database value's type says, the file value read as the same type: 16-bit types by their low 16
// bits, 32-bit types by their low 32 bits, strings case-sensitively, byte blocks by length and
// bytes. A type the layer does not know is never equal.
bool ValueEquality(const platform::PropertyValue& database_value,
                   const platform::PropertyValue& file_value);

// The index of the first property with exactly this 32-bit identifier, or kPropertyAbsent.
std::uint16_t FindProperty(std::span<const platform::PropertyValue> properties,
                           std::uint32_t property_id);

// The small dialog that shows a deletion started from the "Delete All..." menu.
class DeletionProgress {
 public:
  virtual ~DeletionProgress() = default;

  // Only when there are records: the bar's range becomes 1..count and the dialog shows.
  virtual void Start(std::uint32_t count) = 0;
  // After each successful delete: the number deleted so far.
  virtual void SetPosition(std::uint32_t deleted) = 0;
  // At the end, whatever happened: the dialog hides and closes.
  virtual void Finish() = 0;
};

// The "Delete All..." menu's deletion of a kind's records: no status lines, only the dialog's
// progress. As on the device the volume stays mounted afterwards. False when the volume or the
// database could not be opened.
bool DeleteAllFromMenu(platform::ObjectStore& store, PimDatabase kind, DeletionProgress& progress);

}  // namespace kestrav::devicedb
