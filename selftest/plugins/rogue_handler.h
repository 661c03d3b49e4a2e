#pragma once

#include "quorle/handler.h"

/// The filesystem in memory, but for one function. Mount keys beside those of the filesystem:
///
///   in=NAME     which one: a function of the table, "FSLock", or Packet, Mount, Unmount. With
///               FSExamineDir there is no FSExamineObj
///   at=N        at its Nth call, and every one after it; 1 unless given
///   once=FILE   refuses to be mounted when FILE is there, and makes it
///   turns=FILE  behaves in every other mount: FILE, which it makes and removes, says in which
///   how=WAY     what it does then:
///     signal    ends by signal 11
///     exit      exits with status 3
///     hang      does not come back
///     throw     throws
///     ask       asks for a name of the volume without end
///     children  makes 200 processes, which stay
///     daemons   makes three processes in sessions of their own
///     int, term, hup
///               sends its parent the signal of that name, at its Nth call alone
///     crash     writes to nowhere in Crash()
///     lose      loses memory in Lose()
///     spin      does not come back from Spin()
///     int_hang  sends its parent SIGINT and does not come back
///     slow      takes a tenth of a second
///     stopped   is stopped for three seconds, at its Nth call alone
///     stop      stops its parent for three seconds, at its Nth call alone, and takes as long
///     again     FSExamineDir: gives the first entry without end, as "same"
///     fresh     FSExamineDir: gives the first entry without end, each time under another name
///     turn      writes over the word that says whose turn it is
///     garbage   writes over the place of the reply and hands it over
///     zeroes    the same with zeroes everywhere
///     length    hands over a reply that is longer than its place
///     short     hands over a reply that is too short
///     number    FSLock: hands over a lock that was never made
///     endless   FSExamineLock, FSExamineDir: gives a name without an end; FSFileSystemAttr: a version
///     large     FSExamineLock: gives a text that no reply holds
///     nameless  FSExamineLock: gives a record without texts
///     keep      FSUnLock: forgets to free the lock
///     twice     FSUnLock: frees the lock twice
///     early     FSRead: frees the lock on the root that FSLock gave
///     foreign   FSLock: gives a lock that is not from the services
///     made-up   FSLock, FSExamineLock: gives an address where nothing is
///     stale     FSLock, FSExamineLock: gives what it has freed
///     over      FSRead, FSReadSoftLink, FSDeviceInfoData, FSFileSystemAttr: writes 64 bytes behind
///               what it fills; FSExamineLock: a name behind its buffer
///     far       FSRead: writes 1 MiB behind the buffer
///     under     FSRead: writes a byte before the buffer
///     more      FSRead, FSWrite, FSReadSoftLink: gives 600 for whatever was asked
///     pointed   FSExamineLock: has the record point to a text elsewhere
///     print     prints a line and reads its input
///     child     tells of its open descriptors as the size: FSGetFileSize
const struct Handler* QuorleRogueHandler();
