/*
 * complete_handler.c - minimal_handler.c with everything fixed that the tester complained of.
 *
 *   cc -shared -fPIC $(pkg-config --cflags quorle) complete_handler.c -o complete_handler.so
 *   quorle --mount DH0=plugin:./complete_handler.so DH0:
 *
 * docs/handler-authors.md says which fix answers which diagnostic. Hard links are left out:
 * without them a filesystem is smaller, not wrong.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "quorle/handler.h"

typedef struct FileSystemVectorPort Port;

/* A file or a directory. The children of a directory are a list. */
typedef struct Node {
  char name[256];
  int is_directory;
  struct Node *parent, *next, *children;
  char *data;
  int64_t size;
  struct DateStamp date;
  char comment[256];
  char *target; /* fix 9: what a soft link holds; null otherwise */
  uint32_t protection, owner, group;
  uint64_t id;
  int users;     /* fix 1: locks and open files */
  int exclusive; /* and whether the one user shares it with nobody */
} Node;

/* An open file: what fh_Arg2 of its handle leads to. */
typedef struct {
  Node *node;
  int64_t position;
  int exclusive;
} OpenFile;

/* The volume: what FSPrivate of the table leads to. */
typedef struct {
  const struct HandlerServices *dos;
  Node root;
  uint64_t last_id;
  int write_protected; /* fix 7 */
  uint32_t key;
  uint32_t in_use; /* locks and open files */
} Volume;

/* ---- The tree ------------------------------------------------------------------------------- */

static Volume *VolumeOf(Port *port) { return port->FSV.FSPrivate; }

static Node *NodeOf(Port *port, struct Lock *lock) { return lock ? lock->fl_FSPrivate1 : &VolumeOf(port)->root; }

/* Fix 10: names are Latin-1, whose accented letters have upper-case forms as others have, but for two letters. */
static int Upper(char c) {
  int code = (unsigned char)c;
  int is_lower = (code >= 'a' && code <= 'z') || (code >= 0xE0 && code <= 0xFE && code != 0xF7);
  return is_lower ? code - 0x20 : code;
}

static int SameName(const char *a, const char *b) {
  while (*a && Upper(*a) == Upper(*b)) ++a, ++b;
  return *a == *b;
}

/* The object `name` in the directory of `rel`, or null with the code. */
static Node *Find(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = NodeOf(port, rel);
  if (*name == '\0') return node;
  for (node = node->children; node; node = node->next)
    if (SameName(node->name, name)) return node;
  *res2 = ERROR_OBJECT_NOT_FOUND;
  return NULL;
}

/* Fix 9: dos follows soft links, when the answer says that it has met one. */
static Node *FindTarget(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  if (node == NULL || node->target == NULL) return node;
  *res2 = ERROR_IS_SOFT_LINK;
  return NULL;
}

static void Stamp(Port *port, Node *node) {
  const struct HandlerServices *dos = VolumeOf(port)->dos;
  dos->DateStamp(dos, &node->date);
  node->protection &= ~(uint32_t)EXDF_ARCHIVE;
}

/* Fix 4: a change is one of the directory too. */
static void Touch(Port *port, Node *node) {
  Stamp(port, node);
  if (node->parent) Stamp(port, node->parent);
}

/* Fix 7: whether the volume may be changed. */
static int MayChange(Port *port, int32_t *res2) {
  if (VolumeOf(port)->write_protected) *res2 = ERROR_DISK_WRITE_PROTECTED;
  return !VolumeOf(port)->write_protected;
}

/* Fix 10: whether an object may have this name; cut short it would be another one. */
static int MayBeName(int32_t *res2, const char *name) {
  int may = *name && strlen(name) < sizeof((Node *)0)->name && !strpbrk(name, ":/");
  if (!may) *res2 = ERROR_INVALID_COMPONENT_NAME;
  return may;
}

