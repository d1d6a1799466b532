// Fails each allocation of a load in turn.
#include <gtest/gtest.h>

#include <filesystem>

#include "kxrtc/config/config_center.h"
#include "tests/testing/fault_injection.h"
#include "tests/testing/temp_dir.h"
#include "tests/testing/working_dir.h"

namespace kxrtc {
namespace {

using ::kx_testing::Fault;
using ::kx_testing::FaultRun;
using ::kx_testing::RunWithFault;

TEST(ConfigCenterFaultTest, ALoadWithoutMemoryLeavesTheDefaults) {
  const kx_testing::TempDir dir;
  const kx_testing::ScopedWorkingDir working_dir(dir.path());
  std::filesystem::create_directory(dir.File("out"));
  kx_testing::WriteFile(dir.File("out/kxrtc_config.cfg"), R"({"loggin_serverity": 2})");
  for (int nth = 1;; ++nth) {
    ConfigCenter config;
    bool loaded = false;
    const FaultRun run =
        RunWithFault(Fault::kAllocation, nth, [&] { loaded = config.LoadConfigFile(); });
    EXPECT_EQ("", run.thrown);
    EXPECT_EQ(loaded ? kx_utility::LS_INFO : kx_utility::LS_NONE, config.GetLoggingSeverity());
    if (!run.failed) {
      EXPECT_TRUE(loaded);
      break;
    }
  }
}

}  // namespace
}  // namespace kxrtc
