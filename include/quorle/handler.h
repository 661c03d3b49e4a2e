/*
 * quorle/handler.h - what a filesystem handler implements to be mounted on Linux.
 *
 * Plain C11. A handler fills a table of functions (struct FileSystemVectors, the platform's order,
 * names and argument order) and hands it out through a struct Handler. Every function is optional:
 * a missing one makes dos send the matching packet instead, which a handler without a packet
 * function answers with 0 and ERROR_ACTION_NOT_KNOWN (209).
 *
 * Rules for every vector:
 *  - The first argument is the handler's own port, the second, res2, receives the error code
 *    (ERROR_...). It is never null and is 0 when the call is made. It counts when the result is
 *    zero (-1 or -2 where the comment says so).
 *  - A name is one component, never a path, at most 255 bytes of Latin-1, case-insensitive. A name
 *    of "" means the object of `rel` itself, which may be a file. `rel` null means the root.
 *  - A soft link met as the object of a call is answered with ERROR_IS_SOFT_LINK (233), and dos
 *    follows it; FSDelete(), FSRename(), FSReadSoftLink() and FSExamineObj() work on the link itself.
 *  - All locks on directories are shared, whatever mode was asked for.
 *
 * What a 64-bit host changes: locks and handles are plain pointers (no BPTR), arguments of packets
 * and tags are as wide as a pointer, and file names in packets are addresses of length-prefixed
 * texts. The table, its names and the order of arguments are those of the platform.
 */
#ifndef QUORLE_HANDLER_H
#define QUORLE_HANDLER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * The version of this header. A newer one adds to the end of structs and tables, nothing else; what is
 * marked with a version is there in a host of that version or newer, and its struct reaches that far.
 * 1: vectors, packets, plugins. 2: notification, what handlers of classic packets need, a volume that
 * outlives an unmount.
 */
#define QUORLE_HANDLER_VERSION 2

/* ---- Constants, under the platform's names and with its values ------------------------------- */

enum { /* modes of FSOpen() and FSLock(), seek modes, results of a comparison */
  MODE_READWRITE = 1004,
  MODE_OLDFILE = 1005,
  MODE_NEWFILE = 1006,
  SHARED_LOCK = -2,
  EXCLUSIVE_LOCK = -1,
  OFFSET_BEGINNING = -1,
  OFFSET_CURRENT = 0,
  OFFSET_END = 1
};

enum { /* protection bits: the four low ones deny when they are set */
  EXDF_NO_DELETE = 1,
  EXDF_NO_EXECUTE = 2,
  EXDF_NO_WRITE = 4,
  EXDF_NO_READ = 8,
  EXDF_ARCHIVE = 16
};

enum { /* error codes */
  ERROR_NO_FREE_STORE = 103,
  ERROR_BAD_NUMBER = 115,
  ERROR_REQUIRED_ARG_MISSING = 116,
  ERROR_LINE_TOO_LONG = 120,
  ERROR_OBJECT_IN_USE = 202,
  ERROR_OBJECT_EXISTS = 203,
  ERROR_DIR_NOT_FOUND = 204,
  ERROR_OBJECT_NOT_FOUND = 205,
  ERROR_OBJECT_TOO_LARGE = 207,
  ERROR_ACTION_NOT_KNOWN = 209,
  ERROR_INVALID_COMPONENT_NAME = 210,
  ERROR_INVALID_LOCK = 211,
  ERROR_OBJECT_WRONG_TYPE = 212,
  ERROR_DISK_NOT_VALIDATED = 213,
  ERROR_DISK_WRITE_PROTECTED = 214,
  ERROR_RENAME_ACROSS_DEVICES = 215,
  ERROR_DIRECTORY_NOT_EMPTY = 216,
  ERROR_TOO_MANY_LEVELS = 217,
  ERROR_DEVICE_NOT_MOUNTED = 218,
  ERROR_SEEK_ERROR = 219,
  ERROR_COMMENT_TOO_BIG = 220,
  ERROR_DISK_FULL = 221,
  ERROR_DELETE_PROTECTED = 222,
  ERROR_WRITE_PROTECTED = 223,
  ERROR_READ_PROTECTED = 224,
  ERROR_NO_DISK = 226,
  ERROR_NO_MORE_ENTRIES = 232,
  ERROR_IS_SOFT_LINK = 233,
  ERROR_NOT_IMPLEMENTED = 236,
  ERROR_RECORD_NOT_LOCKED = 240,
  ERROR_LOCK_COLLISION = 241,
  ERROR_LOCK_TIMEOUT = 242
};

