#pragma once

#include <string>
#include <string_view>

namespace quorle::hostdir {

/// Files of the handler's own begin with this, in any case. They are never part of the volume.
inline constexpr std::string_view kOwnPrefix = ".quorle-metadata";

/// The bytes under which the host keeps an object called `name` (Latin-1): the name in UTF-8. The
/// names "." and "..", and those that begin as the handler's own files do, are kept with each
/// leading dot replaced by U+F02E, a character for private use that no Latin-1 name has.
std::string ToHostName(std::string_view name);

/// Letters and digits that nobody else uses at the end of a name.
std::string UniqueSuffix();
/// A name for the host that nobody else uses and that is never part of the volume.
std::string AsideName();

/// The name of what the host calls `host`; false when that is nothing that ToHostName() makes of a
/// name. Such objects are foreign.
bool FromHostName(std::string_view host, std::string& name);

}  // namespace quorle::hostdir
