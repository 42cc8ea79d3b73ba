// About files: read, written, and refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <limits>
#include <regex>
#include <set>

#include "tests/support/Files.h"
#include "tests/support/TraceText.h"
#include "trace/base/Fingerprint.h"
#include "trace/marrowfin_trace.h"
#include "trace/read/AboutFile.h"
#include "trace/read/TraceSource.h"
#include "trace/write/AboutText.h"

namespace marrowfin::testing {
namespace {

using ::testing::HasSubstr;

const std::string TRACE = "[trace]\nrecords = 0\nfingerprint = \"cbf29ce484222325\"\n";

About Parsed(const std::string& text) {
  const Result<About> about = ParseAbout(text, "t.about");
  EXPECT_TRUE(about) << about.Why().Text();
  return about ? *about : About();
}

std::string Refused(const std::string& text) {
  const Result<About> about = ParseAbout(text, "t.about");
  EXPECT_FALSE(about) << text;
  EXPECT_EQ(Fault::DAMAGED_NOTES, about.Why().kind);
  return about.Why().Text();
}

TEST(AboutTest, WhatIsWrittenIsReadBack) {
  About about;
  about.name = "a \"quoted\" \\ name";
  about.command = "sim --fast";
  about.date = "2026-11-22T01:00:00Z";
  about.tool = "sim 1";
  about.cycleNs = 0.1;
  about.printed = 64;
  about.fingerprint = 0x0123456789abcdef;
  about.array =
      AboutArray{ArrayShape(PerAxis{2, 3}, PerAxis{1, 1}, PerAxis{10, 12}), false, true, false};
  about.links = AboutLinks{"xy", 16, 1.5, 0.25};
  about.switches = AboutSwitches{0, 8.5, 0};
  about.threads[0] = {"requests", "virtual channel"};
  about.threads[4000000000] = {"", "class"};
  about.places[{3, 7}] = "memory";
  EXPECT_EQ(about, Parsed(AboutText(about)));
  EXPECT_EQ(About(), Parsed(AboutText(About())));
  about.switches = AboutSwitches();
  EXPECT_EQ(about, Parsed(AboutText(about)));
}

TEST(AboutTest, TextThatNobodyWouldWriteIsReadAll) {
  About about;
  about.name = "two\nlines\t\x7f";
  EXPECT_EQ("two lines  ", Parsed(AboutText(about)).name);
}

TEST(AboutTest, NamesThatAreNoUtf8AndNumbersThatAreNoneLeaveTheRestReadable) {
  About about;
  about.name = "a\xff\xe4\xb8z\xf0\x9f\x90\x9f";
  about.tool = "sim";
  about.cycleNs = std::numeric_limits<double>::infinity();
  constexpr double NONE = std::numeric_limits<double>::quiet_NaN();
  about.links = AboutLinks{"xy", NONE, 2, 0};
  about.switches = AboutSwitches{4, 1e10, NONE};
  const About read = Parsed(AboutText(about));
  EXPECT_EQ("a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdz\xf0\x9f\x90\x9f", read.name);
  EXPECT_EQ("sim", read.tool);
  EXPECT_EQ(std::nullopt, read.cycleNs);
  EXPECT_EQ((AboutLinks{"xy", 0, 2, 1}), read.links);
  EXPECT_EQ((AboutSwitches{4, {}, {}}), read.switches);
}

TEST(AboutTest, ExampleOfTheDocumentIsReadWithEveryKeyOfIt) {
  const std::string page = ReadFile(MARROWFIN_SOURCE_DIR "/docs/companion-format.md");
  const std::string start = "```toml\n";
  const size_t begin = page.find(start) + start.size();
  const std::string text = page.substr(begin, page.find("```", begin) - begin);
  About expected;
  expected.name = "saturation, uniform traffic";
  expected.command = "mesh_noc --rate 0.3";
  expected.date = "2026-11-22T01:00:00Z";
  expected.tool = "mesh_noc 0.1.0";
  expected.cycleNs = 1.25;
  expected.printed = 64;
  expected.fingerprint = 0x9e3779b97f4a7c15;
  expected.array =
      AboutArray{ArrayShape(PerAxis{2, 1}, PerAxis{1, 1}, PerAxis{8, 8}), false, false, false};
  expected.links = AboutLinks{"xy", 16, 1, 1};
  expected.switches = AboutSwitches{4, 8, 0};
  expected.threads[0] = {"requests", "virtual channel"};
  expected.places[{3, 7}] = "memory controller 0";
  EXPECT_EQ(expected, Parsed(text));
  // What a writer writes of it, and nothing else, stands there.
  const auto keys = [](const std::string& toml) {
    static const std::regex key(R"(([a-z_]+) *=)");
    return std::multiset<std::string>(std::sregex_token_iterator(toml.begin(), toml.end(), key, 1),
                                      std::sregex_token_iterator());
  };
  EXPECT_EQ(keys(AboutText(expected)), keys(text));
}

TEST(AboutTest, KeysThatNobodyKnowsArePassedOver) {
  EXPECT_EQ("n", Parsed("format = 1\nname = \"n\"\nfuture = [1, 2]\n[more]\nx = 1\n" + TRACE).name);
}

TEST(AboutTest, WhatIsLeftOutHasItsDefault) {
  const About about = Parsed("format = 1\n" + TRACE + "[array]\npes = { columns = 8 }\n");
  EXPECT_EQ(ArrayShape(PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{8, 1}), about.array->shape);
  EXPECT_TRUE(about.array->gaps);
  EXPECT_FALSE(about.links);
  EXPECT_FALSE(about.switches);
  EXPECT_FALSE(about.cycleNs);
  const About empty = Parsed("format = 1\n" + TRACE + "[links]\n[switches]\n");
  EXPECT_EQ((AboutLinks{"", 0, 1, 1}), empty.links);
  EXPECT_EQ((AboutSwitches{}), empty.switches);
}

TEST(AboutTest, WrongTextsAreRefusedWithTheirLine) {
  EXPECT_THAT(Refused("format = 1\nname = \n"), HasSubstr("t.about: line 2: "));
  EXPECT_THAT(Refused("format = 2\n" + TRACE), HasSubstr("line 1: format 2 is newer"));
  EXPECT_THAT(Refused(TRACE), HasSubstr("format is not said"));
  EXPECT_THAT(Refused("format = 1\n"), HasSubstr("there is no table [trace]"));
  EXPECT_THAT(Refused("format = 1\nname = 3\n" + TRACE), HasSubstr("line 2: name is no text"));
  EXPECT_THAT(Refused("format = 1\ncycle_ns = -1\n" + TRACE), HasSubstr("line 2: cycle_ns is no"));
  EXPECT_THAT(Refused("format = 1\ncycle_ns = 0\n" + TRACE), HasSubstr("cycle_ns is 0"));
  EXPECT_THAT(Refused("format = 1\ncycle_ns = nan\n" + TRACE), HasSubstr("cycle_ns is no number"));
  EXPECT_THAT(Refused("format = 1\n[trace]\nrecords = 65\nfingerprint = \"cbf29ce484222325\"\n"),
              HasSubstr("records is above 64"));
  EXPECT_THAT(Refused("format = 1\n[trace]\nrecords = 0\nfingerprint = \"xyz\"\n"),
              HasSubstr("16 hexadecimal digits"));
  const std::string head = "format = 1\n" + TRACE;
  EXPECT_THAT(Refused(head + "[array]\npes = { columns = 0 }\n"),
              HasSubstr("line 6: columns is no"));
  EXPECT_THAT(Refused(head + "[array]\npes = 3\n"), HasSubstr("pes is no table"));
  EXPECT_THAT(Refused(head + "[array]\npes = { rows = 70000 }\nclusters = { rows = 70000 }\n"),
              HasSubstr("2^31"));
  EXPECT_THAT(Refused(head + "[array]\ngaps = 1\n"), HasSubstr("neither true nor false"));
  EXPECT_THAT(Refused(head + "[[places]]\ncolumn = -1\n"), HasSubstr("column is no whole number"));
  EXPECT_THAT(Refused(head + "[threads]\nthread = 1\n"), HasSubstr("threads are no tables"));
  EXPECT_THAT(Refused("\xff\xfe"), HasSubstr("line 1"));
  EXPECT_THAT(Refused(head + "[links]\nlatency = -0.5\n"), HasSubstr("line 6: latency is no"));
  EXPECT_THAT(Refused("format = 1\nswitches = 4\n" + TRACE), HasSubstr("switches is no table"));
  for (const char* const ports : {"-1", "4294967296", "4.0", "\"4\""}) {
    EXPECT_THAT(Refused(head + "[switches]\nports = " + ports + "\n"),
                HasSubstr("line 6: ports is no whole number"));
  }
  EXPECT_THAT(Refused(head + "[switches]\nlatency = inf\n"), HasSubstr("line 6: latency is no"));
  for (const char* const table : {"links", "switches"}) {
    const std::string rate = head + "[" + table + "]\nmessages_per_cycle = ";
    for (const char* const none : {"-1", "nan", "inf", "\"1\""}) {
      EXPECT_THAT(Refused(rate + none + "\n"), HasSubstr("messages_per_cycle is no number"));
    }
    for (const char* const none : {"0", "0.0", "9e-7", "1.1e9"}) {
      EXPECT_THAT(Refused(rate + none + "\n"), HasSubstr("line 6: messages_per_cycle is not from"));
    }
  }
}

TEST(AboutTest, NamesOfThreadsAndPlacesTellOfWhich) {
  const std::string head = "format = 1\n" + TRACE;
  EXPECT_THAT(Refused(head + "[[threads]]\nname = \"a\"\n"),
              HasSubstr("line 5: there is no thread"));
  EXPECT_THAT(Refused(head + "[[places]]\ncolumn = 1\n"), HasSubstr("line 5: there is no row"));
  EXPECT_THAT(Refused(head + "[[places]]\nrow = 1\n"), HasSubstr("line 5: there is no column"));
}

TEST(AboutTest, TextsBeyondAsciiAreReadAsTheyStand) {
  const auto name = [](const std::string& value) {
    return Parsed("format = 1\nname = " + value + "\n" + TRACE).name;
  };
  EXPECT_EQ("\u00e4\u02f9\U0001F41F", name("\"\u00e4\u02f9\\U0001F41F\" # \u00e4"));
  EXPECT_EQ("\u00e4\\n", name("'\u00e4\\n'"));
  EXPECT_EQ("a\u02f9b", name("\"\"\"a\\\n  \u02f9b\"\"\""));
  EXPECT_EQ("%c3\u00e4", name("\"\\u0025c3\u00e4\""));
  EXPECT_EQ("%c3\u00e4", name("\"\\U00000025c3\u00e4\""));
  EXPECT_EQ("%c3^~|`@$!?*;<>\u00e4", name("'%c3^~|`@$!?*;<>\u00e4'"));
  EXPECT_EQ("n", Parsed("\xef\xbb\xbf"
                        "format = 1\nname = 'n'\n" +
                        TRACE)
                     .name);
}

TEST(AboutTest, CharactersBeyondAsciiOutsideOfTextsAreRefused) {
  for (const std::string odd : {"\u00e4", "\u02f9", "\u0499", "\u3000", "\U0001F41F"}) {
    EXPECT_THAT(Refused("format = 1\n" + odd + " = 2\n" + TRACE), HasSubstr("line 2: "));
    EXPECT_THAT(Refused("format = " + odd + "\n" + TRACE), HasSubstr("line 1: "));
    EXPECT_THAT(Refused("format = 1 " + odd + "\n" + TRACE), HasSubstr("line 1: "));
    EXPECT_THAT(Refused("format = 1\n" + TRACE + "[" + odd + "]\n"), HasSubstr("line 5: "));
  }
  EXPECT_THAT(Refused("format = 1\n# %^~|`@$!?*;<>&\nname = '\u00e4'\n" + TRACE),
              HasSubstr("line 1: "));
}

TEST(AboutTest, HeadersWithoutANameAreRefused) {
  for (const std::string header : {"[%]", "[[%]]", "[ \n]", "[[[a]]]", "[", "[[", "[]", "[ [a]]",
                                   "[.a]", "[[ ]]", "[#]", "[a.]", "[a.%]"}) {
    EXPECT_THAT(Refused("format = 1\n" + TRACE + " " + header + "\n"), HasSubstr("line 5: "))
        << header;
  }
  EXPECT_EQ("n", Parsed("format = 1\nname = 'n'\nx = [\n[], [\n[1]]\n]\n[ trace ]\nrecords = 0\n"
                        "fingerprint = \"cbf29ce484222325\"\n[['a'.b]]\n[\"c\"]\n")
                     .name);
}

TEST(AboutTest, DatesOutsideOfTextsAreRefused) {
  const std::string head = "format = 1\n" + TRACE;
  for (const std::string date : {"2026-11-22", "2026-11-22T01:00:00Z", "2026-11-22TAf>00:00:RR",
                                 "01:00:00", "[1, 2026-11-22]", "[\n01:00\n]",
                                 "{ a-b = 1, c-d = 2026-1 }", "1T:", "-2026-11", "2026-11-22T"}) {
    EXPECT_THAT(Refused(head + "x = " + date + "\n"), HasSubstr("put it in quotes")) << date;
  }
  EXPECT_EQ("n", Parsed("format = 1\nname = 'n'\na-b = [-1, 1e-5, 1E-5, -inf, +1, '01:00']\n"
                        "2026-11 = { c-d = -1, e-f = [-1,-1] }\n" +
                        TRACE + "[2026-11-22]\n[[a-x]]\nb-c = -1\n")
                     .name);
}

TEST(AboutTest, ValuesThatAreMissingAndBracketsThatDoNotFitAreRefused) {
  for (const std::string value :
       {"}",    "]",    ",",   "#",     "",    "[}", "[,", "[1,}", "[1,,", "{b=}", "{b=]",
        "{b=,", "{b=#", "{}}", "{b=[}", "[[}", "{,", "{=", "=",    "[=",   "[#"}) {
    EXPECT_THAT(Refused("format = 1\n" + TRACE + "x = " + value + "\n"), HasSubstr("line "))
        << value;
  }
}

TEST(AboutTest, TablesNestedAnyDepthAreRefusedOrRead) {
  std::string deep = "a";
  for (int i = 0; i < 1'000'000; ++i) {
    deep += ".a";
  }
  const std::string head = "format = 1\n" + TRACE;
  EXPECT_THAT(Refused(head + deep + " = 1\n"), HasSubstr("line 5: tables are nested"));
  EXPECT_THAT(Refused(head + "[" + deep + "]\n"), HasSubstr("line 5: tables are nested"));
  EXPECT_THAT(Refused(head + "x = '''\n'''''\n" + deep + " = 1\n"), HasSubstr("line 7: "));
  EXPECT_THAT(Refused(head + "x = \"\\\"\" # \"\n" + deep + " = 1\n"), HasSubstr("line 6: "));
  const std::string lists(1'000'000, '[');
  EXPECT_THAT(Refused(head + "x = " + lists + "\n"), HasSubstr("line 5: tables are nested"));
  const auto name = [](const std::string& value) {
    return Parsed("format = 1\nname = " + value + "\n" + TRACE).name;
  };
  EXPECT_EQ(deep, name("'" + deep + "'"));
  EXPECT_EQ(deep, name("'''\n" + deep + "''' # " + deep));
  EXPECT_EQ("n", name("'n'\na.b.'c.d'.e.f = 1.5"));
}

TEST(AboutTest, FileThatIsTooLargeIsRefused) {
  TempDir folder;
  const std::string name = folder.File("t.about");
  const std::string head = "format = 1\n" + TRACE;
  WriteFile(name, head + std::string((16 << 20) - head.size() - 1, '#') + "\n");
  EXPECT_TRUE(ReadAbout(name));
  WriteFile(name, head + std::string((16 << 20) - head.size(), '#') + "\n");
  EXPECT_THAT(ReadAbout(name).Why().Text(), HasSubstr("larger than 16 MiB"));
}

About FullAbout() {
  About about;
  about.name = "a \u00e4 name";
  about.command = "sim --fast";
  about.date = "2026-11-22T01:00:00Z";
  about.tool = "sim 1";
  about.cycleNs = 12.5;
  about.printed = 64;
  about.fingerprint = 0x0123456789abcdef;
  about.array =
      AboutArray{ArrayShape(PerAxis{2, 3}, PerAxis{1, 1}, PerAxis{10, 12}), false, true, false};
  about.links = AboutLinks{"xy", 16, 1.5, 2};
  about.switches = AboutSwitches{4, 12.5, 1};
  about.threads[0] = {"requests", "virtual channel"};
  about.threads[12] = {"replies", "virtual channel"};
  about.places[{13, 17}] = "memory";
  about.places[{14, 17}] = "host";
  return about;
}

TEST(AboutTest, TextThatIsCutWithinALineIsRefused) {
  const std::string text = AboutText(FullAbout());
  for (size_t size = 0; size < text.size(); ++size) {
    if (size == 0 || text[size - 1] != '\n') {
      Refused(text.substr(0, size));
    }
  }
}

TEST(AboutTest, TextThatIsCutBehindALineNamesNoOtherThreadAndPlace) {
  const About whole = FullAbout();
  const std::string text = AboutText(whole);
  const size_t recognised = text.find("fingerprint");
  for (size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
    const Result<About> about = ParseAbout(text.substr(0, at + 1), "t.about");
    if (!about) {
      EXPECT_TRUE(at < recognised || about.Why().reason.find("there is no") != std::string::npos);
      continue;
    }
    EXPECT_GT(at, recognised);
    EXPECT_EQ(whole.name, about->name);
    EXPECT_EQ(whole.fingerprint, about->fingerprint);
    for (const auto& [number, thread] : about->threads) {
      EXPECT_TRUE(thread.name.empty() || whole.threads.at(number).name == thread.name);
    }
    for (const auto& [place, name] : about->places) {
      EXPECT_TRUE(name.empty() || whole.places.at(place) == name);
    }
  }
}

TEST(AboutTest, FlippedBitIsToldOrReadAsItStands) {
  const std::string text = AboutText(FullAbout());
  for (size_t at = 0; at < text.size() * 8; ++at) {
    std::string flipped = text;
    flipped[at / 8] = static_cast<char>(flipped[at / 8] ^ 1 << at % 8);
    const Result<About> about = ParseAbout(flipped, "t.about");
    if (!about) {
      EXPECT_EQ(Fault::DAMAGED_NOTES, about.Why().kind);
      continue;
    }
    const Result<About> again = ParseAbout(AboutText(*about), "t.about");
    EXPECT_TRUE(again) << "bit " << at << ": " << again.Why().Text();
  }
}

TEST(AboutTest, RecorderInPlainCIsUnderstood) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  marrowfin_trace_about(&trace, "tool", "a \"tool\"");
  marrowfin_trace_date(&trace);
  marrowfin_trace_cycle_ns(&trace, 1.25);
  const marrowfin_trace_array array = {2, 1, 3, 4, 5, 6, 0, 0, 1};
  marrowfin_trace_describe_array(&trace, &array);
  marrowfin_trace_describe_links(&trace, "xy", 16, 1);
  marrowfin_trace_describe_link_messages(&trace, 0.5);
  marrowfin_trace_describe_switches(&trace, 4, 12.5, 1);
  marrowfin_trace_name_thread(&trace, 1, "one", "class");
  marrowfin_trace_name_place(&trace, 7, 6, "memory");
  for (uint64_t i = 0; i < 100; ++i) {
    marrowfin_trace_send(&trace, i, 1, 2, 3, 4, 5);
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace));
  const Result<About> about = ReadAbout(AboutBeside(name));
  ASSERT_TRUE(about) << about.Why().Text();
  EXPECT_EQ("a \"tool\"", about->tool);
  EXPECT_EQ(1.25, about->cycleNs);
  EXPECT_EQ(20U, about->date.size());
  EXPECT_EQ(
      (AboutArray{ArrayShape(PerAxis{2, 1}, PerAxis{3, 4}, PerAxis{5, 6}), false, false, true}),
      about->array);
  EXPECT_EQ((AboutLinks{"xy", 16, 1, 0.5}), about->links);
  EXPECT_EQ((AboutSwitches{4, 12.5, 1}), about->switches);
  EXPECT_EQ("memory", about->places.at({6, 7}));
  EXPECT_EQ((AboutThread{"one", "class"}), about->threads.at(1));
  const Result<std::unique_ptr<TraceSource>> source = TraceSource::Open(name);
  ASSERT_TRUE(source);
  EXPECT_FALSE(CheckIsAbout(*about, **source, "t.about"));
}

