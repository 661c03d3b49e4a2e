#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "hosted/calls/mount.h"
#include "selftest/unit/hosted/calls/recording_handler.h"
#include "selftest/unit/hosted/notifying_handler.h"

namespace quorle {
namespace {

using ReportedLines = std::vector<std::string>;

/// The notifying handler in this process, behind each kind of port.
class NotifyTest : public testing::TestWithParam<PortType> {
 protected:
  void Mount(const MountKeys& keys = {}) {
    std::string problem;
    port = MountHandler(NotifyingHandler(),
                        {.device_name = "DH0", .type = GetParam(), .keys = keys, .watch = &watch},
                        clock, problem);
    ASSERT_NE(port, nullptr) << problem;
    port->SetNotifyListener(
        [this](::NotifyRequest& request) { seen.push_back(request.nr_FullName); });
  }
  static ::NotifyRequest Request(const char* full_name, std::uint32_t flags = 0) {
    ::NotifyRequest request{};
    request.nr_Name = request.nr_FullName = full_name;
    request.nr_Flags = flags;
    return request;
  }

  FixedClock clock;
  RunWatch watch{[](const std::string&) {}};
  ReportedLines seen;
  std::unique_ptr<HandlerPort> port;
  std::int32_t res2 = 0;
};

TEST_P(NotifyTest, ARequestIsLiveUntilItIsRemoved) {
  Mount({{"times", "2"}});
  ::NotifyRequest a = Request("DH0:a", NRF_NOTIFY_INITIAL);
  ::NotifyRequest b = Request("DH0:b");
  EXPECT_TRUE(port->AddNotify(res2, &a)) << res2;
  EXPECT_EQ(seen, ReportedLines{"DH0:a"}) << "while it is added";
  EXPECT_EQ(a.nr_Handler, port->port());
  EXPECT_TRUE(port->AddNotify(res2, &b));
  seen.clear();
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_EQ(seen, (ReportedLines{"DH0:a", "DH0:a", "DH0:b", "DH0:b"}));
  seen.clear();
  EXPECT_FALSE(port->RemoveNotify(res2, &a));
  EXPECT_EQ(res2, ERROR_OBJECT_NOT_FOUND);
  EXPECT_EQ(seen, ReportedLines{"DH0:a"}) << "while it is removed";
  seen.clear();
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_EQ(seen, (ReportedLines{"DH0:b", "DH0:b"}));
  EXPECT_FALSE(port->RemoveNotify(res2, &b));
  EXPECT_TRUE(port->Unmount().empty());
}

TEST_P(NotifyTest, WhatIsNotLiveIsNoted) {
  Mount({{"late", "1"}});
  watch.BeginTest(7, "Some()");
  ::NotifyRequest request = Request("DH0:a");
  EXPECT_TRUE(port->AddNotify(res2, &request));
  EXPECT_FALSE(port->RemoveNotify(res2, &request)) << "whatever comes of it, it is over";
  seen.clear();
  watch.BeginCheck("Check");
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(port->Unmount(),
            ReportedLines{"notified of nobody's request (2), in FSFlush() of Some.Check (2)"});
}

TEST_P(NotifyTest, ARefusedRequestIsNotLive) {
  Mount();
  ::NotifyRequest request = Request("DH0:a");
  request.nr_Reserved[3] = 1;
  EXPECT_FALSE(port->AddNotify(res2, &request));
  EXPECT_EQ(res2, ERROR_BAD_NUMBER);
  EXPECT_FALSE(port->RemoveNotify(res2, &request));
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(port->Unmount().size(), 1U);
}

TEST_P(NotifyTest, NobodyNeedListen) {
  Mount();
  ::NotifyRequest request = Request("DH0:a", NRF_NOTIFY_INITIAL);
  port->SetNotifyListener(nullptr);
  EXPECT_TRUE(port->AddNotify(res2, &request));
  EXPECT_TRUE(port->Flush(res2));
  EXPECT_TRUE(port->Unmount().empty()) << "a request that is left is no wrong use";
  EXPECT_FALSE(port->AddNotify(res2, &request));
  EXPECT_EQ(res2, ERROR_ACTION_NOT_KNOWN);
  EXPECT_FALSE(port->RemoveNotify(res2, &request));
  port->SetNotifyListener(nullptr);
  EXPECT_TRUE(seen.empty());
}

INSTANTIATE_TEST_SUITE_P(Ports, NotifyTest, testing::Values(PortType::kVector, PortType::kPacket),
                         [](const auto& row) {
                           return row.param == PortType::kVector ? "Vector" : "Packet";
                         });

TEST(HostServicesNotifyTest, RequestsEndWithTheMount) {
  FixedClock clock;
  HostServices services(clock, nullptr);
  ::NotifyRequest request{};
  int count = 0;
  services.SetNotifyListener([&count](::NotifyRequest&) { ++count; });
  services.BeginRequest(request);
  services.table().Notify(&services.table(), &request);
  services.FreeEverything();
  services.table().Notify(&services.table(), &request);
  services.table().Notify(&services.table(), nullptr);
  EXPECT_EQ(count, 1);
  EXPECT_EQ(services.complaints(), ReportedLines{"notified of nobody's request (2)"});
}

}  // namespace
}  // namespace quorle