enum { /* disk states */
  ID_DISKSTATE_WRITE_PROTECTED = 80,
  ID_DISKSTATE_VALIDATING = 81,
  ID_DISKSTATE_VALIDATED = 82
};

enum { /* ExamineData::Type: what the object is in the low byte, flags above */
  FSO_TYPE_MASK = 0xFF,
  FSO_TYPE_SOFTLINK = 0,
  FSO_TYPE_FILE = 1,
  FSO_TYPE_DIRECTORY = 2,
  FSO_TYPE_INVALID = 0xFE,
  FSOF_LINK = 1 << 8
};

enum { /* FileInfoBlock::fib_DirEntryType and fib_EntryType: above 0 a directory, below a file */
  ST_ROOT = 1,
  ST_USERDIR = 2,
  ST_SOFTLINK = 3,
  ST_LINKDIR = 4,
  ST_FILE = -3,
  ST_LINKFILE = -4,
  ST_PIPEFILE = -5
};

enum { /* the first argument of ACTION_CHANGE_MODE: what the second one is */
  CHANGE_LOCK = 0,
  CHANGE_FH = 1
};

enum { /* modes of FSLockRecord() and ACTION_LOCK_RECORD: with IMMED nobody waits */
  REC_EXCLUSIVE = 0,
  REC_EXCLUSIVE_IMMED = 1,
  REC_SHARED = 2,
  REC_SHARED_IMMED = 3
};

enum { /* NotifyRequest::nr_Flags */
  NRF_SEND_MESSAGE = 1,
  NRF_SEND_SIGNAL = 2,
  NRF_WAIT_REPLY = 8,      /* no further message before the last one was replied to */
  NRF_NOTIFY_INITIAL = 16, /* a first one at once when the object is there */
  NRF_DOS_NOTIFY_ONLY = 1 << 12
};

/* Types for AllocDosObject() and FreeDosObject(). */
#define QUORLE_DOS_LOCK 9
#define QUORLE_DOS_EXAMINEDATA 11
#define QUORLE_DOS_FSVECTORPORT 14

/* Node types of a port. */
#define QUORLE_NT_MSGPORT 4
#define QUORLE_NT_FILESYSTEM 28

/* The version of the vector table. */
#define QUORLE_FS_VECTORPORT_VERSION 53

/* Tags. */
#define QUORLE_TAG_DONE 0u
#define QUORLE_TAG_IGNORE 1u
#define QUORLE_TAG_USER 0x80000000u
#define QUORLE_FSA_MaxFileNameLengthR (QUORLE_TAG_USER + 9010u) /* uint32_t *                  */
#define QUORLE_FSA_MaxFileNameLengthW (QUORLE_TAG_USER + 9011u) /* uint32_t *                  */
#define QUORLE_FSA_VersionNumberR (QUORLE_TAG_USER + 9012u)     /* uint32_t *, version<<16|rev */
#define QUORLE_FSA_DOSTypeR (QUORLE_TAG_USER + 9013u)           /* uint32_t *                  */
#define QUORLE_FSA_ActivityFlushTimeoutR (QUORLE_TAG_USER + 9014u)   /* uint32_t *             */
#define QUORLE_FSA_InactivityFlushTimeoutR (QUORLE_TAG_USER + 9016u) /* uint32_t *             */
#define QUORLE_FSA_MaxRecycledEntriesR (QUORLE_TAG_USER + 9018u)     /* uint32_t *, 0: none    */
#define QUORLE_FSA_HasRecycledEntriesR (QUORLE_TAG_USER + 9020u)     /* uint32_t *             */
#define QUORLE_FSA_VersionStringR (QUORLE_TAG_USER + 9021u)     /* char *                      */
#define QUORLE_FSA_VersionStringR_BufSize (QUORLE_TAG_USER + 9022u) /* bytes in that buffer    */
#define QUORLE_ADO_Vectors (QUORLE_TAG_USER + 2007u)            /* struct FileSystemVectors *  */
#define QUORLE_ADO_ExamineData_NameSize (QUORLE_TAG_USER + 2020u)
#define QUORLE_ADO_ExamineData_CommentSize (QUORLE_TAG_USER + 2021u)
#define QUORLE_ADO_ExamineData_LinkSize (QUORLE_TAG_USER + 2022u)

