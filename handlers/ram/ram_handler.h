#ifndef QUORLE_HANDLERS_RAM_RAM_HANDLER_H
#define QUORLE_HANDLERS_RAM_RAM_HANDLER_H

#include "quorle/handler.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The filesystem in memory: the reference, which does everything that the platform asks of one.
 * Mount keys, all optional:
 *
 *   volume=NAME       the volume's name; empty: none. "NAME Disk" for a device NAME unless given
 *   dostype=NUMBER    the DOS type, decimal or hexadecimal with 0x; 0x444F5309 unless given
 *   version=TEXT      the version text
 *   state=STATE       validated, validating or write-protected
 *   size=BYTES        the room on the volume, one block of 4096 bytes at least; no limit unless given
 *
 * A volume that was mounted without a name loses the one it was given when it is relabelled to the
 * name of its device.
 *
 * Where the host has a place for it (HandlerMount::Medium) the volume outlives an unmount, its name and
 * its write protection included.
 *
 * While it is inhibited everything but FSInhibit(), FSFormat(), FSSerialize(), FSDeviceInfoData(), which
 * shows the DOS type 'BUSY', and what gives something back is refused with 202. FSFormat() empties the
 * volume: only then, and when nobody has a lock or a file, else 202. FSSerialize() gives the volume another
 * date: only then.
 *
 * A request for notification watches a name: what is made, deleted, renamed, written and closed there,
 * or has its attributes set. One for a directory is notified of its entries too, but for attributes.
 *
 * Record locks bind those who lock records, its own file handle too. A mode that waits gets its time-out
 * at once, whatever the ticks: nobody can release a record while the call is answered.
 */
const struct Handler* QuorleRamHandler(void);

#ifdef __cplusplus
}
#endif

#endif
