#pragma once

#include <cstddef>
#include <cstdint>

#include "native/records.h"

/// The "main" interfaces of the platform, version 1: tables of methods, each of which takes the
/// interface itself first. Only the methods that the program calls have names.
///
/// Variable arguments travel differently on the platform than our compiler passes them: for
/// `Printf()`, `AllocVecTags()` and their like, their list forms are called.
///
/// No method here is younger than dos.library 53.90, the oldest one that the program accepts.
/// Before it knows the version it calls `TimedDosRequester()` (51.12) and `PutStr()`.
namespace quorle::native {

/// Methods that are not called, from the one at offset `From` up to the one at `To`.
template <std::size_t From, std::size_t To>
struct NotCalled {
  static_assert(From < To && From % 4 == 0 && To % 4 == 0);
  std::uint32_t methods[(To - From) / 4];
};

struct ExecMain {
  InterfaceData data;
  std::uint32_t (*Obtain)(ExecMain* self);
  std::uint32_t (*Release)(ExecMain* self);
  NotCalled<68, 124> not_called_68;
  void (*CopyMem)(ExecMain* self, const void* source, void* destination, std::uint32_t bytes);
  NotCalled<128, 156> not_called_128;
  void (*Forbid)(ExecMain* self);
  NotCalled<160, 172> not_called_160;
  void (*FreeVec)(ExecMain* self, void* memory);
  NotCalled<176, 260> not_called_176;
  Process* (*FindTask)(ExecMain* self, const char* name);
  NotCalled<264, 324> not_called_264;
  Message* (*GetMsg)(ExecMain* self, MsgPort* port);
  NotCalled<328, 336> not_called_328;
  void (*ReplyMsg)(ExecMain* self, Message* message);
  Message* (*WaitPort)(ExecMain* self, MsgPort* port);
  NotCalled<344, 424> not_called_344;
  LibraryBase* (*OpenLibrary)(ExecMain* self, const char* name, std::uint32_t version);
  void (*CloseLibrary)(ExecMain* self, LibraryBase* library);
  NotCalled<432, 448> not_called_432;
  void* (*GetInterface)(ExecMain* self, LibraryBase* library, const char* name,
                        std::uint32_t version, const TagItem* tags);
  NotCalled<452, 456> not_called_452;
  void (*DropInterface)(ExecMain* self, void* interface);
  NotCalled<460, 932> not_called_460;
  void* (*AllocVecTagList)(ExecMain* self, std::uint32_t bytes, const TagItem* tags);
};
static_assert(offsetof(ExecMain, Obtain) == 60);
static_assert(offsetof(ExecMain, Release) == 64);
static_assert(offsetof(ExecMain, CopyMem) == 124);
static_assert(offsetof(ExecMain, Forbid) == 156);
static_assert(offsetof(ExecMain, FreeVec) == 172);
static_assert(offsetof(ExecMain, FindTask) == 260);
static_assert(offsetof(ExecMain, GetMsg) == 324);
static_assert(offsetof(ExecMain, ReplyMsg) == 336);
static_assert(offsetof(ExecMain, WaitPort) == 340);
static_assert(offsetof(ExecMain, OpenLibrary) == 424);
static_assert(offsetof(ExecMain, CloseLibrary) == 428);
static_assert(offsetof(ExecMain, GetInterface) == 448);
static_assert(offsetof(ExecMain, DropInterface) == 456);
static_assert(offsetof(ExecMain, AllocVecTagList) == 932);

struct DosMain {
  InterfaceData data;
  NotCalled<60, 76> not_called_60;
  Bptr (*Open)(DosMain* self, const char* name, std::int32_t mode);
  std::int32_t (*Close)(DosMain* self, Bptr file);
  std::int32_t (*Read)(DosMain* self, Bptr file, void* buffer, std::int32_t bytes);
  std::int32_t (*Write)(DosMain* self, Bptr file, const void* data, std::int32_t bytes);
  NotCalled<92, 104> not_called_92;
  std::int32_t (*Delete)(DosMain* self, const char* name);
  std::int32_t (*Rename)(DosMain* self, const char* old_name, const char* new_name);
  Bptr (*Lock)(DosMain* self, const char* name, std::int32_t mode);
  void (*UnLock)(DosMain* self, Bptr lock);
  Bptr (*DupLock)(DosMain* self, Bptr lock);
  NotCalled<124, 136> not_called_124;
  Bptr (*CreateDir)(DosMain* self, const char* name);
  Bptr (*SetCurrentDir)(DosMain* self, Bptr lock);
  std::int32_t (*IoErr)(DosMain* self);
  NotCalled<148, 176> not_called_148;
  std::int32_t (*SetComment)(DosMain* self, const char* name, const char* comment);
  std::int32_t (*SetProtection)(DosMain* self, const char* name, std::uint32_t mask);
  quorle::DateStamp* (*DateStamp)(DosMain* self, quorle::DateStamp* now);
  void (*Delay)(DosMain* self, std::uint32_t ticks);
  NotCalled<192, 196> not_called_192;
  Bptr (*ParentDir)(DosMain* self, Bptr lock);
  NotCalled<200, 220> not_called_200;
  void (*FreeDosObject)(DosMain* self, std::uint32_t type, void* object);
  std::uint32_t (*DoPkt)(DosMain* self, MsgPort* port, std::int32_t action, std::uint32_t arg1,
                         std::uint32_t arg2, std::uint32_t arg3, std::uint32_t arg4,
                         std::uint32_t arg5);
  NotCalled<228, 340> not_called_228;
  Bptr (*DupLockFromFH)(DosMain* self, Bptr file);
  Bptr (*OpenFromLock)(DosMain* self, Bptr lock);
  Bptr (*ParentOfFH)(DosMain* self, Bptr file);
  NotCalled<352, 356> not_called_352;
  std::int32_t (*SetDate)(DosMain* self, const char* name, const quorle::DateStamp* date);
  NotCalled<360, 372> not_called_360;
  std::int32_t (*SameLock)(DosMain* self, Bptr a, Bptr b);
  NotCalled<376, 384> not_called_376;
  std::int32_t (*ReadSoftLink)(DosMain* self, MsgPort* port, Bptr lock, const char* name,
                               char* buffer, std::int32_t size);
  std::int32_t (*MakeLink)(DosMain* self, const char* name, std::uint32_t target,
                           std::int32_t kind);
  std::int32_t (*ChangeMode)(DosMain* self, std::int32_t type, Bptr object, std::int32_t mode);
  NotCalled<396, 400> not_called_396;
  std::int32_t (*SetIoErr)(DosMain* self, std::int32_t code);
  NotCalled<404, 536> not_called_404;
  DevProcRecord* (*GetDeviceProc)(DosMain* self, const char* name, DevProcRecord* previous);
  void (*FreeDeviceProc)(DosMain* self, DevProcRecord* devproc);
  NotCalled<544, 588> not_called_544;
  std::int32_t (*Relabel)(DosMain* self, const char* device, const char* volume);
  NotCalled<592, 604> not_called_592;
  std::int32_t (*DateToStr)(DosMain* self, DateTimeRecord* date);
  NotCalled<608, 644> not_called_608;
  std::uint32_t (*CheckSignal)(DosMain* self, std::uint32_t mask);
  void* (*ReadArgs)(DosMain* self, const char* argument_template, ArgumentWord* words,
                    void* rdargs);
  NotCalled<652, 688> not_called_652;
  void (*FreeArgs)(DosMain* self, void* rdargs);
  NotCalled<692, 748> not_called_692;
  std::int32_t (*PutStr)(DosMain* self, const char* text);
  std::int32_t (*VPrintf)(DosMain* self, const char* format, const std::uint32_t* words);
  NotCalled<756, 892> not_called_756;
  void* (*SetProcWindow)(DosMain* self, void* window);
  NotCalled<896, 988> not_called_896;
  Bptr (*CreateDirTree)(DosMain* self, const char* path);
  NotCalled<992, 1020> not_called_992;
  std::int32_t (*TimedDosRequester)(DosMain* self, const TagItem* tags);
  NotCalled<1024, 1056> not_called_1024;
  std::int32_t (*FileSystemAttr)(DosMain* self, const TagItem* tags);
  NotCalled<1060, 1072> not_called_1060;
  std::uint32_t (*CopyStringCToBSTR)(DosMain* self, const char* text, Bptr buffer,
                                     std::uint32_t size);
  std::int64_t (*GetFilePosition)(DosMain* self, Bptr file);
  std::int32_t (*ChangeFilePosition)(DosMain* self, Bptr file, std::int64_t position,
                                     std::int32_t mode);
  std::int32_t (*ChangeFileSize)(DosMain* self, Bptr file, std::int64_t size, std::int32_t mode);
  std::int64_t (*GetFileSize)(DosMain* self, Bptr file);
  NotCalled<1092, 1124> not_called_1092;
  std::int32_t (*GetDiskInfo)(DosMain* self, const TagItem* tags);
  NotCalled<1128, 1132> not_called_1128;
  std::int32_t (*WriteProtectVolume)(DosMain* self, const char* device, std::int32_t on,
                                     std::uint32_t key, std::uint32_t reserved);
  ExamineDataRecord* (*ExamineObject)(DosMain* self, const TagItem* tags);
  NotCalled<1140, 1168> not_called_1140;
  std::int32_t (*SetOwnerInfo)(DosMain* self, const TagItem* tags);
  NotCalled<1172, 1208> not_called_1172;
  std::int32_t (*NameFromPort)(DosMain* self, MsgPort* port, char* buffer, std::uint32_t size,
                               std::int32_t add_colon);
  std::int32_t (*DevNameFromPort)(DosMain* self, MsgPort* port, char* buffer, std::uint32_t size,
                                  std::int32_t add_colon);
  NotCalled<1216, 1228> not_called_1216;
  std::int32_t (*IsFileSystemPort)(DosMain* self, MsgPort* port);
};
static_assert(offsetof(DosMain, Open) == 76);
static_assert(offsetof(DosMain, Close) == 80);
static_assert(offsetof(DosMain, Read) == 84);
static_assert(offsetof(DosMain, Write) == 88);
static_assert(offsetof(DosMain, Delete) == 104);
static_assert(offsetof(DosMain, Rename) == 108);
static_assert(offsetof(DosMain, Lock) == 112);
static_assert(offsetof(DosMain, UnLock) == 116);
static_assert(offsetof(DosMain, DupLock) == 120);
static_assert(offsetof(DosMain, CreateDir) == 136);
static_assert(offsetof(DosMain, SetCurrentDir) == 140);
static_assert(offsetof(DosMain, IoErr) == 144);
static_assert(offsetof(DosMain, SetComment) == 176);
static_assert(offsetof(DosMain, SetProtection) == 180);
static_assert(offsetof(DosMain, DateStamp) == 184);
static_assert(offsetof(DosMain, Delay) == 188);
static_assert(offsetof(DosMain, ParentDir) == 196);
static_assert(offsetof(DosMain, FreeDosObject) == 220);
static_assert(offsetof(DosMain, DoPkt) == 224);
static_assert(offsetof(DosMain, DupLockFromFH) == 340);
static_assert(offsetof(DosMain, OpenFromLock) == 344);
static_assert(offsetof(DosMain, ParentOfFH) == 348);
static_assert(offsetof(DosMain, SetDate) == 356);
static_assert(offsetof(DosMain, SameLock) == 372);
static_assert(offsetof(DosMain, ReadSoftLink) == 384);
static_assert(offsetof(DosMain, MakeLink) == 388);
static_assert(offsetof(DosMain, ChangeMode) == 392);
static_assert(offsetof(DosMain, SetIoErr) == 400);
static_assert(offsetof(DosMain, GetDeviceProc) == 536);
static_assert(offsetof(DosMain, FreeDeviceProc) == 540);
static_assert(offsetof(DosMain, Relabel) == 588);
static_assert(offsetof(DosMain, DateToStr) == 604);
static_assert(offsetof(DosMain, CheckSignal) == 644);
static_assert(offsetof(DosMain, ReadArgs) == 648);
static_assert(offsetof(DosMain, FreeArgs) == 688);
static_assert(offsetof(DosMain, PutStr) == 748);
static_assert(offsetof(DosMain, VPrintf) == 752);
static_assert(offsetof(DosMain, SetProcWindow) == 892);
static_assert(offsetof(DosMain, CreateDirTree) == 988);
static_assert(offsetof(DosMain, TimedDosRequester) == 1020);
static_assert(offsetof(DosMain, FileSystemAttr) == 1056);
static_assert(offsetof(DosMain, CopyStringCToBSTR) == 1072);
static_assert(offsetof(DosMain, GetFilePosition) == 1076);
static_assert(offsetof(DosMain, ChangeFilePosition) == 1080);
static_assert(offsetof(DosMain, ChangeFileSize) == 1084);
static_assert(offsetof(DosMain, GetFileSize) == 1088);
static_assert(offsetof(DosMain, GetDiskInfo) == 1124);
static_assert(offsetof(DosMain, WriteProtectVolume) == 1132);
static_assert(offsetof(DosMain, ExamineObject) == 1136);
static_assert(offsetof(DosMain, SetOwnerInfo) == 1168);
static_assert(offsetof(DosMain, NameFromPort) == 1208);
static_assert(offsetof(DosMain, DevNameFromPort) == 1212);
static_assert(offsetof(DosMain, IsFileSystemPort) == 1228);

struct UtilityMain {
  InterfaceData data;
  NotCalled<60, 268> not_called_60;
  std::int32_t (*Stricmp)(UtilityMain* self, const char* a, const char* b);
  std::uint32_t (*Strlcpy)(UtilityMain* self, char* destination, const char* source,
                           std::uint32_t size);
  NotCalled<276, 300> not_called_276;
  std::int32_t (*VSNPrintf)(UtilityMain* self, char* buffer, std::uint32_t size, const char* format,
                            const std::uint32_t* words);
};
static_assert(offsetof(UtilityMain, Stricmp) == 268);
static_assert(offsetof(UtilityMain, Strlcpy) == 272);
static_assert(offsetof(UtilityMain, VSNPrintf) == 300);

}  // namespace quorle::native
