/*
 * classic_handler.c - a filesystem as it was written before there were functions and 64-bit packets.
 *
 *   cc -shared -fPIC $(pkg-config --cflags quorle) classic_handler.c -o classic_handler.so
 *   quorle --mount DH0=plugin:./classic_handler.so DH0:
 *
 * A port, one Packet() with a switch over the numbers, FileInfoBlocks, positions of 31 bits. Every
 * newer packet is answered with 0 and ERROR_ACTION_NOT_KNOWN, and dos asks the same by the ones here.
 * docs/handler-authors.md has the table, and says which checks such a handler cannot pass.
 *
 * It believes nothing that a packet holds: a lock or an open file that is not in its lists is refused.
 * The volume is in memory, and is found again when the device is mounted again.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quorle/handler.h"

enum {
  MAX_NAME = 107,   /* what fib_FileName and fib_Comment hold behind their length byte */
  MAX_COMMENT = 79,
  BLOCK_SIZE = 512,
  BLOCKS = 131072,          /* 64 MiB */
  DOS_TYPE = 0x444F5301,    /* "DOS\1" */
  BUSY_TYPE = 0x42555359    /* "BUSY" */
};

typedef struct FileSystemVectorPort Port;
typedef struct DosPacket Packet;
typedef struct Object Object;
typedef struct Entry Entry;
typedef struct OpenFile OpenFile;
typedef unsigned char Byte;

/* A name in a directory. A hard link is one more entry of an object. */
struct Entry {
  Byte name[MAX_NAME + 1]; /* a length byte and characters, as all texts of packets are */
  int32_t key;             /* its number on the volume, 1 for the root */
  Object *object, *directory;
  Entry *next;      /* in the directory, whose entries are in the order of their keys */
  Entry *next_name; /* of the same object */
  int uses;         /* locks and open files by this name */
};

/* A range of bytes that an open file has for itself, or shares. */
typedef struct Record {
  const OpenFile *owner;
  int64_t start, end;
  int exclusive;
  struct Record *next;
} Record;

/* A file, a directory or a soft link. */
struct Object {
  int32_t type;    /* ST_FILE, ST_USERDIR, ST_SOFTLINK, ST_ROOT */
  Entry *names;    /* the first one is its own, the others are links */
  Entry *children; /* of a directory */
  char *data;      /* of a file; what a soft link leads to, with a zero */
  int32_t size;
  struct DateStamp date;
  Byte comment[MAX_COMMENT + 1];
  uint32_t protection;
  uint16_t owner, group;
  int users;     /* locks and open files by all names */
  int exclusive; /* whether the one user shares it with nobody */
  Record *records;
};

/* An open file: what fh_Arg1 of its handle leads to. */
struct OpenFile {
  Entry *entry;
  int32_t position;
  OpenFile *next;
};

/* The volume: what FSPrivate of the table leads to. */
typedef struct {
  const struct HandlerServices *dos;
  void **medium; /* where it stays while nothing is mounted */
  Entry root;
  Object root_object;
  struct Lock *locks; /* chained by fl_FSPrivate2 */
  OpenFile *files;
  int32_t last_key, type;
  int32_t blocks_used;
  int write_protected;
  uint32_t protection_key;
  int inhibited;
} Volume;

/* ---- Names ---------------------------------------------------------------------------------- */

static const Byte *TextAt(intptr_t word) {
  static const Byte empty[1] = {0};
  return word ? (const Byte *)word : empty;
}

/* Latin-1, without regard to case. */
static int Fold(Byte c) {
  int is_lower = (c >= 'a' && c <= 'z') || (c >= 0xE0 && c <= 0xFE && c != 0xF7);
  return is_lower ? c - 32 : c;
}

static int SameName(const Byte *a, const Byte *b) {
  if (a[0] != b[0]) return 0;
  for (int i = 1; i <= a[0]; ++i)
    if (Fold(a[i]) != Fold(b[i])) return 0;
  return 1;
}

static int IsName(const Byte *text) {
  if (text[0] == 0 || text[0] > MAX_NAME) return 0;
  for (int i = 1; i <= text[0]; ++i)
    if (text[i] < ' ' || text[i] == ':' || text[i] == '/') return 0;
  return 1;
}

static void CopyText(Byte *to, const Byte *from) { memcpy(to, from, (size_t)from[0] + 1); }

/* ---- The tree ------------------------------------------------------------------------------- */

/* The entry of a lock, the root for none. */
static int32_t EntryOf(Volume *volume, intptr_t lock, Entry **found) {
  const struct Lock *known = volume->locks;
  *found = &volume->root;
  if (lock == 0) return 0;
  while (known && known != (const struct Lock *)lock) known = known->fl_FSPrivate2;
  if (known) *found = known->fl_FSPrivate1;
  return known ? 0 : ERROR_INVALID_LOCK;
}

/* A lock that must be there: none is refused as well. */
static int32_t HeldLock(Volume *volume, intptr_t lock, Entry **found) {
  return lock ? EntryOf(volume, lock, found) : ERROR_INVALID_LOCK;
}

static int IsDirectory(const Object *object) { return object->type > 0 && object->type != ST_SOFTLINK; }

/* The object `name` of `lock`; "" is the object of the lock itself. */
static int32_t Find(Volume *volume, intptr_t lock, intptr_t name, Entry **found) {
  const Byte *text = TextAt(name);
  int32_t code = EntryOf(volume, lock, found);
  if (code || text[0] == 0) return code;
  if (!IsDirectory((*found)->object)) return ERROR_OBJECT_WRONG_TYPE;
  for (*found = (*found)->object->children; *found; *found = (*found)->next)
    if (SameName((*found)->name, text)) return 0;
  return ERROR_OBJECT_NOT_FOUND;
}

