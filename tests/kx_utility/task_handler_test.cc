#include "kx_utility/task_handler.h"

#include <gmock/gmock.h>

#include <memory>
#include <thread>
#include <vector>

#include "kx_utility/event.h"

namespace kx_utility {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kDeadlineMs = 10000;
constexpr int kQueueCapacity = 4096;

class TaskHandlerTest : public ::testing::Test {
 protected:
  bool Push(std::function<bool()> callable, uint32_t id = 0) {
    TaskHandler::Task task(id, std::move(callable));
    return handler.PushTask(task);
  }

  // A task that appends `number` to `order`.
  bool PushNumber(int number) {
    return Push([this, number] {
      order.push_back(number);
      return true;
    });
  }

  // Occupies the worker until `release` is set; returns when it does.
  void Occupy() {
    ASSERT_TRUE(Push([this] {
      occupied.Set();
      return release.Wait(kDeadlineMs);
    }));
    ASSERT_TRUE(occupied.Wait(kDeadlineMs));
  }

  std::vector<int> order;
  Event occupied{false, false};
  Event release{false, false};
  TaskHandler handler;
};

TEST_F(TaskHandlerTest, AcceptsTasksOnlyWhileInitialized) {
  EXPECT_FALSE(PushNumber(1));
  EXPECT_TRUE(handler.Initialize(nullptr, 1));
  EXPECT_TRUE(PushNumber(2));
  EXPECT_TRUE(handler.WaitAllTasksDoneAndFinalize());
  EXPECT_FALSE(PushNumber(3));
  EXPECT_TRUE(handler.Initialize(nullptr, 1));
  EXPECT_TRUE(handler.Finalize());
  EXPECT_FALSE(PushNumber(4));
  EXPECT_THAT(order, ElementsAre(2));
}

TEST_F(TaskHandlerTest, RunsEveryTaskPushedBeforeTheWaitInOrder) {
  handler.Initialize(nullptr, 1);
  Occupy();
  for (int i = 0; i < 100; ++i) ASSERT_TRUE(PushNumber(i));
  release.Set();
  handler.WaitAllTasksDoneAndFinalize();
  ASSERT_EQ(100u, order.size());
  for (int i = 0; i < 100; ++i) EXPECT_EQ(i, order[i]);
}

TEST_F(TaskHandlerTest, FinalizeLetsTheRunningTaskFinishAndDropsTheQueuedOnes) {
  handler.Initialize(nullptr, 1);
  auto owned = std::make_shared<int>(0);
  Occupy();
  ASSERT_TRUE(Push([owned] { return true; }));
  ASSERT_TRUE(PushNumber(1));
  std::thread releaser([this] {
    while (!handler.IsStopThread()) std::this_thread::yield();
    release.Set();
  });
  handler.Finalize();
  releaser.join();
  EXPECT_THAT(order, IsEmpty());
  EXPECT_EQ(1, owned.use_count());  // The dropped task was destroyed.
  EXPECT_FALSE(handler.IsStopThread());
}

TEST_F(TaskHandlerTest, TellsTheObserverEachResultAndGoesOnAfterAFailure) {
  struct Observer : TaskHandlerObserver {
    void OnTaskExecuted(uint32_t task_id, bool result) override {
      calls.emplace_back(task_id, result);
    }
    std::vector<std::pair<uint32_t, bool>> calls;
  } observer;
  handler.Initialize(&observer, 1);
  ASSERT_TRUE(Push([] { return false; }, 7));
  ASSERT_TRUE(Push([] { return true; }, 8));
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_THAT(observer.calls, ElementsAre(std::pair(7u, false), std::pair(8u, true)));
}

TEST_F(TaskHandlerTest, ExecuteTaskReturnsTheCallablesResult) {
  TaskHandler::Task yes(1, [] { return true; });
  TaskHandler::Task no(1, [] { return false; });
  EXPECT_TRUE(handler.ExecuteTask(yes));
  EXPECT_FALSE(handler.ExecuteTask(no));
}

TEST_F(TaskHandlerTest, LeavesAnAcceptedTaskMovedFromAndARefusedOneUntouched) {
  TaskHandler::Task task(5, [] { return true; });
  EXPECT_FALSE(handler.PushTask(task));
  EXPECT_TRUE(static_cast<bool>(task.second));
  handler.Initialize(nullptr, 1);
  EXPECT_TRUE(handler.PushTask(task));
  EXPECT_FALSE(static_cast<bool>(task.second));
}

TEST_F(TaskHandlerTest, FullQueueDelaysTheProducerUntilThereIsRoom) {
  handler.Initialize(nullptr, 1);
  Occupy();
  for (int i = 0; i < kQueueCapacity; ++i) ASSERT_TRUE(PushNumber(i));
  std::thread producer([this] { EXPECT_TRUE(PushNumber(kQueueCapacity)); });
  release.Set();
  producer.join();
  handler.WaitAllTasksDoneAndFinalize();
  ASSERT_EQ(static_cast<size_t>(kQueueCapacity) + 1, order.size());
  EXPECT_EQ(kQueueCapacity, order.back());
}

TEST_F(TaskHandlerTest, TryPushTaskRefusesInsteadOfWaitingForRoom) {
  TaskHandler::Task task(7, [] { return true; });
  EXPECT_FALSE(handler.TryPushTask(task));
  handler.Initialize(nullptr, 1);
  Occupy();
  for (int i = 0; i < kQueueCapacity; ++i) ASSERT_TRUE(PushNumber(i));
  EXPECT_FALSE(handler.TryPushTask(task));
  EXPECT_TRUE(task.second);
  release.Set();
  while (!handler.TryPushTask(task)) std::this_thread::yield();
  EXPECT_FALSE(task.second);
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_EQ(static_cast<size_t>(kQueueCapacity), order.size());
}

TEST_F(TaskHandlerTest, CountsTheTasksThatWait) {
  handler.Initialize(nullptr, 1);
  EXPECT_EQ(handler.QueuedTasks(), 0u);
  Occupy();
  EXPECT_EQ(handler.QueuedTasks(), 0u);
  for (int i = 0; i < 3; ++i) ASSERT_TRUE(PushNumber(i));
  EXPECT_EQ(handler.QueuedTasks(), 3u);
  release.Set();
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_EQ(handler.QueuedTasks(), 0u);
}

TEST_F(TaskHandlerTest, FullQueueRefusesOnceTheHandlerAcceptsNothingMore) {
  handler.Initialize(nullptr, 1);
  Occupy();
  for (int i = 0; i < kQueueCapacity; ++i) ASSERT_TRUE(PushNumber(i));
  std::thread producer([this] { EXPECT_FALSE(PushNumber(-1)); });
  std::thread releaser([this] {
    while (!handler.IsStopThread()) std::this_thread::yield();
    release.Set();
  });
  handler.Finalize();
  producer.join();
  releaser.join();
  EXPECT_THAT(order, IsEmpty());
}

// Nobody but the worker makes room, so waiting for it there would never end.
TEST_F(TaskHandlerTest, TaskThatPushesOntoTheFullQueueRunsBehindWhatWasQueued) {
  handler.Initialize(nullptr, 1);
  Event filled{false, false};
  ASSERT_TRUE(Push([&] {
    occupied.Set();
    EXPECT_TRUE(filled.Wait(kDeadlineMs));
    EXPECT_TRUE(PushNumber(-1));
    EXPECT_TRUE(PushNumber(-2));
    return true;
  }));
  ASSERT_TRUE(occupied.Wait(kDeadlineMs));
  for (int i = 0; i < kQueueCapacity; ++i) ASSERT_TRUE(PushNumber(i));
  filled.Set();
  ASSERT_TRUE(PushNumber(kQueueCapacity));  // Behind the two, since it had to wait for room.
  handler.WaitAllTasksDoneAndFinalize();
  ASSERT_EQ(static_cast<size_t>(kQueueCapacity) + 3, order.size());
  EXPECT_EQ(kQueueCapacity - 1, order[kQueueCapacity - 1]);
  EXPECT_THAT(std::vector<int>(order.end() - 3, order.end()), ElementsAre(-1, -2, kQueueCapacity));
}

TEST_F(TaskHandlerTest, FinalizeDropsWhatATaskPushedOntoTheFullQueue) {
  handler.Initialize(nullptr, 1);
  auto owned = std::make_shared<int>(0);
  ASSERT_TRUE(Push([&, this] {
    for (int i = 0; i < kQueueCapacity; ++i) EXPECT_TRUE(PushNumber(i));
    EXPECT_TRUE(Push([owned] { return true; }));
    occupied.Set();
    while (!handler.IsStopThread()) std::this_thread::yield();
    return true;
  }));
  ASSERT_TRUE(occupied.Wait(kDeadlineMs));
  EXPECT_EQ(2, owned.use_count());
  handler.Finalize();
  EXPECT_EQ(1, owned.use_count());
  EXPECT_THAT(order, IsEmpty());
  handler.Initialize(nullptr, 1);
  ASSERT_TRUE(PushNumber(7));
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_THAT(order, ElementsAre(7));
}

TEST_F(TaskHandlerTest, TaskThatWasSetAsideMayPushOntoTheFullQueueAgain) {
  handler.Initialize(nullptr, 1);
  ASSERT_TRUE(Push([this] {
    for (int i = 0; i < kQueueCapacity; ++i) EXPECT_TRUE(PushNumber(i));
    return Push([this] {
      for (int i = 0; i <= kQueueCapacity; ++i) EXPECT_TRUE(PushNumber(kQueueCapacity + i));
      release.Set();
      return true;
    });
  }));
  ASSERT_TRUE(release.Wait(kDeadlineMs));
  handler.WaitAllTasksDoneAndFinalize();
  ASSERT_EQ(2u * kQueueCapacity + 1, order.size());
  for (size_t i = 0; i < order.size(); ++i) EXPECT_EQ(static_cast<int>(i), order[i]);
}

TEST_F(TaskHandlerTest, TaskOfOneHandlerWaitsForRoomInAnother) {
  TaskHandler other;
  other.Initialize(nullptr, 1);
  handler.Initialize(nullptr, 1);
  Occupy();
  for (int i = 0; i < kQueueCapacity; ++i) ASSERT_TRUE(PushNumber(i));
  TaskHandler::Task task(0, [this] { return PushNumber(kQueueCapacity); });
  ASSERT_TRUE(other.PushTask(task));
  release.Set();
  other.WaitAllTasksDoneAndFinalize();
  handler.WaitAllTasksDoneAndFinalize();
  ASSERT_EQ(kQueueCapacity + 1u, order.size());
  EXPECT_EQ(kQueueCapacity, order.back());
}

TEST_F(TaskHandlerTest, WaitEndsWhenTheWorkerWasStoppedFromOutside) {
  handler.Initialize(nullptr, 1);
  Occupy();
  ASSERT_TRUE(PushNumber(1));
  handler.Stop();
  release.Set();
  EXPECT_TRUE(handler.WaitAllTasksDoneAndFinalize());
  EXPECT_THAT(order, IsEmpty());
}

// Starts close to the place where the 32-bit positions of the queue start over.
struct LateTaskHandler : TaskHandler {
  LateTaskHandler() : TaskHandler(0u - 8) {}
};

TEST(LateTaskHandlerTest, RunsEveryTaskInOrderWherePositionsStartOver) {
  for (const int count : {7, 8, 9, 100, kQueueCapacity, 3 * kQueueCapacity}) {
    LateTaskHandler handler;
    handler.Initialize(nullptr, 1);
    std::vector<int> order;
    Event pushed{false, false};
    // Pushed by a task: what exceeds the queue is set aside.
    TaskHandler::Task pusher(0, [&] {
      for (int i = 0; i < count; ++i) {
        TaskHandler::Task task(1, [&order, i] {
          order.push_back(i);
          return true;
        });
        EXPECT_TRUE(handler.PushTask(task));
      }
      pushed.Set();
      return true;
    });
    ASSERT_TRUE(handler.PushTask(pusher));
    ASSERT_TRUE(pushed.Wait(kDeadlineMs));
    handler.WaitAllTasksDoneAndFinalize();
    ASSERT_EQ(static_cast<size_t>(count), order.size());
    for (int i = 0; i < count; ++i) ASSERT_EQ(i, order[i]);
  }
}

// A producer that passes the place at that moment may make the queue look full to a task: what the
// task pushes then is set aside behind less than a whole queue.
TEST(LateTaskHandlerTest, RunsWhatATaskAndAThreadPushWherePositionsStartOver) {
  for (int round = 0; round < 50; ++round) {
    LateTaskHandler handler;
    handler.Initialize(nullptr, 0);
    int ran = 0;
    const auto push_ten = [&] {
      for (int i = 0; i < 10; ++i) {
        TaskHandler::Task task(1, [&ran] { return ++ran > 0; });
        EXPECT_TRUE(handler.PushTask(task));
      }
    };
    Event pushed{false, false};
    TaskHandler::Task pusher(0, [&] {
      push_ten();
      pushed.Set();
      return true;
    });
    ASSERT_TRUE(handler.PushTask(pusher));
    std::thread other(push_ten);
    other.join();
    ASSERT_TRUE(pushed.Wait(kDeadlineMs));
    handler.WaitAllTasksDoneAndFinalize();
    EXPECT_EQ(20, ran);
  }
}

TEST_F(TaskHandlerTest, DestroysATaskBeforeTheNextOneRuns) {
  handler.Initialize(nullptr, 1);
  Occupy();
  auto owned = std::make_shared<int>(0);
  const std::weak_ptr<int> watched = owned;
  bool destroyed = false;
  ASSERT_TRUE(Push([owned] { return true; }));
  owned.reset();
  ASSERT_TRUE(Push([&] { return destroyed = watched.expired(); }));
  release.Set();
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_TRUE(destroyed);
}

TEST_F(TaskHandlerTest, TaskMayPushAnotherOne) {
  handler.Initialize(nullptr, 1);
  ASSERT_TRUE(Push([this] {
    const bool pushed = PushNumber(1);
    release.Set();
    return pushed;
  }));
  ASSERT_TRUE(release.Wait(kDeadlineMs));
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_THAT(order, ElementsAre(1));
}

TEST_F(TaskHandlerTest, MayBeInitializedAgain) {
  for (int run = 0; run < 3; ++run) {
    handler.Initialize(nullptr, 1);
    ASSERT_TRUE(PushNumber(run));
    handler.WaitAllTasksDoneAndFinalize();
  }
  EXPECT_THAT(order, ElementsAre(0, 1, 2));
}

TEST(TaskHandlerDeathTest, EmptyTaskEndsTheProcess) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        TaskHandler handler;
        handler.Initialize(nullptr, 1);
        TaskHandler::Task empty;
        (void)handler.PushTask(empty);
        handler.WaitAllTasksDoneAndFinalize();
      },
      "bad_function_call");
}

}  // namespace
}  // namespace kx_utility
