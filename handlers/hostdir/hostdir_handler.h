#ifndef QUORLE_HANDLERS_HOSTDIR_HOSTDIR_HANDLER_H
#define QUORLE_HANDLERS_HOSTDIR_HOSTDIR_HANDLER_H

#include "quorle/handler.h"

#ifdef __cplusplus
extern "C" {
#endif

/*
 * A directory of the host as a volume. Mount keys, all optional but the first:
 *
 *   path=DIRECTORY    the directory of the host that becomes the root
 *   volume=NAME       the volume's name; empty: none. Unless given, the one that the volume was
 *                     last relabelled to, or "NAME Disk" for a device NAME
 *   dostype=NUMBER    the DOS type, decimal or hexadecimal with 0x; 0x444F5309 unless given
 *   version=TEXT      the version text
 *   state=STATE       validated, validating or write-protected
 *   metadata=WHERE    xattr: what the host has no place for is kept in extended attributes; file:
 *                     in the file .quorle-metadata of the directory. xattr unless given
 *   scratch=YESNO     yes: only what this mount has made, and the root, is changed or deleted, all
 *                     else is refused with 211. no: everything on the volume is the tester's. yes
 *                     unless given
 *
 * docs/hostdir.md says what is kept where, and what a host filesystem cannot do.
 *
 * While it is inhibited everything but FSInhibit(), FSDeviceInfoData(), which shows the DOS type 'BUSY',
 * and what gives something back is refused with 202.
 *
 * Record locks are as of the ram handler, and this mount's own: what others on the host lock is not noticed.
 *
 * Not offered: FSFormat(), FSSerialize() and notification answer 209, as does a hard link to a directory.
 */
const struct Handler* QuorleHostdirHandler(void);

#ifdef __cplusplus
}
#endif

#endif