/* Tags of ACTION_SET_OWNER_INFO. */
#define QUORLE_OI_OwnerUID (QUORLE_TAG_USER + 6210u) /* uint32_t */
#define QUORLE_OI_OwnerGID (QUORLE_TAG_USER + 6211u) /* uint32_t */

/* Kinds of link in ACTION_MAKE_LINK. */
#define QUORLE_PACKET_LINK_HARD 0
#define QUORLE_PACKET_LINK_SOFT (-1)

/*
 * Packets: the numbers in dp_Type. Of a handler that answers a newer packet with 0 and 209 dos asks the
 * same by the classic ones, and goes on to as long as it is mounted.
 */
enum QuorlePacketAction {
  QUORLE_ACTION_CURRENT_VOLUME = 7,
  QUORLE_ACTION_LOCATE_OBJECT = 8,
  QUORLE_ACTION_RENAME_DISK = 9,
  QUORLE_ACTION_FREE_LOCK = 15,
  QUORLE_ACTION_DELETE_OBJECT = 16,
  QUORLE_ACTION_RENAME_OBJECT = 17,
  QUORLE_ACTION_COPY_LOCK = 19,
  QUORLE_ACTION_SET_PROTECT = 21,
  QUORLE_ACTION_CREATE_DIR = 22,
  QUORLE_ACTION_EXAMINE_OBJECT = 23, /* classic */
  QUORLE_ACTION_EXAMINE_NEXT = 24,   /* classic */
  QUORLE_ACTION_DISK_INFO = 25,
  QUORLE_ACTION_INFO = 26,
  QUORLE_ACTION_FLUSH = 27,
  QUORLE_ACTION_SET_COMMENT = 28,
  QUORLE_ACTION_PARENT = 29,
  QUORLE_ACTION_INHIBIT = 31,
  QUORLE_ACTION_SET_DATE = 34,
  QUORLE_ACTION_SAME_LOCK = 40,
  QUORLE_ACTION_SAME_FH = 53,
  QUORLE_ACTION_READ = 82,
  QUORLE_ACTION_WRITE = 87,
  QUORLE_ACTION_FINDUPDATE = 1004,
  QUORLE_ACTION_FINDINPUT = 1005,
  QUORLE_ACTION_FINDOUTPUT = 1006,
  QUORLE_ACTION_END = 1007,
  QUORLE_ACTION_SEEK = 1008, /* classic */
  QUORLE_ACTION_FORMAT = 1020,
  QUORLE_ACTION_MAKE_LINK = 1021,
  QUORLE_ACTION_SET_FILE_SIZE = 1022, /* classic */
  QUORLE_ACTION_WRITE_PROTECT = 1023,
  QUORLE_ACTION_READ_SOFT_LINK = 1024,
  QUORLE_ACTION_FH_FROM_LOCK = 1026,
  QUORLE_ACTION_IS_FILESYSTEM = 1027,
  QUORLE_ACTION_CHANGE_MODE = 1028,
  QUORLE_ACTION_COPY_LOCK_FH = 1030,
  QUORLE_ACTION_PARENT_FH = 1031,
  QUORLE_ACTION_EXAMINE_FH = 1034, /* classic */
  QUORLE_ACTION_SET_OWNER = 1036,  /* classic */
  QUORLE_ACTION_SET_OWNER_INFO = 1037,
  QUORLE_ACTION_LOCK_RECORD = 2008, /* classic */
  QUORLE_ACTION_FREE_RECORD = 2009, /* classic */
  QUORLE_ACTION_FILESYSTEM_ATTR = 3005,
  QUORLE_ACTION_EXAMINEDATA = 3030,
  QUORLE_ACTION_EXAMINEDATA_FH = 3031,
  QUORLE_ACTION_EXAMINEDATA_OBJ = 3032, /* the number is a choice of this kit */
  QUORLE_ACTION_EXAMINEDATA_DIR = 3040,
  QUORLE_ACTION_ADD_NOTIFY = 4097,
  QUORLE_ACTION_REMOVE_NOTIFY = 4098,
  QUORLE_ACTION_SERIALIZE_DISK = 4200,
  QUORLE_ACTION_CHANGE_FILE_POSITION64 = 8001,
  QUORLE_ACTION_GET_FILE_POSITION64 = 8002,
  QUORLE_ACTION_CHANGE_FILE_SIZE64 = 8003,
  QUORLE_ACTION_GET_FILE_SIZE64 = 8004,
  QUORLE_ACTION_LOCK_RECORD64 = 8010,
  QUORLE_ACTION_FREE_RECORD64 = 8011
};

