#include "engine/progress_sink.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "engine/testing/recording_sink.h"
#include "platform/test_support/temporary_device.h"

namespace kestrav::engine {
namespace {

// Local time is UTC plus one hour.
platform::FixedClock fixed_clock{kestrav::testing::FifteenthOfMarch2007(), 60};

class RecordingSink : public testing::RecordingSink {
 public:
  RecordingSink() : testing::RecordingSink(fixed_clock) {}
};

// Runs the job on a worker thread while this thread dispatches, as a front end does.
template <typename Job>
void RunJob(RecordingSink& sink, Job job) {
  std::atomic<bool> done = false;
  std::thread worker([&] {
    job();
    done = true;
  });
  while (!done) {
    sink.WaitForReports(std::chrono::milliseconds(5));
    sink.DispatchPending();
  }
  worker.join();
  sink.DispatchPending();
}

TEST(ProgressSink, PostedAndSentReportsArriveInTheOrderMade) {
  RecordingSink sink;
  std::vector<std::size_t> rows_seen_when_sent;
  RunJob(sink, [&] {
    EXPECT_TRUE(PostProgress(&sink, 0, 3, true));
    EXPECT_TRUE(PostLog(&sink, u"Starting", LogIcon::kInformation));
    EXPECT_TRUE(SendLog(&sink, u"worker line", LogIcon::kInformation));
    // A send returns only once the page has handled it, and everything before it.
    rows_seen_when_sent.push_back(sink.events.size());
    EXPECT_TRUE(PostProgress(&sink, 65536, 0, false));
    EXPECT_TRUE(PostLog(&sink, u"Coudln't create file", LogIcon::kError));
    EXPECT_TRUE(
        PostLog(&sink, u"Backup ended successfully in 00:00:00.001", LogIcon::kInformation, true));
  });
  EXPECT_EQ(rows_seen_when_sent, std::vector<std::size_t>{3});
  EXPECT_EQ(sink.events, (std::vector<std::u16string>{
                             u"overall 0/3",
                             u"11:20:30 Starting",
                             u"11:20:30 worker line",
                             u"item 65536/-1",
                             u"11:20:30 ! Coudln't create file",
                             u"11:20:30 Backup ended successfully in 00:00:00.001 [last]",
                         }));
}

// A report without text adds no row.
TEST(ProgressSink, SendFromTheReceivingThreadIsHandledAtOnceAfterWhatIsQueued) {
  RecordingSink sink;
  EXPECT_TRUE(PostLog(&sink, std::nullopt, LogIcon::kInformation));
  PostLog(&sink, u"queued", LogIcon::kInformation);
  EXPECT_TRUE(SendLog(&sink, std::nullopt, LogIcon::kError, true));
  SendLog(&sink, u"sent", LogIcon::kInformation);
  EXPECT_FALSE(PostLog(nullptr, u"no window", LogIcon::kInformation));
  EXPECT_EQ(sink.events, (std::vector<std::u16string>{u"11:20:30 queued", u"11:20:30 sent"}));
}

TEST(ProgressSink, ClosedSinkTurnsReportsIntoSilentNoOps) {
  RecordingSink sink;
  PostLog(&sink, u"dropped with the window", LogIcon::kInformation);
  sink.Close();
  EXPECT_FALSE(sink.IsOpen());
  EXPECT_FALSE(PostLog(&sink, u"after", LogIcon::kInformation));
  EXPECT_FALSE(PostProgress(&sink, 1, 2, true));
  std::atomic<bool> returned = false;
  std::thread worker([&] {
    EXPECT_FALSE(SendLog(&sink, u"after", LogIcon::kInformation));
    returned = true;
  });
  worker.join();
  EXPECT_TRUE(returned);
  sink.DispatchPending();
  EXPECT_TRUE(sink.events.empty());
}

TEST(ProgressSink, ClosingReleasesAWaitingSender) {
  RecordingSink sink;
  std::atomic<bool> send_result = true;
  std::thread worker([&] { send_result = SendLog(&sink, u"never shown", LogIcon::kInformation); });
  sink.WaitForReports(std::chrono::seconds(5));  // the send is queued, nobody dispatches it
  sink.Close();
  worker.join();
  EXPECT_FALSE(send_result);
  EXPECT_TRUE(sink.events.empty());
}

TEST(ProgressSink, CancelRequestLogsTheJobsCancelText) {
  RecordingSink sink;
  CancelFlag cancel = 0;
  RequestCancel(&sink, &cancel);
  EXPECT_EQ(cancel.load(), 1);
  sink.SetJobIsBackup(false);
  RequestCancel(&sink, &cancel);
  EXPECT_EQ(sink.events, (std::vector<std::u16string>{u"11:20:30 ! Canceling backup...",
                                                      u"11:20:30 ! Canceling restore..."}));
}

// A console sink handles every report on the thread that makes it, in order, with no
// dispatching thread at all; once closed it takes nothing more.
TEST(ProgressSink, DeliveryOnTheReportingThreadNeedsNoDispatch) {
  testing::RecordingSink sink(fixed_clock, Delivery::kOnReportingThread);
  std::thread worker([&] {
    EXPECT_TRUE(PostProgress(&sink, 1, 2, true));
    EXPECT_TRUE(PostLog(&sink, u"posted", LogIcon::kInformation));
    EXPECT_TRUE(SendLog(&sink, u"sent", LogIcon::kError, true));
  });
  worker.join();
  CancelFlag cancel = 0;
  RequestCancel(&sink, &cancel);
  EXPECT_EQ(cancel.load(), 1);
  sink.Close();
  EXPECT_FALSE(SendLog(&sink, u"after close", LogIcon::kInformation));
  EXPECT_EQ(sink.events, (std::vector<std::u16string>{u"overall 1/2", u"11:20:30 posted",
                                                      u"11:20:30 ! sent [last]",
                                                      u"11:20:30 ! Canceling backup..."}));
}

}  // namespace
}  // namespace kestrav::engine
