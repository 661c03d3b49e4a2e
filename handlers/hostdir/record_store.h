#pragma once

#include <cstdint>

#include "handlers/hostdir/host.h"
#include "handlers/hostdir/record.h"

namespace quorle::hostdir {

/// Where the records of objects are kept.
class RecordStore {
 public:
  virtual ~RecordStore() = default;

  /// Whether the functions below need the descriptor of an object. What it is does without.
  virtual bool NeedsDescriptor() const = 0;
  /// The record of an object; of one that has none, a plain record.
  virtual DosError Read(const Opened& object, Record& record) = 0;
  /// Keeps the record. On failure the old one stays.
  virtual DosError Write(const Opened& object, const Record& record) = 0;
  /// The same for an object that was just made.
  virtual DosError WriteFirst(const Opened& object, const Record& record) = 0;
  /// The object is gone.
  virtual void Forget(const Opened& object) = 0;
};

}  // namespace quorle::hostdir