static Node *Create(Port *port, int32_t *res2, struct Lock *rel, const char *name, int is_directory) {
  Node *parent = NodeOf(port, rel), *node;
  if (!MayChange(port, res2) || !MayBeName(res2, name)) return NULL;
  node = calloc(1, sizeof *node);
  if (node == NULL) {
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  snprintf(node->name, sizeof node->name, "%s", name);
  node->is_directory = is_directory;
  node->id = ++VolumeOf(port)->last_id;
  node->parent = parent;
  node->next = parent->children;
  parent->children = node;
  Touch(port, node);
  return node;
}

static void Unlink(Node *node) {
  Node **place = &node->parent->children;
  while (*place != node) place = &(*place)->next;
  *place = node->next;
}

static void Free(Node *node) {
  while (node->children) {
    Node *child = node->children;
    Unlink(child);
    Free(child);
  }
  free(node->data);
  free(node->target);
  if (node->parent) free(node); /* the root is a part of the volume */
}

/* ---- Locks ---------------------------------------------------------------------------------- */

/* Fix 1: one more user of a node, whom nobody else may be in the way of. */
static int Take(Port *port, int32_t *res2, Node *node, int exclusive) {
  if (node->users && (exclusive || node->exclusive)) {
    *res2 = ERROR_OBJECT_IN_USE;
    return 0;
  }
  ++node->users;
  node->exclusive = exclusive;
  ++VolumeOf(port)->in_use;
  return 1;
}

static void Release(Port *port, Node *node) {
  --node->users;
  node->exclusive = 0;
  --VolumeOf(port)->in_use;
}

static struct Lock *GiveLock(Port *port, int32_t *res2, Node *node, int32_t mode) {
  Volume *volume = VolumeOf(port);
  int exclusive = mode == EXCLUSIVE_LOCK && !node->is_directory;
  struct Lock *lock;
  if (!Take(port, res2, node, exclusive)) return NULL;
  lock = volume->dos->AllocDosObject(volume->dos, QUORLE_DOS_LOCK, NULL);
  if (lock == NULL) {
    Release(port, node);
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  lock->fl_Access = exclusive ? EXCLUSIVE_LOCK : SHARED_LOCK;
  lock->fl_FSPrivate1 = node;
  return lock;
}

static struct Lock *FSLock(Port *port, int32_t *res2, struct Lock *rel, const char *name, int32_t mode) {
  Node *node = FindTarget(port, res2, rel, name);
  return node ? GiveLock(port, res2, node, mode) : NULL;
}

static int32_t FSUnLock(Port *port, int32_t *res2, struct Lock *lock) {
  Volume *volume = VolumeOf(port);
  (void)res2;
  if (lock == NULL) return -1;
  Release(port, lock->fl_FSPrivate1);
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_LOCK, lock);
  return -1;
}

static int32_t FSChangeLockMode(Port *port, int32_t *res2, struct Lock *lock, int32_t mode) {
  Node *node = lock->fl_FSPrivate1;
  (void)port;
  if (node->is_directory && mode == EXCLUSIVE_LOCK) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return 0;
  }
  if (mode == EXCLUSIVE_LOCK && node->users > 1) {
    *res2 = ERROR_OBJECT_IN_USE;
    return 0;
  }
  node->exclusive = mode == EXCLUSIVE_LOCK;
  lock->fl_Access = mode;
  return -1;
}

static struct Lock *FSDupLock(Port *port, int32_t *res2, struct Lock *lock) {
  return GiveLock(port, res2, NodeOf(port, lock), SHARED_LOCK);
}

/* Fix 10: dos compares nothing itself. */
static int32_t FSSameLock(Port *port, int32_t *res2, struct Lock *a, struct Lock *b) {
  (void)res2;
  return NodeOf(port, a) == NodeOf(port, b) ? -1 : 0;
}

static struct Lock *FSCreateDir(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  if (node) {
    *res2 = ERROR_OBJECT_EXISTS;
    return NULL;
  }
  *res2 = 0;
  node = Create(port, res2, rel, name, 1);
  return node ? GiveLock(port, res2, node, SHARED_LOCK) : NULL;
}

static struct Lock *FSParentDir(Port *port, int32_t *res2, struct Lock *lock) {
  Node *parent = NodeOf(port, lock)->parent;
  return parent ? GiveLock(port, res2, parent, SHARED_LOCK) : NULL;
}

