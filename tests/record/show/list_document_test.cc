#include "record/show/list_document.h"

#include <gtest/gtest.h>
#include <json/value.h>

#include "record/show/record_documents.h"

namespace kxrtc_host {
namespace {

ArchivedRecord Record() {
  ArchivedRecord record;
  record.folder = "records/monday";
  record.glance.state = RecordState::kComplete;
  record.glance.length_us = 1500000;
  record.glance.sizes.index = 24;
  record.glance.sizes.timeline = 6;
  return record;
}

TEST(ListDocumentTest, TellsOfTheRecord) {
  EXPECT_EQ(JsonText(ListDocument(Record())),
            R"({"bytes":30,"document":"kxrtc.list","files":{"index":24,"speaker_timeline":6},)"
            R"("folder":"records/monday","length_us":1500000,"state":"complete","version":1})");
}

TEST(ListDocumentTest, TellsOfDamageAndOfTheMp4) {
  ArchivedRecord record = Record();
  record.glance.state = RecordState::kDamaged;
  record.glance.problem = "why";
  record.output = "films/monday.mp4";
  record.is_due = true;
  const Json::Value document = ListDocument(record);
  EXPECT_EQ(document["state"].asString(), "damaged");
  EXPECT_EQ(document["problem"].asString(), "why");
  EXPECT_EQ(document["output"].asString(), "films/monday.mp4");
  EXPECT_TRUE(document["due"].asBool());
}

TEST(ListDocumentTest, HasNoFilesWhereThereAreNone) {
  ArchivedRecord record = Record();
  record.glance.sizes = {};
  EXPECT_TRUE(ListDocument(record)["files"].isObject());
  EXPECT_EQ(ListDocument(record)["bytes"].asInt(), 0);
}

}  // namespace
}  // namespace kxrtc_host