/* The same for calls that soft links stand in the way of: dos reads the link and asks again. */
static int32_t FindTarget(Volume *volume, intptr_t lock, intptr_t name, Entry **found) {
  int32_t code = Find(volume, lock, name, found);
  return code == 0 && (*found)->object->type == ST_SOFTLINK ? ERROR_IS_SOFT_LINK : code;
}

static int32_t WriteProblem(const Volume *volume) { return volume->write_protected ? ERROR_DISK_WRITE_PROTECTED : 0; }

/* A change clears the archive bit and sets the date. */
static void Stamp(Volume *volume, Object *object) {
  if (object == NULL) return;
  volume->dos->DateStamp(volume->dos, &object->date);
  object->protection &= ~(uint32_t)EXDF_ARCHIVE;
}

/* It is one of the directory too. */
static void Touch(Volume *volume, Entry *entry) {
  Stamp(volume, entry->object);
  Stamp(volume, entry->directory);
}

static int32_t BlocksOf(int32_t bytes) { return bytes / BLOCK_SIZE + (bytes % BLOCK_SIZE != 0); }

/* Into the directory at its key's place: a scan goes on behind the last key that it gave, whatever
 * has come and gone meanwhile. */
static void Link(Entry *entry, Object *directory) {
  Entry **place = &directory->children;
  while (*place && (*place)->key < entry->key) place = &(*place)->next;
  entry->directory = directory;
  entry->next = *place;
  *place = entry;
}

static void Unlink(Entry *entry) {
  Entry **place = &entry->directory->children;
  while (*place != entry) place = &(*place)->next;
  *place = entry->next;
}

/* Gives `object` the name `name` in the directory of `lock`. */
static int32_t AddName(Volume *volume, intptr_t lock, intptr_t name, Object *object) {
  Entry *found, *directory, *entry, **last = &object->names;
  int32_t code = WriteProblem(volume);
  if (code == 0) code = Find(volume, lock, name, &found);
  if (code != ERROR_OBJECT_NOT_FOUND) return code ? code : ERROR_OBJECT_EXISTS;
  if (!IsName(TextAt(name))) return ERROR_INVALID_COMPONENT_NAME;
  if (volume->blocks_used == BLOCKS || volume->last_key == INT32_MAX) return ERROR_DISK_FULL;
  entry = calloc(1, sizeof *entry);
  if (entry == NULL) return ERROR_NO_FREE_STORE;
  ++volume->blocks_used;
  EntryOf(volume, lock, &directory);
  CopyText(entry->name, TextAt(name));
  entry->key = ++volume->last_key;
  entry->object = object;
  while (*last) last = &(*last)->next_name;
  *last = entry;
  Link(entry, directory->object);
  Stamp(volume, directory->object);
  return 0;
}

/* A new object in the directory of `lock`, whose owner and group it takes. */
static int32_t Create(Volume *volume, intptr_t lock, intptr_t name, int32_t type, Entry **made) {
  Object *object = calloc(1, sizeof *object);
  int32_t code = object ? AddName(volume, lock, name, object) : ERROR_NO_FREE_STORE;
  if (code) {
    free(object);
    return code;
  }
  *made = object->names;
  object->type = type;
  object->owner = (*made)->directory->owner;
  object->group = (*made)->directory->group;
  Stamp(volume, object);
  return 0;
}

static void Resize(Volume *volume, Object *object, int32_t size, char *data) {
  volume->blocks_used += BlocksOf(size) - BlocksOf(object->size);
  object->data = data;
  object->size = size;
}

/* Removes a name, and the object with its last one. */
static void RemoveName(Volume *volume, Entry *entry) {
  Object *object = entry->object;
  Entry **place = &object->names;
  Unlink(entry);
  while (*place != entry) place = &(*place)->next_name;
  *place = entry->next_name;
  free(entry);
  --volume->blocks_used;
  if (object->names) return;
  free(object->data);
  Resize(volume, object, 0, NULL);
  free(object);
}

/* Frees everything below the root, however deep: what is in a directory goes up to the root first. */
static void RemoveAll(Volume *volume) {
  Entry *entry;
  while ((entry = volume->root_object.children) != NULL) {
    Entry *child = entry->object->children;
    if (child && entry->next_name == NULL && entry->object->names == entry) {
      Unlink(child);
      child->directory = &volume->root_object;
      child->next = entry;
      volume->root_object.children = child;
    } else {
      RemoveName(volume, entry);
    }
  }
}

/* Whether a directory is `above` or below it, by any of its names. */
static int IsInside(const Object *directory, const Object *above) {
  if (directory == above) return 1;
  for (const Entry *name = directory->names; name; name = name->next_name)
    if (name->directory && IsInside(name->directory, above)) return 1;
  return 0;
}

/* ---- Users ---------------------------------------------------------------------------------- */

/* One more user of an object, whom nobody else may be in the way of. Directories are shared always. */
static int32_t Take(Entry *entry, int exclusive) {
  Object *object = entry->object;
  if (object->exclusive || (exclusive && object->users)) return ERROR_OBJECT_IN_USE;
  object->exclusive = exclusive;
  ++object->users;
  ++entry->uses;
  return 0;
}

static void Release(Entry *entry) {
  entry->object->exclusive = 0;
  --entry->object->users;
  --entry->uses;
}

static int32_t ChangeUse(Entry *entry, int exclusive) {
  if (exclusive && IsDirectory(entry->object)) return ERROR_OBJECT_WRONG_TYPE;
  if (exclusive && entry->object->users > 1) return ERROR_OBJECT_IN_USE;
  entry->object->exclusive = exclusive;
  return 0;
}

