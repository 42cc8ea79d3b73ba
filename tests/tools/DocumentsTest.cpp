// What the documents say about the program is what it does.

#include "tests/support/Command.h"
#include "tests/tools/ImportFixture.h"
#include "tests/tools/NotesText.h"
#include "tools/program/Subcommands.h"

namespace marrowfin {
namespace {

using ::testing::HasSubstr;

class DocumentsTest : public ImportFixture {
 protected:
  static std::string Document(const std::string& name) {
    return testing::ReadFile(std::string(MARROWFIN_SOURCE_DIR "/docs/") + name);
  }

  // What stands between ```KIND and ```, of the first such block.
  static std::string Block(const std::string& document, const std::string& kind) {
    const std::string start = "```" + kind + "\n";
    const size_t begin = document.find(start);
    if (begin == std::string::npos) {
      ADD_FAILURE() << "no block " << kind;
      return "";
    }
    return document.substr(begin + start.size(),
                           document.find("```", begin + start.size()) - begin - start.size());
  }
};

std::vector<std::string> Words(const std::string& line) {
  std::istringstream stream(line);
  std::vector<std::string> words;
  for (std::string word; stream >> word;) {
    words.push_back(word);
  }
  return words;
}

std::string Lines(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

TEST_F(DocumentsTest, TheWorkedExampleIsWhatTheProgramPrintsAndWrites) {
  const std::string document = Document("import.md");
  ASSERT_EQ(0, chdir(folder.Path().c_str()));
  testing::WriteFile("example.json", Block(document, "json"));
  std::vector<std::string> command = Words(Block(document, "sh"));
  ASSERT_EQ("marrowfin-trace", command[0]);
  command[0] = MARROWFIN_TRACE;
  const testing::CommandResult result = testing::RunCommand(command);
  EXPECT_EQ(0, result.exitStatus) << result.err;
  EXPECT_EQ(Block(document, "text"), result.out);
  EXPECT_EQ(testing::TraceBytes(Block(document, "records")), testing::ReadFile("example.trace"));
  EXPECT_EQ(Block(document, "notes"), Lines(NotesBeside("example.trace")));
}

// The words of a help text that begin with two hyphens.
std::vector<std::string> FlagsIn(const std::string& help) {
  std::vector<std::string> flags;
  for (size_t at = help.find("--"); at != std::string::npos; at = help.find("--", at + 2)) {
    const size_t end = help.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at);
    flags.push_back(help.substr(at, end - at));
  }
  return flags;
}

std::string WithoutEscapes(std::string page) {
  for (size_t at = page.find("\\-"); at != std::string::npos; at = page.find("\\-", at)) {
    page.erase(at, 1);
  }
  return page;
}

TEST_F(DocumentsTest, TheManualPageHasEverySubcommandAndFlag) {
  const std::string page = WithoutEscapes(Document("man/marrowfin-trace.1"));
  ASSERT_EQ(0, Run({"--help"}));
  std::string help = out;
  for (const Subcommand* subcommand : Subcommands()) {
    for (const char* const title : {".SS ", ".SS Options of "}) {
      const std::string heading = std::string("\n") + title + subcommand->name + "\n";
      EXPECT_NE(std::string::npos, page.find(heading)) << heading;
    }
    ASSERT_EQ(0, Run({subcommand->name, "--help"}));
    help += out;
  }
  for (const Subcommand* kind : PlotKinds()) {
    EXPECT_NE(std::string::npos, page.find(std::string("\n.B ") + kind->name + "\n")) << kind->name;
    ASSERT_EQ(0, Run({"plot", kind->name, "--help"}));
    help += out;
  }
  ASSERT_GE(FlagsIn(help).size(), 7u);
  for (const std::string& flag : FlagsIn(help)) {
    EXPECT_NE(std::string::npos, page.find(flag)) << flag;
  }
}

void ExpectNamesIn(const std::string& page, const nlohmann::json& json) {
  for (const auto& [name, value] : json.items()) {
    if (json.is_object()) {
      EXPECT_THAT(page, ::testing::ContainsRegex("[^A-Za-z]" + name + "[^A-Za-z]"));
    }
    if (value.is_structured()) {
      ExpectNamesIn(page, value);
    }
  }
}

TEST_F(DocumentsTest, TheManualPageHasEveryNameOfJson) {
  const std::string page = WithoutEscapes(Document("man/marrowfin-trace.1"));
  const size_t begin = page.find("\n.SH JSON\n");
  const std::string names = page.substr(begin, page.find("\n.SH ", begin + 1) - begin);
  const std::string trace = folder.File("t.trace");
  testing::WriteFile(trace, testing::TraceBytes("fire 1 0 0 0\nsend 1 0 0 0 9 9\nswitch 2 0 4 4\n"
                                                "fire 3 0 0 0\nfire 3 1 3 3\nraw 3 0 0 8 00"));
  for (const std::vector<std::string>& words : {std::vector<std::string>{"info"},
                                                {"check", "-p", "4"},
                                                {"index"},
                                                {"pack", "-o", folder.File("t.mfz")},
                                                {"state", "--cycle", "3"},
                                                {"stats", "--packets", "thread"},
                                                {"why"},
                                                {"why", "--cone", "back"}}) {
    std::vector<std::string> command = {words[0], trace, "--json"};
    command.insert(command.end(), words.begin() + 1, words.end());
    Run(command);
    ExpectNamesIn(names, nlohmann::json::parse(out));
  }
}

TEST_F(DocumentsTest, TheGuideNamesEveryReasonToSkipAnEvent) {
  const std::string document = Document("import.md");
  ASSERT_EQ(0, Import("[]", {"--json"}));
  const nlohmann::json account = nlohmann::json::parse(out);
  for (const auto& [reason, unused] : account["skipped"].items()) {
    EXPECT_THAT(document, HasSubstr("`" + reason + "`"));
  }
  for (const auto& [kind, unused] : account["converted"].items()) {
    EXPECT_THAT(document, HasSubstr("`" + kind + "`"));
  }
}

}  // namespace
}  // namespace marrowfin
