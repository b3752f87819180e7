// An object model that fails where a test asks it to and otherwise hands the profile's own
// objects on, for the tests of every Outlook item kind: the runtime, the log-on, the folder, its
// collection, one item by position, item creation, and saving an item (through the store).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"
#include "platform/host/pim_outlook.h"
#include "platform/host/sqlite_object_store.h"
#include "platform/outlook.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::outlook::testing {

using platform::Failed;
using platform::OutlookApplication;
using platform::OutlookFolder;
using platform::OutlookItem;
using platform::OutlookItemCollection;

struct Failures {
  bool initialize = false;
  bool create_application = false;
  bool logon = false;
  bool folder = false;
  bool items = false;
  bool create_item = false;
  int item_index = 0;  // the position whose item cannot be had
  bool save = false;
};

// The device's store, whose writes fail while the failures say so: no item can be saved.
class FailingStore : public platform::host::SqliteObjectStore {
 public:
  FailingStore(platform::host::HostFileSystem& files, const Failures& failures)
      : SqliteObjectStore(files), failures_(failures) {}
  platform::ObjectId Write(platform::DatabaseHandle database, platform::ObjectId object_id,
                           const std::vector<platform::PropertyValue>& properties) override {
    return failures_.save ? 0 : SqliteObjectStore::Write(database, object_id, properties);
  }

 private:
  const Failures& failures_;
};

class FailingCollection : public platform::OutlookItemCollection {
 public:
  FailingCollection(std::unique_ptr<OutlookItemCollection> real, const Failures& failures)
      : real_(std::move(real)), failures_(failures) {}
  platform::HResult Count(int* count) override { return real_->Count(count); }
  platform::HResult Item(int index, std::unique_ptr<OutlookItem>* item) override {
    if (index == failures_.item_index) return platform::kEFail;
    return real_->Item(index, item);
  }
  platform::HResult Remove(int index) override { return real_->Remove(index); }
  platform::HResult FindKeyText(std::u16string_view text, int after, int* index) override {
    return real_->FindKeyText(text, after, index);
  }

 private:
  std::unique_ptr<OutlookItemCollection> real_;
  const Failures& failures_;
};

class FailingFolder : public platform::OutlookFolder {
 public:
  FailingFolder(std::unique_ptr<OutlookFolder> real, const Failures& failures)
      : real_(std::move(real)), failures_(failures) {}
  platform::HResult Items(std::unique_ptr<platform::OutlookItemCollection>* items) override {
    std::unique_ptr<platform::OutlookItemCollection> real_items;
    if (failures_.items || Failed(real_->Items(&real_items))) return platform::kEFail;
    *items = std::make_unique<FailingCollection>(std::move(real_items), failures_);
    return platform::kSOk;
  }

 private:
  std::unique_ptr<OutlookFolder> real_;
  const Failures& failures_;
};

class FailingApplication : public platform::OutlookApplication {
 public:
  FailingApplication(std::unique_ptr<OutlookApplication> real, const Failures& failures)
      : real_(std::move(real)), failures_(failures) {}
  platform::HResult Logon() override { return failures_.logon ? platform::kEFail : real_->Logon(); }
  platform::HResult Logoff() override { return real_->Logoff(); }
  platform::HResult GetDefaultFolder(platform::OutlookFolderId id,
                                     std::unique_ptr<platform::OutlookFolder>* folder) override {
    std::unique_ptr<platform::OutlookFolder> real_folder;
    if (failures_.folder || Failed(real_->GetDefaultFolder(id, &real_folder)))
      return platform::kEFail;
    *folder = std::make_unique<FailingFolder>(std::move(real_folder), failures_);
    return platform::kSOk;
  }
  platform::HResult CreateItem(platform::OutlookItemType type,
                               std::unique_ptr<OutlookItem>* item) override {
    if (failures_.create_item) return platform::kEFail;
    return real_->CreateItem(type, item);
  }

 private:
  std::unique_ptr<OutlookApplication> real_;
  const Failures& failures_;
};

class FailingRuntime : public platform::OutlookRuntime {
 public:
  FailingRuntime(platform::OutlookRuntime& real, const Failures& failures)
      : real_(real), failures_(failures) {}
  platform::HResult Initialize() override {
    ++initialized;
    return failures_.initialize ? platform::kEFail : real_.Initialize();
  }
  platform::HResult CreateApplication(
      std::unique_ptr<platform::OutlookApplication>* application) override {
    std::unique_ptr<platform::OutlookApplication> real_application;
    if (failures_.create_application || Failed(real_.CreateApplication(&real_application)))
      return platform::kEFail;
    *application = std::make_unique<FailingApplication>(std::move(real_application), failures_);
    return platform::kSOk;
  }
  void Uninitialize() override {
    ++uninitialized;
    real_.Uninitialize();
  }

  int initialized = 0;
  int uninitialized = 0;

 private:
  platform::OutlookRuntime& real_;
  const Failures& failures_;
};

// A device whose object model fails as `failures` says, its other services the real device's.
struct FailingOutlookDevice {
  explicit FailingOutlookDevice(kestrav::testing::TemporaryDevice& real)
      : store(real.files(), failures),
        object_model(store, real.device().os_major_version()),
        runtime(object_model, failures),
        device(real.files(), real.device().clock(), real.device().code_page(),
               real.device().registry(), store, runtime, real.device().os_major_version(),
               real.device().messages()) {}

  Failures failures;
  FailingStore store;
  platform::host::PimOutlookRuntime object_model;
  FailingRuntime runtime;
  const platform::Device device;
};

}  // namespace kestrav::outlook::testing