/* ---- Records -------------------------------------------------------------------------------- */

struct TagItem {
  uint32_t ti_Tag;
  uintptr_t ti_Data;
};

/* Days since 1 January 1978, minutes since midnight, ticks (1/50 s) since the minute. */
struct DateStamp {
  int32_t ds_Days;
  int32_t ds_Minute;
  int32_t ds_Tick;
};

/* A port. The handler's own is the first member of its struct FileSystemVectorPort. */
struct MsgPort {
  uint8_t ln_Type; /* QUORLE_NT_FILESYSTEM, or QUORLE_NT_MSGPORT where packets alone arrive */
};

/* A lock, from AllocDosObject(QUORLE_DOS_LOCK). dos fills fl_Port; the rest is the handler's. */
struct Lock {
  int32_t fl_Access; /* SHARED_LOCK or EXCLUSIVE_LOCK: the mode that was really granted */
  struct MsgPort *fl_Port;
  void *fl_FSPrivate1;
  void *fl_FSPrivate2;
};

/* An open file. dos makes it and fills fh_MsgPort; the handler keeps what it likes in the others. */
struct FileHandle {
  struct MsgPort *fh_MsgPort;
  intptr_t fh_Arg1;
  void *fh_Arg2;
};

/*
 * What is known of one object, from AllocDosObject(QUORLE_DOS_EXAMINEDATA), which sets Name to "?",
 * Comment and Link to "", FileSize to -1 and Type to FSO_TYPE_INVALID. The texts are buffers of the
 * given sizes, never null, and belong to the record; the handler copies into them.
 */
struct ExamineData {
  uint32_t StructSize;
  uint32_t Type;         /* FSO_TYPE_..., FSOF_LINK */
  int64_t FileSize;      /* bytes; -1 when the object is not a file */
  struct DateStamp Date; /* last change */
  uint32_t RefCount;     /* 0: not supported; 1: no further link to the object */
  uint64_t ObjectID;     /* never 0, no two objects of a volume share one */
  char *Name;
  uint32_t NameSize;
  char *Comment;
  uint32_t CommentSize;
  char *Link;
  uint32_t LinkSize;
  uint32_t Protection;
  uint32_t OwnerUID;
  uint32_t OwnerGID;
};

struct InfoData {
  int32_t id_NumSoftErrors;
  int32_t id_UnitNumber;
  int32_t id_DiskState; /* ID_DISKSTATE_... */
  uint32_t id_NumBlocks;
  uint32_t id_NumBlocksUsed;
  uint32_t id_BytesPerBlock;
  int32_t id_DiskType; /* the DOS type */
  uint32_t id_InUse;   /* locks and open files */
};

/*
 * What is known of one object in the packets EXAMINE_OBJECT, EXAMINE_NEXT and EXAMINE_FH. The two texts
 * are a length byte and characters. dos makes it and keeps one for a whole scan: a handler keeps its
 * place there in fib_DiskKey, in fib_Reserved, or in its lock.
 */