/* ---- Files ---------------------------------------------------------------------------------- */

static OpenFile *FileOf(struct FileHandle *fh) { return fh->fh_Arg2; }

static int32_t OpenNode(Port *port, int32_t *res2, struct FileHandle *fh, Node *node, int exclusive) {
  OpenFile *file = calloc(1, sizeof *file);
  if (node->is_directory || file == NULL) *res2 = node->is_directory ? ERROR_OBJECT_WRONG_TYPE : ERROR_NO_FREE_STORE;
  if (*res2 || !Take(port, res2, node, exclusive)) {
    free(file);
    return 0;
  }
  file->node = node;
  file->exclusive = exclusive;
  fh->fh_Arg2 = file;
  return -1;
}

static int32_t FSOpen(Port *port, int32_t *res2, struct FileHandle *fh, struct Lock *rel, const char *name, int32_t mode) {
  Node *node = FindTarget(port, res2, rel, name);
  if (*res2 == ERROR_OBJECT_NOT_FOUND && mode != MODE_OLDFILE) {
    *res2 = 0;
    node = Create(port, res2, rel, name, 0);
  }
  if (node == NULL || (mode == MODE_NEWFILE && !MayChange(port, res2))) return 0;
  if (mode == MODE_NEWFILE && node->protection & EXDF_NO_DELETE) { /* fix 3: to empty it is to delete it */
    *res2 = ERROR_DELETE_PROTECTED;
    return 0;
  }
  if (!OpenNode(port, res2, fh, node, mode == MODE_NEWFILE)) return 0;
  if (mode == MODE_NEWFILE) {
    node->size = 0;
    Touch(port, node);
  }
  return -1;
}

static int32_t FSClose(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)res2;
  Release(port, FileOf(fh)->node);
  free(FileOf(fh));
  return -1;
}

/* Fix 6: what was missing, and skipped, or in the way of other tests. */
static int32_t FSOpenFromLock(Port *port, int32_t *res2, struct FileHandle *fh, struct Lock *lock) {
  Node *node = NodeOf(port, lock);
  int exclusive = node->exclusive;
  --node->users; /* the lock becomes the file */
  node->exclusive = 0;
  if (!OpenNode(port, res2, fh, node, exclusive)) {
    ++node->users;
    node->exclusive = exclusive;
    return 0;
  }
  --VolumeOf(port)->in_use;
  VolumeOf(port)->dos->FreeDosObject(VolumeOf(port)->dos, QUORLE_DOS_LOCK, lock);
  return -1;
}

static struct Lock *FSDupLockFromFH(Port *port, int32_t *res2, struct FileHandle *fh) {
  return GiveLock(port, res2, FileOf(fh)->node, SHARED_LOCK);
}

static struct Lock *FSParentOfFH(Port *port, int32_t *res2, struct FileHandle *fh) {
  return GiveLock(port, res2, FileOf(fh)->node->parent, SHARED_LOCK);
}

static int32_t FSSameFile(Port *port, int32_t *res2, struct FileHandle *a, struct FileHandle *b) {
  (void)port, (void)res2;
  return FileOf(a)->node == FileOf(b)->node ? -1 : 0;
}

static int32_t FSChangeFileMode(Port *port, int32_t *res2, struct FileHandle *fh, int32_t mode) {
  Node *node = FileOf(fh)->node;
  (void)port;
  if (mode == EXCLUSIVE_LOCK && node->users > 1) {
    *res2 = ERROR_OBJECT_IN_USE;
    return 0;
  }
  node->exclusive = FileOf(fh)->exclusive = mode == EXCLUSIVE_LOCK;
  return -1;
}

static int32_t FSRead(Port *port, int32_t *res2, struct FileHandle *fh, void *buffer, int32_t bytes) {
  OpenFile *file = FileOf(fh);
  int64_t left = file->node->size - file->position;
  int32_t count = left < bytes ? (int32_t)left : bytes;
  (void)port;
  if (file->node->protection & EXDF_NO_READ) { /* fix 5 */
    *res2 = ERROR_READ_PROTECTED;
    return -1;
  }
  if (count <= 0) return 0;
  memcpy(buffer, file->node->data + file->position, (size_t)count);
  file->position += count;
  return count;
}

