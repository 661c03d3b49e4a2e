#include "selftest/contract/contract_test.h"

#include "handlers/hostdir/hostdir_handler.h"
#include "handlers/ram/ram_handler.h"
#include "program/plugin_handler.h"

namespace quorle::selftest {
namespace {

const ::Handler& Ram() {
  return *QuorleRamHandler();
}

const ::Handler& Hostdir() {
  return *QuorleHostdirHandler();
}

/// The ram handler without record locks: refused in so many words, so that dos keeps them.
const ::Handler& HandlerWithoutRecords() {
  static const ::Handler handler = [] {
    ::Handler changed = Ram();
    changed.Mount = [](const ::HandlerMount* mount) {
      ::FileSystemVectorPort* const port = Ram().Mount(mount);
      if (port == nullptr) return port;
      port->FSV.FSLockRecord = [](::FileSystemVectorPort*, std::int32_t* res2, ::FileHandle*,
                                  std::int64_t, std::int64_t, std::uint32_t, std::uint32_t) {
        *res2 = ERROR_ACTION_NOT_KNOWN;
        return std::int32_t{0};
      };
      port->FSV.FSUnLockRecord = [](::FileSystemVectorPort*, std::int32_t* res2, ::FileHandle*,
                                    std::int64_t, std::int64_t) {
        *res2 = ERROR_ACTION_NOT_KNOWN;
        return std::int32_t{0};
      };
      return port;
    };
    return changed;
  }();
  return handler;
}

constexpr Subject kSubjects[] = {
    {"RamVector", Ram, PortType::kVector},
    {"RamPacket", Ram, PortType::kPacket},
    {"RamClassic", Ram, PortType::kClassic},
    {"HostdirVector", Hostdir, PortType::kVector, "xattr", false},
    {"HostdirPacket", Hostdir, PortType::kPacket, "xattr", false},
    {"HostdirClassic", Hostdir, PortType::kClassic, "xattr", false},
    {"HostdirSideFileVector", Hostdir, PortType::kVector, "file", false},
    {"HostdirSideFilePacket", Hostdir, PortType::kPacket, "file", false},
    {"HostdirSideFileClassic", Hostdir, PortType::kClassic, "file", false},
#ifdef QUORLE_RAM_PLUGIN
    {"PluginVector", Ram, PortType::kVector, nullptr, true, "yes"},
    {"PluginPacket", Ram, PortType::kPacket, nullptr, true, "yes"},
    {"PluginClassic", Ram, PortType::kClassic, nullptr, true, "yes"},
    {"PluginInProcess", Ram, PortType::kVector, nullptr, true, "no"},
#endif
};

INSTANTIATE_TEST_SUITE_P(Handlers, ContractTest, ::testing::ValuesIn(Subjects()), SubjectName);

}  // namespace

std::span<const Subject> Subjects() {
  return kSubjects;
}

std::string SubjectName(const ::testing::TestParamInfo<Subject>& info) {
  return info.param.name;
}

ContractTest::ContractTest() {
  Remount({});
}

ContractTest::~ContractTest() {
  ShutDown();
}

void ContractTest::SetUp() {
  if (!has_place_) GTEST_SKIP() << "no extended attributes in the directory for temporary files";
}

void ContractTest::ShutDown() {
  if (machine_ == nullptr) return;
  for (const std::string& complaint : machine_->ShutDown()) ADD_FAILURE() << complaint;
  machine_.reset();
}

void ContractTest::Remount(const MountKeys& keys) {
  ShutDown();
  MountSpec other;
  other.name = "OTHER";
  other.handler = "other";
  other.keys = {{"volume", "Other Disk"}};
  MountSpec left;
  left.name = "LEFT";
  left.handler = "left";
  left.port = GetParam().port;
  left.keys = {{"volume", "Left Disk"}};
  MountSpec subject;
  subject.name = "DH0";
  subject.handler = "subject";
  subject.port = GetParam().port;
  subject.keys = keys;
  if (keys.empty()) {
    subject.keys = {{"volume", "Subject Disk"},
                    {"dostype", "0x51545301"},
                    {"version", "subject 1.2 (3.4.2005)"}};
  }
  if (GetParam().metadata != nullptr) {
    directory_ = std::make_unique<TemporaryDirectory>();
    has_place_ =
        std::string_view(GetParam().metadata) != "xattr" || KeepsAttributes(directory_->path());
    if (!has_place_) return;
    subject.argument = directory_->path().string();
    subject.keys.emplace_back("metadata", GetParam().metadata);
  }
  MachineOptions options;
  options.handlers = {{"subject", &GetParam().handler()},
                      {"other", QuorleRamHandler()},
                      {"left", &HandlerWithoutRecords()}};
#ifdef QUORLE_RAM_PLUGIN
  if (GetParam().isolate != nullptr) {
    options.handlers.push_back(PluginHandler(watch_));
    subject.handler = options.handlers.back().name;
    subject.argument = QUORLE_RAM_PLUGIN;
    subject.keys.emplace_back("isolate", GetParam().isolate);
  }
#endif
  options.mounts = {other, left, subject};
  std::string problem;
  machine_ = Machine::Build(
      options, {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_}, problem);
  if (machine_ == nullptr) {
    FAIL() << problem;
    return;
  }
  root_ = MustLock("DH0:");
  dos().SetCurrentDir(root_);
}

void ContractTest::MakeFile(const char* name, std::string_view content) {
  const FileHandle file = MustOpen(name, MODE_NEWFILE);
  const auto length = static_cast<std::int32_t>(content.size());
  if (length > 0) {
    EXPECT_EQ(dos().Write(file, content.data(), length), length);
  }
  EXPECT_TRUE(dos().Close(file));
}

void ContractTest::MakeDirectory(const char* name) {
  const LockHandle lock = dos().CreateDir(name);
  EXPECT_TRUE(lock) << name << ": " << dos().IoErr();
  dos().UnLock(lock);
}

void ContractTest::MakeSoftLink(const char* name, const char* target) {
  EXPECT_TRUE(dos().MakeLink(name, target, LINK_SOFT)) << name << ": " << dos().IoErr();
}

void ContractTest::MakeHardLink(const char* name, const char* target) {
  const LockHandle lock = MustLock(target);
  EXPECT_TRUE(dos().MakeLink(name, lock, LINK_HARD)) << name << ": " << dos().IoErr();
  dos().UnLock(lock);
}

void ContractTest::Protect(const char* name, std::uint32_t mask) {
  EXPECT_TRUE(dos().SetProtection(name, mask)) << name << ": " << dos().IoErr();
}

LockHandle ContractTest::MustLock(const char* name, std::int32_t mode) {
  const LockHandle lock = dos().Lock(name, mode);
  EXPECT_TRUE(lock) << name << ": " << dos().IoErr();
  return lock;
}

FileHandle ContractTest::MustOpen(const char* name, std::int32_t mode) {
  const FileHandle file = dos().Open(name, mode);
  EXPECT_TRUE(file) << name << ": " << dos().IoErr();
  return file;
}

void ContractTest::WriteProtect(bool on) {
  EXPECT_TRUE(dos().WriteProtectVolume("DH0:", on, 0, 0)) << dos().IoErr();
}

bool ContractTest::Exists(const char* name) {
  return LookAtItself(name).found;
}

std::string ContractTest::ContentOf(const char* name) {
  const FileHandle file = MustOpen(name);
  std::string content;
  char buffer[64];
  std::int32_t count = 0;
  while ((count = dos().Read(file, buffer, sizeof buffer)) > 0) {
    content.append(buffer, static_cast<std::size_t>(count));
  }
  EXPECT_EQ(count, 0) << name << ": " << dos().IoErr();
  dos().Close(file);
  return content;
}

ObjectFacts ContractTest::Keep(const ExamineData* data) {
  if (data == nullptr) return {};
  ObjectFacts facts{.found = true,
                    .type = data->Type & FSO_TYPE_MASK,
                    .size = data->FileSize,
                    .date = data->Date,
                    .links = data->RefCount,
                    .id = data->ObjectID,
                    .name = data->Name,
                    .comment = data->Comment,
                    .protection = data->Protection,
                    .owner = data->OwnerUID,
                    .group = data->OwnerGID};
  dos().FreeDosObject(DOS_EXAMINEDATA, data);
  return facts;
}

ObjectFacts ContractTest::Look(const char* name) {
  return Keep(dos().ExamineObject(EX_StringNameInput, name));
}

ObjectFacts ContractTest::LookAtItself(const char* name) {
  return Keep(dos().ExamineObject(EX_ObjectNameInput, name));
}

std::int32_t ContractTest::OpenCode(const char* name, std::int32_t mode) {
  const FileHandle file = dos().Open(name, mode);
  const std::int32_t code = Code(file);
  dos().Close(file);
  return code;
}

std::int32_t ContractTest::LockCode(const char* name, std::int32_t mode) {
  const LockHandle lock = dos().Lock(name, mode);
  const std::int32_t code = Code(lock);
  dos().UnLock(lock);
  return code;
}

}  // namespace quorle::selftest
