#include "tests/testing/fault_injection.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <memory>
#include <new>
#include <system_error>
#include <thread>
#include <vector>

namespace kx_testing {
namespace {

using ::testing::HasSubstr;

struct alignas(64) Wide {
  char bytes[64];
};

std::unique_ptr<int> g_one;
std::unique_ptr<Wide[]> g_wide;

void AllocateThrice() {
  g_one = std::make_unique<int>(1);
  g_wide = std::make_unique<Wide[]>(3);
  g_one.reset(new (std::nothrow) int(2));
}

TEST(FaultInjectionTest, FailsEachAllocationInTurn) {
  EXPECT_EQ("std::bad_alloc", RunWithFault(Fault::kAllocation, 1, AllocateThrice).thrown);
  EXPECT_EQ("std::bad_alloc", RunWithFault(Fault::kAllocation, 2, AllocateThrice).thrown);
  const FaultRun third = RunWithFault(Fault::kAllocation, 3, AllocateThrice);
  EXPECT_TRUE(third.failed);
  EXPECT_EQ("", third.thrown);
  EXPECT_EQ(nullptr, g_one);
  EXPECT_FALSE(RunWithFault(Fault::kAllocation, 4, AllocateThrice).failed);
  EXPECT_EQ(2, *g_one);
}

TEST(FaultInjectionTest, AlignsWhatItAllocates) {
  AllocateThrice();
  EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(g_wide.get()) % alignof(Wide));
}

TEST(FaultInjectionTest, CountsTheAllocationsOfTheCaller) {
  EXPECT_EQ(0, CountAllocations([] {}));
  EXPECT_EQ(3, CountAllocations(AllocateThrice));
  std::thread other;
  EXPECT_EQ(1, CountAllocations([&] { other = std::thread(AllocateThrice); }));
  other.join();
}

TEST(FaultInjectionTest, FailsTheNthThreadCreationOnly) {
  std::vector<std::thread> threads;
  threads.reserve(4);
  int refused = 0;
  const FaultRun run = RunWithFault(Fault::kThreadCreation, 2, [&] {
    for (int i = 0; i < 3; ++i) {
      try {
        threads.emplace_back([] {});
      } catch (const std::system_error& error) {
        refused += 10 * i + (error.code() == std::errc::resource_unavailable_try_again ? 1 : 0);
      }
    }
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(run.failed);
  EXPECT_EQ("", run.thrown);
  EXPECT_EQ(11, refused);
  EXPECT_EQ(2u, threads.size());
  EXPECT_FALSE(RunWithFault(Fault::kThreadCreation, 1, AllocateThrice).failed);
}

TEST(FaultInjectionTest, ReportsTheTextOfWhatWasThrown) {
  const FaultRun run = RunWithFault(Fault::kThreadCreation, 1, [] { std::thread([] {}).join(); });
  EXPECT_TRUE(run.failed);
  EXPECT_THAT(run.thrown, HasSubstr("Resource temporarily unavailable"));
}

// What a thread that was started inside does counts only on demand.
TEST(FaultInjectionTest, FailsOnOtherThreadsOnDemand) {
  for (const FaultThreads threads : {FaultThreads::kCaller, FaultThreads::kAll}) {
    bool refused = false;
    const auto allocate_elsewhere = [&refused] {
      std::thread([&refused] {
        try {
          g_one = std::make_unique<int>(1);
        } catch (const std::bad_alloc&) {
          refused = true;
        }
      }).join();
    };
    // The first allocation is the one that makes the thread.
    const FaultRun run = RunWithFault(Fault::kAllocation, 2, allocate_elsewhere, threads);
    EXPECT_EQ(threads == FaultThreads::kAll, run.failed);
    EXPECT_EQ(threads == FaultThreads::kAll, refused);
  }
}

}  // namespace
}  // namespace kx_testing
