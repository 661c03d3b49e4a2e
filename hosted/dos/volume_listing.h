#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "hosted/calls/handler_port.h"

namespace quorle {

/// How much of a volume is listed.
struct ListingBounds {
  std::size_t objects = 2000;          ///< at most so many, the root not counted
  std::int64_t file_bytes = 64 << 10;  ///< so much of each file's content
  std::int64_t all_bytes = 8 << 20;    ///< so much of all files together
};

/// What is known of one object.
struct ListedObject {
  std::uint32_t type = 0;              ///< FSO_TYPE_... in the low byte
  std::int64_t size = 0;               ///< of a file
  std::array<std::int32_t, 3> date{};  ///< days, minutes, ticks
  std::uint32_t protection = 0;
  std::uint32_t owner = 0;
  std::uint32_t group = 0;
  std::uint32_t references = 0;  ///< names that lead to it; 0: the handler does not say
  std::uint64_t id = 0;          ///< the same for all names of one object
  std::string comment;
  std::string target;              ///< of a soft link
  std::uint64_t content = 0;       ///< a hash of what was read of a file
  std::int64_t content_bytes = 0;  ///< how much that was
  std::int32_t error = 0;          ///< with which reading, listing or following it failed
  int times = 1;                   ///< how often its directory lists the name
};

/// A volume as it is seen through its handler at one moment.
struct VolumeListing {
  std::string volume_name;  ///< empty: none
  std::int32_t state = 0;   ///< ID_DISKSTATE_...; 0 when the handler does not say
  ListedObject root;
  std::map<std::string, ListedObject> objects;  ///< by path: "DIR/FILE"
  bool is_cut = false;                          ///< there are more objects than the bound allows
};

/// Lists the volume of `port` by calls of its own, of which dos and its program see nothing. Soft links
/// are not followed. What fails is a part of what is seen.
VolumeListing ListVolume(HandlerPort& port, const ListingBounds& bounds);

/// What of `before` is otherwise in `after`, a line each, what is missing first: "FILE01 is missing". Of
/// volumes that were cut what only one of them came to is left aside, unless `port`, which is mounted,
/// knows it no more.
std::vector<std::string> CompareListings(HandlerPort& port, const VolumeListing& before,
                                         const VolumeListing& after);

}  // namespace quorle
