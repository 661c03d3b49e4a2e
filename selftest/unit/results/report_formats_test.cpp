#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "results/outcome_table.h"
#include "results/report.h"
#include "selftest/unit/results/report_fixture.h"

namespace quorle {
namespace {

constexpr const char* kExpected =
    "[[expect]]\ncheck = \"Lock.C\"\nverdict = \"unsupported\"\nreason = \"#12: none | here\"\n";

std::string Explained(const std::string& id) {
  return id == "Lock.B" ? "Calls `Lock()` & looks.\n\n- one\n- two\n\n**Why:** so" : "";
}

/// Each verdict, one of them expected.
std::vector<CheckEvent> EachVerdict() {
  std::vector<CheckEvent> checks = {
      MakeCheck("Lock.A", Verdict::kPass),
      MakeCheck("Lock.B", Verdict::kFail, "a \"b\" <c> & `d` | e\x1b"),
      MakeCheck("Lock.C", Verdict::kUnsupported),
      MakeBlocked("Lock.D", "Lock.B"),
      MakeCheck("Open.A", Verdict::kWarn, "wrong code"),
      MakeCheck("Open.B", Verdict::kSkipped)};
  checks[1].calls = {.first = 5, .last = 9};
  checks[1].us = 1234567;
  checks[5].why = "not selected";
  return checks;
}

std::string Rendered(std::string (*render)(const ReportInput&),
                     const std::vector<RunRecord>& runs) {
  const Expectations expectations = MakeExpectations(kExpected);
  return render({.runs = runs, .expectations = expectations, .explain = Explained});
}

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::size_t CountOf(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

// ---- TAP ----------------------------------------------------------------------------------------

TEST(TapReportTest, OfEachVerdict) {
  EXPECT_EQ(Rendered(TapReport, {MakeRun(EachVerdict())}),
            "TAP version 14\n"
            "1..6\n"
            "ok 1 - Lock.A\n"
            "not ok 2 - Lock.B\n"
            "  ---\n"
            "  verdict: fail\n"
            "  message: \"ERROR: a \\\"b\\\" <c> & `d` | e\\\\x1b\"\n"
            "  result: 10\n"
            "  calls: [5, 9]\n"
            "  details:\n"
            "    - \"ERROR: a \\\"b\\\" <c> & `d` | e\\\\x1b\"\n"
            "  command: \"quorle --select Lock.B --mount DH0=ram DH0: NI\"\n"
            "  ...\n"
            "not ok 3 - Lock.C # TODO \\#12: none | here\n"
            "  ---\n"
            "  verdict: unsupported\n"
            "  message: \"answered 209 (not implemented)\"\n"
            "  details:\n"
            "    - \"expected: #12: none | here\"\n"
            "    - \"answered 209 (not implemented)\"\n"
            "  ...\n"
            "not ok 4 - Lock.D\n"
            "  ---\n"
            "  verdict: blocked\n"
            "  message: \"blocked by Lock.B\"\n"
            "  cause: \"Lock.B\"\n"
            "  details:\n"
            "    - \"blocked by Lock.B\"\n"
            "  command: \"quorle --select Lock.D --mount DH0=ram DH0: NI\"\n"
            "  ...\n"
            "ok 5 - Open.A\n"
            "  ---\n"
            "  verdict: warn\n"
            "  message: \"WARN: wrong code\"\n"
            "  details:\n"
            "    - \"WARN: wrong code\"\n"
            "  ...\n"
            "ok 6 - Open.B # SKIP not selected\n");
}

TEST(TapReportTest, SeveralRunsAreSubtests) {
  RunRecord cut_off = MakeRun({MakeCheck("Lock.A", Verdict::kPass)}, "b #2.jsonl");
  cut_off.end.reset();
  EXPECT_EQ(Rendered(TapReport, {MakeRun({}, "a.jsonl"), cut_off}),
            "TAP version 14\n"
            "1..2\n"
            "# Subtest: a.jsonl\n"
            "    1..0 # SKIP no checks\n"
            "ok 1 - a.jsonl\n"
            "# Subtest: b \\#2.jsonl\n"
            "    1..2\n"
            "    ok 1 - Lock.A\n"
            "    not ok 2 - run cut-off\n"
            "      ---\n"
            "      message: \"the run was cut off after Lock.A: 1 check has its verdict\"\n"
            "      ...\n"
            "not ok 2 - b \\#2.jsonl\n");
}

// ---- JUnit --------------------------------------------------------------------------------------

TEST(JunitReportTest, OfEachVerdict) {
  RunRecord run = MakeRun(EachVerdict(), "out/v1.2.jsonl");
  run.target.reset();
  run.start.words = "";
  EXPECT_EQ(Rendered(JunitReport, {run}),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
            "<testsuites name=\"quorle\" tests=\"6\" failures=\"1\" errors=\"1\" time=\"1.234\">\n"
            "  <testsuite name=\"v1.2\" tests=\"6\" failures=\"1\" errors=\"1\" time=\"1.234\" "
            "skipped=\"2\" timestamp=\"2026-11-21T19:00:00Z\">\n"
            "    <properties>\n"
            "      <property name=\"program\" value=\"53.24\"/>\n"
            "      <property name=\"device\" value=\"DH0:\"/>\n"
            "      <property name=\"port\" value=\"vector\"/>\n"
            "      <property name=\"handler\" value=\"ram\"/>\n"
            "    </properties>\n"
            "    <testcase classname=\"v1_2.Lock\" name=\"Lock.A\" time=\"0.000\"/>\n"
            "    <testcase classname=\"v1_2.Lock\" name=\"Lock.B\" time=\"1.234\">\n"
            "      <failure type=\"fail\" message=\"ERROR: a &quot;b&quot; &lt;c&gt; &amp; `d` | "
            "e\\x1b\">ERROR: a &quot;b&quot; &lt;c&gt; &amp; `d` | e\\x1b\n"
            "quorle --select Lock.B --mount DH0=ram DH0: NI</failure>\n"
            "      <system-out>ERROR: a &quot;b&quot; &lt;c&gt; &amp; `d` | e\\x1b</system-out>\n"
            "    </testcase>\n"
            "    <testcase classname=\"v1_2.Lock\" name=\"Lock.C\" time=\"0.000\">\n"
            "      <skipped message=\"#12: none | here\"/>\n"
            "      <system-out>expected: #12: none | here\n"
            "answered 209 (not implemented)</system-out>\n"
            "    </testcase>\n"
            "    <testcase classname=\"v1_2.Lock\" name=\"Lock.D\" time=\"0.000\">\n"
            "      <error type=\"blocked\" message=\"blocked by Lock.B\">blocked by Lock.B\n"
            "quorle --select Lock.D --mount DH0=ram DH0: NI</error>\n"
            "      <system-out>blocked by Lock.B</system-out>\n"
            "    </testcase>\n"
            "    <testcase classname=\"v1_2.Open\" name=\"Open.A\" time=\"0.000\">\n"
            "      <system-out>WARN: wrong code</system-out>\n"
            "    </testcase>\n"
            "    <testcase classname=\"v1_2.Open\" name=\"Open.B\" time=\"0.000\">\n"
            "      <skipped message=\"not selected\"/>\n"
            "    </testcase>\n"
            "  </testsuite>\n"
            "</testsuites>\n");
}

TEST(JunitReportTest, AFindingIsAFailure) {
  RunRecord run = MakeRun({});
  run.complaints.push_back({.id = "Lock.A", .text = "freed twice"});
  EXPECT_TRUE(
      Holds(Rendered(JunitReport, {run}),
            "    <testcase classname=\"ram.Lock\" name=\"Lock.A complaint\" time=\"0.000\">\n"
            "      <failure type=\"complaint\" message=\"freed twice\">freed twice</failure>\n"
            "      <system-out>freed twice</system-out>\n"
            "    </testcase>\n"));
}

// ---- Markdown -----------------------------------------------------------------------------------

TEST(MarkdownReportTest, OfEachVerdict) {
  EXPECT_EQ(
      Rendered(MarkdownReport, {MakeRun(EachVerdict())}),
      "## Filesystem conformance\n"
      "\n"
      "| run | target | checks |\n"
      "|---|---|---|\n"
      "| ram | DH0&#58;, ram-handler 53.1 (21.11.2026), vector port | 6 checks&#58; 1 failed, 1 "
      "blocked, 1 unsupported (1 known), 1 with a warning, 1 passed, 1 skipped |\n"
      "\n"
      "### Not as expected\n"
      "\n"
      "| check | verdict | runs | |\n"
      "|---|---|---|---|\n"
      "| Lock.B | **fail** | ram | ERROR&#58; a \"b\" &#60;c&#62; &#38; &#96;d&#96; &#124; "
      "e&#92;x1b |\n"
      "| Lock.D | **blocked** | ram | blocked by Lock.B |\n"
      "\n"
      "<details><summary>Lock.B</summary>\n"
      "\n"
      "ram&#58; fail\n"
      "\n"
      "```text\n"
      "ERROR: a \"b\" <c> & `d` | e\\x1b\n"
      "```\n"
      "\n"
      "Alone:\n"
      "\n"
      "```text\n"
      "quorle --select Lock.B --mount DH0=ram DH0: NI\n"
      "```\n"
      "\n"
      "Calls `Lock()` & looks.\n"
      "\n"
      "- one\n"
      "- two\n"
      "\n"
      "**Why:** so\n"
      "\n"
      "</details>\n"
      "\n"
      "<details><summary>Lock.D</summary>\n"
      "\n"
      "ram&#58; blocked\n"
      "\n"
      "```text\n"
      "blocked by Lock.B\n"
      "```\n"
      "\n"
      "Alone:\n"
      "\n"
      "```text\n"
      "quorle --select Lock.D --mount DH0=ram DH0: NI\n"
      "```\n"
      "\n"
      "</details>\n"
      "\n"
      "<details><summary>1 known failure</summary>\n"
      "\n"
      "| check | verdict | runs | reason |\n"
      "|---|---|---|---|\n"
      "| Lock.C | unsupported | ram | &#35;12&#58; none &#124; here |\n"
      "\n"
      "</details>\n");
}

TEST(MarkdownReportTest, AFenceIsLongerThanWhatItHolds) {
  const std::string text =
      Rendered(MarkdownReport, {MakeRun({MakeCheck("Lock.A", Verdict::kFail, "````x")})});
  EXPECT_TRUE(Holds(text, "\n`````text\nERROR: ````x\n`````\n"));
}

TEST(MarkdownReportTest, NamesFindingsAndThatAllElseIsAsExpected) {
  RunRecord run = MakeRun({MakeCheck("Lock.A", Verdict::kPass)});
  run.left_behind.push_back({.id = "Lock.A", .object = "a|b", .code = 0});
  const std::string text = Rendered(MarkdownReport, {run});
  EXPECT_TRUE(Holds(text, "\nEvery check is as expected.\n"));
  EXPECT_TRUE(
      Holds(text, "\n### Also wrong\n\n- ram, Lock.A&#58; left behind&#58; \"a&#124;b\"\n"));
}

TEST(MarkdownReportTest, OfARefusedRunNothingIsAsExpected) {
  RunRecord run = MakeRun({});
  run.end = EndEvent{.result = 20, .checks = {}};
  const std::string text = Rendered(MarkdownReport, {run});
  EXPECT_FALSE(Holds(text, "as expected")) << text;
  EXPECT_TRUE(Holds(text, "\n### Also wrong\n\n- ram&#58; the run ended with 20\n")) << text;
}

TEST(MarkdownReportTest, IsNeverLongerThanACiTakes) {
  std::vector<RunRecord> runs;
  for (int i = 0; i < 400; ++i) {
    std::vector<CheckEvent> checks;
    for (int j = 0; j < 20; ++j) {
      const std::string number = std::to_string(i) + "." + std::to_string(j);
      checks.push_back(
          MakeCheck("Lock.C" + std::to_string(j), Verdict::kFail, number + std::string(1000, 'x')));
    }
    runs.push_back(MakeRun(std::move(checks), std::to_string(i)));
    runs.back().complaints.push_back({.id = "", .text = std::string(1000, 'y')});
  }
  const std::string text = Rendered(MarkdownReport, runs);
  EXPECT_LT(text.size(), std::size_t{1} << 20);
  EXPECT_TRUE(Holds(text, "| and 200 more | | |\n"));
  EXPECT_TRUE(Holds(text, "The details of 20 checks found no room.\n"));
}

// ---- HTML ---------------------------------------------------------------------------------------

TEST(HtmlReportTest, ACellHasItsVerdictAndWhetherItIsExpected) {
  const std::string text = Rendered(HtmlReport, {MakeRun(EachVerdict()), MakeRun({})});
  EXPECT_TRUE(Holds(text, "<tr class=\"c\" id=\"Lock.A\" data-v=\"p\">"));
  EXPECT_TRUE(
      Holds(text, "<td class=\"s\">0\n<td class=\"v p\">pass<td class=\"v x\">no verdict\n</tr>"));
  EXPECT_TRUE(Holds(text, "<tr class=\"c\" id=\"Lock.B\" data-v=\"fu\">"));
  EXPECT_TRUE(Holds(text, "<td class=\"s not\">1 of 2\n<td class=\"v fu\">fail<td class=\"v x\">"));
  EXPECT_TRUE(Holds(text, "<td class=\"v nk\">unsupported, known<td"));
  EXPECT_TRUE(Holds(text, "<td class=\"v bu\">blocked<td"));
  EXPECT_TRUE(Holds(text, "<td class=\"v w\">warn<td"));
  EXPECT_TRUE(Holds(text, "<td class=\"v s_\">skipped<td"));
  // The group has the worst of its checks that is not as expected.
  EXPECT_TRUE(Holds(
      text, "4 checks</span></button></th><td class=\"s not\">2 of 4\n<td class=\"v fu\">fail"));
  EXPECT_TRUE(
      Holds(text, "2 checks</span></button></th><td class=\"s\">0\n<td class=\"v w\">warn"));
}

TEST(HtmlReportTest, TheVerdictsOfARowAreALineByWhichTheScriptFindsThem) {
  std::vector<CheckEvent> checks = EachVerdict();
  checks.push_back(MakeCheck("Open.C", Verdict::kFail, "a\n<td class=\"v p\">pass"));
  for (const std::size_t columns : {1U, 2U, 100U}) {
    const std::string page = Rendered(HtmlReport, std::vector<RunRecord>(columns, MakeRun(checks)));
    const std::size_t begin = page.find("'<noscript id=\"ui-source\">');</script>\n<table");
    ASSERT_NE(begin, std::string::npos);
    std::istringstream table(page.substr(begin, page.find("</noscript>") - begin));
    std::size_t lines = 0;
    for (std::string line; std::getline(table, line);) {
      if (!line.starts_with("<td class=\"v ")) {
        EXPECT_FALSE(Holds(line, "<td class=\"v ")) << line;
        continue;
      }
      ++lines;
      EXPECT_EQ(CountOf(line, "<td class=\"v "), columns);
      EXPECT_EQ(CountOf(line, "<td"), columns);
    }
    EXPECT_EQ(lines, 2 + checks.size());
    EXPECT_EQ(CountOf(page, "<noscript"), 1U);
    EXPECT_EQ(CountOf(page, "</noscript"), 1U);
  }
}

TEST(HtmlReportTest, TheHeadCountsChecksAndFindings) {
  const RunRecord fine = MakeRun({MakeCheck("Lock.A", Verdict::kPass)});
  RunRecord lost = fine;
  lost.complaints.push_back({.id = "Lock.A", .text = "freed twice"});
  RunRecord both = lost;
  both.checks.front().verdict = Verdict::kFail;
  const auto head = [](const std::vector<RunRecord>& runs) {
    const std::string page = Rendered(HtmlReport, runs);
    const std::size_t begin = page.find("<span class=", page.find("<h1>"));
    return page.substr(begin, page.find("</p>", begin) - begin);
  };
  EXPECT_EQ(head({fine}), "<span class=\"good\">As expected.</span>");
  EXPECT_EQ(head({lost}), "<span class=\"bad\">1 finding.</span>");
  EXPECT_EQ(head({both}), "<span class=\"bad\">1 check not as expected, 1 finding.</span>");
  EXPECT_EQ(head({fine, lost, both}),
            "<span class=\"bad\">1 check not as expected, 2 findings in 2 runs.</span>");
}

TEST(HtmlReportTest, RunsThatAreAlikeAreSaidOnceWithTheirExplanation) {
  const std::vector<RunRecord> runs(30, MakeRun(EachVerdict()));
  const std::string text = Rendered(HtmlReport, runs);
  EXPECT_EQ(CountOf(text, "Calls <code>Lock()</code> &amp; looks."), 1U);
  EXPECT_TRUE(Holds(text, "<ul><li>one</li><li>two</li></ul><p><strong>Why:</strong> so</p>"));
  EXPECT_EQ(CountOf(text, "ERROR: a &quot;b&quot; &lt;c&gt; &amp; `d` | e\\x1b</pre>"), 1U);
  EXPECT_EQ(CountOf(text, "<strong>fail</strong> in all 30 runs"), 1U);
}

TEST(HtmlReportTest, ManyRunsAreListedByTheirNumbers) {
  std::vector<RunRecord> runs;
  for (int i = 1; i <= 40; ++i) {
    const bool fails = i <= 12 || i == 20 || i == 21 || i == 40;
    runs.push_back(MakeRun({MakeCheck("Lock.A", fails ? Verdict::kFail : Verdict::kPass)}));
  }
  const std::string text = Rendered(HtmlReport, runs);
  EXPECT_TRUE(Holds(text,
                    "<strong>fail</strong> in 15 runs: 1\xE2\x80\x93"
                    "12, 20, 21, 40\n"));
  EXPECT_TRUE(Holds(text, "<strong>pass</strong> in 25 runs</li>"));
}

// ---- What they have in common -------------------------------------------------------------------

TEST(OutcomeTableTest, ChecksAreInTheOrderOfTheirCatalogues) {
  CheckEvent further = MakeCheck("Further.A", Verdict::kPass);
  further.catalogue = "further";
  RunRecord first = MakeRun({MakeCheck("Open.A", Verdict::kPass), further});
  RunRecord second =
      MakeRun({MakeCheck("Lock.A", Verdict::kPass), MakeCheck("Lock.B", Verdict::kPass)});
  first.checks[0].row = 30;
  const Expectations expectations;
  const std::vector<RunRecord> runs = {first, second};
  const OutcomeTable table =
      MakeOutcomeTable({.runs = runs, .expectations = expectations, .explain = {}});
  std::vector<std::string> ids;
  for (const CheckRow& row : table.checks) ids.push_back(row.first->id);
  EXPECT_EQ(ids, (std::vector<std::string>{"Lock.A", "Lock.B", "Open.A", "Further.A"}));
  EXPECT_EQ(table.checks[0].of_run, (std::vector<std::uint32_t>{CheckRow::kNone, 0}));
  EXPECT_EQ(table.checks[2].of_run, (std::vector<std::uint32_t>{0, CheckRow::kNone}));
}

TEST(OutcomeTableTest, OfACheckThatAStreamHasTwiceTheWorseCounts) {
  const std::vector<RunRecord> runs = {
      MakeRun({MakeCheck("Lock.A", Verdict::kPass), MakeCheck("Lock.A", Verdict::kFail, "no"),
               MakeCheck("Lock.A", Verdict::kWarn, "hm")})};
  const Expectations expectations;
  const OutcomeTable table =
      MakeOutcomeTable({.runs = runs, .expectations = expectations, .explain = {}});
  ASSERT_EQ(table.checks.size(), 1U);
  ASSERT_EQ(table.checks[0].outcomes.size(), 1U);
  EXPECT_EQ(table.checks[0].outcomes[0].check->verdict, Verdict::kFail);
}

}  // namespace
}  // namespace quorle
