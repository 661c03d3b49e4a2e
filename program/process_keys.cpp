#include "program/process_keys.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

namespace quorle {
namespace {

constexpr int kLongestCallLimit = 24 * 60 * 60;

/// Takes the value of `key` out of `keys`; none when it is not there.
std::optional<std::string> TakeKey(MountKeys& keys, std::string_view key) {
  const auto found =
      std::find_if(keys.begin(), keys.end(), [key](const auto& pair) { return pair.first == key; });
  if (found == keys.end()) return std::nullopt;
  std::string value = std::move(found->second);
  keys.erase(found);
  return value;
}

/// Reads a yes or no; `flag` stays as it is without a value. False, with `problem`, for anything
/// else.
bool ReadFlag(const std::optional<std::string>& value, const char* key, bool& flag,
              std::string& problem) {
  if (!value) return true;
  flag = *value == "yes";
  if (flag || *value == "no") return true;
  problem = std::string(key) + "=" + *value + ": it is either yes or no";
  return false;
}

bool ReadLimit(const std::optional<std::string>& value, std::chrono::seconds& limit,
               std::string& problem) {
  if (!value) return true;
  int seconds = 0;
  const char* const end = value->data() + value->size();
  const auto [stop, error] = std::from_chars(value->data(), end, seconds);
  limit = std::chrono::seconds(seconds);
  if (error == std::errc() && stop == end && seconds >= 1 && seconds <= kLongestCallLimit)
    return true;
  problem =
      "limit=" + *value + ": it is a number of seconds, 1 to " + std::to_string(kLongestCallLimit);
  return false;
}

}  // namespace

std::optional<ProcessKeys> TakeProcessKeys(MountSpec& spec, std::string& problem) {
  const std::optional<std::string> isolate = TakeKey(spec.keys, "isolate");
  const std::optional<std::string> limit = TakeKey(spec.keys, "limit");
  const std::optional<std::string> restart = TakeKey(spec.keys, "restart");
  ProcessKeys keys;
  if (!ReadFlag(isolate, "isolate", keys.isolate, problem) ||
      !ReadLimit(limit, keys.limit, problem) ||
      !ReadFlag(restart, "restart", keys.restart, problem)) {
    return std::nullopt;
  }
  if (!keys.isolate && (limit || restart == "yes")) {
    problem = std::string(limit ? "limit" : "restart") + " needs a process: not with isolate=no";
    return std::nullopt;
  }
  return keys;
}

}  // namespace quorle
