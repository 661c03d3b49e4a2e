#include <unistd.h>

#include <filesystem>

#include "selftest/unit/hosted/isolation/isolated_program_test.h"
#include "selftest/unit/hosted/notifying_handler.h"

namespace quorle::isolation {
namespace {

using ReportedLines = std::vector<std::string>;

/// The notifying handler in a process of its own. What it reports goes to a file: it is not this
/// process that hears of it.
class NotifyCrossingTest : public IsolatedProgramTest {
 protected:
  ~NotifyCrossingTest() override { std::filesystem::remove(report_); }

  void MountNotifying(const MountKeys& keys = {}, bool restart = false) {
    const PortType type =
        !keys.empty() && keys[0].first == "packets" ? PortType::kPacket : PortType::kVector;
    port_ = MountHandler(
        std::make_unique<IsolatedProgram>(
            std::make_unique<PlainProgram>(NotifyingHandler()),
            IsolationSettings{.limit = std::chrono::seconds(10), .restart = restart}, watch_),
        {.device_name = "DH0",
         .type = type,
         .keys = keys,
         .report =
             [this](const std::string& line) {
               std::ofstream(report_, std::ios::app) << line << "\n";
             },
         .watch = &watch_},
        clock_, problem_);
    ASSERT_NE(port_, nullptr) << problem_;
    port_->SetNotifyListener([this](::NotifyRequest& request) {
      seen_.push_back(request.nr_FullName);
      EXPECT_TRUE(request.nr_Reserved[0] == 0) << "the handler has a request of its own";
    });
  }
  ReportedLines TakeReports() {
    ReportedLines lines;
    std::ifstream file(report_);
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    std::filesystem::remove(report_);
    return lines;
  }
  ReportedLines TakeSeen() { return std::exchange(seen_, {}); }