TEST(AboutTest, OfWhatTheRecorderInPlainCIsToldAgainTheLastHolds) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  for (const uint32_t side : {4U, 2U}) {
    const std::string text = "run " + std::to_string(side);
    for (const char* key : {"name", "command", "date", "tool"}) {
      EXPECT_EQ(0, marrowfin_trace_about(&trace, key, text.c_str()));
    }
    EXPECT_EQ(0, marrowfin_trace_cycle_ns(&trace, side));
    const marrowfin_trace_array array = {1, 1, 1, 1, side, side, 1, 0, 0};
    EXPECT_EQ(0, marrowfin_trace_describe_array(&trace, &array));
    EXPECT_EQ(0, marrowfin_trace_describe_links(&trace, "xy", side, side));
    EXPECT_EQ(0, marrowfin_trace_describe_link_messages(&trace, side));
    EXPECT_EQ(0, marrowfin_trace_describe_switches(&trace, side, side, side));
    EXPECT_EQ(0, marrowfin_trace_name_thread(&trace, 1, text.c_str(), "class"));
    EXPECT_EQ(0, marrowfin_trace_name_place(&trace, 0, 1, text.c_str()));
    EXPECT_EQ(0, marrowfin_trace_flush(&trace));
  }
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  const Result<About> about = ReadAbout(AboutBeside(name));
  ASSERT_TRUE(about) << about.Why().Text();
  for (const std::string& text : {about->name, about->command, about->date, about->tool,
                                  about->threads.at(1).name, about->places.at({1, 0})}) {
    EXPECT_EQ("run 2", text);
  }
  EXPECT_EQ(2, about->cycleNs);
  EXPECT_EQ(ArrayShape(1, 1, 2), about->array->shape);
  EXPECT_EQ((AboutLinks{"xy", 2, 2, 2}), about->links);
  EXPECT_EQ((AboutSwitches{2, 2, 2}), about->switches);
}

