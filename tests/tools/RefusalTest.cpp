// What is refused, how it is said, and that nothing is left behind.

#include <sys/stat.h>

#include <map>

#include "tests/tools/ImportFixture.h"

namespace marrowfin {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class RefusalTest : public ImportFixture {
 protected:
  // `complaint` is what follows the name of the file, up to the end of the line.
  void ExpectRefused(const std::string& json, const std::string& complaint) {
    SCOPED_TRACE(json.substr(0, 200));
    EXPECT_EQ(1, Import(json, {"--strict"}));
    EXPECT_THAT(err, StartsWith("marrowfin-trace: " + Capture() + ": " + complaint + "\n  "));
    EXPECT_EQ("", out);
    ExpectNothingLeft();
  }

  // Replaces the field's value in an event that is whole otherwise; [0] is an event before it.
  void ExpectValueRefused(const std::string& field, const std::string& value,
                          const std::string& complaint) {
    std::string event = "{";
    for (const auto& [name, whole] : std::map<std::string, std::string>{{"proc", R"("BRISC")"},
                                                                        {"sx", "1"},
                                                                        {"sy", "2"},
                                                                        {"timestamp", "10"},
                                                                        {"type", R"("WRITE")"},
                                                                        {"dx", "3"},
                                                                        {"dy", "4"}}) {
      if (name != field) {
        event += "\"" + name + "\":" + whole + ", ";
      }
    }
    const std::string json =
        "[" + Event(R"("type":"READ","dx":3,"dy":4)") + "," + event + "\"" + field + "\" : ";
    ExpectRefused(json + value + "}]",
                  "byte " + std::to_string(json.size()) + ": [1]." + field + ": " + complaint);
  }
};

TEST_F(RefusalTest, EveryCutOfACaptureIsRefusedAndLeavesNothing) {
  const std::string whole = "[ " + Event(R"("type":"READ","dx":3,"dy":4,"e":[1.5e3,{"f":null}])") +
                            ",\n" + Event(R"("zone":"K\u00e9","zone_phase":"end")") + " ]";
  ASSERT_EQ(0, Import(whole, {"--no-companion"}));
  std::filesystem::remove(Trace());
  for (size_t size = 0; size < whole.size(); ++size) {
    SCOPED_TRACE("cut at byte " + std::to_string(size));
    ASSERT_EQ(1, Import(whole.substr(0, size)));
    ASSERT_THAT(err, AllOf(StartsWith("marrowfin-trace: " + Capture() + ": byte "),
                           HasSubstr("not JSON: "), HasSubstr("\n  The file is cut or damaged")));
    ExpectNothingLeft();
  }
}

TEST_F(RefusalTest, ACutBetweenTokensNamesTheEndOfTheFile) {
  ExpectRefused("", R"(byte 0: not JSON: "syntax error while parsing value - unexpected end of )"
                    R"(input; expected '[', '{', o...")");
  EXPECT_EQ(1, Import("[{\"proc\":"));
  EXPECT_THAT(err, HasSubstr(": byte 9: [0]: not JSON: "));
  EXPECT_EQ(1, Import("[{}"));
  EXPECT_THAT(err, HasSubstr(": byte 3: [1]: not JSON: "));
}

TEST_F(RefusalTest, AnyChangedByteGivesAnAccountThatAddsUpOrARefusal) {
  const std::string whole =
      "[" + Event(R"("type":"READ","dx":3,"dy":4)") + "," +
      Event(R"("zone":"K","zone_phase":"end")") + "," +
      Event(R"("type":"WRITE_MULTICAST","mcast_start_x":3,"mcast_start_y":4,)"
            R"("mcast_end_x":4,"mcast_end_y":6,"src_device_id":1,"run_host_id":2)") +
      "]";
  int accepted = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    for (const char replacement : {'\0', '"', '-', '9', '}', '\x80', 'A'}) {
      std::string damaged = whole;
      damaged[at] = replacement;
      testing::WriteFile(Capture(), damaged);
      const int status =
          Run({"import", "--format", "tt-npe", Capture(), "-o", "/dev/null", "--json"});
      ASSERT_THAT(status, ::testing::AnyOf(0, 1));
      if (status == 0) {
        const nlohmann::json account = nlohmann::json::parse(out);
        ASSERT_EQ(account["events"]["read"], account["events"]["converted"].get<int>() +
                                                 account["events"]["skipped"].get<int>());
        ++accepted;
      }
    }
  }
  EXPECT_GT(accepted, 100);
  EXPECT_LT(accepted, static_cast<int>(7 * whole.size()));
}