static int Resize(int32_t *res2, Node *node, int64_t size) {
  char *data = realloc(node->data, (size_t)size + 1);
  if (data == NULL) {
    *res2 = ERROR_DISK_FULL;
    return 0;
  }
  if (size > node->size) memset(data + node->size, 0, (size_t)(size - node->size));
  node->data = data;
  node->size = size;
  return 1;
}

/* Fix 5. */
static int MayWrite(Port *port, int32_t *res2, const Node *node) {
  if (!MayChange(port, res2)) return 0;
  if (node->protection & EXDF_NO_WRITE) *res2 = ERROR_WRITE_PROTECTED;
  return !(node->protection & EXDF_NO_WRITE);
}

static int32_t FSWrite(Port *port, int32_t *res2, struct FileHandle *fh, const void *data, int32_t bytes) {
  OpenFile *file = FileOf(fh);
  Node *node = file->node;
  int64_t end = file->position + bytes;
  if (bytes <= 0) return 0;
  if (!MayWrite(port, res2, node) || (end > node->size && !Resize(res2, node, end))) return -1;
  memcpy(node->data + file->position, data, (size_t)bytes);
  file->position = end;
  Touch(port, node);
  return bytes;
}

static int32_t FSChangeFilePosition(Port *port, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t position) {
  OpenFile *file = FileOf(fh);
  int64_t size = file->node->size;
  int64_t start = mode == OFFSET_CURRENT ? file->position : mode == OFFSET_END ? size : 0;
  (void)port;
  if (position < -start || position > size - start) {
    *res2 = ERROR_SEEK_ERROR;
    return 0;
  }
  file->position = start + position;
  return -1;
}

static int32_t FSChangeFileSize(Port *port, int32_t *res2, struct FileHandle *fh, int32_t mode, int64_t size) {
  OpenFile *file = FileOf(fh);
  int64_t start = mode == OFFSET_CURRENT ? file->position : mode == OFFSET_END ? file->node->size : 0;
  if (size < -start || size > ((int64_t)1 << 40) - start) {
    *res2 = ERROR_SEEK_ERROR;
    return 0;
  }
  if (!MayWrite(port, res2, file->node) || !Resize(res2, file->node, start + size)) return 0;
  if (file->position > file->node->size) file->position = file->node->size;
  Touch(port, file->node);
  return -1;
}

static int64_t FSGetFilePosition(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)port, (void)res2;
  return FileOf(fh)->position;
}

static int64_t FSGetFileSize(Port *port, int32_t *res2, struct FileHandle *fh) {
  (void)port, (void)res2;
  return FileOf(fh)->node->size;
}

/* ---- Objects -------------------------------------------------------------------------------- */

static int32_t FSDelete(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  if (node == NULL || !MayChange(port, res2)) return 0;
  /* Fix 2. */
  if (node->parent == NULL || node->users)
    *res2 = ERROR_OBJECT_IN_USE;
  else if (node->protection & EXDF_NO_DELETE)
    *res2 = ERROR_DELETE_PROTECTED;
  else if (node->children)
    *res2 = ERROR_DIRECTORY_NOT_EMPTY;
  if (*res2) return 0;
  Touch(port, node);
  Unlink(node);
  Free(node);
  return -1;
}

/* Fix 8. */
static int32_t FSRename(Port *port, int32_t *res2, struct Lock *source_rel, const char *source,
                        struct Lock *destination_rel, const char *destination) {
  Node *node = Find(port, res2, source_rel, source), *parent = NodeOf(port, destination_rel), *there;
  if (node == NULL || !MayChange(port, res2)) return 0;
  there = Find(port, res2, destination_rel, destination);
  *res2 = 0;
  if (node->parent == NULL)
    *res2 = ERROR_OBJECT_IN_USE;
  else if (there && there != node)
    *res2 = ERROR_OBJECT_EXISTS;
  for (Node *above = parent; above; above = above->parent)
    if (above == node) *res2 = ERROR_OBJECT_IN_USE;
  if (*res2 || !MayBeName(res2, destination)) return 0;
  Touch(port, node);
  Unlink(node);
  snprintf(node->name, sizeof node->name, "%s", destination);
  node->parent = parent;
  node->next = parent->children;
  parent->children = node;
  Touch(port, node);
  return -1;
}