static int IsMode(intptr_t mode) { return mode == SHARED_LOCK || mode == EXCLUSIVE_LOCK; }

/* Answers with a lock on the entry. */
static int32_t GiveLock(Volume *volume, Packet *packet, Entry *entry, intptr_t mode) {
  int exclusive = mode == EXCLUSIVE_LOCK && !IsDirectory(entry->object);
  struct Lock *lock = volume->dos->AllocDosObject(volume->dos, QUORLE_DOS_LOCK, NULL);
  int32_t code = lock ? Take(entry, exclusive) : ERROR_NO_FREE_STORE;
  if (code) {
    volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
    return code;
  }
  lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
  lock->fl_FSPrivate1 = entry;
  lock->fl_FSPrivate2 = volume->locks;
  volume->locks = lock;
  packet->dp_Res1 = (intptr_t)lock;
  return 0;
}

/* Frees a lock that is in the list. The entry keeps its user. */
static void FreeLock(Volume *volume, struct Lock *lock) {
  struct Lock *before = volume->locks;
  if (before == lock) {
    volume->locks = lock->fl_FSPrivate2;
  } else {
    while (before->fl_FSPrivate2 != lock) before = before->fl_FSPrivate2;
    before->fl_FSPrivate2 = lock->fl_FSPrivate2;
  }
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
}

/* The open file of fh_Arg1. */
static int32_t FileOf(Volume *volume, intptr_t word, OpenFile **found) {
  for (*found = volume->files; *found; *found = (*found)->next)
    if ((intptr_t)*found == word) return 0;
  return ERROR_INVALID_LOCK;
}

/* ---- Packets of locks ----------------------------------------------------------------------- */

static int32_t OnLocateObject(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = IsMode(packet->dp_Arg3) ? 0 : ERROR_BAD_NUMBER;
  if (code == 0) code = FindTarget(volume, packet->dp_Arg1, packet->dp_Arg2, &entry);
  return code ? code : GiveLock(volume, packet, entry, packet->dp_Arg3);
}

/* No lock is freed with success. */
static int32_t OnFreeLock(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = EntryOf(volume, packet->dp_Arg1, &entry);
  if (code || packet->dp_Arg1 == 0) return code;
  Release(entry);
  FreeLock(volume, (struct Lock *)packet->dp_Arg1);
  return 0;
}

static int32_t OnCopyLock(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &entry);
  return code ? code : GiveLock(volume, packet, entry, SHARED_LOCK);
}

/* Above the root is nothing: 0 with the code 0. */
static int32_t GiveParent(Volume *volume, Packet *packet, const Entry *entry) {
  packet->dp_Res1 = 0;
  return entry->directory ? GiveLock(volume, packet, entry->directory->names, SHARED_LOCK) : 0;
}

static int32_t OnParent(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &entry);
  return code ? code : GiveParent(volume, packet, entry);
}

static int32_t OnSameLock(Volume *volume, Packet *packet) {
  Entry *a, *b;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &a);
  if (code == 0) code = HeldLock(volume, packet->dp_Arg2, &b);
  if (code == 0 && a->object != b->object) packet->dp_Res1 = 0;
  return code;
}

/* A handle is an address of the record, not its fh_Arg1. */
static int32_t OnChangeMode(Volume *volume, Packet *packet) {
  const struct FileHandle *handle = (const struct FileHandle *)packet->dp_Arg2;
  int exclusive = packet->dp_Arg3 == EXCLUSIVE_LOCK;
  OpenFile *file;
  Entry *entry;
  int32_t code = IsMode(packet->dp_Arg3) ? 0 : ERROR_BAD_NUMBER;
  if (code) return code;
  switch (packet->dp_Arg1) {
    case CHANGE_LOCK:
      code = HeldLock(volume, packet->dp_Arg2, &entry);
      if (code == 0) code = ChangeUse(entry, exclusive);
      if (code == 0) ((struct Lock *)packet->dp_Arg2)->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
      return code;
    case CHANGE_FH:
      code = FileOf(volume, handle ? handle->fh_Arg1 : 0, &file);
      return code ? code : ChangeUse(file->entry, exclusive);
    default: return ERROR_BAD_NUMBER;
  }
}

/* ---- Packets of files ----------------------------------------------------------------------- */

static int32_t AddFile(Volume *volume, intptr_t handle, Entry *entry) {
  OpenFile *file = calloc(1, sizeof *file);
  if (file == NULL) return ERROR_NO_FREE_STORE;
  file->entry = entry;
  file->next = volume->files;
  volume->files = file;
  ((struct FileHandle *)handle)->fh_Arg1 = (intptr_t)file;
  return 0;
}

/* What MODE_NEWFILE finds keeps its names; what is in it goes. */
static void Empty(Volume *volume, Object *object) {
  free(object->data);
  Resize(volume, object, 0, NULL);
  object->comment[0] = 0;
  object->protection = 0;
}

/* FINDINPUT, FINDUPDATE, FINDOUTPUT: the number of the packet is the mode. */
static int32_t OnFind(Volume *volume, Packet *packet) {
  int is_new_file = packet->dp_Type == MODE_NEWFILE;
  Entry *entry;
  int32_t code = packet->dp_Arg1 ? 0 : ERROR_REQUIRED_ARG_MISSING;
  if (code == 0 && is_new_file) code = WriteProblem(volume);
  if (code == 0) code = FindTarget(volume, packet->dp_Arg2, packet->dp_Arg3, &entry);
  if (code == ERROR_OBJECT_NOT_FOUND && packet->dp_Type != MODE_OLDFILE)
    code = Create(volume, packet->dp_Arg2, packet->dp_Arg3, ST_FILE, &entry);
  if (code) return code;
  if (entry->object->type != ST_FILE) return ERROR_OBJECT_WRONG_TYPE;
  if (is_new_file && entry->object->users == 0 && entry->object->protection & EXDF_NO_DELETE) return ERROR_DELETE_PROTECTED;
  code = Take(entry, is_new_file);
  if (code) return code;
  code = AddFile(volume, packet->dp_Arg1, entry);
  if (code) {
    Release(entry);
  } else if (is_new_file) {
    Empty(volume, entry->object);
    Touch(volume, entry);
  }
  return code;
}