TEST_F(RefusalTest, AFileThatIsNotJsonIsRefusedWhereItStops) {
  EXPECT_EQ(1, Import("hello"));
  EXPECT_THAT(err, HasSubstr(": byte 0: not JSON: "));
  EXPECT_EQ(1, Import(std::string("\0\0\0\3", 4)));
  EXPECT_THAT(err, HasSubstr(": byte 0: not JSON: "));
  EXPECT_EQ(1, Import("[{\"sx\" 1}]"));
  EXPECT_THAT(err, HasSubstr(": byte 7: [0]: not JSON: "));
  EXPECT_EQ(1, Import("[{\"sx\":1]"));
  EXPECT_THAT(err, HasSubstr(": byte 8: [0]: not JSON: "));
  EXPECT_EQ(1, Import("[,]"));
  EXPECT_THAT(err, HasSubstr(": byte 1: [0]: not JSON: "));
  ExpectNothingLeft();
}

TEST_F(RefusalTest, AnythingBehindTheListIsRefused) {
  EXPECT_EQ(1, Import("[] []"));
  EXPECT_THAT(err, HasSubstr(": byte 3: not JSON: "));
  ExpectNothingLeft();
}

TEST_F(RefusalTest, WhatTheMessageQuotesFromTheFileIsPrintable) {
  EXPECT_EQ(1, Import("[{\"\x1b[31m\xff\": 1}]"));
  for (const char c : err) {
    EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << int{c};
  }
  EXPECT_EQ(1, Import("[{" + std::string(100000, 'x')));
  EXPECT_LT(err.size(), 500u);
}

TEST_F(RefusalTest, ATopLevelThatIsNoListIsRefused) {
  ExpectRefused("{\"events\":[]}", "byte 0: the file holds an object, not a list");
  ExpectRefused(" 17", "byte 1: the file holds a number, not a list");
  ExpectRefused("\"[]\"", "byte 0: the file holds a text, not a list");
  ExpectRefused("null", "byte 0: the file holds null, not a list");
}

TEST_F(RefusalTest, AMemberOfTheListThatIsNoObjectIsRefused) {
  const std::string start = "[" + Event(R"("type":"READ","dx":3,"dy":4)") + ", ";
  const std::string place = "byte " + std::to_string(start.size()) + ": [1]: ";
  ExpectRefused(start + "[]]", place + "is a list, not an object");
  ExpectRefused(start + "5]", place + "is a number, not an object");
  ExpectRefused(start + "\"a\"]", place + "is a text, not an object");
  ExpectRefused(start + "true]", place + "is true or false, not an object");
}

TEST_F(RefusalTest, ANumberOfAnotherTypeIsRefused) {
  for (const char* const field :
       {"sx", "sy", "dx", "dy", "timestamp", "mcast_start_x", "mcast_start_y", "mcast_end_x",
        "mcast_end_y", "src_device_id", "dst_device_id", "run_host_id"}) {
    ExpectValueRefused(field, "\"1\"", "is a text, must be a whole number");
    ExpectValueRefused(field, "null", "is null, must be a whole number");
    ExpectValueRefused(field, "true", "is true or false, must be a whole number");
    ExpectValueRefused(field, "[1]", "is a list, must be a whole number");
    ExpectValueRefused(field, "{}", "is an object, must be a whole number");
    ExpectValueRefused(field, "1.0",
                       "is a number with a point or an exponent, must be a whole number");
    ExpectValueRefused(field, "1e2",
                       "is a number with a point or an exponent, must be a whole number");
  }
}

