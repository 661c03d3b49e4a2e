#pragma once

#include <cstddef>

#include "hosted/calls/handler_port.h"
#include "quorle/handler.h"

namespace quorle {

/// A handler that has a fixed tree of names to lock and nothing else. The mount key "tree" lists the
/// objects, parents first, with ';' between them: "dir/" a directory, "file" a file, "link>target" a
/// soft link; a path in front of each name. The key "volume" names the volume.
///
/// Not like a real handler: any number of exclusive locks is granted. A name under a file is 212.
const ::Handler& TreeHandler();

/// How many locks of the tree behind `port` are out.
std::size_t LiveLocks(const HandlerPort& port);
/// How many locks it has granted in all.
std::size_t GrantedLocks(const HandlerPort& port);

}  // namespace quorle
