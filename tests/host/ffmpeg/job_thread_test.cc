#include "host/ffmpeg/job_thread.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>

namespace kxrtc_host {
namespace {

struct Square {
  int number = 0;
  int result = 0;
};

std::unique_ptr<Square> Of(int number) {
  auto job = std::make_unique<Square>();
  job->number = number;
  return job;
}

TEST(JobThreadTest, GivesBackEachJobInItsOrder) {
  JobThread<Square> thread([](Square* job) { job->result = job->number * job->number; });
  int taken = 0;
  for (int i = 0; i < 1000; ++i) {
    thread.Queue(Of(i));
    if (thread.size() <= 7) continue;
    const auto job = thread.TakeFirst();
    EXPECT_EQ(job->number, taken);
    EXPECT_EQ(job->result, taken * taken);
    ++taken;
  }
  while (thread.size() != 0) EXPECT_EQ(thread.TakeFirst()->number, taken++);
  EXPECT_EQ(taken, 1000);
}

TEST(JobThreadTest, TheEndWaitsForOneJobAndDropsTheRest) {
  std::promise<void> started;
  std::atomic<int> done{0};
  {
    JobThread<Square> thread([&](Square* /*job*/) {
      started.set_value();
      ++done;
    });
    thread.Queue(Of(1));
    started.get_future().wait();
  }
  EXPECT_EQ(done, 1);
  JobThread<Square> idle([](Square* /*job*/) {});
}

}  // namespace
}  // namespace kxrtc_host