TEST_F(RefusalTest, ANameOfAnotherTypeIsRefused) {
  for (const char* const field : {"proc", "type", "zone", "zone_phase"}) {
    ExpectValueRefused(field, "1", "is a number, must be a text");
    ExpectValueRefused(field, "-1", "is a number, must be a text");
    ExpectValueRefused(field, "null", "is null, must be a text");
    ExpectValueRefused(field, "[\"a\"]", "is a list, must be a text");
    ExpectValueRefused(field, "\"\"", "is a text of 0 bytes, must have 1 to 64");
    ExpectValueRefused(field, "\"" + std::string(65, 'x') + "\"",
                       "is a text of 65 bytes, must have 1 to 64");
  }
}

TEST_F(RefusalTest, ANumberOutsideItsRangeIsRefused) {
  for (const char* const field :
       {"sx", "sy", "mcast_start_x", "mcast_start_y", "mcast_end_x", "mcast_end_y"}) {
    ExpectValueRefused(field, "-1", "is -1, must lie from 0 to 255");
    ExpectValueRefused(field, "256", "is 256, must lie from 0 to 255");
  }
  for (const char* const field : {"dx", "dy"}) {
    ExpectValueRefused(field, "-2", "is -2, must lie from -1 to 255");
    ExpectValueRefused(field, "4294967297", "is 4294967297, must lie from -1 to 255");
  }
  for (const char* const huge : {"9223372036854775808", "18446744073709551616"}) {
    ExpectValueRefused("timestamp", huge,
                       "is " + std::string(huge) + ", must lie from 0 to 9223372036854775807");
    ExpectValueRefused("sx", huge, "is " + std::string(huge) + ", must lie from 0 to 255");
  }
  ExpectValueRefused("sx", std::string(1000, '9'),
                     "is " + std::string(40, '9') + "..., must lie from 0 to 255");
  ExpectValueRefused("sx", "1e999", "is 1e999, must lie from 0 to 255");
  ExpectRefused("[{\"a\":1e999}]", "byte 6: [0]: no number is as large as \"1e999\"");
  ExpectValueRefused("proc", "9223372036854775808", "is a number, must be a text");
  ExpectValueRefused("proc", "18446744073709551616", "is a number, must be a text");
  ExpectValueRefused("timestamp", "-1", "is -1, must lie from 0 to 9223372036854775807");
  ExpectValueRefused("src_device_id", "65536", "is 65536, must lie from 0 to 65535");
  ExpectValueRefused("dst_device_id", "-1", "is -1, must lie from 0 to 65535");
  ExpectValueRefused("run_host_id", "-1", "is -1, must lie from 0 to 9223372036854775807");
}

TEST_F(RefusalTest, AMissingFieldIsRefusedAtTheEventThatLacksIt) {
  const std::map<std::string, std::string> needed = {
      {"proc", R"("BRISC")"}, {"sx", "1"}, {"sy", "2"}, {"timestamp", "10"}};
  for (const auto& [missing, unused] : needed) {
    std::string event = "{";
    for (const auto& [name, value] : needed) {
      event += name == missing ? "" : "\"" + name + "\":" + value + ",";
    }
    ExpectRefused("[  " + event + R"("type":"WRITE_FLUSH"}])",
                  "byte 3: [0]." + missing + ": is missing (every event needs it)");
  }
  ExpectRefused("[" + Event(R"("noc":"NOC_0")") + "]",
                "byte 1: [0].type: is missing (an event has a \"type\" or a \"zone\")");
  ExpectRefused("[" + Event(R"("zone":"K")") + "]",
                "byte 1: [0].zone_phase: is missing (a zone needs it)");
}

