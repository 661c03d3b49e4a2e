/*
 * packet_handler.c - a small filesystem that is sent packets instead of being called by functions.
 *
 *   cc -shared -fPIC $(pkg-config --cflags quorle) packet_handler.c -o packet_handler.so
 *   quorle --mount DH0=plugin:./packet_handler.so DH0:
 *
 * Its volume is one flat directory of files in memory. What it does not know it answers with 0 and
 * ERROR_ACTION_NOT_KNOWN, and the tester skips what depends on it.
 */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quorle/handler.h"

typedef struct FileSystemVectorPort Port;
typedef struct DosPacket Packet;

typedef struct File {
  char name[256];
  struct File *next;
  char *data;
  int64_t size;
  struct DateStamp date;
  uint32_t protection;
  uint64_t id;
  int users;     /* locks and open files */
  int exclusive; /* whether the one user shares it with nobody */
} File;

/* The volume: what FSPrivate of the table leads to. A null File stands for its directory. */
typedef struct {
  const struct HandlerServices *dos;
  File *files;
  struct DateStamp date;
  uint32_t protection;
  uint64_t last_id;
  uint32_t in_use;
} Volume;

/* What fh_Arg1 of an open file leads to: packets carry that word. */
typedef struct {
  File *file;
  int64_t position;
} OpenFile;

/* ---- Words of packets ----------------------------------------------------------------------- */

static void Answer(Packet *packet, intptr_t result, int32_t code) {
  packet->dp_Res1 = result;
  packet->dp_Res2 = code;
}

/* The packets between 8000 and 8999 have a wide result. */
static void AnswerWide(Packet *packet, int64_t result, int32_t code) {
  packet->dp_Res64 = result;
  packet->dp_Res2 = code;
}

/* A copy of a length-prefixed text. */
static void ReadText(intptr_t word, char text[256]) {
  const unsigned char *prefixed = (const unsigned char *)word;
  size_t length = prefixed ? prefixed[0] : 0;
  if (length) memcpy(text, prefixed + 1, length);
  text[length] = '\0';
}

/* ---- Files ---------------------------------------------------------------------------------- */

static int SameName(const char *a, const char *b) {
  while (*a && tolower((unsigned char)*a) == tolower((unsigned char)*b)) ++a, ++b;
  return *a == *b;
}

/* Finds the object `name` of `lock`: its file, or null for the directory. False when there is none. */
static int Find(Volume *volume, intptr_t lock, intptr_t name, File **found) {
  const struct Lock *rel = (const struct Lock *)lock;
  char text[256];
  ReadText(name, text);
  *found = rel ? rel->fl_FSPrivate1 : NULL;
  if (text[0] == '\0') return 1;
  if (*found) return 0;
  for (*found = volume->files; *found; *found = (*found)->next)
    if (SameName((*found)->name, text)) return 1;
  return 0;
}

static void Touch(Volume *volume, File *file) {
  volume->dos->DateStamp(volume->dos, &volume->date);
  volume->protection &= ~(uint32_t)EXDF_ARCHIVE;
  if (file == NULL) return;
  file->date = volume->date;
  file->protection &= ~(uint32_t)EXDF_ARCHIVE;
}

/* Takes a file for one more user. The code when it cannot be had. */
static int32_t Take(Volume *volume, File *file, int exclusive) {
  if (file && file->users && (exclusive || file->exclusive)) return ERROR_OBJECT_IN_USE;
  if (file) ++file->users, file->exclusive = exclusive;
  ++volume->in_use;
  return 0;
}

static void Release(Volume *volume, File *file) {
  if (file) --file->users, file->exclusive = 0;
  --volume->in_use;
}

/* ---- Locks ---------------------------------------------------------------------------------- */

