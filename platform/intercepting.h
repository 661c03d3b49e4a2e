#pragma once

#include <memory>
#include <type_traits>
#include <vector>

#include "platform/call.h"
#include "platform/dos.h"
#include "platform/exec.h"
#include "platform/further_dos.h"

namespace quorle {

/// Makes the call that a hook is around. It refers to what the caller has: not to be kept.
class MakeCall {
 public:
  template <class Function>
  explicit MakeCall(const Function& function)
      : function_(&function),
        call_([](const void* made) { (*static_cast<const Function*>(made))(); }) {}

  void operator()() const { call_(function_); }

 private:
  const void* function_;
  void (*call_)(const void* function);
};

/// Something that stands around every call of the tester: a tracer, a watch, an injector of faults.
class CallHook {
 public:
  /// `call` is about to be made: make() makes it and fills its result and its memory. A hook that does
  /// not make it leaves there what the caller shall get. What a hook asks of the platform itself it
  /// asks below the interception; IoErr() is the caller's and stays as the call left it.
  virtual void Around(const Call& call, MakeCall make) = 0;

 protected:
  ~CallHook() = default;
};

/// The one layer between the tester and its platform: hands every call to hooks.
class Interception {
 public:
  /// Over `exec` and what it gives for dos.library: `dos`, and `further`, null where there is none such.
  /// The first of `hooks` is the outermost. All of them must outlive this.
  Interception(ExecInterface& exec, DosInterface& dos, std::vector<CallHook*> hooks,
               FurtherDosInterface* further = nullptr);
  ~Interception();
  Interception(const Interception&) = delete;
  Interception& operator=(const Interception&) = delete;

  /// What the tester is started with in place of the real exec.
  ExecInterface& exec();
  /// What that exec gives for dos.library.
  DosInterface& dos();
  /// The second interface of it; there was one when this was made.
  FurtherDosInterface& further();

 private:
  class Hooks;
  class InterceptingDos;
  class InterceptingFurtherDos;
  class InterceptingExec;

  std::unique_ptr<Hooks> hooks_;
  std::unique_ptr<InterceptingDos> dos_;
  std::unique_ptr<InterceptingFurtherDos> further_;
  std::unique_ptr<InterceptingExec> exec_;
};

}  // namespace quorle
