#include <algorithm>
#include <array>

#include "engine/status_text.h"
#include "kinds/rows.h"
#include "messages/message_folders.h"

namespace kestrav::kinds {
namespace {

// The window's order.
const std::array<const KindRow*, 6> kRows = {&kContactsRow, &kAppointmentsRow, &kTasksRow,
                                             &kCallLogsRow, &kSpeedDialsRow,   &kMessagesRow};

// The dialog as the front end shows it, counting the deletions it is told of.
class CountingProgress : public devicedb::DeletionProgress {
 public:
  explicit CountingProgress(devicedb::DeletionProgress& shown) : shown_(shown) {}

  void Start(std::uint32_t count) override { shown_.Start(count); }
  void SetPosition(std::uint32_t deleted) override {
    deleted_ = deleted;
    shown_.SetPosition(deleted);
  }
  void Finish() override { shown_.Finish(); }

  std::uint32_t deleted() const { return deleted_; }

 private:
  devicedb::DeletionProgress& shown_;
  std::uint32_t deleted_ = 0;
};

}  // namespace

std::span<const KindRow> AllKinds() {
  static const std::array<KindRow, kRows.size()> rows = [] {
    std::array<KindRow, kRows.size()> copied{};
    std::ranges::transform(kRows, copied.begin(), [](const KindRow* row) { return *row; });
    return copied;
  }();
  return rows;
}

const KindRow* FindKind(engine::ItemKind kind) {
  const std::span<const KindRow> rows = AllKinds();
  const auto found = std::ranges::find(rows, kind, &KindRow::kind);
  return found == rows.end() ? nullptr : &*found;
}

std::unique_ptr<engine::KindWorker> MakeWorker(const platform::Device& device,
                                               engine::ItemKind kind) {
  const KindRow* row = FindKind(kind);
  if (row == nullptr || !device.is_whole()) return nullptr;
  return row->make_worker(device);
}

engine::KindWorkerFactory WorkerFactory(const platform::Device& device) {
  return [&device](engine::ItemKind kind) { return MakeWorker(device, kind); };
}

bool OffersMode(engine::ItemKind kind, engine::RestoreMode mode) {
  const KindRow* row = FindKind(kind);
  const auto index = static_cast<std::size_t>(mode);
  return row != nullptr && index < row->restore_options.size() &&
         !row->restore_options[index].empty();
}

std::optional<std::uint64_t> CountRecords(const platform::Device& device,
                                          std::u16string_view database) {
  devicedb::HeldPimDatabase held(device.object_store());
  if (held.Open(database) != platform::kErrorSuccess) return std::nullopt;
  return devicedb::RecordCount(device.object_store(), held.handle());
}

std::optional<std::uint64_t> CountItemsDeletedFirst(
    const platform::Device& device, const engine::BackupJob::PreparedRestore& restore,
    char16_t separator) {
  const engine::PassContext& pass = restore.pass;
  if (pass.mode != engine::RestoreMode::kDeleteAllFirst) return std::nullopt;
  if (pass.kind == engine::ItemKind::kMessages) {
    return messages::CountMessagesDeletedFirst(device, pass.record_file, separator,
                                               pass.messages_option);
  }
  const KindRow* row = FindKind(pass.kind);
  if (row == nullptr) return std::nullopt;
  return row->count_items(device);
}

std::optional<std::u16string> DeleteAllRecords(const platform::Device& device,
                                               devicedb::PimDatabase database,
                                               devicedb::DeletionProgress& progress,
                                               std::u16string_view deleted_one,
                                               std::u16string_view deleted_many) {
  CountingProgress counting(progress);
  if (!devicedb::DeleteAllFromMenu(device.object_store(), database, counting)) return std::nullopt;
  return engine::CountText(counting.deleted(), deleted_one, deleted_many);
}

}  // namespace kestrav::kinds