struct FileInfoBlock {
  int32_t fib_DiskKey; /* where it is not 0, a number that no other object of the volume has */
  int32_t fib_DirEntryType; /* ST_... */
  uint8_t fib_FileName[108];
  int32_t fib_Protection;
  int32_t fib_EntryType; /* as fib_DirEntryType */
  int32_t fib_Size;      /* bytes */
  int32_t fib_NumBlocks;
  struct DateStamp fib_Date; /* last change */
  uint8_t fib_Comment[80];
  uint16_t fib_OwnerUID;
  uint16_t fib_OwnerGID;
  uint8_t fib_Reserved[32];
};

/*
 * A program waits for changes of an object: it is made, written and closed, renamed, deleted, or its
 * attributes are set. From FSAddNotify() to FSRemoveNotify() the request is dos's and stays where it is.
 * On a change the handler calls HandlerServices::Notify(), once for each change; dos sends what the flags
 * ask for and holds back what NRF_WAIT_REPLY says. Version 2.
 */
struct NotifyRequest {
  const char *nr_Name;     /* as the program gave it */
  const char *nr_FullName; /* "DH0:dir/file": need not exist; "DH0:" is the root */
  uintptr_t nr_UserData;   /* the program's */
  uint32_t nr_Flags;       /* NRF_... */
  uint32_t nr_MsgCount;    /* dos's: messages that nobody replied to yet */
  struct MsgPort *nr_Handler; /* dos's: the port that watches */
  uintptr_t nr_Reserved[4]; /* 0 when it comes; the handler's */
};

/*
 * One scan of a directory. dos makes it and calls FSExamineDir() until the result is 0 with
 * ERROR_NO_MORE_ENTRIES. Every call hands over one object through `Entry`.
 */
struct PRIVATE_ExamineDirContext {
  struct Lock *Directory;    /* what is scanned */
  struct ExamineData *Entry; /* set by the handler: a record of AllocDosObject(); dos frees it */
  intptr_t FSPrivate[2];     /* the handler's place in the scan; 0 when it starts */
};

/* A packet as the handler's port receives it. Texts are addresses of a length byte and characters. */
struct DosPacket {
  int32_t dp_Type; /* enum QuorlePacketAction */
  intptr_t dp_Res1;
  int32_t dp_Res2;
  intptr_t dp_Arg1;
  intptr_t dp_Arg2;
  intptr_t dp_Arg3;
  intptr_t dp_Arg4;
  intptr_t dp_Arg5;
  intptr_t dp_Arg6; /* the file handle in LOCK_RECORD */
  intptr_t dp_Arg7;
  /* The 64-bit packets (8000 to 8999) use these in place of dp_Res1, dp_Arg2 and dp_Arg5. */
  int64_t dp_Res64;
  int64_t dp_Arg2_64;
  int64_t dp_Arg5_64;
};

/* ---- The vector table ----------------------------------------------------------------------- */

struct FileSystemVectorPort;

/*
 * A result is non-zero for success unless the comment says otherwise; `fh` results of -1 are errors.
 * The packet in brackets is what dos sends when the function is missing.
 */
struct FileSystemVectors {
  int32_t StructSize; /* sizeof(struct FileSystemVectors) as the handler was compiled */
  int32_t Version;    /* QUORLE_FS_VECTORPORT_VERSION; 0: being dismounted */
  void *FSPrivate;    /* the handler's own */
  void *Reserved[3];
  void *DOSPrivate;
  /* dos's own: answers a packet sent straight to the port by the vector it stands for. Filled by dos. */
  void (*DOSEmulatePacket)(struct FileSystemVectorPort *vp, struct DosPacket *packet);

