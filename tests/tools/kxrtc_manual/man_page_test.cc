#include "tools/kxrtc_manual/man_page.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using kxrtc_manual::ReadScriptHelp;
using kxrtc_manual::ScriptHelp;
using testing::ElementsAre;
using testing::SizeIs;

constexpr char kHelp[] =
    "Count what is there\n"
    "usage: count-all FOLDER [OPTIONS]\n"
    "\n"
    "  --engine one|two  who counts: one\n"
    "                    or two\n"
    "  -h, --help        print this help and exit\n"
    "\n"
    ".hidden files count, too.\n"
    "\n"
    "Status: 0 all is counted;\n"
    "1 it is not.\n"
    "\n"
    "A last word.\n"
    "\n"
    "Examples:\n"
    "  count-all ~/a\\b\n";

TEST(ScriptHelpTest, HasOptionsAndNotes) {
  ScriptHelp help;
  ASSERT_TRUE(ReadScriptHelp(kHelp, &help));
  EXPECT_EQ(help.command.name, "count-all");
  EXPECT_EQ(help.arguments, "FOLDER [OPTIONS]");
  ASSERT_THAT(help.command.options, SizeIs(2));
  EXPECT_EQ(help.command.options[0].value, "one|two");
  EXPECT_EQ(help.command.options[0].description, "who counts: one\nor two");
  EXPECT_THAT(help.command.options[1].names, ElementsAre("-h", "--help"));
}

TEST(ScriptHelpTest, RefusesWhatIsNoHelp) {
  for (const char* text : {"", "\n", "One line", "Two\nlines\n", "Without\nusage: options\n"}) {
    ScriptHelp help;
    EXPECT_FALSE(ReadScriptHelp(text, &help)) << text;
  }
}

TEST(ManPageTest, PutsEachNoteIntoItsSection) {
  ScriptHelp help;
  ASSERT_TRUE(ReadScriptHelp(kHelp, &help));
  const std::string page = ScriptPage(help, {"1.2", "2026-11-01", {}});
  EXPECT_EQ(page,
            ".TH COUNT-ALL 1 2026-11-01 \"kxrtc 1.2\" \"User Commands\"\n"
            ".SH NAME\ncount\\-all \\-\ncount what is there\n"
            ".SH SYNOPSIS\n.B count\\-all\nFOLDER [OPTIONS]\n"
            ".SH DESCRIPTION\nCount what is there.\n"
            ".PP\n\\&.hidden files count, too.\n.PP\nA last word.\n"
            ".SH OPTIONS\n"
            ".TP\n\\fB\\-\\-engine\\fR \\fIone|two\\fR\nwho counts: one\nor two\n"
            ".TP\n\\fB\\-h\\fR, \\fB\\-\\-help\\fR\nprint this help and exit\n"
            ".SH EXIT STATUS\n0 all is counted;\n1 it is not.\n"
            ".SH EXAMPLES\n.RS 4\n.EX\ncount\\-all \\(ti/a\\eb\n.EE\n.RE\n"
            ".SH SEE ALSO\n.BR kxrtc (1)\n");
}

TEST(ExitStatusTableTest, IsReadWithoutItsMarkup) {
  const auto rows = kxrtc_manual::ReadExitStatuses(
      "# Page\n\n## Exit statuses\n\nText.\n\n| Status | Meaning | Again? |\n|---|---|---|\n"
      "| 0 | done | |\n| 9, 10 | [`one`](page.md): as with `\\| head` | no |\n\n## Next\n\n"
      "| 1 | no | row |\n");
  ASSERT_THAT(rows, SizeIs(2));
  EXPECT_EQ(rows[1].status, "9, 10");
  EXPECT_EQ(rows[1].meaning, "one: as with | head");
  EXPECT_THAT(kxrtc_manual::ReadExitStatuses("# Page\n| 0 | done |\n"), SizeIs(0));
}

}  // namespace
