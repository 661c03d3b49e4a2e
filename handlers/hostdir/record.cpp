#include "handlers/hostdir/record.h"

#include "handlers/common/settings.h"
#include "handlers/hostdir/words.h"

namespace quorle::hostdir {
namespace {

using common::ReadNumber;

/// DAYS:MINUTE:TICK@SECONDS.NANOSECONDS
bool ReadDate(std::string_view text, KeptDate& kept) {
  std::int64_t seconds = 0;
  std::int32_t nanoseconds = 0;
  std::string_view date = CutAt('@', text);
  const std::string_view days = CutAt(':', date);
  const std::string_view minute = CutAt(':', date);
  const std::string_view whole = CutAt('.', text);
  if (!ReadNumber(days, kept.date.ds_Days) || !ReadNumber(minute, kept.date.ds_Minute) ||
      !ReadNumber(date, kept.date.ds_Tick) || !ReadNumber(whole, seconds) ||
      !ReadNumber(text, nanoseconds)) {
    return false;
  }
  kept.stand_in = {};
  kept.stand_in.tv_sec = static_cast<std::time_t>(seconds);
  kept.stand_in.tv_nsec = nanoseconds;
  return true;
}

std::string DateText(const KeptDate& kept) {
  return std::to_string(kept.date.ds_Days) + ':' + std::to_string(kept.date.ds_Minute) + ':' +
         std::to_string(kept.date.ds_Tick) + '@' + std::to_string(kept.stand_in.tv_sec) + '.' +
         std::to_string(kept.stand_in.tv_nsec);
}

void ReadWord(std::string_view key, std::string_view value, Record& record) {
  if (key == "kind") {
    record.soft_link = value == "softlink";
  } else if (key == "protection") {
    ReadNumber(value, record.protection);
  } else if (key == "owner") {
    ReadNumber(value, record.owner);
  } else if (key == "group") {
    ReadNumber(value, record.group);
  } else if (key == "date") {
    KeptDate kept{};
    if (ReadDate(value, kept)) record.date = kept;
  } else if (key == "comment") {
    record.comment = Unescaped(value);
  } else if (key == "label") {
    record.label = Unescaped(value);
  }
}

}  // namespace

std::string ToText(const Record& record) {
  std::string text;
  const auto add = [&text](std::string_view key, const std::string& value) {
    if (!text.empty()) text += ' ';
    text += key;
    text += '=';
    text += value;
  };
  if (record.soft_link) add("kind", "softlink");
  if (record.protection != 0) add("protection", std::to_string(record.protection));
  if (record.owner != 0) add("owner", std::to_string(record.owner));
  if (record.group != 0) add("group", std::to_string(record.group));
  if (record.date) add("date", DateText(*record.date));
  if (!record.comment.empty()) add("comment", Escaped(record.comment));
  if (record.label) add("label", Escaped(*record.label));
  return text;
}

Record FromText(std::string_view text) {
  Record record;
  while (!text.empty()) {
    std::string_view value = CutAt(' ', text);
    const std::string_view key = CutAt('=', value);
    ReadWord(key, value, record);
  }
  return record;
}

}  // namespace quorle::hostdir
