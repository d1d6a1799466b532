#include "record/speakers/captions.h"

#include <gtest/gtest.h>

#include "tests/testing/temp_dir.h"

namespace kxrtc_host {
namespace {

std::string Captions(const std::vector<SpeakerTurn>& turns, const std::string& name) {
  Person person;
  person.user_id = 1;
  person.name = name;
  return WebVttCaptions(turns, PersonNames({person}));
}

TEST(CaptionsTest, HasACueForEachTurn) {
  EXPECT_EQ(Captions({{0, 1500000, 1, 0},
                      {1234567, 61000999, 2, 0},
                      {3600000000, 360000000000 + 59999999, 1, 0}},
                     "Ada"),
            "WEBVTT\n"
            "\n00:00:00.000 --> 00:00:01.500\n<v Ada>Ada</v>\n"
            "\n00:00:01.234 --> 00:01:01.000\n<v user 2>user 2</v>\n"
            "\n01:00:00.000 --> 100:00:59.999\n<v Ada>Ada</v>\n");
  EXPECT_EQ(Captions({}, "Ada"), "WEBVTT\n");
}

TEST(CaptionsTest, AreKnownByTheirBegin) {
  kx_testing::TempDir dir;
  const std::string path = dir.File("out.vtt");
  EXPECT_FALSE(IsWebVttFile(path));
  for (const char* text : {"", "WEBVT", "webvtt\n", " WEBVTT\n"}) {
    kx_testing::WriteFile(path, text);
    EXPECT_FALSE(IsWebVttFile(path)) << text;
  }
  kx_testing::WriteFile(path, Captions({}, "Ada"));
  EXPECT_TRUE(IsWebVttFile(path));
  EXPECT_FALSE(IsWebVttFile(dir.path()));
}

TEST(CaptionsTest, KeepsNamesInTheirPlace) {
  const struct {
    const char* name;
    const char* shown;
  } kCases[] = {
      {"<script>&x --> y", "&lt;script&gt;&amp;x --&gt; y"},
      {"two\n\nlines", "two lines"},
      {"\u202Eturned\u202C", "turned"},
      {"\t\n", "user 1"},
      {"\u0634\u062F\u0627 \U0001F600", "\u0634\u062F\u0627 \U0001F600"},
  };
  for (const auto& test : kCases) {
    EXPECT_EQ(Captions({{0, 1000, 1, 0}}, test.name),
              std::string("WEBVTT\n\n00:00:00.000 --> 00:00:00.001\n<v ") + test.shown + ">" +
                  test.shown + "</v>\n");
  }
}

TEST(CaptionsTest, ACueLastsAMillisecond) {
  EXPECT_TRUE(IsCaption({999, 1000, 1, 0}));
  EXPECT_FALSE(IsCaption({1000, 1999, 1, 0}));
  EXPECT_FALSE(IsCaption({5000, 2000, 1, 0}));
}

}  // namespace
}  // namespace kxrtc_host
