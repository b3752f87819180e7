// The messaging subsystem kept in the SQLite file "\cemail.vol" below the device's root: stores
// (accounts) by display name, each with its folder tree, the folders' messages with their
// properties, subject and body, and the messages' recipients and attachments. Attachment
// contents are a blob read and written in chunks through SQLite's incremental blob I/O, so one
// never sits whole in memory.
//
// - Each Logon opens its own connection, never through a link; a profile without "\cemail.vol"
//   logs on to a session with no store.
// - When the host fails under the file (a full disk, a read-only file, another program's lock
//   held past the wait, an input/output error, a damaged file), the runtime answers from then
//   on as a failed device: Logon fails, and so does every operation of every object already
//   made. The failure is kept, with its cause, until it is cleared.
// - A new message is in the file from CreateMessage on, out of its folder's contents until it
//   is saved; dropped unsaved, it goes. One whose program ended before saving it (killed, say)
//   goes at the next Logon.
// - An attachment being read or written in chunks keeps its blob open between chunks, so that
//   each chunk is found without walking the contents from their start; it is let go at the last
//   byte, at any other operation of the session, and when the message goes. The chunks written
//   go in order from the first byte and form one transaction with the attachment: it is there
//   whole or not at all. Other programs' writes wait for it meanwhile.
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "platform/host/host_file_system.h"
#include "platform/host/sqlite_database.h"
#include "platform/message_store.h"

namespace kestrav::platform::host {

// The file of the message stores, as a device path.
inline constexpr char16_t kMessageStoreFile[] = u"\\cemail.vol";

// The folders every store holds from its creation.
inline constexpr const char16_t* kWellKnownMessageFolders[] = {
    u"Inbox", u"Outbox", u"Deleted Items", u"Drafts", u"Sent Items"};

class SqliteMessageRuntime : public MessageRuntime {
 public:
  explicit SqliteMessageRuntime(HostFileSystem& files,
                                int busy_timeout_milliseconds = kStoreBusyTimeoutMilliseconds)
      : files_(files), busy_timeout_milliseconds_(busy_timeout_milliseconds) {}

  HResult Initialize() override;
  HResult Logon(std::unique_ptr<MessageSession>* session) override;
  void Uninitialize() override;

  // What the device's own programs do and the passes never: making the file when it is absent,
  // a store with the well-known folders, and a folder below another.
  HResult CreateStore(std::u16string_view display_name, EntryId* store);
  HResult CreateFolder(const EntryId& parent_folder, std::u16string_view name, EntryId* folder);

  // The file and the cause of the first host failure, as "\cemail.vol: the disk is full"; empty
  // when there was none since the last ClearFailure.
  std::u16string FailureText();
  void ClearFailure();

  // Keeps the first host failure; its HResult as the device would answer it.
  HResult NoteFailure(const StoreFailure& failure);
  // The HResult of the failure kept; kSOk when there is none.
  HResult FailureResult();

  // Job batches (SqliteDatabase::BeginBatches) for the connections of the sessions of the
  // calling thread (the job's), those of later logons included, until EndJobBatches, from the
  // same thread, commits them; false when a commit failed, its failure kept.
  void BeginJobBatches(
      int writes_per_batch = kWritesPerBatch,
      std::chrono::milliseconds batch_age = std::chrono::milliseconds(kBatchMilliseconds));
  bool EndJobBatches();
  // The sessions' connections, as they come and go.
  void Attach(SqliteDatabase& connection);
  void Detach(SqliteDatabase& connection);
  // Commits the batches of the calling thread's connections but `except` (all when null), so
  // that one reads what the others wrote and writes without waiting for them; with `ending`,
  // their batches end too. False when a commit failed, its failure kept.
  bool CommitBatches(const SqliteDatabase* except, bool ending = false);

 private:
  // A connection to the file with its tables, or null with the failure kept; *absent tells a
  // missing file (not a failure) when the file is not to be made.
  std::unique_ptr<SqliteDatabase> Connect(bool create, bool* absent);

  HostFileSystem& files_;
  const int busy_timeout_milliseconds_;
  std::mutex mutex_;
  std::optional<StoreFailure> failure_;
  int initialized_ = 0;
  std::vector<std::pair<SqliteDatabase*, std::thread::id>> connections_;
  std::optional<std::thread::id> batching_thread_;
  int writes_per_batch_ = kWritesPerBatch;
  std::chrono::milliseconds batch_age_{kBatchMilliseconds};
};

}  // namespace kestrav::platform::host
