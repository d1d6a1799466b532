#include "host/conference/paced_queue.h"

#include <gtest/gtest.h>

#include <thread>

namespace kxrtc_host {
namespace {

VideoFrame Frame(int64_t time_us, size_t size) {
  VideoFrame frame;
  frame.time_us = time_us;
  frame.data.resize(size);
  return frame;
}

TEST(PacedQueueTest, HandsEachFrameOutAtItsTime) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  EXPECT_TRUE(queue.IsEmpty());
  const int64_t start_us = clock.NowUs();
  VideoFrame first = Frame(start_us + 30000, 1);
  VideoFrame second = Frame(start_us + 60000, 2);
  ASSERT_TRUE(queue.Push(&first));
  ASSERT_TRUE(queue.Push(&second));
  VideoFrame out;
  ASSERT_TRUE(queue.PopWhenDue(&out));
  EXPECT_EQ(out.data.size(), 1u);
  EXPECT_GE(clock.NowUs(), start_us + 30000);
  ASSERT_TRUE(queue.PopWhenDue(&out));
  EXPECT_EQ(out.data.size(), 2u);
  EXPECT_GE(clock.NowUs(), start_us + 60000);
  EXPECT_TRUE(queue.IsEmpty());
}

TEST(PacedQueueTest, HandsOutAtOnceWhatIsOverdue) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  VideoFrame frame = Frame(-5000000, 1);
  ASSERT_TRUE(queue.Push(&frame));
  VideoFrame out;
  EXPECT_TRUE(queue.PopWhenDue(&out));
}

TEST(PacedQueueTest, RefusesMoreFramesThanItHolds) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  for (size_t i = 0; i < PacedQueue::kMaxFrames; ++i) {
    VideoFrame frame = Frame(0, 1);
    ASSERT_TRUE(queue.Push(&frame));
  }
  VideoFrame frame = Frame(0, 3);
  EXPECT_FALSE(queue.Push(&frame));
  EXPECT_EQ(frame.data.size(), 3u);
  VideoFrame out;
  ASSERT_TRUE(queue.PopWhenDue(&out));
  EXPECT_TRUE(queue.Push(&frame));
}

TEST(PacedQueueTest, RefusesMoreBytesThanItHoldsButAlwaysTakesOneFrame) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  VideoFrame large = Frame(0, PacedQueue::kMaxBytes + 1);
  ASSERT_TRUE(queue.Push(&large));
  VideoFrame small = Frame(0, 1);
  EXPECT_FALSE(queue.Push(&small));
  VideoFrame out;
  ASSERT_TRUE(queue.PopWhenDue(&out));
  EXPECT_TRUE(queue.Push(&small));
}

TEST(PacedQueueTest, WakesAWaitingReaderWhenItIsClosed) {
  const ConferenceClock clock;
  PacedQueue queue(&clock);
  VideoFrame frame = Frame(clock.NowUs() + 3600000000, 1);
  ASSERT_TRUE(queue.Push(&frame));
  std::thread reader([&queue] {
    VideoFrame out;
    EXPECT_FALSE(queue.PopWhenDue(&out));
  });
  queue.Close();
  reader.join();
}

}  // namespace
}  // namespace kxrtc_host
