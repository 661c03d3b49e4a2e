#include "results/explanations.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "program/explain_command.h"
#include "results/check_list.h"
#include "selftest/unit/hosted/memory_sink.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

/// What the command prints and reports.
struct ExplainAnswer {
  std::int32_t status = 0;
  std::string output;
  std::string errors;
};

ExplainAnswer Ask(std::vector<const char*> words) {
  MemorySink output;
  MemorySink errors;
  Console console(output, errors, false);
  ExplainAnswer said;
  said.status = ExplainCommand(words, console);
  said.output = output.text;
  said.errors = errors.text;
  return said;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++count;
  return count;
}

constexpr std::array kBoth = {&kStandardCatalogue, &kFurtherCatalogue};

// The document that the program carries has the catalogue's groups and checks, and says of each what
// there is to say.
TEST(Explanations, AreThereForEveryCheckAndGroup) {
  const std::vector<ExplainedGroup>& groups = ExplainedGroups();
  std::vector<const TestEntry*> entries;
  std::vector<std::int32_t> rows;
  for (const Catalogue* const catalogue : kBoth) {
    std::int32_t row = 0;
    for (const TestEntry* entry = catalogue->entries; entry->group != nullptr; ++entry) {
      entries.push_back(entry);
      rows.push_back(++row);
    }
  }
  ASSERT_EQ(groups.size(), entries.size());
  std::vector<std::string> ids;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    const ExplainedGroup& group = groups[i];
    const TestEntry& entry = *entries[i];
    EXPECT_EQ(group.id, IdOf(*entry.group));
    EXPECT_EQ(group.row, rows[i]);
    EXPECT_TRUE(std::string(entry.title).starts_with(group.title + " - ")) << group.title;
    EXPECT_FALSE(group.what.empty()) << group.id;
    for (const ExplainedGroup::Check& check : group.checks) {
      ids.push_back(check.id);
      EXPECT_FALSE(check.what.empty()) << check.id;
      EXPECT_EQ(check.what.find('<'), std::string::npos) << check.what;
      EXPECT_EQ(check.what.find('\n'), std::string::npos) << check.what;
      EXPECT_TRUE(Explain(check.id).has_value());
    }
    EXPECT_EQ(group.why.empty(), group.checks.empty()) << group.id;
    EXPECT_EQ(group.diagnostics.empty(), group.checks.empty()) << group.id;
    EXPECT_EQ(group.mistakes.empty(), group.checks.empty()) << group.id;
  }
  std::vector<std::string> wanted;
  for (const CheckInfo& check : ListChecks(kBoth)) wanted.push_back(check.id);
  EXPECT_EQ(ids, wanted);
}

TEST(Explanations, OfACheckHaveItsOwnEntryAndWhatItsGroupSays) {
  const auto check = Explain("Lock.MissingObject");
  ASSERT_TRUE(check);
  EXPECT_EQ(check->title, "FSLock() / ACTION_LOCATE_OBJECT");
  EXPECT_EQ(check->what, "Calls `Lock()`.\n\na name that does not exist gives no lock, but 205.");
  EXPECT_TRUE(check->why.starts_with("dos resolves long paths ")) << check->why;
  EXPECT_TRUE(check->diagnostics.starts_with("\"there was no object by that name\""))
      << check->diagnostics;
  EXPECT_TRUE(check->mistakes.starts_with("the empty name is refused ")) << check->mistakes;

  const auto group = Explain("Lock");
  ASSERT_TRUE(group);
  EXPECT_EQ(CountOf(group->what, "\n\n`Lock."), 4U);
  EXPECT_EQ(group->why, check->why);

  const auto last = Explain("WriteProtectVolume.OnAndOff");
  ASSERT_TRUE(last);
  EXPECT_EQ(last->mistakes, "a pass key of 0 is refused.");
  EXPECT_TRUE(Explain("Flush"));
  EXPECT_FALSE(Explain("Lock.Missing"));
  EXPECT_FALSE(Explain("Lock.*"));
  EXPECT_FALSE(Explain(""));
}

