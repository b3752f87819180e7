// The Outlook session of one contacts, appointments or tasks pass: connected at the pass's start
// and disconnected at its end, with the status lines of both. No session outlives its pass.
//
// A pass runs as
//   OutlookSession session(device.outlook(), sink);
//   if (!session.Connect()) return;           // nothing more is posted
//   ... the pass on one default folder ...
//   session.End();                            // "Disconnecting from Outlook...", "Disconnected."
#pragma once

#include <memory>
#include <string_view>

#include "engine/progress_sink.h"
#include "platform/outlook.h"

namespace kestrav::outlook {

class OutlookSession {
 public:
  OutlookSession(platform::OutlookRuntime& runtime, engine::ProgressSink* sink)
      : runtime_(runtime), sink_(sink) {}

  // Posts "Connecting to Outlook...", initialises the runtime, creates the application object and
  // logs on. When the runtime or the object fails nothing more is posted; a failed log-on posts
  // its error line and keeps the application object without logging off or uninitialising, as
  // the pass was designed: the caller must not disconnect then.
  bool Connect();
  // Logs off, releases the application object and uninitialises the runtime.
  void Disconnect();
  // The end of a connected pass: the disconnecting line, Disconnect, "Disconnected.".
  void End();

  // The default folder's items. On failure posts folder_error or collection_error as an error
  // line and returns null.
  std::unique_ptr<platform::OutlookItemCollection> DefaultItems(
      platform::OutlookFolderId folder, std::u16string_view folder_error,
      std::u16string_view collection_error);

  platform::OutlookApplication* application() const { return application_.get(); }
  engine::ProgressSink* sink() const { return sink_; }

 private:
  platform::OutlookRuntime& runtime_;
  engine::ProgressSink* sink_;
  std::unique_ptr<platform::OutlookApplication> application_;
};

}  // namespace kestrav::outlook
