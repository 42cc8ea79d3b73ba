#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "render/report/HtmlText.h"
#include "render/report/PdfPrinter.h"
#include "render/report/ReportParts.h"
#include "render/report/ReportTable.h"
#include "tests/support/Files.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

TEST(ReportPartsTest, WhatHtmlWouldTakeForItsOwnIsWrittenOtherwise) {
  EXPECT_EQ(HtmlEscaped("<b title=\"x\">'&amp;'</b>"),
            "&lt;b title=&quot;x&quot;&gt;&#39;&amp;amp;&#39;&lt;/b&gt;");
  EXPECT_EQ(HtmlEscaped("8 × 8 · ü 𝄞"), "8 × 8 · ü 𝄞");
}

TEST(ReportPartsTest, WhatIsNoTextIsReplaced) {
  const std::string gone = "\xEF\xBF\xBD";
  EXPECT_EQ(HtmlEscaped(std::string("a\0\x1b\n\x7f", 5)), "a" + gone + gone + gone + gone);
  EXPECT_EQ(HtmlEscaped("\xFFx\xC3"), gone + "x" + gone);                 // no UTF-8, and cut
  EXPECT_EQ(HtmlEscaped("\xC0\xAF"), gone + gone);                        // longer than needed
  EXPECT_EQ(HtmlEscaped("\xED\xA0\x80"), gone + gone + gone);             // half of a pair
  EXPECT_EQ(HtmlEscaped("a\xE2\x80\xAEz"), "a" + gone + "z");             // turns letters round
  EXPECT_EQ(HtmlEscaped("\xF4\x90\x80\x80"), gone + gone + gone + gone);  // beyond the last one
}

TEST(ReportPartsTest, EmphasisIsAWrapperOfTheTextAlone) {
  const RichText text = RichText("a < ").Strong("b").Add(" & c");
  EXPECT_EQ(text.Plain(), "a < b & c");
  EXPECT_EQ(text.Html(), "a &lt; <strong>b</strong> &amp; c");
}

ReportTable Table(size_t rows) {
  ReportTable table;
  table.name = "t";
  table.caption = "Things";
  table.columns = {{"Thing"}, {"Count", true}};
  for (size_t i = 0; i < rows; ++i) {
    table.rows.push_back({"thing " + std::to_string(i), std::to_string(i)});
  }
  table.all = rows;
  return table;
}

TEST(ReportPartsTest, HeadsOfATableSayWhatTheyAreHeadsOf) {
  const std::string html = TableHtml(Table(1));
  EXPECT_THAT(html, HasSubstr("<caption>Things</caption>"));
  EXPECT_THAT(html,
              HasSubstr("<th scope=\"col\">Thing</th><th scope=\"col\" class=\"number\">Count"));
  EXPECT_THAT(html, HasSubstr("<th scope=\"row\">thing 0</th><td class=\"number\">0</td>"));
  EXPECT_EQ(TableHtml(Table(0)), "");
}

TEST(ReportPartsTest, MoreThanTenRowsAreFoldedAwayButForASingleOne) {
  EXPECT_THAT(TableHtml(Table(11)), Not(HasSubstr("<details>")));
  const std::string html = TableHtml(Table(12));
  EXPECT_THAT(html, HasSubstr("<summary>2 more rows</summary>"));
  EXPECT_LT(html.find("thing 9<"), html.find("<details>"));
  EXPECT_GT(html.find("thing 10<"), html.find("<details>"));
  ReportTable open = Table(12);
  open.atOnce = 12;
  EXPECT_THAT(TableHtml(open), Not(HasSubstr("<details>")));
}

TEST(ReportPartsTest, OnPaperATableIsShorterAndSaysSo) {
  const std::string html = TableHtml(Table(12));
  EXPECT_THAT(html, HasSubstr("<tr><th scope=\"row\">thing 4<"));
  EXPECT_THAT(html, HasSubstr("<tr class=\"screen\"><th scope=\"row\">thing 5<"));
  EXPECT_THAT(html, HasSubstr("<p class=\"note paper\">The first 5 of 12</p>"));
  EXPECT_THAT(TableHtml(Table(6)), Not(HasSubstr("screen"))) << "a single one more has room";
  EXPECT_THAT(TableHtml(Table(6)), Not(HasSubstr("paper")));
  ReportTable none = Table(3);
  none.onPaper = 0;
  EXPECT_THAT(TableHtml(none), HasSubstr("class=\"numbers sortable screen\""));
}

TEST(ReportPartsTest, ATableSaysWhereTheRowsAreThatItLacks) {
  ReportTable table = Table(20);
  EXPECT_THAT(TableHtml(table), Not(HasSubstr("note screen")));
  table.all = 2000;
  table.others = "list <all>";
  EXPECT_THAT(TableHtml(table), HasSubstr("The first 20 of 2,000; all: <code>list "
                                          "&lt;all&gt;</code>"));
}

