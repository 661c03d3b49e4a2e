#pragma once

#include <functional>
#include <string>

#include "handlers/hostdir/host.h"
#include "handlers/hostdir/journal.h"
#include "handlers/hostdir/record_store.h"

namespace quorle::hostdir {

/// Looks for what runs that were killed have left in the directory `root`, found at `path`, by their
/// journals in `folder`. What is proved to be of such a run by its identity is removed, its record
/// too; what only has the name stays. Each run gets a line for each of the two in `report`, and is
/// forgotten unless something of it could not be removed.
void RemoveLeftovers(int folder, const Opened& root, const std::string& path, RecordStore& records,
                     const std::function<void(const std::string&)>& report);

}  // namespace quorle::hostdir