TEST_F(RefusalTest, HalfACoordinateIsRefused) {
  ExpectRefused("[" + Event(R"("type":"READ","dx":3)") + "]",
                "byte 1: [0].dy: is missing (\"dx\" and \"dy\" go together)");
  ExpectRefused("[" + Event(R"("type":"READ","dy":3)") + "]",
                "byte 1: [0].dx: is missing (\"dx\" and \"dy\" go together)");
  ExpectRefused("[" + Event(R"("type":"READ","dx":3,"dy":-1)") + "]",
                "byte 1: [0].dy: is -1 (no far tile) where the other coordinate is not");
  ExpectRefused("[" + Event(R"("type":"READ","dx":-1,"dy":3)") + "]",
                "byte 1: [0].dx: is -1 (no far tile) where the other coordinate is not");
}

TEST_F(RefusalTest, HalfARectangleIsRefused) {
  const std::vector<std::string> corners = {"mcast_start_x", "mcast_start_y", "mcast_end_x",
                                            "mcast_end_y"};
  for (const std::string& missing : corners) {
    std::string fields = R"("type":"WRITE_MULTICAST")";
    for (const std::string& corner : corners) {
      fields += corner == missing ? "" : ",\"" + corner + "\":1";
    }
    ExpectRefused("[" + Event(fields) + "]",
                  "byte 1: [0]." + missing + ": is missing (a multicast has four corners)");
  }
}

TEST_F(RefusalTest, ADestinationDeviceWithoutASourceDeviceIsRefused) {
  ExpectRefused("[" + Event(R"("type":"READ","dx":3,"dy":1,"dst_device_id":1)") + "]",
                "byte 1: [0].src_device_id: is missing (\"dst_device_id\" needs it)");
}

TEST_F(RefusalTest, AFieldGivenTwiceIsRefused) {
  const std::string start = R"([{"proc":"BRISC","sx":1,)";
  ExpectRefused(start + R"("sx":1}])",
                "byte " + std::to_string(start.size()) + ": [0].sx: is given twice in one event");
}

TEST_F(RefusalTest, DeepNestingIsRefusedHoweverDeep) {
  const std::string start = R"([{"a":)";
  // 62 lists within the event within the list are 64.
  EXPECT_EQ(1, Import(start + std::string(62, '[') + std::string(62, ']') + "}]"));
  EXPECT_THAT(err, HasSubstr("[0].proc: is missing"));
  ExpectRefused(start + std::string(1'000'000, '['),
                "byte " + std::to_string(start.size() + 62) + ": [0]: is nested more than 64 deep");
}

TEST_F(RefusalTest, AValueWithoutEndIsRefusedBeforeItFillsTheMemory) {
  const std::string start = R"([{"a":)";
  ExpectRefused(start + "\"" + std::string(3 << 20, 'x') + "\"}]",
                "byte " + std::to_string(start.size()) +
                    ": more than 1048576 bytes without an end of the value");
  EXPECT_EQ(1, Import("[" + std::string(3 << 20, ' ') + "]"));
  EXPECT_THAT(err, HasSubstr("more than 1048576 bytes without an end of the value"));
  EXPECT_EQ(1, Import("[]" + std::string(3 << 20, ' ')));
  EXPECT_THAT(err, HasSubstr("more than 1048576 bytes without an end of the value"));
  ExpectNothingLeft();
}

TEST_F(RefusalTest, TooManyProcessorsAreRefused) {
  std::string json = "[";
  for (int i = 0; i <= 1024; ++i) {
    json += (i == 0 ? "" : ",") + (R"({"proc":"P)" + std::to_string(i)) +
            R"(","sx":1,"sy":2,"timestamp":10,"type":"WRITE_FLUSH"})";
  }
  EXPECT_EQ(1, Import(json + "]"));
  EXPECT_THAT(err, HasSubstr(": [1024].proc: is one more name than the 1024 processors"));
  ExpectNothingLeft();
  json.erase(json.rfind(",{"));
  EXPECT_EQ(0, Import(json + "]")) << err;
}