  const std::string report_ = testing::TempDir() + "/notify_crossing." + std::to_string(getpid());
  ReportedLines seen_;
};

::NotifyRequest RequestFor(const char* name, const char* full_name, std::uint32_t flags = 0,
                           std::uintptr_t user_data = 0) {
  ::NotifyRequest request{};
  request.nr_Name = name;
  request.nr_FullName = full_name;
  request.nr_Flags = flags;
  request.nr_UserData = user_data;
  return request;
}

TEST_F(NotifyCrossingTest, CarriesRequestsAndNotifications) {
  for (const bool packets : {false, true}) {
    MountNotifying(packets ? MountKeys{{"packets", "1"}, {"times", "2"}}
                           : MountKeys{{"times", "2"}});
    ::NotifyRequest a = RequestFor("a", "DH0:a", NRF_SEND_SIGNAL | NRF_NOTIFY_INITIAL, 4711);
    ::NotifyRequest b = RequestFor(nullptr, "DH0:dir/b", NRF_SEND_MESSAGE, UINT32_MAX);
    EXPECT_TRUE(port_->AddNotify(code_, &a)) << code_;
    EXPECT_EQ(TakeSeen(), ReportedLines{"DH0:a"}) << "while it is added";
    EXPECT_TRUE(port_->AddNotify(code_, &b)) << code_;
    EXPECT_EQ(TakeReports(),
              (ReportedLines{"add a DH0:a 18 4711", "add - DH0:dir/b 1 4294967295"}));
    EXPECT_TRUE(port_->Flush(code_));
    EXPECT_EQ(TakeSeen(), (ReportedLines{"DH0:a", "DH0:a", "DH0:dir/b", "DH0:dir/b"}));
    EXPECT_FALSE(port_->RemoveNotify(code_, &a));
    EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
    EXPECT_EQ(TakeSeen(), ReportedLines{"DH0:a"}) << "while it is removed";
    EXPECT_TRUE(port_->Flush(code_));
    EXPECT_EQ(TakeSeen(), (ReportedLines{"DH0:dir/b", "DH0:dir/b"}));
    EXPECT_TRUE(port_->Unmount().empty());
    EXPECT_EQ(TakeReports(), (ReportedLines{"remove DH0:a", "left DH0:dir/b"}));
  }
  EXPECT_TRUE(lines_.empty());
}

TEST_F(NotifyCrossingTest, ARefusedRequestIsNone) {
  MountNotifying({{"refuse-after", report_}});
  ::NotifyRequest first = RequestFor("a", "DH0:a");
  EXPECT_TRUE(port_->AddNotify(code_, &first));
  port_->Unmount();
  std::ofstream(report_).flush();
  MountNotifying({{"refuse-after", report_}});
  ::NotifyRequest request = RequestFor("b", "DH0:b");
  EXPECT_FALSE(port_->AddNotify(code_, &request));
  EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_TRUE(TakeSeen().empty());
}

TEST_F(NotifyCrossingTest, ARequestOfNobodyIsOneToo) {
  MountNotifying();
  ::NotifyRequest stranger = RequestFor("a", "DH0:a");
  EXPECT_FALSE(port_->RemoveNotify(code_, &stranger));
  EXPECT_EQ(TakeReports(), ReportedLines{"remove "});
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_EQ(port_->Unmount(),
            ReportedLines{"notified of nobody's request (1), in FSRemoveNotify() (1)"});
}

TEST_F(NotifyCrossingTest, WhatIsNotLiveIsNotedInTheProcess) {
  MountNotifying({{"late", "1"}});
  ::NotifyRequest request = RequestFor("a", "DH0:a");
  EXPECT_TRUE(port_->AddNotify(code_, &request));
  EXPECT_FALSE(port_->RemoveNotify(code_, &request));
  TakeSeen();
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_EQ(port_->Unmount(), ReportedLines{"notified of nobody's request (1), in FSFlush() (1)"});
}

TEST_F(NotifyCrossingTest, AFloodIsCut) {
  MountNotifying({{"times", "600"}});
  ::NotifyRequest a = RequestFor("a", "DH0:a");
  ::NotifyRequest b = RequestFor("b", "DH0:b");
  EXPECT_TRUE(port_->AddNotify(code_, &a));
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_EQ(TakeSeen().size(), 600U);
  EXPECT_TRUE(lines_.empty());
  EXPECT_TRUE(port_->AddNotify(code_, &b));
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_TRUE(port_->Flush(code_));
  const ReportedLines seen = TakeSeen();
  EXPECT_EQ(seen.size(), 2000U);
  EXPECT_EQ(std::count(seen.begin(), seen.end(), "DH0:b"), 800);
  EXPECT_EQ(lines_, ReportedLines{"handler of DH0: notified more than 1000 times in FSFlush()"});
}

TEST_F(NotifyCrossingTest, RequestsAreAddedAgainToTheNextProcess) {
  for (const bool packets : {false, true}) {
    MountNotifying(packets ? MountKeys{{"packets", "1"}} : MountKeys{}, true);
    ::NotifyRequest a = RequestFor("a", "DH0:a", NRF_SEND_SIGNAL | NRF_NOTIFY_INITIAL);
    ::NotifyRequest b = RequestFor("b", "DH0:b");
    ::NotifyRequest gone = RequestFor("gone", "DH0:gone");
    for (::NotifyRequest* const each : {&a, &gone, &b}) EXPECT_TRUE(port_->AddNotify(code_, each));
    EXPECT_FALSE(port_->Serialize(code_));
    EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
    EXPECT_FALSE(port_->RemoveNotify(code_, &gone));
    EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED);
    TakeReports();
    TakeSeen();

    watch_.BeginTest(1, "Some()");
    EXPECT_TRUE(port_->Flush(code_)) << code_;
    EXPECT_EQ(TakeReports(), (ReportedLines{"add a DH0:a 2 0", "add b DH0:b 0 0"}));
    EXPECT_EQ(TakeSeen(), (ReportedLines{"DH0:a", "DH0:b"})) << "no first one again";
    EXPECT_FALSE(port_->RemoveNotify(code_, &a));
    EXPECT_EQ(code_, ERROR_OBJECT_NOT_FOUND);
    EXPECT_EQ(TakeSeen(), ReportedLines{"DH0:a"});
    watch_.EndTest();
    EXPECT_TRUE(port_->Unmount().empty());
    EXPECT_EQ(TakeReports(), (ReportedLines{"remove DH0:a", "left DH0:b"}));
  }
}

TEST_F(NotifyCrossingTest, ARequestThatIsRefusedAgainStaysSilent) {
  const std::string file = report_ + ".mounted";
  std::filesystem::remove(file);
  MountNotifying({{"refuse-after", file}}, true);
  ::NotifyRequest request = RequestFor("a", "DH0:a");
  EXPECT_TRUE(port_->AddNotify(code_, &request));
  EXPECT_FALSE(port_->Serialize(code_));
  watch_.BeginTest(1, "Some()");
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_TRUE(TakeSeen().empty());
  EXPECT_FALSE(port_->RemoveNotify(code_, &request));
  EXPECT_EQ(code_, ERROR_DEVICE_NOT_MOUNTED) << "it was of the earlier process";
  EXPECT_EQ(TakeReports(), (ReportedLines{"add a DH0:a 0 0", "add a DH0:a 0 0"}));
  watch_.EndTest();
  EXPECT_TRUE(port_->Unmount().empty());
  std::filesystem::remove(file);
}

TEST_F(NotifyCrossingTest, ATextThatNoMessageHoldsIsRefusedHereToo) {
  MountNotifying();
  const std::string name = "DH0:" + std::string(std::size_t{2} << 20, 'x');
  ::NotifyRequest request = RequestFor("a", name.c_str());
  EXPECT_FALSE(port_->AddNotify(code_, &request));
  EXPECT_EQ(code_, ERROR_LINE_TOO_LONG);
  EXPECT_TRUE(port_->Flush(code_));
  EXPECT_TRUE(TakeReports().empty());
}

TEST_F(NotifyCrossingTest, TheHandlerFindsItsPortInItsLocks) {
  MountNotifying();
  ::Lock* const lock = Lock("");
  ASSERT_NE(lock, nullptr);
  EXPECT_EQ(lock->fl_Port, port_->port());
  EXPECT_EQ(port_->DupLock(code_, lock), lock) << code_;
  EXPECT_TRUE(port_->UnLock(code_, lock));
}

}  // namespace
}  // namespace quorle::isolation
