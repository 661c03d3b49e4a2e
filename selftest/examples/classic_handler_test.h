#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "hosted/calls/clock.h"
#include "hosted/calls/handler_services.h"
#include "quorle/handler.h"

/// examples/classic_handler.c in the test's own process, to be sent packets.
namespace quorle::selftest {

inline constexpr std::intptr_t kTrue = -1;

template <class Object>
std::intptr_t WordOf(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

class StoppedClock final : public Clock {
 public:
  quorle::DateStamp Now() override { return {17000, 601, 2999}; }
  void Sleep(std::uint32_t) override {}
};

/// A length-prefixed text.
struct ShortText {
  ShortText(const char* text)
      : ShortText(std::string(text)) {}  // NOLINT(google-explicit-constructor)
  explicit ShortText(const std::string& text) {
    bytes[0] = static_cast<std::uint8_t>(text.size());
    std::memcpy(bytes.data() + 1, text.data(), text.size());
  }
  std::array<std::uint8_t, 257> bytes{};
};

inline std::string Plain(const std::uint8_t* text) {
  return std::string(reinterpret_cast<const char*>(text + 1), text[0]);
}

/// The result of a packet and its code.
struct Answer {
  std::intptr_t result;
  std::int32_t code;
  bool operator==(const Answer&) const = default;
};
inline void PrintTo(const Answer& answer, std::ostream* out) {
  *out << answer.result << " with " << answer.code;
}

/// The example, mounted.
class ClassicHandlerTest : public testing::Test {
 protected:
  ClassicHandlerTest() { Mount(); }
  ~ClassicHandlerTest() override {
    if (port_ != nullptr) Unmount();
    if (medium_ != nullptr) handler_->Discard(medium_);
  }

  void Mount() {
    services_ = std::make_unique<HostServices>(clock_, nullptr);
    ::HandlerMount mount{};
    mount.StructSize = sizeof mount;
    mount.Version = QUORLE_HANDLER_VERSION;
    mount.DeviceName = "DH0";
    mount.Dos = &services_->table();
    mount.Medium = &medium_;
    port_ = handler_->Mount(&mount);
    ASSERT_NE(port_, nullptr);
    EXPECT_EQ(services_->volume_name(), std::nullopt);  // dos reads it from the root
  }
  /// Every lock and open file must have gone.
  void Unmount() {
    handler_->Unmount(port_);
    port_ = nullptr;
    EXPECT_EQ(services_->outstanding(), 0U);
    EXPECT_EQ(services_->complaints(), std::vector<std::string>{});
  }

  Answer Send(std::int32_t action, std::array<std::intptr_t, 5> words = {}) {
    ::DosPacket packet{};
    packet.dp_Type = action;
    packet.dp_Arg1 = words[0];
    packet.dp_Arg2 = words[1];
    packet.dp_Arg3 = words[2];
    packet.dp_Arg4 = words[3];
    packet.dp_Arg5 = words[4];
    handler_->Packet(port_, &packet);
    return {packet.dp_Res1, packet.dp_Res2};
  }
  /// A packet that must succeed.
  std::intptr_t Get(std::int32_t action, std::array<std::intptr_t, 5> words = {}) {
    const Answer answer = Send(action, words);
    EXPECT_EQ(answer.code, 0) << "packet " << action;
    return answer.result;
  }

  std::intptr_t Lock(const ShortText& name, std::int32_t mode = SHARED_LOCK) {
    return Get(QUORLE_ACTION_LOCATE_OBJECT, {0, WordOf(&name), mode});
  }
  void UnLock(std::intptr_t lock) { EXPECT_EQ(Get(QUORLE_ACTION_FREE_LOCK, {lock}), kTrue); }
  /// fh_Arg1 of a file in the root.
  std::intptr_t Open(const ShortText& name, std::int32_t mode) {
    ::FileHandle handle{};
    EXPECT_EQ(Get(mode, {WordOf(&handle), 0, WordOf(&name)}), kTrue);
    return handle.fh_Arg1;
  }
  void Close(std::intptr_t file) { EXPECT_EQ(Get(QUORLE_ACTION_END, {file}), kTrue); }
  void MakeFile(const char* name, std::string_view content = "") {
    const std::intptr_t file = Open(name, MODE_NEWFILE);
    EXPECT_EQ(Get(QUORLE_ACTION_WRITE,
                  {file, WordOf(content.data()), static_cast<std::intptr_t>(content.size())}),
              static_cast<std::intptr_t>(content.size()));
    Close(file);
  }
  void MakeDirectory(const char* name) {
    const ShortText text(name);
    UnLock(Get(QUORLE_ACTION_CREATE_DIR, {0, WordOf(&text)}));
  }
  Answer Delete(const char* name) {
    const ShortText text(name);
    return Send(QUORLE_ACTION_DELETE_OBJECT, {0, WordOf(&text)});
  }
  ::FileInfoBlock Examine(const char* name) {
    ::FileInfoBlock block{};
    const std::intptr_t lock = Lock(name);
    EXPECT_EQ(Get(QUORLE_ACTION_EXAMINE_OBJECT, {lock, WordOf(&block)}), kTrue);
    UnLock(lock);
    return block;
  }

  const ::Handler* handler_ = QuorleHandler(QUORLE_HANDLER_VERSION);
  StoppedClock clock_;
  std::unique_ptr<HostServices> services_;
  void* medium_ = nullptr;
  ::FileSystemVectorPort* port_ = nullptr;
};

}  // namespace quorle::selftest
