#pragma once

#include <cstdint>

#include "harness/catalogue.h"
#include "harness/context.h"

namespace quorle {

/// Called where groups and sub-tests of a run begin and end. Whatever it does must leave the
/// platform's calls as they are: it runs between them. Override what is of interest.
class RunListener {
 public:
  /// The rows from index `first` to index `last`, both included, are about to run on the target that
  /// `ctx` describes, which stays until the run ends. Not called when the run is refused before.
  virtual void OnRunStart(const TestContext& /*ctx*/, std::int32_t /*first*/,
                          std::int32_t /*last*/) {}
  /// `row` is the number of the row, from 1.
  virtual void OnGroupStart(const TestEntry& /*entry*/, std::int32_t /*row*/) {}
  /// `number` is the sub-test's in its group, from 1.
  virtual void OnSubTestStart(const SubTest& /*sub_test*/, std::int32_t /*number*/) {}
  /// `status` is what the sub-test returned.
  virtual void OnSubTestEnd(const SubTest& /*sub_test*/, std::int32_t /*status*/) {}
  /// `result` is what the group returned.
  virtual void OnGroupEnd(const TestEntry& /*entry*/, std::int32_t /*result*/) {}

 protected:
  ~RunListener() = default;
};

/// Ignores everything.
class SilentListener final : public RunListener {};

}  // namespace quorle