TEST(ExplainCommand, PrintsTheSectionOfACheck) {
  const ExplainAnswer said = Ask({"Delete.RootDirectory"});
  EXPECT_EQ(said.status, 0);
  EXPECT_EQ(said.errors, "");
  EXPECT_EQ(said.output,
            "Delete, test 10: FSDelate() / ACTION_DELETE_OBJECT\n"
            "\n"
            "Calls Delete().\n"
            "\n"
            "Delete.RootDirectory\n"
            "    \":\" is refused with 202.\n"
            "\n"
            "Why it matters: each refusal keeps a user from losing data; backup programs find\n"
            "changes by the archive bits of directories.\n"
            "\n"
            "Diagnostics: \"succeeded, but should have failed\" - the refusal is missing. \"the\n"
            "error code was wrong\" - it is there, but programs that look at the code misread\n"
            "it. A warning about a code fails the test.\n"
            "\n"
            "Where authors go wrong: open handles of mode MODE_OLDFILE do not count as users;\n"
            "the parent's archive bit is left alone.\n");
}

TEST(ExplainCommand, PrintsGroupsAndWhatAGlobFits) {
  EXPECT_EQ(CountOf(Ask({"Lock"}).output, "\nLock."), 4U);
  EXPECT_EQ(Ask({"Lock.*"}).output, Ask({"Lock"}).output);
  const ExplainAnswer loops = Ask({"*.DirectoryLoop"});
  EXPECT_EQ(CountOf(loops.output, ".DirectoryLoop\n"), 2U);
  EXPECT_EQ(CountOf(loops.output, "Why it matters: "), 2U);
  EXPECT_EQ(CountOf(loops.output, "Rename.TakenName"), 0U);
  const ExplainAnswer all = Ask({"*"});
  EXPECT_EQ(CountOf(all.output, ", test "), 47U);
  for (std::size_t at = 0; at < all.output.size();) {
    const std::size_t end = all.output.find('\n', at);
    EXPECT_LE(end - at, 80U) << all.output.substr(at, end - at);
    at = end + 1;
  }
}

TEST(ExplainCommand, HasHelp) {
  const ExplainAnswer said = Ask({"--help"});
  EXPECT_EQ(said.status, 0);
  EXPECT_EQ(said.errors, "");
  EXPECT_NE(said.output.find("Usage: quorle explain ID\n"), std::string::npos) << said.output;
}

TEST(ExplainCommand, RefusesWhatIsNoCheckInOneLine) {
  const ExplainAnswer wrong = Ask({"Rename.DirectryLoop"});
  EXPECT_EQ(wrong.status, 20);
  EXPECT_EQ(wrong.output, "");
  EXPECT_EQ(wrong.errors,
            "quorle: no check or group is called \"Rename.DirectryLoop\"; did you mean "
            "Rename.DirectoryLoop?\n");
  EXPECT_EQ(Ask({"zzzzzzzzzzzz"}).errors, "quorle: no check or group is called \"zzzzzzzzzzzz\"\n");
  EXPECT_EQ(Ask({"Lokc"}).errors,
            "quorle: no check or group is called \"Lokc\"; did you mean Lock?\n");
  for (const std::vector<const char*>& words :
       {std::vector<const char*>{}, std::vector<const char*>{"Lock", "Open"}}) {
    const ExplainAnswer said = Ask(words);
    EXPECT_EQ(said.status, 20);
    EXPECT_EQ(said.output, "");
    EXPECT_TRUE(said.errors.starts_with("quorle: usage: quorle explain ID")) << said.errors;
    EXPECT_EQ(CountOf(said.errors, "\n"), 1U);
  }
  EXPECT_EQ(Ask({""}).status, 20);
}

}  // namespace
}  // namespace quorle