/* The lock becomes the open file, in its mode, but only when that succeeds. */
static int32_t OnFindFromLock(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = packet->dp_Arg1 ? HeldLock(volume, packet->dp_Arg2, &entry) : ERROR_REQUIRED_ARG_MISSING;
  if (code == 0 && entry->object->type != ST_FILE) code = ERROR_OBJECT_WRONG_TYPE;
  if (code == 0) code = AddFile(volume, packet->dp_Arg1, entry);
  if (code == 0) FreeLock(volume, (struct Lock *)packet->dp_Arg2);
  return code;
}

/* Frees the records of an open file that begin and end there; all of them without a range. */
static int FreeRecords(OpenFile *file, const Record *range) {
  Record **place = &file->entry->object->records;
  int count = 0;
  while (*place) {
    Record *record = *place;
    if (record->owner == file && (range == NULL || (record->start == range->start && record->end == range->end))) {
      *place = record->next;
      free(record);
      ++count;
      if (range) break;
    } else {
      place = &record->next;
    }
  }
  return count;
}

static int32_t OnEnd(Volume *volume, Packet *packet) {
  OpenFile *file, **place = &volume->files;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  if (code) return code;
  FreeRecords(file, NULL);
  Release(file->entry);
  while (*place != file) place = &(*place)->next;
  *place = file->next;
  free(file);
  return 0;
}

static int32_t OnRead(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  if (code) return code;
  const Object *object = file->entry->object;
  int32_t left = object->size - file->position;
  int32_t count = packet->dp_Arg3 < left ? (int32_t)packet->dp_Arg3 : left;
  if (packet->dp_Arg3 < 0) return ERROR_BAD_NUMBER;
  if (packet->dp_Arg2 == 0 && count) return ERROR_REQUIRED_ARG_MISSING;
  if (object->protection & EXDF_NO_READ) return ERROR_READ_PROTECTED;
  if (count) memcpy((void *)packet->dp_Arg2, object->data + file->position, (size_t)count);
  file->position += count;
  packet->dp_Res1 = count;
  return 0;
}

/* A size between 0 and INT32_MAX: what the volume has room for. New bytes are 0. */
static int32_t SetSize(Volume *volume, Object *object, int32_t size) {
  char *data;
  if (BlocksOf(size) - BlocksOf(object->size) > BLOCKS - volume->blocks_used) return ERROR_DISK_FULL;
  data = realloc(object->data, (size_t)size + 1);
  if (data == NULL) return ERROR_NO_FREE_STORE;
  if (size > object->size) memset(data + object->size, 0, (size_t)(size - object->size));
  Resize(volume, object, size, data);
  return 0;
}

static int32_t MayWrite(Volume *volume, const Object *object) {
  int32_t code = WriteProblem(volume);
  return code == 0 && object->protection & EXDF_NO_WRITE ? ERROR_WRITE_PROTECTED : code;
}

static int32_t OnWrite(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  if (code) return code;
  Object *object = file->entry->object;
  if (packet->dp_Arg3 < 0) return ERROR_BAD_NUMBER;
  if (packet->dp_Arg2 == 0 && packet->dp_Arg3) return ERROR_REQUIRED_ARG_MISSING;
  code = MayWrite(volume, object);
  if (code == 0 && packet->dp_Arg3 > INT32_MAX - file->position) code = ERROR_OBJECT_TOO_LARGE;
  if (code) return code;
  int32_t count = (int32_t)packet->dp_Arg3;
  if (file->position + count > object->size) code = SetSize(volume, object, file->position + count);
  if (code) return code;
  if (count) memcpy(object->data + file->position, (const void *)packet->dp_Arg2, (size_t)count);
  file->position += count;
  Touch(volume, file->entry);
  packet->dp_Res1 = count;
  return 0;
}

/* What SEEK and SET_FILE_SIZE count from: the place is between 0 and what 31 bits hold. */
static int32_t PlaceIn(const OpenFile *file, const Packet *packet, int32_t *place) {
  int64_t target;
  if (packet->dp_Arg2 != (int32_t)packet->dp_Arg2) return ERROR_BAD_NUMBER;
  switch (packet->dp_Arg3) {
    case OFFSET_BEGINNING: target = packet->dp_Arg2; break;
    case OFFSET_CURRENT: target = (int64_t)file->position + packet->dp_Arg2; break;
    case OFFSET_END: target = (int64_t)file->entry->object->size + packet->dp_Arg2; break;
    default: return ERROR_BAD_NUMBER;
  }
  *place = (int32_t)target;
  return target < 0 || target > INT32_MAX ? ERROR_SEEK_ERROR : 0;
}

/* Answers with the position before. */
static int32_t OnSeek(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t place, code = FileOf(volume, packet->dp_Arg1, &file);
  if (code == 0) code = PlaceIn(file, packet, &place);
  if (code == 0 && place > file->entry->object->size) code = ERROR_SEEK_ERROR;
  if (code) return code;
  packet->dp_Res1 = file->position;
  file->position = place;
  return 0;
}

