// The Pocket Outlook object model over the object store's "\pim.vol", as the device keeps it:
// a contact is a record of "Contacts Database", an appointment of "Appointments Database", a task
// of "Tasks Database". An item's identity is its record's object id, its properties are record
// properties under the identifiers of the device's OS generation (outlook_properties.h), and a
// folder's collection is its database in creation order.
//
// - Logon mounts the volume, which must exist; Logoff unmounts it. Every folder, collection and
//   item then answers kEFail, whether it is released before or after its application.
// - A folder's record order and key-text index are read once per application, on the first
//   Items() of the folder, in one walk over the database; collections then answer Count, Item and
//   FindKeyText without the store, and keep the view in step with their own Remove and with saves
//   of the application's items. Another program changing the database meanwhile is not seen: the
//   collection stays the session's view.
// - An item reads its record on its first Get; what is set waits for Save. An appointment's
//   recipients are read from their block once and kept in that form, so counting, reading or
//   adding one costs that one recipient however many there are; Save writes the block once.
// - Store properties by identifier (GetProperties, SetProperties) exist only on Windows Mobile
//   2005; older items answer kENotImplemented.
//
// The store must outlive the runtime and every object it made.
#pragma once

#include "platform/object_store.h"
#include "platform/outlook.h"

namespace kestrav::platform::host {

class PimOutlookRuntime : public OutlookRuntime {
 public:
  PimOutlookRuntime(ObjectStore& store, int os_major_version)
      : store_(store), os_major_version_(os_major_version) {}

  HResult Initialize() override;
  HResult CreateApplication(std::unique_ptr<OutlookApplication>* application) override;
  void Uninitialize() override;

  // How often the session was opened and closed, so that a pass's balance can be checked.
  int initialize_count() const { return initialize_count_; }
  int uninitialize_count() const { return uninitialize_count_; }

 private:
  ObjectStore& store_;
  int os_major_version_;
  int initialize_count_ = 0;
  int uninitialize_count_ = 0;
};

}  // namespace kestrav::platform::host
