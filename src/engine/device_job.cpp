#include "engine/device_job.h"

#include <chrono>
#include <thread>

#include "engine/item_kind.h"
#include "engine/restore_pass.h"
#include "engine/texts.h"
#include "platform/format.h"

namespace kestrav::engine {
namespace {

constexpr auto kRetryInterval = std::chrono::milliseconds(200);
constexpr int kTriesPerSecond = 5;

// A record file as a backup names it: the kind's prefix, eight digits, the kind's extension.
bool IsRecordFileName(std::u16string_view name, const ItemKindInfo& kind) {
  if (name.size() != kind.file_prefix.size() + 8 + kind.extension.size()) return false;
  const std::u16string_view digits = name.substr(kind.file_prefix.size(), 8);
  for (const char16_t unit : digits)
    if (unit < u'0' || unit > u'9') return false;
  return platform::EqualsIgnoringAsciiCase(name.substr(0, kind.file_prefix.size()),
                                           kind.file_prefix) &&
         platform::EqualsIgnoringAsciiCase(name.substr(name.size() - kind.extension.size()),
                                           kind.extension);
}

}  // namespace

std::u16string JobHolderText(const platform::JobHolder& holder) {
  // A job that has just taken the lock may not have named itself yet.
  if (holder.process_id == 0) return texts::kAnotherJob;
  const platform::SystemTime& time = holder.started;
  return platform::Format(texts::kJobHolder, holder.job.empty() ? u"job" : holder.job,
                          holder.process_id, time.year, time.month, time.day, time.hour,
                          time.minute, time.second);
}

void ClearJobLeftovers(const platform::Device& device) {
  platform::FileSystem& files = device.files();
  const std::u16string temp = platform::WithTrailingSeparator(files.TempFolder());
  for (const ItemKindInfo& kind : AllItemKinds()) {
    const std::u16string pattern =
        temp + std::u16string(kind.file_prefix) + u"*" + std::u16string(kind.extension);
    for (const platform::FoundFile& found : files.Find(pattern)) {
      if (IsRecordFileName(found.name, kind)) files.DeleteFile(temp + found.name);
    }
  }
  const std::u16string folder = RestoreFolder(device);
  for (const platform::FoundFile& found : files.Find(folder + u"*")) {
    files.DeleteFile(folder + found.name);
  }
  files.RemoveFolder(folder);
}

std::unique_ptr<DeviceJob> DeviceJob::Begin(const platform::Device& device,
                                            const DeviceJobOptions& options,
                                            std::u16string* refusal) {
  std::unique_ptr<platform::JobLock> lock;
  if (platform::Safeguards* safeguards = device.safeguards()) {
    platform::JobHolder holder;
    for (int tries = 0;; ++tries) {
      const platform::ErrorCode result = safeguards->TryLockJob(options.name, &lock, &holder);
      if (result == platform::kErrorSuccess) break;
      if (result != platform::kErrorLockViolation) {
        *refusal = platform::Format(texts::kJobLockFailed, platform::SystemErrorText(result));
        return nullptr;
      }
      if (options.cancel != nullptr && options.cancel->load() != 0) {
        *refusal = platform::Format(texts::kCanceledWhileWaiting, JobHolderText(holder));
        return nullptr;
      }
      if (options.wait_seconds <= 0) {
        *refusal = platform::Format(texts::kDeviceBusy, JobHolderText(holder));
        return nullptr;
      }
      if (tries >= options.wait_seconds * kTriesPerSecond) {
        *refusal =
            platform::Format(texts::kGaveUpWaiting, options.wait_seconds, JobHolderText(holder));
        return nullptr;
      }
      if (tries == 0 && options.waiting) options.waiting(holder);
      std::this_thread::sleep_for(kRetryInterval);
    }
    if (safeguards->CheckWritable(options.changes_stores, refusal) != platform::kErrorSuccess)
      return nullptr;
    safeguards->ClearStoreFailure();
  }
  ClearJobLeftovers(device);
  return std::unique_ptr<DeviceJob>(new DeviceJob(device, options.name, std::move(lock)));
}

DeviceJob::~DeviceJob() {
  if (snapshot_taken_) device_.safeguards()->SettleSnapshot();
  ClearJobLeftovers(device_);
}

bool DeviceJob::TakeSnapshot(std::u16string* reason) {
  platform::Safeguards* safeguards = device_.safeguards();
  if (safeguards == nullptr) return true;
  snapshot_taken_ = safeguards->TakeSnapshot(name_, reason) == platform::kErrorSuccess;
  return snapshot_taken_;
}

std::u16string DeviceJob::StoreFailure() const {
  platform::Safeguards* safeguards = device_.safeguards();
  return safeguards == nullptr ? std::u16string() : safeguards->StoreFailure();
}

}  // namespace kestrav::engine