/* Answers with the new size. No position of another may lie behind it; the file's own goes to it. */
static int32_t OnSetFileSize(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t size, code = FileOf(volume, packet->dp_Arg1, &file);
  if (code == 0) code = PlaceIn(file, packet, &size);
  if (code == 0) code = MayWrite(volume, file->entry->object);
  if (code) return code;
  for (const OpenFile *other = volume->files; other; other = other->next)
    if (other != file && other->entry->object == file->entry->object && other->position > size) return ERROR_OBJECT_IN_USE;
  code = SetSize(volume, file->entry->object, size);
  if (code) return code;
  if (file->position > size) file->position = size;
  Touch(volume, file->entry);
  packet->dp_Res1 = size;
  return 0;
}

static int32_t OnCopyLockOfFile(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  return code ? code : GiveLock(volume, packet, file->entry, SHARED_LOCK);
}

static int32_t OnParentOfFile(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  return code ? code : GiveParent(volume, packet, file->entry);
}

/* The range of LOCK_RECORD and FREE_RECORD. */
static int32_t RangeOf(Volume *volume, const Packet *packet, OpenFile **file, Record *range) {
  int32_t code = FileOf(volume, packet->dp_Arg1, file);
  if (code) return code;
  if (packet->dp_Arg2 < 0 || packet->dp_Arg2 != (int32_t)packet->dp_Arg2) return ERROR_BAD_NUMBER;
  if (packet->dp_Arg3 < 0 || packet->dp_Arg3 != (int32_t)packet->dp_Arg3) return ERROR_BAD_NUMBER;
  range->owner = *file;
  range->start = packet->dp_Arg2;
  range->end = range->start + packet->dp_Arg3;
  return 0;
}

/* Nobody can free a record while one call is being answered, so that waiting is over at once. */
static int32_t OnLockRecord(Volume *volume, Packet *packet) {
  Record range = {0}, *record;
  OpenFile *file;
  int32_t code = RangeOf(volume, packet, &file, &range);
  if (code) return code;
  if (packet->dp_Arg4 < REC_EXCLUSIVE || packet->dp_Arg4 > REC_SHARED_IMMED) return ERROR_BAD_NUMBER;
  int is_immediate = packet->dp_Arg4 == REC_EXCLUSIVE_IMMED || packet->dp_Arg4 == REC_SHARED_IMMED;
  range.exclusive = packet->dp_Arg4 == REC_EXCLUSIVE || packet->dp_Arg4 == REC_EXCLUSIVE_IMMED;
  for (record = file->entry->object->records; record; record = record->next)
    if (record->owner != file && record->start < range.end && range.start < record->end && (record->exclusive || range.exclusive))
      return is_immediate ? ERROR_LOCK_COLLISION : ERROR_LOCK_TIMEOUT;
  record = malloc(sizeof *record);
  if (record == NULL) return ERROR_NO_FREE_STORE;
  *record = range;
  record->next = file->entry->object->records;
  file->entry->object->records = record;
  return 0;
}

static int32_t OnFreeRecord(Volume *volume, Packet *packet) {
  Record range = {0};
  OpenFile *file;
  int32_t code = RangeOf(volume, packet, &file, &range);
  return code || FreeRecords(file, &range) ? code : ERROR_RECORD_NOT_LOCKED;
}

/* ---- Packets of objects --------------------------------------------------------------------- */

static int32_t OnCreateDir(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = Create(volume, packet->dp_Arg1, packet->dp_Arg2, ST_USERDIR, &entry);
  return code ? code : GiveLock(volume, packet, entry, SHARED_LOCK);
}

static int32_t OnDeleteObject(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = WriteProblem(volume);
  if (code == 0) code = Find(volume, packet->dp_Arg1, packet->dp_Arg2, &entry);
  if (code) return code;
  Object *object = entry->object, *directory = entry->directory;
  if (directory == NULL || entry->uses) return ERROR_OBJECT_IN_USE;
  if (object->protection & EXDF_NO_DELETE) return ERROR_DELETE_PROTECTED;
  if (object->type == ST_FILE && object->protection & EXDF_NO_WRITE) return ERROR_WRITE_PROTECTED;
  if (object->children && object->names->next_name == NULL) return ERROR_DIRECTORY_NOT_EMPTY;
  RemoveName(volume, entry);
  Stamp(volume, directory);
  return 0;
}

static int32_t OnRenameObject(Volume *volume, Packet *packet) {
  Entry *entry, *found, *to;
  const Byte *name = TextAt(packet->dp_Arg4);
  int32_t code = WriteProblem(volume);
  if (code == 0) code = Find(volume, packet->dp_Arg1, packet->dp_Arg2, &entry);
  if (code) return code;
  if (entry->directory == NULL) return ERROR_OBJECT_IN_USE;
  code = Find(volume, packet->dp_Arg3, packet->dp_Arg4, &found);
  if (code && code != ERROR_OBJECT_NOT_FOUND) return code;
  if (code == 0 && found != entry) return ERROR_OBJECT_EXISTS;
  if (code == 0 && name[0] == 0) return 0;
  if (!IsName(name)) return ERROR_INVALID_COMPONENT_NAME;
  EntryOf(volume, packet->dp_Arg3, &to);
  if (IsInside(to->object, entry->object)) return ERROR_OBJECT_IN_USE;
  Touch(volume, entry);
  Unlink(entry);
  CopyText(entry->name, name);
  Link(entry, to->object);
  Touch(volume, entry);
  return 0;
}

/* A soft link holds a text that is not looked at, a hard one is a second name. Some programs send 1
 * for a soft link. */
