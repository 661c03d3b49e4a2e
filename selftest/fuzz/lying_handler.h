#pragma once

#include "quorle/handler.h"

/// The filesystem in memory, but for lies: in one call of some it gives other numbers, codes, texts,
/// locks and records than it should, wild addresses and what it has freed among them, writes up to
/// 1 MiB beside what it is to fill, and frees what it has not. It does nothing that is a fault of its
/// own process: who mounts it must survive everything else. Mount keys:
///
///   seed=N       which lies
///   packets=yes  takes packets alone; classic: those that are not newer than classic handlers
const struct Handler* QuorleLyingHandler();
