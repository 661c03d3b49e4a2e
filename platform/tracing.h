#pragma once

#include <cstddef>
#include <memory>

#include "platform/dos.h"
#include "platform/exec.h"

namespace quorle {

/// Where the lines of a trace go.
class TraceSink {
 public:
  /// Takes one line, its line break included. False ends the trace: no further line is offered.
  virtual bool Write(const char* line, std::size_t bytes) = 0;

 protected:
  ~TraceSink() = default;
};

/// The call trace: a layer over the platform that passes every call on and writes it down, one JSON
/// object a line:
///
///   {"op":"Lock","args":["FILE01",-2],"result":"lock:7","ioerr":0}
///   {"op":"Output","text":"\nERROR: ...\n"}
///
/// Arguments and results are those that the tester sees; `ioerr` is `IoErr()` right after the call.
/// A handle is its kind and a number that is used once in a run; no handle is null. Text is taken as
/// Latin-1. Not traced: `IoErr()`, `SetIoErr()`, copies and comparisons in memory, formatting into
/// buffers, `DateToStr()`, reads of a record's fields. The trace itself changes nothing.
class Tracer {
 public:
  /// Traces `exec` and, once `GetInterface()` has been asked for it, `dos`, which must be the
  /// interface that `exec` gives for dos.library. None of the three is owned.
  Tracer(ExecInterface& exec, DosInterface& dos, TraceSink& sink);
  ~Tracer();
  Tracer(const Tracer&) = delete;
  Tracer& operator=(const Tracer&) = delete;

  /// What the tester is started with in place of the real exec.
  ExecInterface& exec();

 private:
  class Trace;
  class TracingExec;
  class TracingDos;

  std::unique_ptr<Trace> trace_;
  std::unique_ptr<TracingDos> dos_;
  std::unique_ptr<TracingExec> exec_;
};

}  // namespace quorle
