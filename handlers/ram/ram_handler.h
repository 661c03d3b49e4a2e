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
 * Not offered: FSInhibit(), FSFormat(), FSSerialize(), notification and record locks answer 209.
 */
const struct Handler* QuorleRamHandler(void);

#ifdef __cplusplus
}
#endif

#endif
