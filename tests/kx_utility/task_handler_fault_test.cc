// A task handler for which the system has no memory or no thread.
#include <gmock/gmock.h>

#include <memory>
#include <utility>
#include <vector>

#include "kx_utility/event.h"
#include "kx_utility/task_handler.h"
#include "tests/testing/fault_injection.h"

namespace kx_utility {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::kThreadStartFaults;
using ::kx_testing::RunWithFault;
using ::kx_testing::ThreadStartFault;
using ::testing::StartsWith;

constexpr int kDeadlineMs = 10000;
constexpr int kQueueCapacity = 4096;

struct CountingObserver : TaskHandlerObserver {
  void OnTaskExecuted(uint32_t, bool) override { ++calls; }
  int calls = 0;
};

class TaskHandlerFaultTest : public ::testing::TestWithParam<ThreadStartFault> {};

TEST_P(TaskHandlerFaultTest, AFailedInitializeLeavesTheHandlerFinalized) {
  FaultRun run;
  int nth = 1;
  for (;; ++nth) {
    CountingObserver forgotten;
    CountingObserver observer;
    TaskHandler handler;
    run = RunWithFault(GetParam().fault, nth,
                       [&] { EXPECT_TRUE(handler.Initialize(&forgotten, 1)); });
    if (!run.failed) break;
    EXPECT_THAT(run.thrown, StartsWith(GetParam().thrown)) << nth;
    bool ran = false;
    TaskHandler::Task task(1, [&ran] { return ran = true; });
    EXPECT_FALSE(handler.PushTask(task));
    EXPECT_FALSE(handler.IsStopThread());
    EXPECT_TRUE(handler.WaitAllTasksDoneAndFinalize());
    EXPECT_TRUE(handler.Initialize(&observer, 1));
    EXPECT_TRUE(handler.PushTask(task));
    EXPECT_TRUE(handler.WaitAllTasksDoneAndFinalize());
    EXPECT_TRUE(ran);
    EXPECT_EQ(0, forgotten.calls);
    EXPECT_EQ(1, observer.calls);
  }
  EXPECT_GT(nth, 1);
  EXPECT_EQ("", run.thrown);
}

TEST_P(TaskHandlerFaultTest, NothingElseNeedsTheSystem) {
  TaskHandler handler;
  TaskHandler::Task first(1, [] { return true; });
  TaskHandler::Task second(2, [] { return true; });
  ASSERT_TRUE(handler.Initialize(nullptr, 1));
  const FaultRun run = RunWithFault(GetParam().fault, 1, [&] {
    EXPECT_TRUE(handler.PushTask(first));
    EXPECT_TRUE(handler.TryPushTask(second));
    (void)handler.QueuedTasks();
    EXPECT_TRUE(handler.WaitAllTasksDoneAndFinalize());
    EXPECT_TRUE(handler.Finalize());
  });
  EXPECT_FALSE(run.failed);
}

INSTANTIATE_TEST_SUITE_P(Faults, TaskHandlerFaultTest, ::testing::ValuesIn(kThreadStartFaults),
                         [](const auto& test) { return test.param.name; });

TEST(TaskHandlerFaultTest, EachAllocationOfTheConstructorMayFail) {
  int nth = 1;
  while (RunWithFault(Fault::kAllocation, nth, [] { TaskHandler handler; }).failed) ++nth;
  EXPECT_GT(nth, 1);
}

// Memory is needed for the tasks that a task sets aside only.
TEST(TaskHandlerFaultTest, ATaskThatCannotBeSetAsideStaysTheCallers) {
  TaskHandler handler;
  handler.Initialize(nullptr, 1);
  constexpr int kSetAside = 200;  // More than one block of the container.
  std::vector<int> order;
  order.reserve(kQueueCapacity + kSetAside);
  int refused = 0;
  Event done{false, false};
  TaskHandler::Task pusher(0, [&] {
    for (int i = 0; i < kQueueCapacity + kSetAside; ++i) {
      TaskHandler::Task task(1, [&order, i] {
        order.push_back(i);
        return true;
      });
      const FaultRun run =
          RunWithFault(Fault::kAllocation, 1, [&] { EXPECT_TRUE(handler.PushTask(task)); });
      if (!run.failed) continue;
      EXPECT_EQ("std::bad_alloc", run.thrown);
      EXPECT_TRUE(task.second) << "not moved from";
      ++refused;
      EXPECT_TRUE(handler.PushTask(task));
    }
    done.Set();
    return true;
  });
  ASSERT_TRUE(handler.PushTask(pusher));
  ASSERT_TRUE(done.Wait(kDeadlineMs));
  handler.WaitAllTasksDoneAndFinalize();
  EXPECT_GT(refused, 0);
  ASSERT_EQ(static_cast<size_t>(kQueueCapacity + kSetAside), order.size());
  for (int i = 0; i < kQueueCapacity + kSetAside; ++i) EXPECT_EQ(i, order[i]);
}

}  // namespace
}  // namespace kx_utility
