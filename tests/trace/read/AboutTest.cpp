// About files: read, written, and refused.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

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
  about.links = AboutLinks{"xy", 16, 1.5};
  about.threads[0] = {"requests", "virtual channel"};
  about.threads[4000000000] = {"", "class"};
  about.places[{3, 7}] = "memory";
  EXPECT_EQ(about, Parsed(AboutText(about)));
  EXPECT_EQ(About(), Parsed(AboutText(About())));
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
  about.links = AboutLinks{"xy", std::numeric_limits<double>::quiet_NaN(), 2};
  const About read = Parsed(AboutText(about));
  EXPECT_EQ("a\xef\xbf\xbd\xef\xbf\xbd\xef\xbf\xbdz\xf0\x9f\x90\x9f", read.name);
  EXPECT_EQ("sim", read.tool);
  EXPECT_EQ(std::nullopt, read.cycleNs);
  EXPECT_EQ((AboutLinks{"xy", 0, 2}), read.links);
}

TEST(AboutTest, KeysThatNobodyKnowsArePassedOver) {
  EXPECT_EQ("n", Parsed("format = 1\nname = \"n\"\nfuture = [1, 2]\n[more]\nx = 1\n" + TRACE).name);
}

TEST(AboutTest, WhatIsLeftOutHasItsDefault) {
  const About about = Parsed("format = 1\n" + TRACE + "[array]\npes = { columns = 8 }\n");
  EXPECT_EQ(ArrayShape(PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{8, 1}), about.array->shape);
  EXPECT_TRUE(about.array->gaps);
  EXPECT_FALSE(about.links);
  EXPECT_FALSE(about.cycleNs);
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
  EXPECT_EQ((AboutLinks{"xy", 16, 1}), about->links);
  EXPECT_EQ("memory", about->places.at({6, 7}));
  EXPECT_EQ((AboutThread{"one", "class"}), about->threads.at(1));
  const Result<std::unique_ptr<TraceSource>> source = TraceSource::Open(name);
  ASSERT_TRUE(source);
  EXPECT_FALSE(CheckIsAbout(*about, **source, "t.about"));
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