TEST(ReportPartsTest, AStyleHasTheColoursOfItsTheme) {
  EXPECT_THAT(ReportStyle(Theme::Light()),
              StartsWith(":root {\n  --paper: #ffffff;\n  --ink: #1a1a1a"));
  EXPECT_THAT(ReportStyle(Theme::Dark()), HasSubstr("--paper: #14161a"));
  EXPECT_THAT(ReportStyle(Theme::Dark()), HasSubstr("color-scheme: dark"));
}

TEST(ReportPartsTest, TheScriptEndsNowhereBeforeItsEnd) {
  EXPECT_THAT(std::string(ReportScript()), StartsWith("\"use strict\";"));
  EXPECT_THAT(std::string(ReportScript()), Not(HasSubstr("</")));
  EXPECT_EQ(ReportScriptHash().size(), 7 + 44);
}

TEST(ReportPartsTest, DatesOfAPdfBecomeRoom) {
  const std::string pdf =
      "%PDF-1.4\n<</Title (x)\n/CreationDate (D:20261122080917+00'00')\n/ModDate "
      "(D:20261122080917+00'00')>>\nendobj";
  const std::string without = WithoutDates(pdf);
  EXPECT_EQ(without.size(), pdf.size());
  EXPECT_THAT(without, Not(HasSubstr("Date")));
  EXPECT_THAT(without, HasSubstr("/Title (x)\n"));
  EXPECT_THAT(without, HasSubstr(">>\nendobj"));
  EXPECT_EQ(WithoutDates("%PDF-1.4\n/CreationDate (D:2026"), "%PDF-1.4\n/CreationDate (D:2026");
}

TEST(ReportPartsTest, WithoutChromiumTheFaultNamesThePackage) {
  const TempDir nowhere;
  setenv("PATH", nowhere.Path().c_str(), 1);
  MemorySink sink;
  const Fault fault = PrintPdf("<p>x", sink);
  EXPECT_EQ(fault.kind, Fault::SYSTEM);
  EXPECT_EQ(fault.file, "chromium");
  EXPECT_THAT(fault.remedy, HasSubstr("install chromium"));
  EXPECT_TRUE(sink.Bytes().empty());
}

// A program in place of Chromium, in shell.
class PretendedChromium {
 public:
  explicit PretendedChromium(const std::string& script) {
    WriteFile(folder.File("chromium"), "#!/bin/sh\n" + script);
    std::filesystem::permissions(folder.File("chromium"), std::filesystem::perms::owner_all);
    setenv("PATH", (folder.Path() + ":/usr/bin:/bin").c_str(), 1);
    setenv("TMPDIR", folder.Path().c_str(), 1);
  }
  ~PretendedChromium() { unsetenv("TMPDIR"); }

  // What was left in the folder besides the program.
  size_t LeftBehind() const {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      ++count;
    }
    return count - 1;
  }

 private:
  TempDir folder;
};

TEST(ReportPartsTest, WhatChromiumSaysIsToldWhereItMakesNoPdf) {
  for (const char* const script :
       {"echo noise >&2; echo '[1:ERROR:a] b:FATAL: no sandbox' >&2; echo more >&2; exit 1\n",
        "echo 'b:FATAL: no sandbox' >&2\n"}) {
    const PretendedChromium chromium(script);
    MemorySink sink;
    const Fault fault = PrintPdf("<p>x", sink);
    EXPECT_EQ(fault.kind, Fault::SYSTEM);
    EXPECT_THAT(fault.reason, HasSubstr("no sandbox"));
    EXPECT_TRUE(sink.Bytes().empty());
    EXPECT_EQ(chromium.LeftBehind(), 0U);
  }
}

TEST(ReportPartsTest, ThePageIsHandedOverAndItsPrintTaken) {
  const PretendedChromium chromium(
      "for word; do case $word in --print-to-pdf=*) out=${word#*=};; file://*) "
      "in=${word#file://};;\n"
      "esac; done\n{ printf '%%PDF-1.4 '; cat \"$in\"; } >\"$out\"\n");
  MemorySink sink;
  ASSERT_FALSE(PrintPdf("<p>x", sink));
  EXPECT_EQ(std::string(sink.Bytes().begin(), sink.Bytes().end()), "%PDF-1.4 <p>x");
  EXPECT_EQ(chromium.LeftBehind(), 0U);
}

TEST(ReportPartsTest, WhoIsInterruptedEndsChromium) {
  const PretendedChromium chromium("exec sleep 1000\n");
  MemorySink sink;
  int asked = 0;
  const Fault fault = PrintPdf("<p>x", sink, [&] { return ++asked < 3; });
  EXPECT_EQ(fault.kind, Fault::CANCELLED);
  EXPECT_EQ(asked, 3);
  EXPECT_EQ(chromium.LeftBehind(), 0U);
}

}  // namespace
}  // namespace marrowfin::testing
