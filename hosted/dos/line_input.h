#pragma once

#include <string>

namespace quorle {

/// Where ReadArgs() gets a further line from when it has asked for one.
class LineInput {
 public:
  /// The next line into `line`, without its line break. False when there is none.
  virtual bool ReadLine(std::string& line) = 0;

 protected:
  ~LineInput() = default;
};

/// Standard input, of which no more than the line is taken.
class StandardInput final : public LineInput {
 public:
  bool ReadLine(std::string& line) override;
};

}  // namespace quorle
