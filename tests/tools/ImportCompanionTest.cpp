// The companion of an imported trace.

#include <sys/stat.h>

#include "tests/tools/ImportFixture.h"
#include "tests/tools/NotesText.h"
#include "trace/read/AboutFile.h"
#include "trace/read/TraceSource.h"

namespace marrowfin {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::UnorderedElementsAre;

class ImportCompanionTest : public ImportFixture {
 protected:
  // The notes of all records of the trace of one list of events, but for the frame's.
  std::vector<std::string> Notes(const std::string& events) {
    EXPECT_EQ(0, Import("[" + events + "]", {"--no-frame"})) << err;
    return NotesBeside(Trace());
  }

  About TheAbout() {
    const Result<About> about = ReadAbout(AboutBeside(Trace()));
    EXPECT_TRUE(about) << about.Why().Text();
    return *about;
  }

  std::string NotesName() const { return Trace() + ".notes"; }
  std::string AboutName() const { return Trace() + ".about"; }
};

std::string On(int device, const std::string& more) {
  return Event(R"("src_device_id":)" + std::to_string(device) + "," + more);
}

TEST_F(ImportCompanionTest, AWaitingTileIsToldFromAWorkingOne) {
  const std::vector<std::pair<std::string, std::string>> events = {
      {R"("zone":"K","zone_phase":"begin")", "kind=kernel phase=begin name=K"},
      {R"("zone":"K","zone_phase":"ZONE_START")", "kind=kernel phase=begin name=K"},
      {R"("zone":"L","zone_phase":"end")", "kind=kernel phase=end name=L"},
      {R"("zone":"L","zone_phase":"ZONE_END")", "kind=kernel phase=end name=L"},
      {R"("type":"READ_BARRIER_START")", "kind=barrier phase=begin name=READ_BARRIER_START"},
      {R"("type":"WRITE_BARRIER_END")", "kind=barrier phase=end name=WRITE_BARRIER_END"},
      {R"("type":"READ_BARRIER_WITH_TRID")", "kind=barrier name=READ_BARRIER_WITH_TRID"},
      {R"("type":"WRITE_FLUSH")", "kind=flush name=WRITE_FLUSH"},
      {R"("type":"SEMAPHORE_WAIT")", "kind=wait name=SEMAPHORE_WAIT"},
      {R"("type":"SEMAPHORE_WAIT_MIN")", "kind=wait name=SEMAPHORE_WAIT_MIN"},
      {R"("type":"SEMAPHORE_SET")", "kind=set-up name=SEMAPHORE_SET"},
      {R"("type":"READ_SET_STATE")", "kind=set-up name=READ_SET_STATE"},
      {R"("type":"WRITE_SET_TRID")", "kind=set-up name=WRITE_SET_TRID"}};
  for (const auto& [event, notes] : events) {
    EXPECT_THAT(Notes(Event(event)), ElementsAre(notes + " event=0"));
  }
}

TEST_F(ImportCompanionTest, EachTransferHasItsKindAndItsBytes) {
  const std::vector<std::pair<std::string, std::string>> events = {
      {R"("type":"READ","dx":3,"dy":4,"num_bytes":2048)", "kind=read name=READ size=2048"},
      {R"("type":"WRITE_","dx":3,"dy":4,"num_bytes":0)", "kind=write name=WRITE_ size=0"},
      {R"("type":"SEMAPHORE_INC","dx":3,"dy":4)", "kind=semaphore name=SEMAPHORE_INC"},
      {R"("type":"FABRIC_WRITE","dst_device_id":0,"src_device_id":0,"dx":3,"dy":4,"num_bytes":1)",
       "kind=fabric write name=FABRIC_WRITE size=1"}};
  for (const auto& [event, notes] : events) {
    EXPECT_THAT(Notes(Event(event)), ElementsAre(notes + " event=0"));
  }
}

TEST_F(ImportCompanionTest, EachMessageOfAMulticastHasItsNotes) {
  const std::string notes = "kind=multicast name=WRITE_MULTICAST size=64 event=0";
  EXPECT_THAT(Notes(Event(R"("type":"WRITE_MULTICAST","num_bytes":64,"mcast_start_x":3,)"
                          R"("mcast_start_y":4,"mcast_end_x":4,"mcast_end_y":5)")),
              ElementsAre(notes, notes, notes, notes));
}

TEST_F(ImportCompanionTest, NetworkChannelAndOperationAreNotedOfFiresToo) {
  const std::string fields = R"("noc":"NOC_1","vc":3,"op_name":"Gather")";
  EXPECT_THAT(Notes(Event(R"("type":"READ","dx":3,"dy":4,)" + fields)),
              ElementsAre("kind=read name=READ network=NOC_1 channel=3 operation=Gather event=0"));
  EXPECT_THAT(
      Notes(Event(R"("type":"WRITE_FLUSH","num_bytes":7,)" + fields)),
      ElementsAre("kind=flush name=WRITE_FLUSH network=NOC_1 channel=3 operation=Gather event=0"));
}

TEST_F(ImportCompanionTest, AnOddValueOfAFieldForTheNotesIsNotNotedAndChangesNoRecord) {
  const std::string read = R"("type":"READ","dx":3,"dy":4)";
  for (const std::string odd :
       {R"("noc":1)", R"("noc":"")", R"("noc":null)", R"("vc":-1)", R"("vc":255)", R"("vc":"1")",
        R"("vc":1.5)", R"("num_bytes":-1)", R"("num_bytes":1e3)",
        R"("num_bytes":18446744073709551615)", R"("num_bytes":99999999999999999999)",
        R"("num_bytes":[64])", R"("num_bytes":{"sx":7})", R"("num_bytes":1,"num_bytes":1)",
        R"("op_name":false)"}) {
    SCOPED_TRACE(odd);
    EXPECT_THAT(Notes(Event(read + "," + odd)), ElementsAre("kind=read name=READ event=0"));
    EXPECT_THAT(Notes(Event(odd + "," + read)), ElementsAre("kind=read name=READ event=0"));
    EXPECT_EQ(testing::TraceBytes("send 0 0 3 4 1 2"), testing::ReadFile(Trace()));
    EXPECT_EQ(0, Import("[" + Event(read + "," + odd) + "]", {"--strict"})) << err;
  }
}

TEST_F(ImportCompanionTest, EachRecordNamesItsEventInTheCapture) {
  EXPECT_THAT(Notes(R"({"proc":"B","sx":0,"sy":0,"timestamp":9,"zone":"K","zone_phase":"end"},)"
                    R"({"proc":"B","sx":0,"sy":0,"timestamp":8,"type":"WHAT"},)"
                    R"({"proc":"B","sx":0,"sy":0,"timestamp":7,"zone":"K","zone_phase":"begin"})"),
              ElementsAre("kind=kernel phase=begin name=K event=2",
                          "kind=kernel phase=end name=K event=0"));
}

TEST_F(ImportCompanionTest, TheFrameIsAKindOfItsOwn) {
  ASSERT_EQ(0, Import("[" + Event(R"("type":"WRITE_FLUSH")") + "]"));
  EXPECT_THAT(NotesBeside(Trace()),
              ElementsAre("kind=frame", "kind=flush name=WRITE_FLUSH event=0", "kind=frame"));
}

TEST_F(ImportCompanionTest, ATraceLongerThanABlockOfNotesHasThemToItsEnd) {
  std::string events = Event(R"("type":"WRITE_FLUSH")");
  events += "," + Event(R"("type":"WRITE_MULTICAST","mcast_start_x":0,"mcast_start_y":0,)"
                        R"("mcast_end_x":255,"mcast_end_y":255)");
  events += "," + Event(R"("type":"READ_BARRIER_END")");
  const std::vector<std::string> notes = Notes(events);
  ASSERT_EQ(65538u, notes.size());
  EXPECT_EQ("kind=multicast name=WRITE_MULTICAST event=1", notes[65536]);
  EXPECT_EQ("kind=barrier phase=end name=READ_BARRIER_END event=2", notes[65537]);
}

TEST_F(ImportCompanionTest, ACaptureWithMoreNamesThanThereAreNumbersIsImportedAllTheSame) {
  std::string events;
  for (int i = 0; i < 65536; ++i) {
    events +=
        (i == 0 ? "" : ",") + Event(R"("zone":"K)" + std::to_string(i) + R"(","zone_phase":"end")");
  }
  const std::vector<std::string> notes = Notes(events);
  EXPECT_EQ("kind=kernel phase=end name=K65534 event=65534", notes[65534]);
  EXPECT_EQ("kind=kernel phase=end event=65535", notes[65535]);
}

TEST_F(ImportCompanionTest, TheTraceHasTheSameBytesWithAndWithoutIt) {
  const std::string json = "[" + Event(R"("type":"READ","dx":3,"dy":4,"num_bytes":64)") + "," +
                           Event(R"("type":"WRITE_FLUSH")") + "]";
  ASSERT_EQ(0, Import(json));
  const std::string bytes = testing::ReadFile(Trace());
  EXPECT_THAT(out, HasSubstr("companion: " + AboutName() + "\ncompanion: " + NotesName() + "\n"));
  ASSERT_EQ(0, Import(json, {"--no-companion"}));
  EXPECT_EQ(bytes, testing::ReadFile(Trace()));
  EXPECT_THAT(FolderContents(), UnorderedElementsAre("capture.json", "out.trace"))
      << "the companion of the trace that was replaced is gone";
  EXPECT_THAT(out, ::testing::Not(HasSubstr("companion")));
}

TEST_F(ImportCompanionTest, ADeviceHasNone) {
  testing::WriteFile(Capture(), "[]");
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", Capture(), "-o", "/dev/null", "--json"}));
  EXPECT_EQ(nlohmann::json::array(), nlohmann::json::parse(out)["companion"]);
  EXPECT_FALSE(std::filesystem::exists("/dev/null.notes"));
  EXPECT_FALSE(std::filesystem::exists("/dev/null.about"));
}

TEST_F(ImportCompanionTest, WhoMayReadTheTraceMayReadItsCompanion) {
  testing::WriteFile(Trace(), "");
  ASSERT_EQ(0, chmod(Trace().c_str(), 0640));
  ASSERT_EQ(0, Import("[]"));
  for (const std::string& name : {Trace(), NotesName(), AboutName()}) {
    struct stat status;
    ASSERT_EQ(0, stat(name.c_str(), &status));
    EXPECT_EQ(0640u, status.st_mode & 0777) << name;
  }
}

TEST_F(ImportCompanionTest, ALinkInItsPlaceIsReplacedAndNotFollowed) {
  testing::WriteFile(folder.File("other"), "mine");
  std::filesystem::create_symlink(folder.File("other"), NotesName());
  ASSERT_EQ(0, Import("[]"));
  EXPECT_EQ("mine", testing::ReadFile(folder.File("other")));
  EXPECT_EQ(2u, NotesBeside(Trace()).size());
}

TEST_F(ImportCompanionTest, WhereItCannotBeWrittenNothingChanges) {
  ASSERT_EQ(0, Import("[" + Event(R"("type":"WRITE_FLUSH")") + "]"));
  const std::string trace = testing::ReadFile(Trace());
  const std::string notes = testing::ReadFile(NotesName());
  std::filesystem::remove(AboutName());
  std::filesystem::create_directory(AboutName());
  EXPECT_EQ(3, Import("[]"));
  EXPECT_THAT(err, HasSubstr(AboutName() + ": cannot create"));
  EXPECT_THAT(err, HasSubstr("--no-companion"));
  EXPECT_EQ(trace, testing::ReadFile(Trace()));
  EXPECT_EQ(notes, testing::ReadFile(NotesName()));
  EXPECT_EQ(0, Import("[]", {"--no-companion"})) << err;
}

TEST_F(ImportCompanionTest, TheCaptureIsNotReplacedByACompanionOfItsName) {
  for (const std::string& name : {NotesName(), AboutName()}) {
    testing::WriteFile(name, "[]");
    EXPECT_EQ(2, Run({"import", "--format", "tt-npe", name, "-o", Trace()}));
    EXPECT_THAT(err, HasSubstr(name + ": is the input"));
    EXPECT_EQ("[]", testing::ReadFile(name));
  }
}

TEST_F(ImportCompanionTest, TheAboutFileTellsWhatTheRunWas) {
  ASSERT_EQ(0, Import("[" + Event(R"("type":"READ","dx":3,"dy":6)") + "]"));
  const About about = TheAbout();
  EXPECT_EQ("capture.json", about.name);
  EXPECT_EQ("marrowfin-trace import --format tt-npe " + Capture() + " -o " + Trace(),
            about.command);
  EXPECT_THAT(about.tool, HasSubstr("marrowfin-trace "));
  EXPECT_EQ("", about.date);
  EXPECT_EQ(std::nullopt, about.cycleNs);
  EXPECT_EQ(
      (AboutArray{ArrayShape(PerAxis{1, 1}, PerAxis{1, 1}, PerAxis{4, 7}), false, false, false}),
      about.array);
  EXPECT_EQ((std::map<uint32_t, AboutThread>{
                {0, {"BRISC", "processor"}},
                {2, {"frame", "records before and behind, which draw nothing"}}}),
            about.threads);
  EXPECT_TRUE(about.places.empty());
  const Result<std::unique_ptr<TraceSource>> source = TraceSource::Open(Trace());
  EXPECT_FALSE(CheckIsAbout(about, **source, AboutName()));
}

TEST_F(ImportCompanionTest, SeveralDevicesAreClustersAndTheirTilesHaveNames) {
  ASSERT_EQ(0, Import("[" + On(5, R"("type":"READ","dx":3,"dy":2)") + "," +
                      On(2, R"("type":"WRITE_FLUSH")") + "," +
                      On(7, R"("type":"FABRIC_WRITE","dst_device_id":5,"dx":0,"dy":0)") + "]"));
  const About about = TheAbout();
  EXPECT_EQ(
      (AboutArray{ArrayShape(PerAxis{2, 2}, PerAxis{1, 1}, PerAxis{4, 4}), true, false, false}),
      about.array);
  EXPECT_EQ((std::map<Place, std::string, InRowOrder>{{{1, 2}, "device 2, tile 1 2"},
                                                      {{4, 0}, "device 5, tile 0 0"},
                                                      {{5, 2}, "device 5, tile 1 2"},
                                                      {{7, 2}, "device 5, tile 3 2"},
                                                      {{1, 6}, "device 7, tile 1 2"}}),
            about.places);
}

TEST_F(ImportCompanionTest, TheNameOfACaptureMayHoldAnyBytes) {
  const std::string name = folder.File("a\n\xff'\"\\.json");
  testing::WriteFile(name, "[]");
  ASSERT_EQ(0, Run({"import", "--format", "tt-npe", name, "-o", Trace()})) << err;
  EXPECT_EQ("a \xef\xbf\xbd'\"\\.json", TheAbout().name);
}

}  // namespace
}  // namespace marrowfin
