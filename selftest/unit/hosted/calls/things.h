#pragma once

#include <cstdint>

#include "quorle/handler.h"
#include "selftest/unit/hosted/calls/recording_handler.h"

namespace quorle {

/// What the operations of a port are called with.
struct Things {
  RecordingHandler& handler;
  // Locks of the handler that was mounted last.
  ::Lock* a() const { return handler.locks[0]; }
  ::Lock* b() const { return handler.locks[1]; }
  ::Lock* given() const { return handler.locks[2]; }  // what a successful call returns
  ::FileHandle f{nullptr, 4711, nullptr};
  ::FileHandle g{nullptr, 4712, nullptr};
  char buffer[16] = {};
  ::InfoData info{};
  ::DateStamp date{1, 2, 3};
  ::TagItem tags[2] = {{QUORLE_FSA_DOSTypeR, 77}, {QUORLE_TAG_DONE, 0}};
  ::PRIVATE_ExamineDirContext context{};
  ::NotifyRequest request_record{};
  ::NotifyRequest* request = &request_record;
};

/// The address of `object` as a word.
template <class Object>
std::intptr_t Number(Object* object) {
  return reinterpret_cast<std::intptr_t>(object);
}

}  // namespace quorle
