#pragma once

#include <string_view>

namespace quorle::deviate {

/// Which checks of the further catalogue fail or say something over the deviation `name`: their ids without
/// "Further.", blanks between them. Empty: none does.
std::string_view FurtherNotices(std::string_view name);

}  // namespace quorle::deviate