/* The object of which an attribute is to be changed. */
static Node *FindToSet(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = FindTarget(port, res2, rel, name);
  return node && MayChange(port, res2) ? node : NULL;
}

static int32_t FSSetDate(Port *port, int32_t *res2, struct Lock *rel, const char *name, const struct DateStamp *date) {
  Node *node = FindToSet(port, res2, rel, name);
  if (node && node->parent) Stamp(port, node->parent);
  if (node) node->date = *date;
  return node ? -1 : 0;
}

static int32_t FSSetProtection(Port *port, int32_t *res2, struct Lock *rel, const char *name, uint32_t mask) {
  Node *node = FindToSet(port, res2, rel, name);
  if (node && node->parent) Stamp(port, node->parent);
  if (node) node->protection = mask;
  return node ? -1 : 0;
}

static int32_t FSSetComment(Port *port, int32_t *res2, struct Lock *rel, const char *name, const char *comment) {
  Node *node = FindToSet(port, res2, rel, name);
  if (node == NULL) return 0;
  if (strlen(comment) >= sizeof node->comment) {
    *res2 = ERROR_COMMENT_TOO_BIG;
    return 0;
  }
  strcpy(node->comment, comment);
  if (node->parent) Stamp(port, node->parent);
  return -1;
}

static int32_t FSSetOwner(Port *port, int32_t *res2, struct Lock *rel, const char *name, uint32_t owner) {
  Node *node = FindToSet(port, res2, rel, name);
  if (node) node->owner = owner;
  if (node && node->parent) Stamp(port, node->parent);
  return node ? -1 : 0;
}

static int32_t FSSetGroup(Port *port, int32_t *res2, struct Lock *rel, const char *name, uint32_t group) {
  Node *node = FindToSet(port, res2, rel, name);
  if (node) node->group = group;
  if (node && node->parent) Stamp(port, node->parent);
  return node ? -1 : 0;
}

/* Fix 9. */
static int32_t FSCreateSoftLink(Port *port, int32_t *res2, struct Lock *rel, const char *name, const char *target) {
  size_t size = strlen(target) + 1;
  char *copy;
  Node *node = Find(port, res2, rel, name);
  if (node) *res2 = ERROR_OBJECT_EXISTS;
  if (node || *res2 != ERROR_OBJECT_NOT_FOUND) return 0;
  *res2 = 0;
  copy = malloc(size);
  node = copy ? Create(port, res2, rel, name, 0) : NULL;
  if (node == NULL) {
    if (copy == NULL) *res2 = ERROR_NO_FREE_STORE;
    free(copy);
    return 0;
  }
  node->target = memcpy(copy, target, size);
  return -1;
}

static int32_t FSReadSoftLink(Port *port, int32_t *res2, struct Lock *rel, const char *name, char *buffer, int32_t size) {
  Node *node = Find(port, res2, rel, name);
  if (node && node->target == NULL) *res2 = ERROR_OBJECT_WRONG_TYPE;
  if (node == NULL || node->target == NULL) return -1;
  if (size < 0 || strlen(node->target) >= (size_t)size) {
    *res2 = ERROR_LINE_TOO_LONG;
    return -2;
  }
  return (int32_t)strlen(strcpy(buffer, node->target));
}

/* ---- Examination ---------------------------------------------------------------------------- */

