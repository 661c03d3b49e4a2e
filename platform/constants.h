#pragma once

#include <cstdint>

/// The platform's constants under the platform's names. All values are the platform's own unless a
/// line says otherwise.
namespace quorle {

// ---- Open modes ------------------------------------------------------------------------------
inline constexpr std::int32_t MODE_READWRITE =
    1004;                                           ///< shared; creates the file when it is missing
inline constexpr std::int32_t MODE_OLDFILE = 1005;  ///< shared; the file must exist
inline constexpr std::int32_t MODE_NEWFILE = 1006;  ///< exclusive; creates or empties the file

// ---- Lock modes ------------------------------------------------------------------------------
inline constexpr std::int32_t SHARED_LOCK = -2;
inline constexpr std::int32_t EXCLUSIVE_LOCK = -1;

// ---- Object kinds for ChangeMode() -----------------------------------------------------------
inline constexpr std::int32_t CHANGE_LOCK = 0;
inline constexpr std::int32_t CHANGE_FH = 1;

// ---- Modes of LockRecord() -------------------------------------------------------------------
inline constexpr std::uint32_t REC_EXCLUSIVE = 0;
inline constexpr std::uint32_t REC_EXCLUSIVE_IMMED = 1;
inline constexpr std::uint32_t REC_SHARED = 2;
inline constexpr std::uint32_t REC_SHARED_IMMED = 3;

// ---- Flags of StartNotify() ------------------------------------------------------------------
inline constexpr std::uint32_t NRF_SEND_MESSAGE = 1;
inline constexpr std::uint32_t NRF_SEND_SIGNAL = 2;
inline constexpr std::uint32_t NRF_WAIT_REPLY = 8;  ///< no message before the last was replied to
inline constexpr std::uint32_t NRF_NOTIFY_INITIAL = 16;  ///< one at once when the object is there

// ---- Results of SameLock() -------------------------------------------------------------------
inline constexpr std::int32_t LOCK_DIFFERENT = -1;   ///< different volumes, or one of them none
inline constexpr std::int32_t LOCK_SAME = 0;         ///< the same object
inline constexpr std::int32_t LOCK_SAME_VOLUME = 1;  ///< different objects of one volume

// ---- Seek modes ------------------------------------------------------------------------------
inline constexpr std::int32_t OFFSET_BEGINNING = -1;
inline constexpr std::int32_t OFFSET_CURRENT = 0;
inline constexpr std::int32_t OFFSET_END = 1;

// ---- Link kinds for MakeLink() ---------------------------------------------------------------
inline constexpr std::int32_t LINK_HARD = 0;
inline constexpr std::int32_t LINK_SOFT = 1;

// ---- Protection bits: the four low ones deny when they are set -------------------------------
inline constexpr std::uint32_t EXDF_DEFAULT = 0;
inline constexpr std::uint32_t EXDF_NO_DELETE = 1;
inline constexpr std::uint32_t EXDF_NO_EXECUTE = 2;
inline constexpr std::uint32_t EXDF_NO_WRITE = 4;
inline constexpr std::uint32_t EXDF_NO_READ = 8;
inline constexpr std::uint32_t EXDF_ARCHIVE = 16;

inline constexpr std::uint32_t DOS_OWNER_NONE = 0;

// ---- Object types: the low byte of ExamineData::Type -----------------------------------------
inline constexpr std::uint32_t FSO_TYPE_MASK = 0xFF;
inline constexpr std::uint32_t FSO_TYPE_SOFTLINK = 0;
inline constexpr std::uint32_t FSO_TYPE_FILE = 1;
inline constexpr std::uint32_t FSO_TYPE_DIRECTORY = 2;

// ---- Disk states -----------------------------------------------------------------------------
inline constexpr std::int32_t ID_DISKSTATE_WRITE_PROTECTED = 80;
inline constexpr std::int32_t ID_DISKSTATE_VALIDATING = 81;
inline constexpr std::int32_t ID_DISKSTATE_VALIDATED = 82;

// ---- Object types for FreeDosObject() --------------------------------------------------------
inline constexpr std::uint32_t DOS_EXAMINEDATA = 11;

// ---- Input tags ------------------------------------------------------------------------------
inline constexpr std::uint32_t EX_StringNameInput = 0x80001965;  ///< by name, through a lock
inline constexpr std::uint32_t EX_FileHandleInput = 0x80001966;
inline constexpr std::uint32_t EX_LockInput = 0x80001967;
/// By name, the object itself: a soft link is examined, not followed. Known since dos.library 54.54.
inline constexpr std::uint32_t EX_ObjectNameInput = 0x80001968;

inline constexpr std::uint32_t FSA_MaxFileNameLengthR = 0x80002332;  ///< bytes of a name
inline constexpr std::uint32_t FSA_VersionNumberR = 0x80002334;      ///< version << 16 | revision
inline constexpr std::uint32_t FSA_DOSTypeR = 0x80002335;
inline constexpr std::uint32_t FSA_ActivityFlushTimeoutR = 0x80002336;
inline constexpr std::uint32_t FSA_InactivityFlushTimeoutR = 0x80002338;
inline constexpr std::uint32_t FSA_MaxRecycledEntriesR =
    0x8000233A;  ///< deleted objects that are kept
inline constexpr std::uint32_t FSA_HasRecycledEntriesR = 0x8000233C;

inline constexpr std::uint32_t OI_StringNameInput = 0x80001839;
inline constexpr std::uint32_t OI_OwnerUID = 0x80001842;
inline constexpr std::uint32_t OI_OwnerGID = 0x80001843;

inline constexpr std::uint32_t GDI_StringNameInput = 0x800001F5;
inline constexpr std::uint32_t GDI_MsgPortInput = 0x800001F8;
inline constexpr std::uint32_t GDI_VolumeRequired = 0x800001FE;
inline constexpr std::uint32_t GDI_InfoData = 0x800001FF;

// ---- Packets, ports, dates, signals, results -------------------------------------------------
inline constexpr std::int32_t ACTION_CREATE_DIR = 22;

inline constexpr std::uint8_t NT_MSGPORT = 4;      ///< node type of a packet port
inline constexpr std::uint8_t NT_FILESYSTEM = 28;  ///< node type of a vector port
inline constexpr std::uint32_t FS_VECTORPORT_VERSION = 53;

inline constexpr std::int32_t TICKS_PER_SECOND = 50;

inline constexpr std::uint8_t FORMAT_ISO = 5;      ///< dates as yyyy-mm-dd
inline constexpr std::int32_t LEN_DATSTRING = 16;  ///< bytes in each buffer of a DateTime
inline constexpr std::int32_t TDRIMAGE_ERROR = 3;  ///< requester with the error image

inline constexpr std::uint32_t SIGBREAKF_CTRL_C = 0x1000;

inline constexpr std::int32_t RETURN_OK = 0;
inline constexpr std::int32_t RETURN_ERROR = 10;
inline constexpr std::int32_t RETURN_FAIL = 20;

// ---- Error codes -----------------------------------------------------------------------------
inline constexpr std::int32_t ERROR_NO_FREE_STORE = 103;
inline constexpr std::int32_t ERROR_BAD_TEMPLATE = 114;
inline constexpr std::int32_t ERROR_BAD_NUMBER = 115;
inline constexpr std::int32_t ERROR_REQUIRED_ARG_MISSING = 116;
inline constexpr std::int32_t ERROR_KEY_NEEDS_ARG = 117;
inline constexpr std::int32_t ERROR_TOO_MANY_ARGS = 118;
inline constexpr std::int32_t ERROR_UNMATCHED_QUOTES = 119;
inline constexpr std::int32_t ERROR_LINE_TOO_LONG = 120;
inline constexpr std::int32_t ERROR_OBJECT_IN_USE = 202;
inline constexpr std::int32_t ERROR_OBJECT_EXISTS = 203;
inline constexpr std::int32_t ERROR_DIR_NOT_FOUND = 204;
inline constexpr std::int32_t ERROR_OBJECT_NOT_FOUND = 205;
inline constexpr std::int32_t ERROR_OBJECT_TOO_LARGE = 207;
inline constexpr std::int32_t ERROR_ACTION_NOT_KNOWN = 209;
inline constexpr std::int32_t ERROR_INVALID_COMPONENT_NAME = 210;
inline constexpr std::int32_t ERROR_INVALID_LOCK = 211;
inline constexpr std::int32_t ERROR_OBJECT_WRONG_TYPE = 212;
inline constexpr std::int32_t ERROR_DISK_NOT_VALIDATED = 213;
inline constexpr std::int32_t ERROR_DISK_WRITE_PROTECTED = 214;
inline constexpr std::int32_t ERROR_RENAME_ACROSS_DEVICES = 215;
inline constexpr std::int32_t ERROR_DIRECTORY_NOT_EMPTY = 216;
inline constexpr std::int32_t ERROR_TOO_MANY_LEVELS = 217;
inline constexpr std::int32_t ERROR_DEVICE_NOT_MOUNTED = 218;
inline constexpr std::int32_t ERROR_SEEK_ERROR = 219;
inline constexpr std::int32_t ERROR_COMMENT_TOO_BIG = 220;
inline constexpr std::int32_t ERROR_DISK_FULL = 221;
inline constexpr std::int32_t ERROR_DELETE_PROTECTED = 222;
inline constexpr std::int32_t ERROR_WRITE_PROTECTED = 223;
inline constexpr std::int32_t ERROR_READ_PROTECTED = 224;
inline constexpr std::int32_t ERROR_NO_DISK = 226;
inline constexpr std::int32_t ERROR_NO_MORE_ENTRIES = 232;
inline constexpr std::int32_t ERROR_IS_SOFT_LINK = 233;
inline constexpr std::int32_t ERROR_NOT_IMPLEMENTED = 236;
inline constexpr std::int32_t ERROR_RECORD_NOT_LOCKED = 240;
inline constexpr std::int32_t ERROR_LOCK_COLLISION = 241;
inline constexpr std::int32_t ERROR_LOCK_TIMEOUT = 242;

}  // namespace quorle