static int32_t OnMakeLink(Volume *volume, Packet *packet) {
  const char *target = (const char *)packet->dp_Arg3;
  Entry *entry, *to;
  int32_t code = 0;
  char *copy;
  switch (packet->dp_Arg4) {
    case QUORLE_PACKET_LINK_HARD:
      code = HeldLock(volume, packet->dp_Arg3, &entry);
      if (code == 0) code = EntryOf(volume, packet->dp_Arg1, &to);
      if (code == 0 && IsInside(to->object, entry->object)) code = ERROR_OBJECT_WRONG_TYPE;
      return code ? code : AddName(volume, packet->dp_Arg1, packet->dp_Arg2, entry->object);
    case QUORLE_PACKET_LINK_SOFT:
    case 1:
      if (target == NULL) return ERROR_REQUIRED_ARG_MISSING;
      copy = malloc(strlen(target) + 1);
      if (copy == NULL) return ERROR_NO_FREE_STORE;
      code = Create(volume, packet->dp_Arg1, packet->dp_Arg2, ST_SOFTLINK, &entry);
      if (code)
        free(copy);
      else
        entry->object->data = strcpy(copy, target);
      return code;
    default: return ERROR_BAD_NUMBER;
  }
}

/* The one packet with a name that is no length-prefixed text. -2 with 120 when the buffer is too small. */
static int32_t OnReadSoftLink(Volume *volume, Packet *packet) {
  const char *name = (const char *)packet->dp_Arg2;
  Byte text[256] = {0};
  size_t length = name ? strlen(name) : 0;
  Entry *entry;
  if (length > MAX_NAME) return ERROR_OBJECT_NOT_FOUND;
  text[0] = (Byte)length;
  if (length) memcpy(text + 1, name, length);
  int32_t code = Find(volume, packet->dp_Arg1, (intptr_t)text, &entry);
  if (code == 0 && entry->object->type != ST_SOFTLINK) code = ERROR_OBJECT_WRONG_TYPE;
  if (code) return code;
  length = strlen(entry->object->data);
  if (packet->dp_Arg3 == 0) return ERROR_REQUIRED_ARG_MISSING;
  if (packet->dp_Arg4 <= (intptr_t)length) return ERROR_LINE_TOO_LONG;
  memcpy((char *)packet->dp_Arg3, entry->object->data, length + 1);
  packet->dp_Res1 = (intptr_t)length;
  return 0;
}

/* SET_PROTECT, SET_COMMENT, SET_DATE, SET_OWNER: dp_Arg2 and dp_Arg3 name the object. */
static int32_t OnSetAttribute(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = WriteProblem(volume);
  if (code == 0) code = FindTarget(volume, packet->dp_Arg2, packet->dp_Arg3, &entry);
  if (code) return code;
  Object *object = entry->object;
  switch (packet->dp_Type) {
    case QUORLE_ACTION_SET_PROTECT: object->protection = (uint32_t)packet->dp_Arg4; break;
    case QUORLE_ACTION_SET_COMMENT:
      if (TextAt(packet->dp_Arg4)[0] > MAX_COMMENT) return ERROR_COMMENT_TOO_BIG;
      CopyText(object->comment, TextAt(packet->dp_Arg4));
      break;
    case QUORLE_ACTION_SET_DATE:
      if (packet->dp_Arg4 == 0) return ERROR_REQUIRED_ARG_MISSING;
      object->date = *(const struct DateStamp *)packet->dp_Arg4;
      break;
    default: /* SET_OWNER: both ids at once */
      object->owner = (uint16_t)((uintptr_t)packet->dp_Arg4 >> 16);
      object->group = (uint16_t)packet->dp_Arg4;
      break;
  }
  Stamp(volume, entry->directory);
  return 0;
}

/* ---- Packets of FileInfoBlocks -------------------------------------------------------------- */

static int32_t TypeOf(const Entry *entry) {
  const Object *object = entry->object;
  if (entry == object->names || object->type == ST_SOFTLINK) return object->type;
  return IsDirectory(object) ? ST_LINKDIR : ST_LINKFILE;
}

static int32_t Fill(struct FileInfoBlock *fib, const Entry *entry) {
  const Object *object = entry->object;
  if (fib == NULL) return ERROR_REQUIRED_ARG_MISSING;
  memset(fib, 0, sizeof *fib);
  fib->fib_DiskKey = entry->key;
  fib->fib_DirEntryType = fib->fib_EntryType = TypeOf(entry);
  CopyText(fib->fib_FileName, entry->name);
  CopyText(fib->fib_Comment, object->comment);
  memcpy(&fib->fib_Protection, &object->protection, sizeof fib->fib_Protection);
  fib->fib_Size = object->size;
  fib->fib_NumBlocks = BlocksOf(object->size);
  fib->fib_Date = object->date;
  fib->fib_OwnerUID = object->owner;
  fib->fib_OwnerGID = object->group;
  return 0;
}

static int32_t OnExamineObject(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &entry);
  return code ? code : Fill((struct FileInfoBlock *)packet->dp_Arg2, entry);
}

/* The place in a scan is in fib_DiskKey: the key of the directory itself at first, from EXAMINE_OBJECT,
 * then that of the entry before. */
static int32_t OnExamineNext(Volume *volume, Packet *packet) {
  struct FileInfoBlock *fib = (struct FileInfoBlock *)packet->dp_Arg2;
  Entry *entry;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &entry);
  if (code) return code;
  if (fib == NULL) return ERROR_REQUIRED_ARG_MISSING;
  if (!IsDirectory(entry->object)) return ERROR_OBJECT_WRONG_TYPE;
  int32_t last = fib->fib_DiskKey == entry->key ? 0 : fib->fib_DiskKey;
  entry = entry->object->children;
  while (entry && entry->key <= last) entry = entry->next;
  return entry ? Fill(fib, entry) : ERROR_NO_MORE_ENTRIES;
}