static struct ExamineData *Examine(Port *port, int32_t *res2, Node *node) {
  const struct HandlerServices *dos = VolumeOf(port)->dos;
  struct ExamineData *data = dos->AllocDosObject(dos, QUORLE_DOS_EXAMINEDATA, NULL);
  if (data == NULL) {
    *res2 = ERROR_NO_FREE_STORE;
    return NULL;
  }
  data->Type = node->is_directory ? FSO_TYPE_DIRECTORY : FSO_TYPE_FILE;
  if (node->target) data->Type = (uint32_t)FSO_TYPE_SOFTLINK | FSOF_LINK;
  data->FileSize = node->is_directory || node->target ? -1 : node->size;
  data->Date = node->date;
  data->RefCount = 1;
  data->ObjectID = node->id;
  data->Protection = node->protection;
  data->OwnerUID = node->owner;
  data->OwnerGID = node->group;
  snprintf(data->Comment, data->CommentSize, "%s", node->comment);
  snprintf(data->Name, data->NameSize, "%s", node->name);
  return data;
}

static struct ExamineData *FSExamineLock(Port *port, int32_t *res2, struct Lock *lock) {
  return Examine(port, res2, NodeOf(port, lock));
}

static struct ExamineData *FSExamineFile(Port *port, int32_t *res2, struct FileHandle *fh) {
  return Examine(port, res2, FileOf(fh)->node);
}

static struct ExamineData *FSExamineObj(Port *port, int32_t *res2, struct Lock *rel, const char *name) {
  Node *node = Find(port, res2, rel, name);
  return node ? Examine(port, res2, node) : NULL;
}

/* Fix 10: FSPrivate[0] is the number of the object that the scan has given last. Objects come and go meanwhile, so
   a count of them, or a pointer to one, would not do. Numbers go down: what is made during a scan is not given. */
static int32_t FSExamineDir(Port *port, int32_t *res2, struct PRIVATE_ExamineDirContext *context) {
  Node *directory = NodeOf(port, context->Directory), *next = NULL;
  if (!directory->is_directory) {
    *res2 = ERROR_OBJECT_WRONG_TYPE;
    return 0;
  }
  for (Node *node = directory->children; node; node = node->next)
    if ((context->FSPrivate[0] == 0 || node->id < (uint64_t)context->FSPrivate[0]) && (next == NULL || node->id > next->id))
      next = node;
  if (next == NULL) {
    *res2 = ERROR_NO_MORE_ENTRIES;
    return 0;
  }
  context->FSPrivate[0] = (intptr_t)next->id;
  context->Entry = Examine(port, res2, next);
  return context->Entry ? -1 : 0;
}

/* ---- The volume ----------------------------------------------------------------------------- */

/* Fix 10: what is below a directory takes up, a block for each object, and those of its data. */
static uint32_t BlocksBelow(const Node *directory) {
  uint32_t blocks = 0;
  for (const Node *node = directory->children; node; node = node->next)
    blocks += 1 + (uint32_t)((node->size + 511) / 512) + BlocksBelow(node);
  return blocks;
}

static int32_t FSInfoData(Port *port, int32_t *res2, struct InfoData *info) {
  (void)res2;
  memset(info, 0, sizeof *info);
  info->id_DiskState = VolumeOf(port)->write_protected ? ID_DISKSTATE_WRITE_PROTECTED : ID_DISKSTATE_VALIDATED;
  info->id_BytesPerBlock = 512;
  info->id_NumBlocks = 1 << 20;
  info->id_NumBlocksUsed = BlocksBelow(&VolumeOf(port)->root);
  info->id_DiskType = 0x444F5309;
  info->id_InUse = VolumeOf(port)->in_use;
  return -1;
}

/* Fix 10: nothing is kept back that would have to be written. */
static int32_t FSFlush(Port *port, int32_t *res2) {
  (void)port, (void)res2;
  return -1;
}

static int32_t FSWriteProtect(Port *port, int32_t *res2, int32_t state, uint32_t key) {
  Volume *volume = VolumeOf(port);
  if (volume->write_protected && volume->key != 0 && volume->key != key) {
    *res2 = ERROR_BAD_NUMBER;
    return 0;
  }
  volume->write_protected = state != 0;
  volume->key = state != 0 ? key : 0;
  return -1;
}