static void GiveLock(Volume *volume, Packet *packet, File *file, intptr_t mode) {
  int exclusive = file && mode == EXCLUSIVE_LOCK;
  struct Lock *lock = volume->dos->AllocDosObject(volume->dos, QUORLE_DOS_LOCK, NULL);
  int32_t code = lock ? Take(volume, file, exclusive) : ERROR_NO_FREE_STORE;
  if (code) {
    volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
    Answer(packet, 0, code);
    return;
  }
  lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
  lock->fl_FSPrivate1 = file;
  Answer(packet, (intptr_t)lock, 0);
}

static void LocateObject(Volume *volume, Packet *packet) {
  File *file;
  if (Find(volume, packet->dp_Arg1, packet->dp_Arg2, &file))
    GiveLock(volume, packet, file, packet->dp_Arg3);
  else
    Answer(packet, 0, ERROR_OBJECT_NOT_FOUND);
}

static void FreeLock(Volume *volume, Packet *packet) {
  struct Lock *lock = (struct Lock *)packet->dp_Arg1;
  if (lock) {
    Release(volume, lock->fl_FSPrivate1);
    volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
  }
  Answer(packet, -1, 0);
}

static void CopyLock(Volume *volume, Packet *packet) {
  const struct Lock *lock = (const struct Lock *)packet->dp_Arg1;
  GiveLock(volume, packet, lock ? lock->fl_FSPrivate1 : NULL, SHARED_LOCK);
}

/* There is nothing above the directory: null with the code 0. */
static void Parent(Volume *volume, Packet *packet) {
  const struct Lock *lock = (const struct Lock *)packet->dp_Arg1;
  if (lock && lock->fl_FSPrivate1)
    GiveLock(volume, packet, NULL, SHARED_LOCK);
  else
    Answer(packet, 0, 0);
}

static void SameLock(Packet *packet) {
  const struct Lock *a = (const struct Lock *)packet->dp_Arg1, *b = (const struct Lock *)packet->dp_Arg2;
  Answer(packet, (a ? a->fl_FSPrivate1 : NULL) == (b ? b->fl_FSPrivate1 : NULL) ? -1 : 0, 0);
}

/* ---- Open files ----------------------------------------------------------------------------- */

static File *Create(Volume *volume, intptr_t name) {
  File *file = calloc(1, sizeof *file);
  if (file == NULL) return NULL;
  ReadText(name, file->name);
  file->id = ++volume->last_id;
  file->next = volume->files;
  volume->files = file;
  Touch(volume, file);
  return file;
}

/* FINDINPUT, FINDUPDATE, FINDOUTPUT: the number of the packet is the mode. */
static void Open(Volume *volume, Packet *packet) {
  struct FileHandle *handle = (struct FileHandle *)packet->dp_Arg1;
  OpenFile *open = calloc(1, sizeof *open);
  File *file = NULL;
  int32_t code = open ? 0 : ERROR_NO_FREE_STORE;
  if (code == 0 && !Find(volume, packet->dp_Arg2, packet->dp_Arg3, &file)) {
    file = packet->dp_Type == MODE_OLDFILE ? NULL : Create(volume, packet->dp_Arg3);
    if (file == NULL) code = ERROR_OBJECT_NOT_FOUND;
  } else if (code == 0 && file == NULL) {
    code = ERROR_OBJECT_WRONG_TYPE;
  } else if (code == 0 && packet->dp_Type == MODE_NEWFILE && file->protection & EXDF_NO_DELETE) {
    code = ERROR_DELETE_PROTECTED;
  }
  if (code == 0) code = Take(volume, file, packet->dp_Type == MODE_NEWFILE);
  if (code) {
    free(open);
    Answer(packet, 0, code);
    return;
  }
  if (packet->dp_Type == MODE_NEWFILE) {
    file->size = 0;
    Touch(volume, file);
  }
  open->file = file;
  handle->fh_Arg1 = (intptr_t)open;
  Answer(packet, -1, 0);
}

