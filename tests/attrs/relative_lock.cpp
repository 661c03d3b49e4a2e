#include "tests/attrs/relative_lock.h"

namespace quorle {

void ExplainRelativeLock(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  dos.Printf(
      "       There appears to be an issue with the relative lock and name string handling.\n");
  dos.Printf(
      "       Please refer to; ACTION_LOCATE_OBJECT / FSLock() and ACTION_FINDxxx / FSOpen() autodocs\n");
  dos.Printf(
      "       for example code and mode information, specifically when using the relative lock to identify\n");
  dos.Printf(
      "       a file when the name parameter is an empty string, this mode is generally used with file assignments. \n\n");
}

}  // namespace quorle
