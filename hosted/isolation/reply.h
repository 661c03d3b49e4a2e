#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "calls/call_shape.h"
#include "hosted/calls/breach.h"
#include "hosted/isolation/message.h"
#include "quorle/handler.h"

namespace quorle::isolation {

/// A text of a record: its buffer's size, and what is in it. Without a value: there is none.
struct TextImage {
  std::uint32_t size;
  std::string_view text;
};

/// A record as it travels.
struct RecordImage {
  ::ExamineData data;  ///< without its texts
  std::optional<TextImage> name;
  std::optional<TextImage> comment;
  std::optional<TextImage> link;
};

/// What a reply says, once it is known to have a shape. Texts are in the message.
struct Reply {
  struct Argument {
    bool alive = false;  ///< of a lock
    std::int32_t mode = 0;
    std::string_view bytes;                ///< of a structure
    std::vector<std::string_view> rooms;   ///< what tags lead to
    std::array<std::intptr_t, 2> words{};  ///< of a scan
    std::optional<RecordImage> entry;
  };

  std::int32_t res2 = 0;
  std::int64_t result = 0;  ///< a number, that of a lock too
  std::int32_t mode = 0;    ///< of that lock
  std::optional<RecordImage> record;
  std::array<Argument, calls::kMostArguments> arguments;
  bool volume_has_name = false;
  Breach breach = Breach::kNone;
  bool notified_too_often = false;
  std::vector<std::int64_t> notified;  ///< the requests, once for each time
};

/// Reads the answer to a call of `shape`; `tags` are those of the call, null without. False when it
/// is none: too short, too long, a text without its end, a length beyond its limit, a flag that is
/// neither 0 nor 1.
bool ReadAnswer(MessageReader& message, const calls::CallShape& shape, const ::TagItem* tags,
                Reply& reply);

}  // namespace quorle::isolation