TEST_F(RefusalTest, AnArrayBeyondTheLimitIsRefused) {
  std::string json = "[";
  for (int device = 0; device < 257; ++device) {
    json += (device == 0 ? "" : ",") +
            Event(R"("type":"WRITE_FLUSH","src_device_id":)" + std::to_string(device));
  }
  // 17 x 17 squares, the tile at column 255 makes them 256 a side.
  json +=
      R"(,{"proc":"BRISC","sx":255,"sy":2,"timestamp":10,"type":"WRITE_FLUSH","src_device_id":0}])";
  ExpectRefused(json, "257 devices need an array of 4352 positions a side");
}

TEST_F(RefusalTest, MoreRecordsThanTheLimitAreRefused) {
  const std::string json = "[" + Event(R"("type":"WRITE_FLUSH")") + "," +
                           Event(R"("type":"WRITE_MULTICAST","mcast_start_x":0,"mcast_start_y":0,)"
                                 R"("mcast_end_x":255,"mcast_end_y":255)") +
                           "]";
  EXPECT_EQ(1, Import(json, {"--max-records", "65536"}));
  EXPECT_THAT(err, HasSubstr(Capture() + ": becomes 65537 records, more than 65536\n"
                                         "  Raise the limit with --max-records"));
  ExpectNothingLeft();
  EXPECT_EQ(0, Import(json, {"--max-records", "65537"})) << err;
  EXPECT_EQ(65539u, RecordsIn(testing::ReadFile(Trace())).size());
}

TEST_F(RefusalTest, AnInputThatCannotBeReadIsRefused) {
  EXPECT_EQ(1, Run({"import", "--format", "tt-npe", folder.File("none"), "-o", Trace()}));
  EXPECT_EQ("marrowfin-trace: " + folder.File("none") +
                ": cannot open: No such file or directory\n  Name a file that you may read.\n",
            err);
  EXPECT_EQ(1, Run({"import", "--format", "tt-npe", folder.Path(), "-o", Trace()}));
  EXPECT_THAT(err, HasSubstr(folder.Path() + ": cannot read: Is a directory\n"));
  EXPECT_THAT(FolderContents(), ::testing::IsEmpty());
}

TEST_F(RefusalTest, AnExistingOutputStaysAsItWasWhenTheInputIsRefused) {
  testing::WriteFile(Trace(), "precious");
  EXPECT_EQ(1, Import("[{}]"));
  EXPECT_EQ("precious", testing::ReadFile(Trace()));
  EXPECT_THAT(FolderContents(), ::testing::UnorderedElementsAre(captureName, "out.trace"));
}

TEST_F(RefusalTest, WhatExistsIsReplacedOnlyWhereThatIsForced) {
  for (const std::string format : {"tt-npe", "jsonl"}) {
    testing::WriteFile(Capture(), format == "jsonl" ? "" : "[]");
    const std::vector<std::string> import = {"import",  "--format", format,
                                             Capture(), "-o",       Trace()};
    const auto with = [&](const std::string& flag) {
      std::vector<std::string> words = import;
      words.push_back(flag);
      return words;
    };
    for (const std::string& there : {Trace(), Trace() + ".notes", Trace() + ".about"}) {
      SCOPED_TRACE(format + " where " + there + " is");
      testing::WriteFile(there, "precious");
      EXPECT_EQ(2, Run(import));
      EXPECT_EQ("marrowfin-trace: " + there +
                    ": exists already\n"
                    "  Name another file, or replace this one with --force.\n",
                err);
      EXPECT_EQ("precious", testing::ReadFile(there));
      // Without a companion, or with it inside, what lies there would be taken for the trace's own.
      if (there != Trace()) {
        for (const std::string flag : {"--no-companion", "--pack"}) {
          EXPECT_EQ(2, Run(with(flag))) << flag;
          EXPECT_EQ("precious", testing::ReadFile(there)) << flag;
          EXPECT_FALSE(std::filesystem::exists(Trace())) << flag;
        }
      }
      std::filesystem::remove(there);
    }
    testing::WriteFile(Trace(), "precious");
    EXPECT_EQ(0, Run(with("--force"))) << err;
    EXPECT_NE("precious", testing::ReadFile(Trace()));
    for (const std::string& made : {Trace(), Trace() + ".notes", Trace() + ".about"}) {
      EXPECT_TRUE(std::filesystem::remove(made));
    }
  }
}