TEST(AboutTest, OfLinksAndSwitchesTheRecorderInPlainCTellsAnyPart) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  EXPECT_EQ(0, marrowfin_trace_describe_link_messages(&trace, 4));
  EXPECT_EQ(0, marrowfin_trace_describe_switches(&trace, 0, 0, 3));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  const Result<About> about = ReadAbout(AboutBeside(name));
  ASSERT_TRUE(about) << about.Why().Text();
  EXPECT_EQ((AboutLinks{"", 0, 1, 4}), about->links);
  EXPECT_EQ((AboutSwitches{{}, {}, 3}), about->switches);
}

TEST(AboutTest, WhatReadersWouldRefuseTheRecorderInPlainCDoesNotTake) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  marrowfin_trace trace;
  marrowfin_trace_open(&trace, name.c_str());
  marrowfin_trace_companion(&trace);
  for (const char* key : {"", "format", "cycle_ns", "two words", "nam", "names", "a\nb"}) {
    EXPECT_EQ(EINVAL, marrowfin_trace_about(&trace, key, "x")) << key;
  }
  for (const double time : {0.0, -1.0, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(EINVAL, marrowfin_trace_cycle_ns(&trace, time)) << time;
  }
  for (const marrowfin_trace_array& array :
       {marrowfin_trace_array{1, 1, 1, 0, 1, 1, 1, 0, 0},
        marrowfin_trace_array{1u << 16, 1, 1u << 15, 1, 1, 1, 1, 0, 0},
        marrowfin_trace_array{1, ~0u, 1, ~0u, 1, ~0u, 1, 0, 0}}) {
    EXPECT_EQ(EINVAL, marrowfin_trace_describe_array(&trace, &array));
  }
  for (const double rate : {0.0, -1.0, 9e-7, 1.1e9, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(EINVAL, marrowfin_trace_describe_link_messages(&trace, rate)) << rate;
    EXPECT_EQ(rate == 0 ? 0 : EINVAL, marrowfin_trace_describe_switches(&trace, 1, rate, 0));
  }
  for (const double latency : {-1.0, HUGE_VAL, std::nan("")}) {
    EXPECT_EQ(EINVAL, marrowfin_trace_describe_switches(&trace, 4, 1, latency)) << latency;
  }
  EXPECT_EQ(0, marrowfin_trace_about(&trace, "name", "kept"));
  ASSERT_EQ(0, marrowfin_trace_close(&trace)) << marrowfin_trace_message(&trace);
  const Result<About> about = ReadAbout(AboutBeside(name));
  ASSERT_TRUE(about) << about.Why().Text();
  EXPECT_EQ("kept", about->name);
  EXPECT_EQ(std::nullopt, about->cycleNs);
  EXPECT_EQ(std::nullopt, about->array);
  EXPECT_EQ(std::nullopt, about->links);
  EXPECT_EQ((AboutSwitches{1, {}, 0}), about->switches);
}

TEST(AboutTest, OtherTraceIsTold) {
  TempDir folder;
  const std::string name = folder.File("run.trace");
  About about;
  const auto check = [&](const std::string& text) {
    WriteFile(name, TraceBytes(text));
    const Result<std::unique_ptr<TraceSource>> source = TraceSource::Open(name);
    EXPECT_TRUE(source);
    return CheckIsAbout(about, **source, "t.about").kind;
  };
  about.printed = 1;
  Fingerprint print;
  print.Add(FIRE_RECORD, 5, 1, {7, 2}, {});
  about.fingerprint = print.Value();
  EXPECT_EQ(Fault::NONE, check("fire 5 1 7 2\nfire 6 1 7 2\n"));
  EXPECT_EQ(Fault::OTHER_TRACE, check("fire 5 1 2 7\n"));
  EXPECT_EQ(Fault::OTHER_TRACE, check(""));
  about.printed = 2;
  EXPECT_EQ(Fault::OTHER_TRACE, check("fire 5 1 7 2\n"));
}

}  // namespace
}  // namespace marrowfin::testing
