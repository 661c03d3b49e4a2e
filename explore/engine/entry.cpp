// What a fuzzing engine calls, linked with the sources of a handler: quorle-explore.a.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>
#include <string>

#include "explore/choices.h"
#include "explore/engine/authors_search.h"
#include "explore/engine/mutation.h"
#include "hosted/dos/console.h"
#include "platform/constants.h"
#include "quorle/handler.h"

namespace quorle::explore {
namespace {

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : "";
}

/// The search of this process, on the handler that it is linked with.
class LinkedSearch {
 public:
  LinkedSearch() {
    std::string problem = "QuorleHandler() has no handler for version " +
                          std::to_string(QUORLE_HANDLER_VERSION) + " of the header";
    if (const ::Handler* const handler = QuorleHandler(QUORLE_HANDLER_VERSION)) {
      search_ = AuthorsSearch::Start(*handler,
                                     {.mount = Variable("QUORLE_MOUNT"),
                                      .expect = Variable("QUORLE_EXPECT"),
                                      .out = Variable("QUORLE_OUT")},
                                     console_, problem);
    }
    if (search_ != nullptr) return;
    console_.Report(problem);
    // The end of a program is a finding for some engines, one that has not begun is none.
    std::_Exit(RETURN_FAIL);
  }

  void Run(std::span<const std::uint8_t> bytes) {
    if (!search_->Run(bytes)) std::abort();
  }

 private:
  // Standard output is the engine's.
  DescriptorSink errors_{STDERR_FILENO};
  Console console_{errors_, errors_, false};
  std::unique_ptr<AuthorsSearch> search_;
};

LinkedSearch& TheSearch() {
  static LinkedSearch search;
  return search;
}

/// Writes `choices` to `bytes`, where they have room, and returns how many bytes that is.
std::size_t GiveBack(const Choices& choices, std::uint8_t* bytes) {
  WriteChoices(choices, bytes);
  return choices.size() * sizeof(Choice);
}

constexpr std::size_t kBytesPerCall = kChoicesPerCall * sizeof(Choice);

}  // namespace
}  // namespace quorle::explore

extern "C" {

// Before the first input, and before an engine forks: it mounts once.
int LLVMFuzzerInitialize(int* /*words*/, char*** /*word*/) {
  quorle::explore::TheSearch();
  return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  quorle::explore::TheSearch().Run({bytes, count});
  return 0;
}

// What libFuzzer asks for the next input, made of one in its corpus or of two.
std::size_t LLVMFuzzerCustomMutator(std::uint8_t* bytes, std::size_t count, std::size_t most,
                                    unsigned seed) {
  namespace explore = quorle::explore;
  if (most < explore::kBytesPerCall) return 0;
  explore::Choices choices = explore::ReadChoices({bytes, count});
  explore::Mutate(choices, most / explore::kBytesPerCall, seed);
  return explore::GiveBack(choices, bytes);
}

std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* first, std::size_t first_count,
                                      const std::uint8_t* second, std::size_t second_count,
                                      std::uint8_t* bytes, std::size_t most, unsigned seed) {
  namespace explore = quorle::explore;
  if (most < explore::kBytesPerCall) return 0;
  return explore::GiveBack(explore::Cross(explore::ReadChoices({first, first_count}),
                                          explore::ReadChoices({second, second_count}),
                                          most / explore::kBytesPerCall, seed),
                           bytes);
}
}