  /* Locks `name` in SHARED_LOCK or EXCLUSIVE_LOCK mode. [LOCATE_OBJECT] */
  struct Lock *(*FSLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, int32_t mode);
  /* Releases a lock; null is a success. [FREE_LOCK] */
  int32_t (*FSUnLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *lock);
  /* A second shared lock; an exclusive one cannot be duplicated (202). [COPY_LOCK] */
  struct Lock *(*FSDupLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *lock);
  /* Makes a directory and returns a shared lock on it. [CREATE_DIR] */
  struct Lock *(*FSCreateDir)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name);
  /* A shared lock on the directory above; null with res2 0 for the root. [PARENT] */
  struct Lock *(*FSParentDir)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *lock);
  /* A lock on the open file; 202 when the handle is exclusive. [COPY_LOCK_FH] */
  struct Lock *(*FSDupLockFromFH)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* Opens the object of `lock`; on success the lock belongs to the handle. [FH_FROM_LOCK] */
  int32_t (*FSOpenFromLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, struct Lock *lock);
  /* A shared lock on the directory of the open file. [PARENT_FH] */
  struct Lock *(*FSParentOfFH)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* Opens `name` in MODE_OLDFILE, MODE_READWRITE or MODE_NEWFILE. [FINDINPUT, FINDUPDATE, FINDOUTPUT] */
  int32_t (*FSOpen)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, struct Lock *rel, const char *name, int32_t mode);
  /* Closes the file; the handle is gone whatever the result. [END] */
  int32_t (*FSClose)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* [DELETE_OBJECT] */
  int32_t (*FSDelete)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name);
  /* Bytes read, 0 at the end, -1 on failure. [READ] */
  int32_t (*FSRead)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, void *buffer, int32_t bytes);
  /* Bytes written, all of them, or -1. [WRITE] */
  int32_t (*FSWrite)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, const void *data, int32_t bytes);
  /* Writes everything to the medium. [FLUSH] */
  int32_t (*FSFlush)(struct FileSystemVectorPort *vp, int32_t *res2);
  /* Moves the position. Mind the order: the mode comes before the position. [CHANGE_FILE_POSITION64] */
  int32_t (*FSChangeFilePosition)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t position);
  /* Makes the file longer or shorter. [CHANGE_FILE_SIZE64] */
  int32_t (*FSChangeFileSize)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t size);
  /* The position, or -1. [GET_FILE_POSITION64] */
  int64_t (*FSGetFilePosition)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* The size, or -1. [GET_FILE_SIZE64] */
  int64_t (*FSGetFileSize)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* Changes a lock's mode. [CHANGE_MODE] */
  int32_t (*FSChangeLockMode)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *lock, int32_t mode);
  /* Changes a handle's mode: SHARED_LOCK or EXCLUSIVE_LOCK. [CHANGE_MODE] */
  int32_t (*FSChangeFileMode)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, int32_t mode);
  /* [SET_DATE] */
  int32_t (*FSSetDate)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, const struct DateStamp *date);
  /* [SET_PROTECT] */
  int32_t (*FSSetProtection)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, uint32_t mask);
  /* [SET_COMMENT] */
  int32_t (*FSSetComment)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, const char *comment);
  /* [SET_OWNER_INFO] */
  int32_t (*FSSetGroup)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, uint32_t group);
  /* [SET_OWNER_INFO] */
  int32_t (*FSSetOwner)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, uint32_t owner);
  /* Moves an object. Renaming to the same name, or changing its case, succeeds. [RENAME_OBJECT] */
  int32_t (*FSRename)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *source_rel, const char *source, struct Lock *destination_rel, const char *destination);
  /* Makes a soft link that holds `target`, a path that is not looked at. [MAKE_LINK] */
  int32_t (*FSCreateSoftLink)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, const char *target);
  /* Makes a hard link to the object of `target`, which stays the caller's. [MAKE_LINK] */
  int32_t (*FSCreateHardLink)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, struct Lock *target);
  /* Copies what the link holds into `buffer`, zero-ended. The length; -1 on failure; -2 with 120 when
   * `size` bytes are too few. [READ_SOFT_LINK] */
  int32_t (*FSReadSoftLink)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name, char *buffer, int32_t size);
  /* Whether two locks refer to one object. Without it dos knows that only of a lock and itself; any two
   * locks are then LOCK_SAME_VOLUME with 209. [SAME_LOCK] */
  int32_t (*FSSameLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *a, struct Lock *b);
  /* Whether two handles refer to one file. [SAME_FH] */
  int32_t (*FSSameFile)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *a, struct FileHandle *b);
  /* Answers QUORLE_FSA_... tags, in order; 236 at the first unknown one. [FILESYSTEM_ATTR] */
  int32_t (*FSFileSystemAttr)(struct FileSystemVectorPort *vp, int32_t *res2, const struct TagItem *tags);
  /* The volume's facts; 226 without a volume. [INFO] */
  int32_t (*FSVolumeInfoData)(struct FileSystemVectorPort *vp, int32_t *res2, struct InfoData *info);
  /* The device's facts. [DISK_INFO] */
  int32_t (*FSDeviceInfoData)(struct FileSystemVectorPort *vp, int32_t *res2, struct InfoData *info);
  void *FSReserved1;
  /* Examines an object by name, a soft link itself too. Newer than the rest of the table. [EXAMINEDATA_OBJ] */
  struct ExamineData *(*FSExamineObj)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *rel, const char *name);
  /* [EXAMINEDATA] */
  struct ExamineData *(*FSExamineLock)(struct FileSystemVectorPort *vp, int32_t *res2, struct Lock *lock);
  /* [EXAMINEDATA_FH] */
  struct ExamineData *(*FSExamineFile)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh);
  /* The next object of a scan; 0 with ERROR_NO_MORE_ENTRIES at its end. [EXAMINEDATA_DIR] */
  int32_t (*FSExamineDir)(struct FileSystemVectorPort *vp, int32_t *res2, struct PRIVATE_ExamineDirContext *context);
  /* Keeps everybody off the medium, or lets them back. [INHIBIT] */
  int32_t (*FSInhibit)(struct FileSystemVectorPort *vp, int32_t *res2, int32_t state);
  /* Write protection on or off; `key` locks and unlocks it. [WRITE_PROTECT] */
  int32_t (*FSWriteProtect)(struct FileSystemVectorPort *vp, int32_t *res2, int32_t state, uint32_t key);
  /* [FORMAT] */
  int32_t (*FSFormat)(struct FileSystemVectorPort *vp, int32_t *res2, const char *volume, uint32_t dostype);
  /* [SERIALIZE_DISK] */
  int32_t (*FSSerialize)(struct FileSystemVectorPort *vp, int32_t *res2);
  /* Renames the volume. [RENAME_DISK] */
  int32_t (*FSRelabel)(struct FileSystemVectorPort *vp, int32_t *res2, const char *volume);
  void *FSReserved2;
  /* Starts to watch an object for `request`. Where it is missing dos watches by itself. [ADD_NOTIFY] */
  int32_t (*FSAddNotify)(struct FileSystemVectorPort *vp, int32_t *res2, struct NotifyRequest *request);
  /* Ends it. [REMOVE_NOTIFY] */
  int32_t (*FSRemoveNotify)(struct FileSystemVectorPort *vp, int32_t *res2, struct NotifyRequest *request);
  /* Locks a range of bytes of a file. [LOCK_RECORD64] */
  int32_t (*FSLockRecord)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, int64_t offset, int64_t length, uint32_t mode, uint32_t ticks);
  /* [FREE_RECORD64] */
  int32_t (*FSUnLockRecord)(struct FileSystemVectorPort *vp, int32_t *res2, struct FileHandle *fh, int64_t offset, int64_t length);

  intptr_t End_Marker; /* -1 */
};

