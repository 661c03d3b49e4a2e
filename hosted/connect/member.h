#pragma once

#include <cstdint>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

/// The members of a message from the far end, each of the type that it must have. What is of another
/// throws a ProgramEnd that names the member.
namespace quorle::connect {

/// The member `name` of `map`; null when there is none, or when it is nil.
const nlohmann::json* Find(const nlohmann::json& map, const char* name);
/// The same of what must be there.
const nlohmann::json& Get(const nlohmann::json& map, const char* name);

/// Who gave `name` as something that it must not be: "gave "mode" as a text, which is no number".
[[noreturn]] void Refuse(const nlohmann::json& value, std::string_view name, const char* wanted);

/// `value`, the member `name`, as a number from `least` to `most`.
std::int64_t Integer(const nlohmann::json& value, std::string_view name,
                     std::int64_t least = std::numeric_limits<std::int64_t>::min(),
                     std::int64_t most = std::numeric_limits<std::int64_t>::max());
/// The member `name` of `map` as a number of the type `Number`; `otherwise` without it.
template <class Number>
Number NumberIn(const nlohmann::json& map, const char* name, Number otherwise) {
  const nlohmann::json* const value = Find(map, name);
  if (value == nullptr) return otherwise;
  return static_cast<Number>(
      Integer(*value, name, std::numeric_limits<Number>::min(),
              static_cast<std::int64_t>(std::numeric_limits<Number>::max())));
}
/// The same where all 64 bits count, with or without a sign.
std::uint64_t WideNumberIn(const nlohmann::json& map, const char* name, std::uint64_t otherwise);

/// `value`, the member `name`, as Latin-1: a text in UTF-8, or bytes as they are. At most `most` bytes,
/// and no zero among them.
std::string TextFrom(const nlohmann::json& value, std::string_view name, std::size_t most);
/// `value`, the member `name`, as bytes: no text.
std::string_view BytesFrom(const nlohmann::json& value, std::string_view name);

/// `text`, which is Latin-1, as a message has it.
nlohmann::json TextValue(std::string_view text);
/// `bytes` as a message has them.
nlohmann::json BytesValue(std::string_view bytes);

/// `text` as a line that reports it has it: in quotes, with what cannot be shown as '?', and no longer
/// than that is of use.
std::string Shown(std::string_view text);

}  // namespace quorle::connect