static int32_t OnExamineFile(Volume *volume, Packet *packet) {
  OpenFile *file;
  int32_t code = FileOf(volume, packet->dp_Arg1, &file);
  return code ? code : Fill((struct FileInfoBlock *)packet->dp_Arg2, file->entry);
}

/* ---- Packets of the volume ------------------------------------------------------------------ */

static int32_t Info(const Volume *volume, intptr_t word) {
  struct InfoData *info = (struct InfoData *)word;
  if (info == NULL) return ERROR_REQUIRED_ARG_MISSING;
  memset(info, 0, sizeof *info);
  info->id_DiskState = volume->write_protected ? ID_DISKSTATE_WRITE_PROTECTED : ID_DISKSTATE_VALIDATED;
  info->id_NumBlocks = BLOCKS;
  info->id_NumBlocksUsed = (uint32_t)volume->blocks_used;
  info->id_BytesPerBlock = BLOCK_SIZE;
  info->id_DiskType = volume->inhibited ? BUSY_TYPE : volume->type;
  for (const struct Lock *lock = volume->locks; lock; lock = lock->fl_FSPrivate2) ++info->id_InUse;
  for (const OpenFile *file = volume->files; file; file = file->next) ++info->id_InUse;
  return 0;
}

static int32_t OnInfo(Volume *volume, Packet *packet) {
  Entry *entry;
  int32_t code = HeldLock(volume, packet->dp_Arg1, &entry);
  return code ? code : Info(volume, packet->dp_Arg2);
}

/* Who wants the medium for himself says so as often as he says that he is done. */
static int32_t OnInhibit(Volume *volume, Packet *packet) {
  if (packet->dp_Arg1)
    ++volume->inhibited;
  else if (volume->inhibited)
    --volume->inhibited;
  return 0;
}

static int32_t OnWriteProtect(Volume *volume, Packet *packet) {
  uint32_t key = (uint32_t)packet->dp_Arg2;
  if (volume->write_protected && volume->protection_key && volume->protection_key != key) return ERROR_BAD_NUMBER;
  volume->write_protected = packet->dp_Arg1 != 0;
  volume->protection_key = packet->dp_Arg1 ? key : 0;
  return 0;
}

static int32_t OnRenameDisk(Volume *volume, Packet *packet) {
  int32_t code = WriteProblem(volume);
  if (code == 0 && !IsName(TextAt(packet->dp_Arg1))) code = ERROR_INVALID_COMPONENT_NAME;
  if (code) return code;
  CopyText(volume->root.name, TextAt(packet->dp_Arg1));
  Stamp(volume, &volume->root_object);
  return 0;
}

/* Only while everybody is kept off, and with nothing but the root in use. */
static int32_t OnFormat(Volume *volume, Packet *packet) {
  int32_t code = volume->inhibited ? WriteProblem(volume) : ERROR_OBJECT_IN_USE;
  if (code == 0 && !IsName(TextAt(packet->dp_Arg1))) code = ERROR_INVALID_COMPONENT_NAME;
  for (const struct Lock *lock = volume->locks; lock; lock = lock->fl_FSPrivate2)
    if (lock->fl_FSPrivate1 != &volume->root) code = ERROR_OBJECT_IN_USE;
  if (code || volume->files) return code ? code : ERROR_OBJECT_IN_USE;
  RemoveAll(volume);
  CopyText(volume->root.name, TextAt(packet->dp_Arg1));
  volume->root_object.comment[0] = 0;
  volume->root_object.protection = 0;
  volume->root_object.owner = volume->root_object.group = 0;
  volume->type = (int32_t)packet->dp_Arg2;
  Stamp(volume, &volume->root_object);
  return 0;
}

/* ---- The port ------------------------------------------------------------------------------- */

/* The code; dp_Res1 is true, or what the function set. */
static int32_t Perform(Volume *volume, Packet *packet) {
  switch (packet->dp_Type) { /* what is answered whoever has the medium */
    case QUORLE_ACTION_IS_FILESYSTEM: return 0;
    case QUORLE_ACTION_FREE_LOCK: return OnFreeLock(volume, packet);
    case QUORLE_ACTION_END: return OnEnd(volume, packet);
    case QUORLE_ACTION_DISK_INFO: return Info(volume, packet->dp_Arg1);
    case QUORLE_ACTION_INHIBIT: return OnInhibit(volume, packet);
    case QUORLE_ACTION_FORMAT: return OnFormat(volume, packet);
    default: break;
  }
  if (volume->inhibited) return ERROR_OBJECT_IN_USE;
  switch (packet->dp_Type) {
    case QUORLE_ACTION_LOCATE_OBJECT: return OnLocateObject(volume, packet);
    case QUORLE_ACTION_COPY_LOCK: return OnCopyLock(volume, packet);
    case QUORLE_ACTION_PARENT: return OnParent(volume, packet);
    case QUORLE_ACTION_SAME_LOCK: return OnSameLock(volume, packet);
    case QUORLE_ACTION_CHANGE_MODE: return OnChangeMode(volume, packet);
    case QUORLE_ACTION_FINDINPUT:
    case QUORLE_ACTION_FINDUPDATE:
    case QUORLE_ACTION_FINDOUTPUT: return OnFind(volume, packet);
    case QUORLE_ACTION_FH_FROM_LOCK: return OnFindFromLock(volume, packet);
    case QUORLE_ACTION_READ: return OnRead(volume, packet);
    case QUORLE_ACTION_WRITE: return OnWrite(volume, packet);
    case QUORLE_ACTION_SEEK: return OnSeek(volume, packet);
    case QUORLE_ACTION_SET_FILE_SIZE: return OnSetFileSize(volume, packet);
    case QUORLE_ACTION_COPY_LOCK_FH: return OnCopyLockOfFile(volume, packet);
    case QUORLE_ACTION_PARENT_FH: return OnParentOfFile(volume, packet);
    case QUORLE_ACTION_LOCK_RECORD: return OnLockRecord(volume, packet);
    case QUORLE_ACTION_FREE_RECORD: return OnFreeRecord(volume, packet);
    case QUORLE_ACTION_CREATE_DIR: return OnCreateDir(volume, packet);
    case QUORLE_ACTION_DELETE_OBJECT: return OnDeleteObject(volume, packet);
    case QUORLE_ACTION_RENAME_OBJECT: return OnRenameObject(volume, packet);
    case QUORLE_ACTION_MAKE_LINK: return OnMakeLink(volume, packet);
    case QUORLE_ACTION_READ_SOFT_LINK: return OnReadSoftLink(volume, packet);
    case QUORLE_ACTION_SET_PROTECT:
    case QUORLE_ACTION_SET_COMMENT:
    case QUORLE_ACTION_SET_DATE:
    case QUORLE_ACTION_SET_OWNER: return OnSetAttribute(volume, packet);
    case QUORLE_ACTION_EXAMINE_OBJECT: return OnExamineObject(volume, packet);
    case QUORLE_ACTION_EXAMINE_NEXT: return OnExamineNext(volume, packet);
    case QUORLE_ACTION_EXAMINE_FH: return OnExamineFile(volume, packet);
    case QUORLE_ACTION_INFO: return OnInfo(volume, packet);
    case QUORLE_ACTION_WRITE_PROTECT: return OnWriteProtect(volume, packet);
    case QUORLE_ACTION_RENAME_DISK: return OnRenameDisk(volume, packet);
    case QUORLE_ACTION_FLUSH: return 0; /* memory is all there is */
    default: return ERROR_ACTION_NOT_KNOWN;
  }
}