static void End(Volume *volume, Packet *packet) {
  OpenFile *open = (OpenFile *)packet->dp_Arg1;
  Release(volume, open->file);
  free(open);
  Answer(packet, -1, 0);
}

static void Read(Packet *packet) {
  OpenFile *open = (OpenFile *)packet->dp_Arg1;
  int64_t left = open->file->size - open->position;
  int64_t count = left < packet->dp_Arg3 ? left : packet->dp_Arg3;
  if (open->file->protection & EXDF_NO_READ) {
    Answer(packet, -1, ERROR_READ_PROTECTED);
    return;
  }
  if (count > 0) memcpy((void *)packet->dp_Arg2, open->file->data + open->position, (size_t)count);
  if (count > 0) open->position += count;
  Answer(packet, count > 0 ? (intptr_t)count : 0, 0);
}

static int Grow(File *file, int64_t size) {
  char *data = realloc(file->data, (size_t)size + 1);
  if (data == NULL) return 0;
  if (size > file->size) memset(data + file->size, 0, (size_t)(size - file->size));
  file->data = data;
  file->size = size;
  return 1;
}

static void Write(Volume *volume, Packet *packet) {
  OpenFile *open = (OpenFile *)packet->dp_Arg1;
  int64_t end = open->position + packet->dp_Arg3;
  if (open->file->protection & EXDF_NO_WRITE) {
    Answer(packet, -1, ERROR_WRITE_PROTECTED);
  } else if (end > open->file->size && !Grow(open->file, end)) {
    Answer(packet, -1, ERROR_DISK_FULL);
  } else {
    if (packet->dp_Arg3 > 0) memcpy(open->file->data + open->position, (const void *)packet->dp_Arg2, (size_t)packet->dp_Arg3);
    open->position = end;
    Touch(volume, open->file);
    Answer(packet, packet->dp_Arg3, 0);
  }
}

/* 8001 and 8003 carry a 64-bit number in place of dp_Arg2; dp_Arg3 is what it counts from. */
static int64_t Target(const Packet *packet) {
  const OpenFile *open = (const OpenFile *)packet->dp_Arg1;
  int64_t start = packet->dp_Arg3 == OFFSET_CURRENT ? open->position : packet->dp_Arg3 == OFFSET_END ? open->file->size : 0;
  return packet->dp_Arg2_64 > INT64_MAX - start ? -1 : start + packet->dp_Arg2_64;
}

static void ChangePosition(Packet *packet) {
  OpenFile *open = (OpenFile *)packet->dp_Arg1;
  int64_t target = Target(packet);
  if (target < 0 || target > open->file->size) {
    AnswerWide(packet, 0, ERROR_SEEK_ERROR);
    return;
  }
  open->position = target;
  AnswerWide(packet, -1, 0);
}

static void ChangeSize(Volume *volume, Packet *packet) {
  OpenFile *open = (OpenFile *)packet->dp_Arg1;
  int64_t target = Target(packet);
  if (target < 0 || open->file->protection & EXDF_NO_WRITE) {
    AnswerWide(packet, 0, target < 0 ? ERROR_SEEK_ERROR : ERROR_WRITE_PROTECTED);
  } else if (!Grow(open->file, target)) {
    AnswerWide(packet, 0, ERROR_DISK_FULL);
  } else {
    if (open->position > target) open->position = target;
    Touch(volume, open->file);
    AnswerWide(packet, -1, 0);
  }
}

/* ---- Objects -------------------------------------------------------------------------------- */

static void DeleteObject(Volume *volume, Packet *packet) {
  File *file, **place = &volume->files;
  int32_t code = 0;
  if (!Find(volume, packet->dp_Arg1, packet->dp_Arg2, &file))
    code = ERROR_OBJECT_NOT_FOUND;
  else if (file == NULL || file->users)
    code = ERROR_OBJECT_IN_USE;
  else if (file->protection & EXDF_NO_DELETE)
    code = ERROR_DELETE_PROTECTED;
  if (code == 0) {
    while (*place != file) place = &(*place)->next;
    *place = file->next;
    free(file->data);
    free(file);
    Touch(volume, NULL);
  }
  Answer(packet, code ? 0 : -1, code);
}

