#include "record/repair/index_rewriter.h"

#include <gmock/gmock.h>

#include <functional>

#include "record/index/record_files.h"
#include "tests/testing/record_samples.h"

namespace kxrtc_host {
namespace {

using kx_testing::kCamera;
using kx_testing::RecordBuilder;
using kx_testing::TempDir;

struct RewriteCase {
  const char* name;
  std::function<RecordBuilder(const TempDir&)> before;
  std::function<RecordBuilder(const TempDir&)> after;
  uint64_t lost;
  uint64_t added;
};

RecordBuilder Camera(const TempDir& dir) {
  RecordBuilder builder(dir);
  builder.Start(0).Channel(1, kCamera).Attributes(2, 640, 360).Key(3);
  return builder;
}

struct Rewritten {
  std::string index;
  RepairChanges changes;
};

Rewritten Rewrite(const TempDir& dir, const RecordBuilder& before) {
  before.Write();
  RecordFiles files;
  files.Open(dir.path());
  EXPECT_TRUE(files.index.is_open());
  Rewritten result;
  IndexRewriter rewriter(&result.changes);
  IndexWalker walker(&files.index);
  IndexRecord record;
  IndexWalker::Step step;
  while ((step = walker.Next(&record)) != IndexWalker::Step::kEnd) {
    if (step == IndexWalker::Step::kRecord) {
      rewriter.OnRecord(record, &result.index);
    } else {
      rewriter.OnGarbage(record.offset, walker.skipped_bytes());
    }
  }
  rewriter.Finish(files.index.size(), &result.index);
  return result;
}

class IndexRewriterTest : public testing::TestWithParam<RewriteCase> {};

TEST_P(IndexRewriterTest, MakesAValidIndex) {
  const TempDir dir;
  const Rewritten result = Rewrite(dir, GetParam().before(dir));
  EXPECT_EQ(result.index, GetParam().after(dir).index());
  EXPECT_EQ(result.changes.lost, GetParam().lost);
  EXPECT_EQ(result.changes.added, GetParam().added);
}

std::vector<RewriteCase> Cases() {
  return {
      {"ValidStaysAsItIs", kx_testing::TwoSessions, kx_testing::TwoSessions, 0, 0},
      {"MissingStop", Camera, [](const TempDir& dir) { return Camera(dir).Stop(4); }, 0, 1},
      {"StopBeforeTheNextStart", [](const TempDir& dir) { return Camera(dir).Start(50).Stop(60); },
       [](const TempDir& dir) { return Camera(dir).Stop(4).Start(50).Stop(60); }, 0, 1},
      {"StopWithoutSession", [](const TempDir& dir) { return Camera(dir).Stop(4).Stop(5); },
       [](const TempDir& dir) { return Camera(dir).Stop(4); }, 1, 0},
      {"MissingStart", [](const TempDir& dir) { return Camera(dir).Stop(4).Audio(50).Stop(60); },
       [](const TempDir& dir) { return Camera(dir).Stop(4).Start(50).Audio(50).Stop(60); }, 0, 1},
      {"MissingChannel",
       [](const TempDir& dir) { return RecordBuilder(dir).Start(0).Key(5).Stop(6); },
       [](const TempDir& dir) {
         return RecordBuilder(dir).Start(0).Channel(5, kCamera).Key(5).Stop(6);
       },
       0, 1},
      {"AttributesOfAnAudioOnlyChannel",
       [](const TempDir& dir) {
         return RecordBuilder(dir).Start(0).Channel(1, 0).Attributes(2, 640, 360).Stop(3);
       },
       [](const TempDir& dir) {
         return RecordBuilder(dir)
             .Start(0)
             .Channel(1, 0)
             .Channel(2, kCamera)
             .Attributes(2, 640, 360)
             .Stop(3);
       },
       0, 1},
      {"PartialTail", [](const TempDir& dir) { return Camera(dir).Stop(4).RawIndex("stale"); },
       [](const TempDir& dir) { return Camera(dir).Stop(4); }, 1, 0},
      {"GarbageInside",
       [](const TempDir& dir) {
         return Camera(dir).RawIndex(std::string(100, '\0')).Audio(50).Stop(60);
       },
       [](const TempDir& dir) { return Camera(dir).Audio(50).Stop(60); }, 1, 0},
      {"StopAtTheEndOfTime", [](const TempDir& dir) { return RecordBuilder(dir).Start(INT64_MAX); },
       [](const TempDir& dir) { return RecordBuilder(dir).Start(INT64_MAX).Stop(INT64_MAX); }, 0,
       1},
  };
}

INSTANTIATE_TEST_SUITE_P(Records, IndexRewriterTest, testing::ValuesIn(Cases()),
                         [](const auto& test) { return test.param.name; });

TEST(IndexRewriterPlaceTest, NamesTheEndOfTheOldIndexWhereItAddsTheLastStop) {
  const TempDir dir;
  const RecordBuilder builder = Camera(dir).RawIndex("torn");
  const RepairChanges changes = Rewrite(dir, builder).changes;
  ASSERT_EQ(changes.kept.size(), 2u);
  EXPECT_EQ(changes.kept[0].offset, builder.index().size() - 4);
  EXPECT_EQ(changes.kept[1].kind, RepairChange::Kind::kAdded);
  EXPECT_EQ(changes.kept[1].offset, builder.index().size());
}

TEST(IndexRewriterPlaceTest, NamesTheRecordBeforeWhichItAddsOne) {
  const TempDir dir;
  const RecordBuilder head = Camera(dir);
  const RepairChanges changes = Rewrite(dir, Camera(dir).Start(50).Stop(60)).changes;
  ASSERT_EQ(changes.kept.size(), 1u);
  EXPECT_EQ(changes.kept[0].offset, head.index().size());
}

}  // namespace
}  // namespace kxrtc_host