static int32_t FSRelabel(Port *port, int32_t *res2, const char *name) {
  Volume *volume = VolumeOf(port);
  if (!MayChange(port, res2)) return 0;
  if (!volume->dos->SetVolumeName(volume->dos, port, name)) {
    *res2 = ERROR_OBJECT_EXISTS;
    return 0;
  }
  snprintf(volume->root.name, sizeof volume->root.name, "%s", name);
  return -1;
}

static Port *Mount(const struct HandlerMount *mount) {
  const struct HandlerServices *dos = mount->Dos;
  const char *name = "Complete";
  Volume *volume = calloc(1, sizeof *volume);
  if (volume == NULL) return NULL;
  for (uint32_t i = 0; i < mount->KeyCount; ++i)
    if (strcmp(mount->Keys[i].Key, "volume") == 0) name = mount->Keys[i].Value;
  struct FileSystemVectors table = {
      .StructSize = sizeof table, .Version = QUORLE_FS_VECTORPORT_VERSION, .FSPrivate = volume,
      .FSChangeLockMode = FSChangeLockMode, .FSChangeFileMode = FSChangeFileMode,
      .FSOpenFromLock = FSOpenFromLock, .FSDupLockFromFH = FSDupLockFromFH, .FSParentOfFH = FSParentOfFH,
      .FSChangeFileSize = FSChangeFileSize, .FSSetComment = FSSetComment, .FSSetOwner = FSSetOwner,
      .FSSetGroup = FSSetGroup, .FSWriteProtect = FSWriteProtect, .FSRelabel = FSRelabel, .FSFlush = FSFlush,
      .FSCreateSoftLink = FSCreateSoftLink, .FSReadSoftLink = FSReadSoftLink, .FSExamineObj = FSExamineObj,
      .FSLock = FSLock, .FSUnLock = FSUnLock, .FSDupLock = FSDupLock, .FSSameLock = FSSameLock, .FSSameFile = FSSameFile, .FSCreateDir = FSCreateDir,
      .FSParentDir = FSParentDir, .FSOpen = FSOpen, .FSClose = FSClose, .FSRead = FSRead, .FSWrite = FSWrite,
      .FSChangeFilePosition = FSChangeFilePosition, .FSGetFilePosition = FSGetFilePosition,
      .FSGetFileSize = FSGetFileSize, .FSDelete = FSDelete, .FSRename = FSRename, .FSSetDate = FSSetDate,
      .FSSetProtection = FSSetProtection, .FSExamineLock = FSExamineLock, .FSExamineFile = FSExamineFile,
      .FSExamineDir = FSExamineDir, .FSVolumeInfoData = FSInfoData, .FSDeviceInfoData = FSInfoData,
      .End_Marker = -1};
  struct TagItem tags[] = {{QUORLE_ADO_Vectors, (uintptr_t)&table}, {QUORLE_TAG_DONE, 0}};
  Port *port = dos->AllocDosObject(dos, QUORLE_DOS_FSVECTORPORT, tags);
  if (port && dos->SetVolumeName(dos, port, name)) {
    volume->dos = dos;
    volume->root.is_directory = 1;
    volume->root.id = ++volume->last_id;
    snprintf(volume->root.name, sizeof volume->root.name, "%s", name);
    Touch(port, &volume->root);
    return port;
  }
  if (port) snprintf(mount->Problem, mount->ProblemSize, "the volume name %s is taken", name);
  dos->FreeDosObject(dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
  return NULL;
}

static void Unmount(Port *port) {
  Volume *volume = VolumeOf(port);
  Free(&volume->root);
  volume->dos->FreeDosObject(volume->dos, QUORLE_DOS_FSVECTORPORT, port);
  free(volume);
}

const struct Handler *QuorleHandler(uint32_t version) {
  static const struct Handler handler = {
      .StructSize = sizeof handler, .Version = QUORLE_HANDLER_VERSION, .Name = "complete", .Mount = Mount, .Unmount = Unmount};
  return version >= QUORLE_HANDLER_VERSION ? &handler : NULL;
}
