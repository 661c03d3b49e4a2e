#include "explore/numbers.h"

#include <array>
#include <cstddef>
#include <limits>

#include "explore/shares.h"
#include "explore/side.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// The numbers `first` to `last`, which may be the lower one.
struct NumberRow {
  std::uint32_t weight;
  std::int64_t first;
  std::int64_t last;

  constexpr NumberRow(std::uint32_t share, std::int64_t only)
      : weight(share), first(only), last(only) {}
  constexpr NumberRow(std::uint32_t share, std::int64_t from, std::int64_t to)
      : weight(share), first(from), last(to) {}
};

constexpr std::int64_t kMostNumber = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeastNumber = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kGiB = std::int64_t{1} << 30;

// Around the edges of blocks, pages and of what 16 bits count. Long ones are rare: they cost.
constexpr auto kBytesToReadRows = std::to_array<NumberRow>({
    {200, 0},
    {400, 1},
    {1500, 2, 16},
    {1000, 17, 510},
    {400, 511},
    {400, 512},
    {600, 513},
    {600, 514, 4094},
    {300, 4095},
    {300, 4096},
    {300, 4097},
    {400, 4098, 65534},
    {200, 65535},
    {200, 65536},
    {400, 65537},
    {40, 65538, 1 << 20},
    {4, 1 << 20, kMostBytes - 1},
    {4, kMostBytes},
    {40, -1},
    {20, -2, -513},
    {5, INT32_MIN},
});
constexpr auto kBytesToWriteRows = std::to_array<NumberRow>({
    {3000, 0},
    {6000, 1},
    {22000, 2, 16},
    {11000, 17, 510},
    {4000, 511},
    {5000, 512},
    {6000, 513},
    {3000, 514, 4094},
    {1000, 4095},
    {1500, 4096},
    {1500, 4097},
    {300, 4098, 65534},
    {120, 65535},
    {120, 65536},
    {120, 65537},
    {20, 65538, 1 << 18},
    {4, 1 << 18, 1 << 20},
    {1, 1 << 20, kMostBytes - 1},
    {1, kMostBytes},
    {300, -1},
    {100, -2, -513},
    {20, INT32_MIN},
});
constexpr auto kLinkBufferRows = std::to_array<NumberRow>({
    {400, 256},
    {60, 257, 4096},
    {60, 255, 17},
    {40, 16, 6},
    {30, 5},
    {30, 4},
    {30, 3},
    {40, 2},
    {40, 1},
    {30, 0},
    {10, -1},
});
constexpr auto kFilesToMakeRows = std::to_array<NumberRow>({
    {1000, 1, 3},
    {600, 4, 20},
    {150, 21, 100},
    {100, 101, 300},
    {10, 301, 1000},
    {2, 1001, 4999},
    {1, 5000},
});
constexpr auto kTicksRows = std::to_array<NumberRow>({{10, 0}, {1, 1}, {1, 2, 50}});
constexpr auto kOffsetRows = std::to_array<NumberRow>({
    {10000, 0},
    {6000, 1},
    {6000, 2, 16},
    {4000, 17, 510},
    {2000, 511},
    {3000, 512},
    {3000, 513},
    {2000, 514, 4094},
    {1000, 4095},
    {1200, 4096},
    {1200, 4097},
    {400, 4098, 65534},
    {200, 65535},
    {200, 65536},
    {200, 65537},
    {40, 65538, kMostBytes},
    {4000, -1},
    {3000, -2, -16},
    {1000, -17, -510},
    {500, -511},
    {700, -512},
    {500, -513},
    {300, -514, -4097},
    {100, -4098, -65537},
    {40, 2 * kGiB - 1},
    {40, 2 * kGiB},
    {20, 2 * kGiB + 1},
    {40, 4 * kGiB - 1},
    {100, 4 * kGiB},
    {60, 4 * kGiB + 1},
    {100, 4 * kGiB + 2, 8 * kGiB},
    {150, -2 * kGiB - 1},
    {100, -4 * kGiB},
    {20, -4 * kGiB - 1},
    {40, kMostNumber},
    {40, kLeastNumber},
});
// Few, so that ranges meet: some overlap by one byte, some touch, and some are what was locked.
constexpr auto kRecordStartRows = std::to_array<NumberRow>({
    {700, 0},
    {100, 1},
    {100, 7},
    {150, 8},
    {80, 9},
    {40, 512},
    {20, 65536},
    {20, 4 * kGiB},
    {20, kMostNumber},
    {20, -1},
});
constexpr auto kRecordLengthRows = std::to_array<NumberRow>({
    {300, 1},
    {100, 2},
    {150, 8},
    {100, 9},
    {40, 512},
    {20, 4 * kGiB},
    {20, kMostNumber},
    {20, 0},
    {20, -1},
});

