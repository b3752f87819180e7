// An object model that fails where a test asks it to and otherwise hands the profile's own
// objects on, for the tests of every Outlook item kind: the runtime, the log-on, the folder, its
// collection, one item by position, item creation, and saving an item.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/device.h"
#include "platform/outlook.h"

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

// An item whose Save fails when the failures say so.
class FailingItem : public OutlookItem {
 public:
  FailingItem(std::unique_ptr<OutlookItem> real, const Failures& failures)
      : real_(std::move(real)), failures_(failures) {}

  using Property = platform::ItemProperty;
  using HResult = platform::HResult;
  HResult GetText(Property property, std::u16string* text) override {
    return real_->GetText(property, text);
  }
  HResult SetText(Property property, std::u16string_view text) override {
    return real_->SetText(property, text);
  }
  HResult GetDate(Property property, double* date) override {
    return real_->GetDate(property, date);
  }
  HResult SetDate(Property property, double date) override {
    return real_->SetDate(property, date);
  }
  HResult GetBoolean(Property property, bool* value) override {
    return real_->GetBoolean(property, value);
  }
  HResult SetBoolean(Property property, bool value) override {
    return real_->SetBoolean(property, value);
  }
  HResult GetInteger(Property property, std::int32_t* value) override {
    return real_->GetInteger(property, value);
  }
  HResult SetInteger(Property property, std::int32_t value) override {
    return real_->SetInteger(property, value);
  }
  HResult GetBytes(Property property, std::vector<std::uint8_t>* bytes) override {
    return real_->GetBytes(property, bytes);
  }
  HResult SetBytes(Property property, std::span<const std::uint8_t> bytes) override {
    return real_->SetBytes(property, bytes);
  }
  HResult RecipientCount(int* count) override { return real_->RecipientCount(count); }
  HResult GetRecipient(int index, platform::Recipient* recipient) override {
    return real_->GetRecipient(index, recipient);
  }
  HResult AddRecipient(const platform::Recipient& recipient) override {
    return real_->AddRecipient(recipient);
  }
  HResult RemoveAllRecipients() override { return real_->RemoveAllRecipients(); }
  HResult GetRecurrence(std::optional<platform::RecurrencePattern>* pattern) override {
    return real_->GetRecurrence(pattern);
  }
  HResult SetRecurrence(const platform::RecurrencePattern& pattern) override {
    return real_->SetRecurrence(pattern);
  }
  HResult ClearRecurrence() override { return real_->ClearRecurrence(); }
  HResult GetProperties(const std::vector<std::uint32_t>& ids,
                        std::vector<platform::PropertyValue>* properties) override {
    return real_->GetProperties(ids, properties);
  }
  HResult SetProperties(const std::vector<platform::PropertyValue>& properties) override {
    return real_->SetProperties(properties);
  }
  HResult Save() override { return failures_.save ? platform::kEFail : real_->Save(); }
  platform::ObjectId Oid() const override { return real_->Oid(); }

 private:
  std::unique_ptr<OutlookItem> real_;
  const Failures& failures_;
};

// The item an operation answered with, wrapped so that its Save can fail.
inline platform::HResult Wrapped(platform::HResult result, std::unique_ptr<OutlookItem>* item,
                                 const Failures& failures) {
  if (!Failed(result)) *item = std::make_unique<FailingItem>(std::move(*item), failures);
  return result;
}

class FailingCollection : public platform::OutlookItemCollection {
 public:
  FailingCollection(std::unique_ptr<OutlookItemCollection> real, const Failures& failures)
      : real_(std::move(real)), failures_(failures) {}
  platform::HResult Count(int* count) override { return real_->Count(count); }
  platform::HResult Item(int index, std::unique_ptr<OutlookItem>* item) override {
    if (index == failures_.item_index) return platform::kEFail;
    return Wrapped(real_->Item(index, item), item, failures_);
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
    return Wrapped(real_->CreateItem(type, item), item, failures_);
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
  explicit FailingOutlookDevice(const platform::Device& real)
      : runtime(real.outlook(), failures),
        device(real.files(), real.clock(), real.code_page(), real.registry(), real.object_store(),
               runtime, real.os_major_version()) {}

  Failures failures;
  FailingRuntime runtime;
  const platform::Device device;
};

}  // namespace kestrav::outlook::testing