/* A handler's port, from AllocDosObject(QUORLE_DOS_FSVECTORPORT). */
struct FileSystemVectorPort {
  struct MsgPort MP;
  struct FileSystemVectors FSV; /* a copy of the table that was given */
};

/* ---- Mounting ------------------------------------------------------------------------------- */

/* What dos does for a handler. `dos` is always the pointer that the mount handed over. */
struct HandlerServices {
  uint32_t StructSize;
  uint32_t Version; /* QUORLE_HANDLER_VERSION of the host */
  void *Private;    /* the host's own */
  /* A QUORLE_DOS_... object, or null without memory. `tags` may be null. A lock is zero-filled; a
   * vector port needs QUORLE_ADO_Vectors; an ExamineData takes the sizes of its texts (bytes with
   * the zero, 256 unless given). */
  void *(*AllocDosObject)(const struct HandlerServices *dos, uint32_t type, const struct TagItem *tags);
  /* Frees it; null is allowed. */
  void (*FreeDosObject)(const struct HandlerServices *dos, uint32_t type, void *object);
  /* Zero-filled memory, or null. */
  void *(*AllocVec)(const struct HandlerServices *dos, uint32_t bytes);
  void (*FreeVec)(const struct HandlerServices *dos, void *memory);
  /* The current moment. */
  void (*DateStamp)(const struct HandlerServices *dos, struct DateStamp *now);
  /* Adds, renames (a text) or removes (null) the volume node of `port`. False when another volume,
   * device or assign has the name. */
  int32_t (*SetVolumeName)(const struct HandlerServices *dos, struct FileSystemVectorPort *port, const char *name);
  /* Shows `line`, without a line break, to whoever runs the program: on standard error, after the
   * name of the device. For what no error code can say; from Mount() on, in any call. Newer than the
   * rest: there when StructSize reaches this far. */
  void (*Report)(const struct HandlerServices *dos, const char *line);
  /* The object of `request`, from FSAddNotify(), has changed. Version 2. */
  void (*Notify)(const struct HandlerServices *dos, struct NotifyRequest *request);
};

