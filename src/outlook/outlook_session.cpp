#include "outlook/outlook_session.h"

#include "outlook/texts.h"

namespace kestrav::outlook {

using platform::Failed;

bool OutlookSession::Connect() {
  engine::SendLog(sink_, texts::kConnecting, engine::LogIcon::kInformation);
  if (Failed(runtime_.Initialize())) return false;
  if (Failed(runtime_.CreateApplication(&application_))) return false;
  if (Failed(application_->Logon())) {
    engine::SendLog(sink_, texts::kCouldNotConnect, engine::LogIcon::kError);
    return false;
  }
  engine::SendLog(sink_, texts::kConnected, engine::LogIcon::kInformation);
  return true;
}

void OutlookSession::Disconnect() {
  if (application_) {
    application_->Logoff();
    application_.reset();
  }
  runtime_.Uninitialize();
}

void OutlookSession::End() {
  engine::SendLog(sink_, texts::kDisconnecting, engine::LogIcon::kInformation);
  Disconnect();
  engine::SendLog(sink_, texts::kDisconnected, engine::LogIcon::kInformation);
}

std::unique_ptr<platform::OutlookItemCollection> OutlookSession::DefaultItems(
    platform::OutlookFolderId folder_id, std::u16string_view folder_error,
    std::u16string_view collection_error) {
  std::unique_ptr<platform::OutlookFolder> folder;
  if (Failed(application_->GetDefaultFolder(folder_id, &folder))) {
    engine::SendLog(sink_, folder_error, engine::LogIcon::kError);
    return nullptr;
  }
  std::unique_ptr<platform::OutlookItemCollection> items;
  if (Failed(folder->Items(&items))) {
    engine::SendLog(sink_, collection_error, engine::LogIcon::kError);
    return nullptr;
  }
  return items;
}

}  // namespace kestrav::outlook
