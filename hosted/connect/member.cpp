#include "hosted/connect/member.h"

#include <nlohmann/json.hpp>

#include "hosted/calls/handler_program.h"

namespace quorle::connect {
namespace {

using Json = nlohmann::json;

/// What kind of value somebody gave.
const char* KindOf(const Json& value) {
  switch (value.type()) {
    case Json::value_t::null:
      return "nil";
    case Json::value_t::object:
      return "a map";
    case Json::value_t::array:
      return "a list";
    case Json::value_t::string:
      return "a text";
    case Json::value_t::boolean:
      return "a truth value";
    case Json::value_t::binary:
      return "bytes";
    case Json::value_t::number_float:
      return "a fraction";
    default:
      return "a number";
  }
}

std::string Named(std::string_view name) {
  return "gave \"" + std::string(name) + "\" as ";
}

/// Takes one character of UTF-8, which must be one of Latin-1, off the front of `text`.
bool TakeCharacter(std::string_view& text, char& character) {
  const auto first = static_cast<unsigned char>(text[0]);
  character = text[0];
  if (first < 0x80) {
    text.remove_prefix(1);
    return true;
  }
  if ((first != 0xC2 && first != 0xC3) || text.size() < 2) return false;
  const auto second = static_cast<unsigned char>(text[1]);
  if ((second & 0xC0U) != 0x80) return false;
  character = static_cast<char>((first & 0x03U) << 6 | (second & 0x3FU));
  text.remove_prefix(2);
  return true;
}

}  // namespace

const Json* Find(const Json& map, const char* name) {
  const auto found = map.find(name);
  return found == map.end() || found->is_null() ? nullptr : &*found;
}

const Json& Get(const Json& map, const char* name) {
  const Json* const found = Find(map, name);
  if (found == nullptr) throw ProgramEnd(std::string("left out \"") + name + "\"");
  return *found;
}

void Refuse(const Json& value, std::string_view name, const char* wanted) {
  throw ProgramEnd(Named(name) + KindOf(value) + ", which is no " + wanted);
}

std::int64_t Integer(const Json& value, std::string_view name, std::int64_t least,
                     std::int64_t most) {
  if (!value.is_number_integer()) Refuse(value, name, "number");
  const bool is_too_large =
      value.is_number_unsigned() &&
      value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
  const std::int64_t number = is_too_large ? most : value.get<std::int64_t>();
  if (!is_too_large && number >= least && number <= most) return number;
  throw ProgramEnd(Named(name) + value.dump() + ", which is not " + std::to_string(least) + " to " +
                   std::to_string(most));
}

std::uint64_t WideNumberIn(const Json& map, const char* name, std::uint64_t otherwise) {
  const Json* const value = Find(map, name);
  if (value == nullptr) return otherwise;
  if (value->is_number_unsigned()) return value->get<std::uint64_t>();
  return static_cast<std::uint64_t>(Integer(*value, name));
}

std::string TextFrom(const Json& value, std::string_view name, std::size_t most) {
  std::string text;
  if (value.is_binary()) {
    text = BytesFrom(value, name);
  } else if (value.is_string()) {
    for (std::string_view left = value.get_ref<const std::string&>(); !left.empty();) {
      char character = '\0';
      if (!TakeCharacter(left, character)) {
        throw ProgramEnd(Named(name) + "a text that is not of Latin-1 in UTF-8");
      }
      text += character;
    }
  } else {
    Refuse(value, name, "text");
  }
  if (text.find('\0') != std::string::npos)
    throw ProgramEnd(Named(name) + "a text with a zero in it");
  if (text.size() > most) {
    throw ProgramEnd(Named(name) + "a text of " + std::to_string(text.size()) +
                     " bytes, of at most " + std::to_string(most));
  }
  return text;
}

std::string_view BytesFrom(const Json& value, std::string_view name) {
  if (!value.is_binary()) Refuse(value, name, "bytes");
  const Json::binary_t& bytes = value.get_binary();
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Json TextValue(std::string_view text) {
  std::string utf8;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
      continue;
    }
    utf8 += static_cast<char>(0xC0U | byte >> 6);
    utf8 += static_cast<char>(0x80U | (byte & 0x3FU));
  }
  return utf8;
}

Json BytesValue(std::string_view bytes) {
  return Json::binary(Json::binary_t::container_type(bytes.begin(), bytes.end()));
}

std::string Shown(std::string_view text) {
  constexpr std::size_t kMost = 40;
  std::string shown = "\"";
  for (const char c : text.substr(0, kMost)) shown += c >= ' ' && c <= '~' ? c : '?';
  return shown + (text.size() > kMost ? "...\"" : "\"");
}

}  // namespace quorle::connect