/* What a packet that fails has for its result. */
static intptr_t FailureOf(const Packet *packet) {
  switch (packet->dp_Type) {
    case QUORLE_ACTION_READ:
    case QUORLE_ACTION_WRITE:
    case QUORLE_ACTION_SEEK:
    case QUORLE_ACTION_SET_FILE_SIZE: return -1;
    case QUORLE_ACTION_READ_SOFT_LINK: return packet->dp_Res2 == ERROR_LINE_TOO_LONG ? -2 : -1;
    default: return 0;
  }
}

static void OnPacket(Port *port, Packet *packet) {
  packet->dp_Res1 = -1;
  packet->dp_Res2 = Perform(port->FSV.FSPrivate, packet);
  if (packet->dp_Res2) packet->dp_Res1 = FailureOf(packet);
}

static void Discard(void *medium) {
  RemoveAll(medium);
  free(medium);
}

/* An empty volume, or null without memory. */
static Volume *MakeVolume(const struct HandlerServices *dos, const Byte *name) {
  Volume *volume = calloc(1, sizeof *volume);
  if (volume == NULL) return NULL;
  volume->dos = dos;
  volume->type = DOS_TYPE;
  volume->root.object = &volume->root_object;
  volume->root.key = volume->last_key = 1;
  volume->root_object.type = ST_ROOT;
  volume->root_object.names = &volume->root;
  volume->blocks_used = 1;
  CopyText(volume->root.name, name);
  Stamp(volume, &volume->root_object);
  return volume;
}

/* The volume of the device: the one of the last mount, or a new one named by the key "volume". */
static Volume *FindVolume(const struct HandlerMount *mount) {
  const char *name = "Classic";
  Byte text[MAX_NAME + 1] = {0};
  if (mount->Medium && *mount->Medium) return *mount->Medium;
  for (uint32_t i = 0; i < mount->KeyCount; ++i)
    if (strcmp(mount->Keys[i].Key, "volume") == 0) name = mount->Keys[i].Value;
  if (strlen(name) <= MAX_NAME) {
    text[0] = (Byte)strlen(name);
    memcpy(text + 1, name, text[0]);
  }
  if (!IsName(text)) {
    snprintf(mount->Problem, mount->ProblemSize, "volume: 1 to %d characters without ':' and '/' make a name", MAX_NAME);
    return NULL;
  }
  return MakeVolume(mount->Dos, text);
}

/* dos reads the name of the volume from the root: SetVolumeName() is for handlers that know of it. */
static Port *Mount(const struct HandlerMount *mount) {
  const struct HandlerServices *dos = mount->Dos;
  Volume *volume = FindVolume(mount);
  if (volume == NULL) return NULL;
  struct FileSystemVectors table = {
      .StructSize = sizeof table, .Version = QUORLE_FS_VECTORPORT_VERSION, .FSPrivate = volume, .End_Marker = -1};
  struct TagItem tags[] = {{QUORLE_ADO_Vectors, (uintptr_t)&table}, {QUORLE_TAG_DONE, 0}};
  Port *port = dos->AllocDosObject(dos, QUORLE_DOS_FSVECTORPORT, tags);
  if (port == NULL) {
    if (mount->Medium == NULL || *mount->Medium == NULL) Discard(volume);
    return NULL;
  }
  volume->dos = dos;
  volume->medium = mount->Medium;
  volume->write_protected = volume->inhibited = 0;
  return port;
}

/* The volume stays where it is found again, or goes. */
static void Unmount(Port *port) {
  Volume *volume = port->FSV.FSPrivate;
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_FSVECTORPORT, port);
  if (volume->medium)
    *volume->medium = volume;
  else
    Discard(volume);
}

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {.StructSize = sizeof handler, .Version = QUORLE_HANDLER_VERSION,
                                         .Name = "classic", .Mount = Mount, .Unmount = Unmount, .Packet = OnPacket,
                                         .Discard = Discard};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
