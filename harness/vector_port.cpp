#include "harness/vector_port.h"

namespace quorle {

PortHandle VectorPort(TestContext& ctx, PortHandle port, std::uint32_t minimum_version) {
  if (!port) return {};
  const PortRecord record = ctx.IDOS->PortRecordOf(port);
  const bool is_vector = record.node_type == NT_FILESYSTEM && record.version >= minimum_version;
  return is_vector ? port : PortHandle{};
}

bool TargetIsVectorPort(TestContext& ctx) {
  if (!ctx.root_lock) return false;
  const PortHandle port = ctx.IDOS->FileLockOf(ctx.root_lock).fl_Port;
  return static_cast<bool>(VectorPort(ctx, port, FS_VECTORPORT_VERSION));
}

}  // namespace quorle