/* One key=value pair of a mount. */
struct MountKey {
  const char *Key;
  const char *Value;
};

/* A request to mount. All pointers stay valid until Unmount() has returned. */
struct HandlerMount {
  uint32_t StructSize;
  uint32_t Version;       /* QUORLE_HANDLER_VERSION of the host */
  const char *DeviceName; /* without its colon */
  const struct HandlerServices *Dos;
  const struct MountKey *Keys;
  uint32_t KeyCount;
  char *Problem; /* for a refused mount: one line, no line break, that says why */
  uint32_t ProblemSize;
  /* A word of the handler's that outlives an unmount, or null where nothing can: 0 when the device is
   * first mounted. A handler whose volume is in memory alone leaves it here in Unmount() to find it when
   * the device is mounted again, and frees it in Discard(). Version 2. */
  void **Medium;
};

/* A handler. */
struct Handler {
  uint32_t StructSize;
  uint32_t Version; /* QUORLE_HANDLER_VERSION that it was compiled with */
  const char *Name;
  /* Starts the filesystem: makes its port, names its volume. Null and Problem when it cannot. */
  struct FileSystemVectorPort *(*Mount)(const struct HandlerMount *mount);
  /* Ends it and frees everything, the port with FreeDosObject(). No lock or file is open any more. */
  void (*Unmount)(struct FileSystemVectorPort *port);
  /* Optional: a packet that no vector stands for, or whose vector is missing. Null: 0 and 209. */
  void (*Packet)(struct FileSystemVectorPort *port, struct DosPacket *packet);
  /* Optional: frees what Unmount() left in HandlerMount::Medium, which is not 0. Version 2. */
  void (*Discard)(void *medium);
};

/* ---- Plugins -------------------------------------------------------------------------------- */

#if defined(__GNUC__)
#define QUORLE_EXPORT __attribute__((visibility("default")))
#else
#define QUORLE_EXPORT
#endif

/*
 * What a plugin defines: a shared object that `--mount DH0=plugin:./my.so` loads. `version` is the
 * QUORLE_HANDLER_VERSION of the host; null refuses it. The handler stays the plugin's.
 *
 * A handler of packets alone hands AllocDosObject() a table without functions and has a Packet(): its
 * port is a packet port then. It answers packets that it does not know with 0 and
 * ERROR_ACTION_NOT_KNOWN.
 *
 * Unless the mount says isolate=no the plugin runs in a process of its own: standard output goes to
 * standard error there, standard input is empty, and all functions are called by one thread.
 */
QUORLE_EXPORT const struct Handler *QuorleHandler(uint32_t version);

#ifdef __cplusplus
}
#endif

#endif /* QUORLE_HANDLER_H */