TEST_F(RefusalTest, TheInputIsNeverReplaced) {
  testing::WriteFile(Capture(), "[]");
  for (const bool hard : {false, true}) {
    if (hard) {
      std::filesystem::create_hard_link(Capture(), Trace());
    } else {
      std::filesystem::create_symlink(Capture(), Trace());
    }
    EXPECT_EQ(2, Run({"import", "--format", "tt-npe", Capture(), "-o", Trace(), "--force"}));
    EXPECT_THAT(err, HasSubstr(Trace() + ": is the input\n"));
    EXPECT_EQ("[]", testing::ReadFile(Capture()));
    std::filesystem::remove(Trace());
  }
}

TEST_F(RefusalTest, AnOutputThatCannotBeMadeIsAFailureOfItsOwn) {
  testing::WriteFile(Capture(), "[]");
  const std::string missing = folder.File("none/out.trace");
  EXPECT_EQ(3, Run({"import", "--format", "tt-npe", Capture(), "-o", missing}));
  EXPECT_THAT(err, HasSubstr(missing + ": cannot create: No such file or directory\n"));
  EXPECT_EQ(3, Run({"import", "--format", "tt-npe", Capture(), "-o", folder.Path()}));
  EXPECT_THAT(err, HasSubstr(folder.Path() + ": cannot write: Is a directory\n"));
  EXPECT_EQ("", out);
  ExpectNothingLeft();
}

TEST_F(RefusalTest, AFullDeviceIsReportedWithAReason) {
  testing::WriteFile(Capture(), "[]");
  EXPECT_EQ(3, Run({"import", "--format", "tt-npe", Capture(), "-o", "/dev/full"}));
  EXPECT_EQ(
      "marrowfin-trace: /dev/full: cannot write: No space left on device\n"
      "  Make room there, or choose another place.\n",
      err);
  struct stat status;
  ASSERT_EQ(0, stat("/dev/full", &status));
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

TEST_F(RefusalTest, ACommandLineThatIsNotUnderstoodReadsAndWritesNothing) {
  const std::vector<std::vector<std::string>> lines = {
      {},
      {"export"},
      {"import"},
      {"import", "--format", "tt-npe", Capture()},
      {"import", "--format", "tt-npe", "-o", Trace()},
      {"import", Capture(), "-o", Trace()},
      {"import", "--format", "vcd", Capture(), "-o", Trace()},
      {"import", "--format", "tt-npe", Capture(), "-o", Trace(), "--frame"},
      {"import", "--format", "tt-npe", Capture(), "-o", Trace(), "another"},
      {"import", "--format", "tt-npe", Capture(), "-o", Trace(), "--max-records", "-1"},
      {"import", "--format", "tt-npe", Capture(), "-o", Trace(), "--max-records", "many"},
      {"import", "--format", "tt-npe", Capture(), "-o"}};
  testing::WriteFile(Capture(), "[]");
  for (const std::vector<std::string>& line : lines) {
    SCOPED_TRACE(::testing::PrintToString(line));
    EXPECT_EQ(2, Run(line));
    EXPECT_EQ("", out);
    EXPECT_THAT(err, Not(::testing::IsEmpty()));
    ExpectNothingLeft();
  }
}

}  // namespace
}  // namespace marrowfin