static void SetAttribute(Volume *volume, Packet *packet) {
  File *file;
  if (!Find(volume, packet->dp_Arg2, packet->dp_Arg3, &file)) {
    Answer(packet, 0, ERROR_OBJECT_NOT_FOUND);
    return;
  }
  if (packet->dp_Type == QUORLE_ACTION_SET_PROTECT)
    *(file ? &file->protection : &volume->protection) = (uint32_t)packet->dp_Arg4;
  else
    *(file ? &file->date : &volume->date) = *(const struct DateStamp *)packet->dp_Arg4;
  Answer(packet, -1, 0);
}

static struct ExamineData *Record(Volume *volume, const File *file) {
  struct ExamineData *data = volume->dos->AllocDosObject(volume->dos, QUORLE_DOS_EXAMINEDATA, NULL);
  if (data == NULL) return NULL;
  data->Type = file ? FSO_TYPE_FILE : FSO_TYPE_DIRECTORY;
  data->FileSize = file ? file->size : -1;
  data->Date = file ? file->date : volume->date;
  data->RefCount = 1;
  data->ObjectID = file ? file->id : 1;
  data->Protection = file ? file->protection : volume->protection;
  snprintf(data->Name, data->NameSize, "%s", file ? file->name : "Packets");
  return data;
}

static void Examine(Volume *volume, Packet *packet, const File *file) {
  struct ExamineData *data = Record(volume, file);
  Answer(packet, (intptr_t)data, data ? 0 : ERROR_NO_FREE_STORE);
}

/* One object of a scan; FSPrivate[0] counts those that were given. */
/* FSPrivate[0] is the number of the file that the scan has given last: files come and go meanwhile, so a count
   would not do. Numbers go down: what is made during a scan is not given. */
static void ExamineNext(Volume *volume, Packet *packet) {
  struct PRIVATE_ExamineDirContext *context = (struct PRIVATE_ExamineDirContext *)packet->dp_Arg1;
  const File *next = NULL;
  if (context->Directory && context->Directory->fl_FSPrivate1) {
    Answer(packet, 0, ERROR_OBJECT_WRONG_TYPE);
    return;
  }
  for (const File *file = volume->files; file; file = file->next)
    if ((context->FSPrivate[0] == 0 || file->id < (uint64_t)context->FSPrivate[0]) && (next == NULL || file->id > next->id))
      next = file;
  if (next == NULL) {
    Answer(packet, 0, ERROR_NO_MORE_ENTRIES);
    return;
  }
  context->FSPrivate[0] = (intptr_t)next->id;
  context->Entry = Record(volume, next);
  Answer(packet, context->Entry ? -1 : 0, context->Entry ? 0 : ERROR_NO_FREE_STORE);
}

static void Info(Volume *volume, Packet *packet, struct InfoData *info) {
  memset(info, 0, sizeof *info);
  info->id_DiskState = ID_DISKSTATE_VALIDATED;
  info->id_BytesPerBlock = 512;
  info->id_NumBlocks = 1 << 20;
  info->id_DiskType = 0x444F5300;
  info->id_InUse = volume->in_use;
  Answer(packet, -1, 0);
}

/* ---- The port ------------------------------------------------------------------------------- */

