#pragma once

#include <memory>
#include <string>

#include "handlers/hostdir/record_store.h"

namespace quorle::hostdir {

/// Keeps each record in the extended attribute "user.quorle" of its object. Null, with one line in
/// `problem`, when `root` cannot have such an attribute.
std::unique_ptr<RecordStore> OpenXattrStore(const Opened& root, std::string& problem);

}  // namespace quorle::hostdir
