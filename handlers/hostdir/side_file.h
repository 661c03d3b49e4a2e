#pragma once

#include <memory>
#include <string>

#include "handlers/hostdir/record_store.h"

namespace quorle::hostdir {

/// Keeps all records in one file of the root directory, ".quorle-metadata". Each line is about one
/// object, by its inode number and its time of birth, so that it stays true when the object gets
/// another name; the last line on an object counts. The file is written again when the store is
/// opened, and only added to in between. Null, with one line in `problem`, when there can be no
/// such file.
std::unique_ptr<RecordStore> OpenSideFile(const Opened& root, std::string& problem);

}  // namespace quorle::hostdir