static void OnPacket(Port *port, Packet *packet) {
  Volume *volume = port->FSV.FSPrivate;
  switch (packet->dp_Type) {
    case QUORLE_ACTION_IS_FILESYSTEM: Answer(packet, -1, 0); break;
    case QUORLE_ACTION_LOCATE_OBJECT: LocateObject(volume, packet); break;
    case QUORLE_ACTION_FREE_LOCK: FreeLock(volume, packet); break;
    case QUORLE_ACTION_COPY_LOCK: CopyLock(volume, packet); break;
    case QUORLE_ACTION_PARENT: Parent(volume, packet); break;
    case QUORLE_ACTION_SAME_LOCK: SameLock(packet); break;
    case QUORLE_ACTION_FINDINPUT:
    case QUORLE_ACTION_FINDUPDATE:
    case QUORLE_ACTION_FINDOUTPUT: Open(volume, packet); break;
    case QUORLE_ACTION_END: End(volume, packet); break;
    case QUORLE_ACTION_READ: Read(packet); break;
    case QUORLE_ACTION_WRITE: Write(volume, packet); break;
    case QUORLE_ACTION_CHANGE_FILE_POSITION64: ChangePosition(packet); break;
    case QUORLE_ACTION_CHANGE_FILE_SIZE64: ChangeSize(volume, packet); break;
    case QUORLE_ACTION_GET_FILE_POSITION64: AnswerWide(packet, ((OpenFile *)packet->dp_Arg1)->position, 0); break;
    case QUORLE_ACTION_GET_FILE_SIZE64: AnswerWide(packet, ((OpenFile *)packet->dp_Arg1)->file->size, 0); break;
    case QUORLE_ACTION_DELETE_OBJECT: DeleteObject(volume, packet); break;
    case QUORLE_ACTION_SET_PROTECT:
    case QUORLE_ACTION_SET_DATE: SetAttribute(volume, packet); break;
    case QUORLE_ACTION_EXAMINEDATA: {
      const struct Lock *lock = (const struct Lock *)packet->dp_Arg1;
      Examine(volume, packet, lock ? lock->fl_FSPrivate1 : NULL);
      break;
    }
    case QUORLE_ACTION_EXAMINEDATA_FH:
      Examine(volume, packet, ((OpenFile *)((struct FileHandle *)packet->dp_Arg1)->fh_Arg1)->file);
      break;
    case QUORLE_ACTION_EXAMINEDATA_DIR: ExamineNext(volume, packet); break;
    case QUORLE_ACTION_INFO: Info(volume, packet, (struct InfoData *)packet->dp_Arg2); break;
    case QUORLE_ACTION_DISK_INFO: Info(volume, packet, (struct InfoData *)packet->dp_Arg1); break;
    default: Answer(packet, 0, ERROR_ACTION_NOT_KNOWN); break;
  }
}

static Port *Mount(const struct HandlerMount *mount) {
  const struct HandlerServices *dos = mount->Dos;
  Volume *volume = calloc(1, sizeof *volume);
  /* A table without functions: whoever mounts it sends packets. */
  struct FileSystemVectors table = {
      .StructSize = sizeof table, .Version = QUORLE_FS_VECTORPORT_VERSION, .FSPrivate = volume, .End_Marker = -1};
  struct TagItem tags[] = {{QUORLE_ADO_Vectors, (uintptr_t)&table}, {QUORLE_TAG_DONE, 0}};
  Port *port = volume ? dos->AllocDosObject(dos, QUORLE_DOS_FSVECTORPORT, tags) : NULL;
  if (port && dos->SetVolumeName(dos, port, "Packets")) {
    volume->dos = dos;
    volume->last_id = 1;
    Touch(volume, NULL);
    return port;
  }
  if (port) snprintf(mount->Problem, mount->ProblemSize, "the volume name Packets is taken");
  dos->FreeDosObject(dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
  return NULL;
}

static void Unmount(Port *port) {
  Volume *volume = port->FSV.FSPrivate;
  while (volume->files) {
    File *file = volume->files;
    volume->files = file->next;
    free(file->data);
    free(file);
  }
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
}

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {.StructSize = sizeof handler,
                                         .Version = QUORLE_HANDLER_VERSION,
                                         .Name = "packet",
                                         .Mount = Mount,
                                         .Unmount = Unmount,
                                         .Packet = OnPacket};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