constexpr auto kOpenModeRows = std::to_array<NumberRow>({
    {400, MODE_NEWFILE},
    {300, MODE_OLDFILE},
    {290, MODE_READWRITE},
    {2, MODE_READWRITE - 1},
    {2, MODE_NEWFILE + 1},
    {2, 0},
    {2, -1},
});
constexpr auto kLockModeRows = std::to_array<NumberRow>({
    {740, SHARED_LOCK},
    {240, EXCLUSIVE_LOCK},
    {4, 0},
    {4, 1},
    {4, -3},
});
constexpr auto kOffsetModeRows = std::to_array<NumberRow>({
    {500, OFFSET_BEGINNING},
    {200, OFFSET_CURRENT},
    {290, OFFSET_END},
    {5, 2},
    {5, -2},
});
constexpr auto kRecordModeRows = std::to_array<NumberRow>({
    {400, REC_EXCLUSIVE_IMMED},
    {300, REC_SHARED_IMMED},
    {100, REC_EXCLUSIVE},
    {100, REC_SHARED},
    {10, REC_SHARED_IMMED + 1},
    {5, 0xFFFFFFFF},
});
constexpr auto kNotifyFlagsRows = std::to_array<NumberRow>({
    {500, NRF_SEND_MESSAGE},
    {150, NRF_SEND_MESSAGE | NRF_NOTIFY_INITIAL},
    {150, NRF_SEND_MESSAGE | NRF_WAIT_REPLY},
    {50, NRF_SEND_MESSAGE | NRF_WAIT_REPLY | NRF_NOTIFY_INITIAL},
    {50, NRF_SEND_SIGNAL},
    {10, 0},
});

constexpr auto kMaskRows = std::to_array<NumberRow>({
    {300, EXDF_DEFAULT},
    {100, EXDF_ARCHIVE},
    {100, EXDF_NO_EXECUTE},
    {50, EXDF_NO_DELETE},
    {50, EXDF_NO_WRITE},
    {40, EXDF_NO_READ},
    {20, 15},
    {20, 3, 31},
    {40, 0x20, 0xFF},
    {60, 0x100, 0xFFFF},
    {30, 0x10000, 0x7FFFFFFF},
    {10, 0x80000000},
    {10, 0xFFFFFFFF},
});
constexpr auto kIdRows = std::to_array<NumberRow>({
    {200, 0},
    {100, 1},
    {60, 2, 100},
    {40, 101, 0xFFFE},
    {30, 0xFFFF},
    {20, 0x10000},
    {20, 0x10001, 0x7FFFFFFE},
    {10, 0x7FFFFFFF},
    {10, 0x80000000},
    {20, 0xFFFFFFFF},
});
constexpr auto kKeyRows = std::to_array<NumberRow>({
    {300, 0},
    {80, 1},
    {20, 2, 0xFFFF},
    {10, 0xFFFFFFFF},
});
constexpr auto kTagRows = std::to_array<NumberRow>({
    {100, FSA_MaxFileNameLengthR},
    {50, FSA_VersionNumberR},
    {50, FSA_DOSTypeR},
    // What stands for nothing yet: the last one of the tags' room.
    {20, 0x800023FF},
});
// What shuts everybody out comes less often than what lets them in again.
constexpr auto kTruthRows = std::to_array<NumberRow>({{2, 0}, {1, 1}});

constexpr std::int32_t kLeapDay2000 = 8094;       // 29 February
constexpr std::int32_t kLeapDay2024 = 16860;      // 29 February
constexpr std::int32_t kLastDayOf31Bits = 24855;  // of seconds since 1978: 19 January 2046
constexpr auto kDayRows = std::to_array<NumberRow>({
    {300, 10000},
    {80, 0},
    {80, 1},
    {40, 730, 732},
    {60, kLeapDay2000 - 1, kLeapDay2000 + 1},
    {60, kLeapDay2024 - 1, kLeapDay2024 + 1},
    {200, 2, kLastDayOf31Bits - 1},
    {40, kLastDayOf31Bits},
    {4, kLastDayOf31Bits + 1},
    {4, INT32_MAX},
    {4, -1},
});
constexpr auto kMinuteRows = std::to_array<NumberRow>({
    {300, 0},
    {100, 1},
    {200, 2, 1438},
    {100, 1439},
    {4, 1440},
    {2, -1},
    {2, INT32_MAX},
});
constexpr auto kTickRows = std::to_array<NumberRow>({
    {300, 0},
    {100, 50},
    {100, 1},
    {50, 2, 49},
    {150, 51, 2998},
    {100, 2999},
    {4, 3000},
    {2, -1},
    {2, INT32_MAX},
});
constexpr auto kPatternRows = std::to_array<NumberRow>({{1, 0, 63}});

template <std::size_t kRows>
std::int64_t DrawRow(const std::array<NumberRow, kRows>& rows, const Shares<kRows>& shares,
                     Choice choice) {
  const auto drawn = shares.Draw(choice);
  const NumberRow& row = rows[drawn.row];
  if (row.first == row.last) return row.first;
  const std::int64_t distance = row.last - row.first;
  const std::int64_t step = distance < 0 ? -1 : 1;
  const std::int64_t count = distance * step + 1;
  return row.first + count * drawn.place / drawn.width * step;
}

template <const auto& kRows>
std::int64_t DrawFrom(Choice choice) {
  static constexpr Shares kShares(WeightsOf(kRows));
  return DrawRow(kRows, kShares, choice);
}

}  // namespace

std::int64_t DrawNumber(NumberKind kind, Choice choice) {
  switch (kind) {
    case NumberKind::kBytesToRead:
      return DrawFrom<kBytesToReadRows>(choice);
    case NumberKind::kBytesToWrite:
      return DrawFrom<kBytesToWriteRows>(choice);
    case NumberKind::kLinkBuffer:
      return DrawFrom<kLinkBufferRows>(choice);
    case NumberKind::kFilesToMake:
      return DrawFrom<kFilesToMakeRows>(choice);
    case NumberKind::kTicks:
      return DrawFrom<kTicksRows>(choice);
    case NumberKind::kOffset:
      return DrawFrom<kOffsetRows>(choice);
    case NumberKind::kRecordStart:
      return DrawFrom<kRecordStartRows>(choice);
    case NumberKind::kRecordLength:
      return DrawFrom<kRecordLengthRows>(choice);
    case NumberKind::kOpenMode:
      return DrawFrom<kOpenModeRows>(choice);
    case NumberKind::kLockMode:
      return DrawFrom<kLockModeRows>(choice);
    case NumberKind::kOffsetMode:
      return DrawFrom<kOffsetModeRows>(choice);
    case NumberKind::kRecordMode:
      return DrawFrom<kRecordModeRows>(choice);
    case NumberKind::kNotifyFlags:
      return DrawFrom<kNotifyFlagsRows>(choice);
    case NumberKind::kMask:
      return DrawFrom<kMaskRows>(choice);
    case NumberKind::kId:
      return DrawFrom<kIdRows>(choice);
    case NumberKind::kKey:
      return DrawFrom<kKeyRows>(choice);
    case NumberKind::kTag:
      return DrawFrom<kTagRows>(choice);
    case NumberKind::kTruth:
      return DrawFrom<kTruthRows>(choice);
    case NumberKind::kDay:
      return DrawFrom<kDayRows>(choice);
    case NumberKind::kMinute:
      return DrawFrom<kMinuteRows>(choice);
    case NumberKind::kTick:
      return DrawFrom<kTickRows>(choice);
    default:
      return DrawFrom<kPatternRows>(choice);
  }
}

}  // namespace quorle::explore
